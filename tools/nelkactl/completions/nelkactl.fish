# fish completion for nelkactl, which lists the candidates itself

function __nelkactl_complete
    set -l words (commandline -opc)
    set -l current (commandline -ct)
    for line in (command $words[1] --complete $words[2..] "$current" 2>/dev/null)
        switch $line
            case :files
                __fish_complete_path (string replace -r '^--\w+=' '' -- "$current")
            case :hosts
                __fish_print_hostnames
            case '*'
                echo $line
        end
    end
end

complete -c nelkactl -f -a '(__nelkactl_complete)'
