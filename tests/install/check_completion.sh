#!/bin/bash
# What bash offers for qel-sim: its subcommands, a subcommand's options, the commands of the control channel, and behind
# a -- what can be run.
. "$(dirname "$0")/install.sh"
PATH=$BUILD/bin:$PATH
# shellcheck source=../../packaging/qel-sim.bash
. "$SOURCE/packaging/qel-sim.bash"

# offers EXPECTED WORD... with the last word to be completed.
offers() {
    local expected=$1
    shift
    COMP_WORDS=("$@") COMP_CWORD=$(($# - 1))
    _qel_sim
    [[ "${COMPREPLY[*]}" == "$expected" ]] || fail "'$*' offers '${COMPREPLY[*]}' instead of '$expected'"
}
offers "serve run control check-scenario faults" qel-sim ""
offers run qel-sim ru
offers "--log --log-json" qel-sim run --lo
offers "--syslog" qel-sim run --log --sysl
offers "" qel-sim serve --sysl
offers "--socket" qel-sim control --so
offers "clients cli" qel-sim control cl
offers "hang-up" qel-sim control ha
offers "qel-sim" qel-sim run --log -- qel-si
