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

function __zansim_option
    complete -c zansim -n 'not __zansim_has_command' $argv
end

complete -c zansim -f
complete -c zansim -n __zansim_has_command -a '(__zansim_command)'
__zansim_option -l host -xa '(__zansim_machines)' -d 'The machine'
__zansim_option -l state -xa '(__fish_complete_directories)' -d 'Keep its state here'
__zansim_option -l uid -x -d 'Let the command see this user id'
__zansim_option -l trace -r -F -d 'Append a line for each call'
__zansim_option -l start-time -x -d 'Let the clock begin at this local time'
__zansim_option -l virtual-clock -d 'Let time stand still but for waiting'
__zansim_option -l check -xa '(__zansim_machines)' -d 'Check a description'
__zansim_option -l list -d 'List the machines'
__zansim_option -l example -d 'Print a description that uses every key'
__zansim_option -l show-state -d 'Print what commands have changed'
__zansim_option -l set -x -d 'Set a value of a running machine'
__zansim_option -s h -l help -d 'Print a short help'
