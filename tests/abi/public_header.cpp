// The public header as C++.
#include "public_header.inc"
