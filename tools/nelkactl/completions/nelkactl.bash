# bash completion for nelkactl, which lists the candidates itself

_nelkactl()
{
    local words=() word current=${COMP_WORDS[COMP_CWORD]}
    # Bash makes a word of the "=" in --option=value.
    [ "$current" != "=" ] || current=
    for word in "${COMP_WORDS[@]:1:COMP_CWORD - 1}"; do
        [ "$word" = "=" ] || words+=("$word")
    done

    COMPREPLY=()
    while IFS=$'\t' read -r word _; do
        case $word in
        :files)
            compopt -o filenames 2>/dev/null
            mapfile -t COMPREPLY < <(compgen -f -- "$current")
            ;;
        :hosts) mapfile -t COMPREPLY < <(compgen -A hostname -- "$current") ;;
        *) COMPREPLY+=("$word") ;;
        esac
    done < <("${COMP_WORDS[0]}" --complete "${words[@]}" "$current" 2>/dev/null)
}

complete -F _nelkactl nelkactl
