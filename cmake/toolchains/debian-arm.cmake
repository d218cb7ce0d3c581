# What the toolchain files for ARM share: Debian's compilers are named by their triplet, the target's C library lies in
# /usr/TRIPLET, and programs for the target run under qemu-user where that is installed.
set(CMAKE_SYSTEM_NAME Linux)

find_program(qel_cross_cxx ${qel_triplet}-g++)
if(NOT qel_cross_cxx)
    message(FATAL_ERROR "no ${qel_triplet}-g++ here; script/cross installs it")
endif()
set(CMAKE_C_COMPILER ${qel_triplet}-gcc)
set(CMAKE_CXX_COMPILER ${qel_triplet}-g++)

# GCC would note at each use how its version 7 changed the passing of some types.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)

set(CMAKE_FIND_ROOT_PATH /usr/${qel_triplet})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

find_program(qel_qemu_arm qemu-arm)
if(qel_qemu_arm)
    set(CMAKE_CROSSCOMPILING_EMULATOR ${qel_qemu_arm} -L /usr/${qel_triplet})
endif()
