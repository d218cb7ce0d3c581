# 32-bit ARM with hard float (armv7), by Debian's cross compiler.
set(qel_triplet arm-linux-gnueabihf)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
include(${CMAKE_CURRENT_LIST_DIR}/debian-arm.cmake)
