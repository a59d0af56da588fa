# Completion of zansim in fish.

function __zansim_machines
    zansim --list 2>/dev/null | string replace -r '^(\S+) +' '$1\t'
    __fish_complete_suffix .json
end

function __zansim_has_command
    contains -- -- (commandline -opc)
end

# The words behind "--" are a command of their own.
function __zansim_command
    set -l typed (commandline -opc) (commandline -ct)
    set -l at (contains -i -- -- $typed)
    complete -C (string join ' ' -- (string escape -- $typed[(math $at + 1)..-1]))
end

complete -c zansim -f
complete -c zansim -n __zansim_has_command -a '(__zansim_command)'
complete -c zansim -n 'not __zansim_has_command' -l host -xa '(__zansim_machines)' -d 'The machine'
complete -c zansim -n 'not __zansim_has_command' -l state -xa '(__fish_complete_directories)' -d 'Keep its state here'
complete -c zansim -n 'not __zansim_has_command' -l uid -x -d 'Let the command see this user id'
complete -c zansim -n 'not __zansim_has_command' -l trace -r -F -d 'Append a line for each call'
complete -c zansim -n 'not __zansim_has_command' -l start-time -x -d 'Let the clock begin at this local time'
complete -c zansim -n 'not __zansim_has_command' -l virtual-clock -d 'Let time stand still but for waiting'
complete -c zansim -n 'not __zansim_has_command' -l check -xa '(__zansim_machines)' -d 'Check a description'
complete -c zansim -n 'not __zansim_has_command' -l list -d 'List the machines'
complete -c zansim -n 'not __zansim_has_command' -l example -d 'Print a description that uses every key'
complete -c zansim -n 'not __zansim_has_command' -l show-state -d 'Print what commands have changed'
complete -c zansim -n 'not __zansim_has_command' -l set -x -d 'Set a value of a running machine'
complete -c zansim -n 'not __zansim_has_command' -s h -l help -d 'Print a short help'
