#!/bin/sh
# The shared object's file name and dynamic section: it is the file libqel_api.so.2.0, found under its soname, it asks
# for the maker's log library by its own name, and for nothing beyond that and the language's and the system's
# libraries. Unresolved symbols are bound at load, never in the middle of a call.
#
# check_dynamic.sh READELF LIBRARY
set -eu
readelf=$1 library=$2

fail() {
    printf '%s\n' "$*" >&2
    exit 1
}

[ "$(basename "$library")" = libqel_api.so.2.0 ] || fail "the file is called $(basename "$library")"
if [ ! -f "$library" ] || [ -L "$library" ]; then
    fail "$library is not a regular file"
fi

dynamic=$("$readelf" --dynamic --wide "$library")
soname=$(printf '%s\n' "$dynamic" | sed -n 's/.*(SONAME).*\[\(.*\)\].*/\1/p')
needed=$(printf '%s\n' "$dynamic" | sed -n 's/.*(NEEDED).*\[\(.*\)\].*/\1/p')

[ "$soname" = libqel_api.so.2 ] || fail "the soname is '$soname'"
[ "$(dirname "$library")/$soname" -ef "$library" ] || fail "$soname beside the file does not lead to it"

printf '%s\n' "$needed" | grep -qx 'libVelaLogAPI\.so' || fail "libVelaLogAPI.so is not needed, but: $needed"
others=$(printf '%s\n' "$needed" |
    grep -Evx 'libVelaLogAPI\.so|lib(stdc\+\+|gcc_s|c|m|pthread|asan|ubsan|tsan)\.so\.[0-9]+|ld-linux.*' || true)
[ -z "$others" ] || fail "needed besides: $others"

printf '%s\n' "$dynamic" | grep -q 'BIND_NOW\|Flags:.*NOW' || fail "symbols are bound lazily"
printf '%s\n' "$dynamic" | grep -q 'TEXTREL' && fail "text relocations"
exit 0
