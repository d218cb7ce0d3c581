#!/usr/bin/env bash
# Completes command lines with tools/completion/qel.bash, and holds its words against those of qel --help.
#
#   completion_test.sh QEL COMPLETION
set -euo pipefail

qel=$1
# shellcheck source=tools/completion/qel.bash
. "$2"

# A directory of its own, for the names of files.
directory=$(mktemp -d)
trap 'rm -r "$directory"' EXIT
cd "$directory"

failures=0
fail() {
    printf 'completion: %s\n' "$*" >&2
    failures=$((failures + 1))
}

# What is offered for the last of the words, sorted, on a line.
offered() {
    COMP_WORDS=(qel "$@")
    COMP_CWORD=$#
    COMPREPLY=()
    _qel
    printf '%s\n' "${COMPREPLY[@]}" | sort | paste -sd ' '
}

# expect OFFERED WORD...
expect() {
    local expected=$1 actual
    shift
    actual=$(offered "$@")
    [[ $actual == "$expected" ]] || fail "qel $*: offers '$actual' instead of '$expected'"
}

expect 'exec' ex
expect 'save sip snmp syslog' s
expect '--verbose --version' --v
expect 'walk' snmp w
expect 'create' wlan c
expect 'set' --json sip s
expect '--keep-going' exec 'display clock' --k
expect '--answer' exec save --a
expect '--none' sip set --n
expect 'serial-number sip-accounts station' facts location s
expect '--level --log' events --log LINK --l
expect '' events --log s
expect 'auto' cellular up --auth a
expect 'chap' cellular up --password-file x --auth c
expect 'pap' cellular up --auth = p
expect 'Cellular0/0/0' facts --connection C
expect '--client' wlan delete --client x 1 --c

touch phrase.txt
expect 'phrase.txt' wlan create 1 --pass-phrase-file ph

# Every command and every option that the help lists, and no other.
words_in_help() {
    awk '
        /^Subcommands:/ { commands = 1; next }
        /^$/ { commands = 0 }
        commands { print $1 }
        /^  (-h,)?--/ { sub(/^  (-h,)?/, ""); sub(/[ ,=].*/, ""); print }
    ' | sort -u
}
facts() { "$qel" facts --help | sed -n '/^Facts:/,/^$/s/^  \([a-z-]*\) .*/\1/p'; }

# The commands' names are those of the help, and of the table.
hold() {
    local listed complete command
    listed=$("$qel" "$@" --help | words_in_help | paste -sd ' ')
    complete=$(offered "$@" '' | tr ' ' '\n' | grep -vxFf <(facts) | sort -u | paste -sd ' ')
    [[ $complete == "$listed" ]] || fail "qel $*: offers '$complete', and the help lists '$listed'"
    for command in $listed; do
        [[ $command == -* ]] || hold "$@" "$command"
    done
}
hold

# Every fact that needs no argument.
expect "$({ facts | grep -vxE 'sms|mac-by-ip|access-by-mac'; "$qel" facts --help | words_in_help; } | sort -u | paste -sd ' ')" facts ''

((failures == 0))
