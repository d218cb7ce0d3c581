#!/bin/sh
# No function of the C library that takes times of 32 bits is called: on targets that have both, each call goes to the
# wide one. A library that has neither was not looked at well.
#
# check_wide_times.sh NM LIBRARY
set -eu
nm=$1 library=$2

called=$("$nm" --dynamic --undefined-only --format=posix "$library" | sed 's/[@ ].*//')
narrow=$(printf '%s\n' "$called" | grep -xE 'sem_timedwait|clock_gettime|pthread_cond_timedwait|time|fopen|fcntl' || true)
[ -z "$narrow" ] || { echo "takes times or offsets of 32 bits: $narrow" >&2; exit 1; }
printf '%s\n' "$called" | grep -qx '__sem_timedwait64' || { echo "the wait with a limit is missing" >&2; exit 1; }
