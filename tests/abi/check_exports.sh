#!/bin/sh
# The dynamic symbols that the shared object defines are the listed functions, all of them and nothing else: no data, no
# weak symbol, no C++ symbol.
#
# check_exports.sh NM LIBRARY LIST
set -eu
nm=$1 library=$2 list=$3

table=$("$nm" --dynamic --defined-only --format=posix "$library")
actual=$(printf '%s\n' "$table" | awk '{ print $1, $2 }' | LC_ALL=C sort)
expected=$(LC_ALL=C sort "$list" | awk '{ print $1, "T" }')

test -n "$expected"
if [ "$actual" != "$expected" ]; then
    printf 'defined:\n%s\nexpected:\n%s\n' "$actual" "$expected" >&2
    exit 1
fi
