#compdef zansim
# Completion of zansim in zsh.

_zansim_machines() {
  local -a machines
  machines=(${${(f)"$(zansim --list 2>/dev/null)"}/ ##/:})
  _alternative 'machines:machine:(($machines))' 'files:description:_files -g "*.json"'
}

_arguments -S \
  '--host[the machine]:machine:_zansim_machines' \
  '--state[keep the state of the machine in a directory]:directory:_files -/' \
  '--uid[let the command see another user id]:user id:' \
  '--trace[append a line for each call to a file]:file:_files' \
  '--start-time[let the clock begin at a local time]:time (YYYY-MM-DD HH\:MM\:SS):' \
  '--virtual-clock[let time stand still but for waiting]' \
  '--check[check a description]:machine:_zansim_machines' \
  '--list[list the machines that come with zansim]' \
  '--example[print a description that uses every key]' \
  '--show-state[print what commands have changed]' \
  '*--set[set a value of a running machine]:value (gpu0.temperature=95):' \
  '(-h --help)'{-h,--help}'[print a short help]' \
  '(-)*::command:{ (( ${+words} )) && _normal }'
