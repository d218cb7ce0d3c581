#!/bin/sh
# Runs every test that FILTER selects in a process of its own, all at once: they sleep out the library's 60 seconds and
# need no processor, so together they take little longer than one.
#
# run_slow.sh FILTER PROGRAM...
set -u
filter=$1
shift

results=$(mktemp -d)
trap 'rm -rf "$results"' EXIT

"$@" --gtest_filter="$filter" --gtest_list_tests |
    awk '/^[^ ]/ { suite = $1 } /^ / { print suite $1 }' >"$results/tests"
[ -s "$results/tests" ] || { echo "no test matches $filter" >&2; exit 1; }

while read -r test; do
    log=$results/$(echo "$test" | tr / _)
    { "$@" --gtest_filter="$test" >"$log" 2>&1; echo $? >"$log.status"; } &
done <"$results/tests"
wait

failed=0
while read -r test; do
    log=$results/$(echo "$test" | tr / _)
    if [ "$(cat "$log.status")" = 0 ] && grep -q '^\[  PASSED  \] 1 test' "$log"; then
        echo "passed $test"
    else
        echo "FAILED $test"
        cat "$log"
        failed=1
    fi
done <"$results/tests"
exit $failed
