#!/bin/sh
# Runs a command, which must end with this status.
#
# expect_status.sh STATUS COMMAND...
expected=$1
shift
"$@"
actual=$?
[ "$actual" = "$expected" ] && exit 0
echo "ended with $actual instead of $expected: $*" >&2
exit 1
