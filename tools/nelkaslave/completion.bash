# bash completion for nelkaslave

_nelkaslave()
{
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    # Bash makes a word of the "=" in --option=value.
    if [ "$previous" = "=" ]; then
        previous=${COMP_WORDS[COMP_CWORD - 2]}
    elif [ "$current" = "=" ]; then
        current=
    fi

    case $previous in
    -p | --port)
        mapfile -t COMPREPLY < <(compgen -W "0 8080" -- "$current")
        ;;
    --state)
        compopt -o filenames
        mapfile -t COMPREPLY < <(compgen -d -- "$current")
        ;;
    --behave)
        compopt -o filenames
        mapfile -t COMPREPLY < <(compgen -f -X '!*.json' -- "$current"; compgen -d -- "$current")
        ;;
    --record | --replay | --show)
        compopt -o filenames
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        ;;
    --forward)
        mapfile -t COMPREPLY < <(compgen -A hostname -- "$current")
        ;;
    --forward-timeout)
        mapfile -t COMPREPLY < <(compgen -W "20000" -- "$current")
        ;;
    --speed)
        mapfile -t COMPREPLY < <(compgen -W "0 1 2" -- "$current")
        ;;
    -h | --help | --version) ;;
    *)
        mapfile -t COMPREPLY < <(compgen -W "-p --port --state --behave --forward --record \
            --forward-timeout --replay --replay-once --speed --show --plot -h --help --version" -- "$current")
        ;;
    esac
}

complete -F _nelkaslave nelkaslave
