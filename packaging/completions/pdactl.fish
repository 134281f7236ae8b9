# Completion of pdactl in fish: the program itself tells what can follow.
function __pdactl_complete
    set -l words (commandline -opc) "$(commandline -ct)"
    command -q pdactl; and pdactl __complete $words[2..-1]
end
complete -c pdactl -f -n '__pdactl_complete | string length -q' -a '(__pdactl_complete)'
