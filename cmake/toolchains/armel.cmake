# 32-bit ARM with soft float (armv5te), by Debian's cross compiler.
set(qel_triplet arm-linux-gnueabi)
set(CMAKE_SYSTEM_PROCESSOR armv5tel)
include(${CMAKE_CURRENT_LIST_DIR}/debian-arm.cmake)
