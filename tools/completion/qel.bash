# Completes the commands, options and facts of qel in bash. The tables below are held against qel --help by a test.
# shellcheck shell=bash

declare -A _qel_words=(
    [qel]='version exec save facts sip snmp syslog events cellular wlan --version'
    [exec]='--answer --keep-going'
    [facts]='serial-number access-status backup location station lte connection calls sip-accounts cita-parameters
        cita-configuration --connection --sms --mac-by-ip --access-by-mac'
    [sip]='get set'
    [sip set]='--none'
    [snmp]='get next walk'
    [events]='--log --module --alias --level --interface --route --next-hop --count --seconds --keepalive'
    [cellular]='up down'
    [cellular up]='--interface --apn --user --password-file --auth'
    [cellular down]='--interface'
    [wlan]='create delete'
    [wlan create]='--radio --ssid --address --mask --pass-phrase-file --open'
    [wlan delete]='--radio'
)
_qel_everywhere='--help --client --json --verbose'

# What can stand behind an option; nothing for one that is not here, unless it takes no value.
declare -A _qel_values=(
    [--auth]='auto pap both chap'
    [--level]='0 1 2 3 4 5 6 7'
    [--connection]='Cellular0/0/0'
    [--interface]='Cellular0/0/0'
    [--radio]='Wlan-Radio0/0/0'
)
_qel_flags=' --help -h --json --verbose --version --keep-going --none --open '

# The words as they were typed: an equals sign and a colon part words for readline, but not here.
_qel() {
    local current=${COMP_WORDS[COMP_CWORD]} previous='' command='' name word
    local -i at
    for ((at = 1; at < COMP_CWORD; ++at)); do
        word=${COMP_WORDS[at]}
        [[ $word == '=' ]] && continue
        if [[ $previous == --* && $_qel_flags != *" $previous "* ]]; then
            previous=''
            continue
        fi
        previous=$word
        [[ $word == -* ]] && continue
        name=${command:+$command }$word
        case " ${_qel_words[${command:-qel}]-} " in
        *" $word "*) [[ $command == facts ]] || command=$name ;;
        esac
    done
    [[ $current == '=' ]] && current=''

    COMPREPLY=()
    if [[ $previous == --* && $_qel_flags != *" $previous "* ]]; then
        case $previous in
        --*-file) mapfile -t COMPREPLY < <(compgen -f -- "$current") ;;
        *) mapfile -t COMPREPLY < <(compgen -W "${_qel_values[$previous]-}" -- "$current") ;;
        esac
        return
    fi
    mapfile -t COMPREPLY < <(compgen -W "${_qel_words[${command:-qel}]-} $_qel_everywhere" -- "$current")
}

complete -F _qel qel
