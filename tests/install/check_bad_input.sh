#!/bin/sh
# A build that lacks something says so in one line.
#
# check_bad_input.sh cross-compiler|log-library|compiler
. "$(dirname "$0")/install.sh"

# The options are the one thing that is wrong; the text is the whole message.
refuses() {
    text=$1
    shift
    if "$CMAKE" -S "$SOURCE" -B "$work/build" -G Ninja "$@" >"$work/log" 2>&1; then
        fail "it was configured"
    fi
    said=$(sed -n '/^CMake Error/,/^$/p; /^  /p' "$work/log" | grep -cxF "  $text" || true)
    [ "$said" -ge 1 ] || { cat "$work/log" >&2; fail "it did not say: $text"; }
}

case $1 in
cross-compiler)
    sed 's/arm-linux-gnueabihf/no-such-machine/' "$SOURCE/cmake/toolchains/armhf.cmake" >"$work/lacking.cmake"
    cp "$SOURCE/cmake/toolchains/debian-arm.cmake" "$work"
    refuses "no no-such-machine-g++ here; script/cross installs it" --toolchain "$work/lacking.cmake"
    ;;
log-library)
    refuses "QEL_VELALOG_LIBRARY names '/none.so', which does not exist" -DQEL_VELALOG_LIBRARY=/none.so \
        -DCMAKE_C_COMPILER="$CC" -DCMAKE_CXX_COMPILER="$CXX"
    ;;
compiler)
    refuses "qel_api builds with GCC or Clang; this compiler is Other" -DCMAKE_CXX_COMPILER_FORCED=1 \
        -DCMAKE_CXX_COMPILER_ID_RUN=1 -DCMAKE_CXX_COMPILER_ID=Other -DCMAKE_CXX_COMPILER="$CXX" \
        -DCMAKE_C_COMPILER="$CC"
    ;;
esac
