#!/bin/sh
# The program prints the records' layout exactly as it is listed. Every target is held against the one list, so all have
# the same records.
#
# check_layout.sh LIST PROGRAM...
set -eu
list=$1
shift
"$@" | diff -u "$list" - >&2
