#!/bin/sh
# The released shared object is as small as it is promised to be: the file is below the limit, loading it runs nothing but
# the one function that constructs the library's objects, and the loader has nothing to fill in but addresses.
#
# check_limits.sh PREFIX LIBRARY LIMIT    LIMIT: of the stripped file, in bytes
set -eu
limit=$3
measured=$("$(dirname "$0")/measure.sh" "$1" "$2")

value() { printf '%s\n' "$measured" | sed -n "s/^$1 //p"; }
fail() {
    printf '%s\n%s\n' "$*" "$measured" >&2
    exit 1
}
[ "$(value file)" -lt "$limit" ] || fail "the file has $(value file) bytes, the limit is $limit"
[ "$(value initialisers)" = 1 ] || fail "$(value initialisers) functions run at load"
others=$(printf '%s\n' "$measured" | grep -E '^relocations\.' |
    grep -vE '\.R_(X86_64|ARM)_(RELATIVE|GLOB_DAT|JUMP_SLOT|JUMP_SLO|64|ABS32) ' || true)
[ -z "$others" ] || fail "other relocations than addresses: $others"
