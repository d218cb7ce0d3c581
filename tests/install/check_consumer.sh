#!/bin/sh
# A program is built with the library as others would, and runs beside a simulated router.
#
# check_consumer.sh pkg-config|find_package|add_subdirectory
. "$(dirname "$0")/install.sh"
root=$work/root
program=$work/build/program
sim=$BUILD/bin/qel-sim

project() { # what a project says to get the library
    mkdir "$work/project"
    cp "$SOURCE/examples/session.c" "$work/project/program.c"
    cat >"$work/project/CMakeLists.txt" <<END
cmake_minimum_required(VERSION 3.22)
project(program C CXX)
$1
add_executable(program program.c)
target_link_libraries(program PRIVATE qel_api::qel_api)
END
    quietly "$CMAKE" -S "$work/project" -B "$work/build" -G Ninja -DCMAKE_BUILD_TYPE=Release \
        -DCMAKE_C_COMPILER="$CC" -DCMAKE_CXX_COMPILER="$CXX" -DCMAKE_PREFIX_PATH="$root" \
        ${LAUNCHER:+-DCMAKE_CXX_COMPILER_LAUNCHER="$LAUNCHER"}
    quietly "$CMAKE" --build "$work/build" --parallel 2
}

case $1 in
pkg-config)
    install_into "$root"
    mkdir "$work/build"
    PKG_CONFIG_PATH=$(dirname "$(find "$root" -name qel_api.pc)")
    export PKG_CONFIG_PATH
    quietly pkg-config --exact-version="$VERSION" qel_api
    # shellcheck disable=SC2046 # a list of options
    quietly "$CC" "$SOURCE/examples/session.c" -o "$program" $(pkg-config --cflags --libs qel_api)
    ;;
find_package)
    install_into "$root"
    project "find_package(qel_api 1.5 REQUIRED)"
    ;;
add_subdirectory)
    project "add_subdirectory(\"$SOURCE\" qel_api)"
    others=$(find "$work/build" -name 'qel-sim*' -o -name '*_test' -o -name 'session_c')
    [ -z "$others" ] || fail "built besides: $others"
    ;;
esac

# The installed simulator leads the program to the stand-in; the installed library has to be found.
if [ -d "$root" ]; then
    sim=$root/bin/qel-sim
    LD_LIBRARY_PATH=$(dirname "$(find "$root" -name libqel_api.so.2)")
    export LD_LIBRARY_PATH
fi
"$sim" run -- "$program" demo >"$work/out" 2>&1 || { cat "$work/out" >&2; fail "the program failed"; }
grep -q 'Quor Router Software' "$work/out" || { cat "$work/out" >&2; fail "the program did not reach a router"; }
