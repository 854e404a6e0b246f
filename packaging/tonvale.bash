# Completion of tonvale's command line for bash. Commands and options are those that the program
# itself lists.

_tonvale() {
    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
    local program=${COMP_WORDS[0]} command=${COMP_WORDS[1]}
    COMPREPLY=()

    if ((COMP_CWORD == 1)) || [[ $command == help ]]; then
        ((COMP_CWORD <= 2)) || return
        local commands
        commands=$("$program" --help 2>/dev/null | sed -n '/^Subcommands:/,$s/^  \([a-z][a-z]*\) .*/\1/p')
        ((COMP_CWORD == 1)) && commands+=" help --help --version"
        mapfile -t COMPREPLY < <(compgen -W "$commands" -- "$word")
        return
    fi

    if [[ $word == -?* ]]; then
        local options
        options=$("$program" "$command" --help 2>/dev/null | sed -n 's/^  \(--[a-z-]*\).*/\1/p')
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$word")
        return
    fi

    local choices=
    case $before in
    --depth) choices="16 24 32 64" ;;
    --type) choices="wav flac aiff w64" ;;
    --zl | --ll) choices="on off" ;;
    --drift) choices="auto" ;;
    --stage)
        choices=$("$program" stages 2>/dev/null | sed -n 's/^\([A-Z][A-Z]*\)  *[A-Z][a-z].*/\1/p')
        ;;
    --into)
        mapfile -t COMPREPLY < <(compgen -d -- "$word")
        compopt -o filenames
        return
        ;;
    esac
    if [[ $choices ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$choices" -- "$word")
        return
    fi
    mapfile -t COMPREPLY < <(compgen -f -- "$word")
    compopt -o filenames
}

complete -F _tonvale tonvale
