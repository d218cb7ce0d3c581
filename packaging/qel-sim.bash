# Completion for qel-sim in bash. The words come from the program itself, so they are always its own.
_qel_sim() {
    local word=${COMP_WORDS[COMP_CWORD]} program=${COMP_WORDS[0]} subcommand=${COMP_WORDS[1]-} i words
    COMPREPLY=()
    for ((i = 2; i < COMP_CWORD; i++)); do
        if [[ ${COMP_WORDS[i]} == -- ]]; then # what follows is a command with words of its own
            mapfile -t COMPREPLY < <(compgen -c -f -- "$word")
            return
        fi
    done

    if ((COMP_CWORD == 1)); then
        words=$("$program" --help 2>/dev/null | sed -n '/^Subcommands:/,$ s/^  \([a-z-]*\) .*/\1/p')
    elif [[ $word == -* ]]; then
        words="-- $("$program" "$subcommand" --help 2>/dev/null | sed -n '/^Options:/,/^$/p' | grep -oE -- '--[a-z-]+')"
    elif [[ $subcommand == control && $COMP_CWORD == 2 ]]; then
        words=$("$program" control --help 2>/dev/null | sed -n '/^Commands:/,$ s/^\([a-z-]*\) .*/\1/p')
    else
        mapfile -t COMPREPLY < <(compgen -f -- "$word")
        return
    fi
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
}
complete -o filenames -F _qel_sim qel-sim
