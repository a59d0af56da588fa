# Completion of zansim in bash.

_zansim() {
  local word=$2 previous=$3 at
  COMPREPLY=()
  for ((at = 1; at < COMP_CWORD; ++at)); do
    [[ ${COMP_WORDS[at]} == -- ]] || continue
    # The command behind it is completed like any other.
    if declare -F _command_offset >/dev/null; then
      _command_offset $((at + 1))
    elif ((COMP_CWORD == at + 1)); then
      mapfile -t COMPREPLY < <(compgen -c -- "$word")
    fi
    return
  done
  case $previous in
    --host | --check)
      mapfile -t COMPREPLY < <(
        compgen -W "$(zansim --list 2>/dev/null | cut -d' ' -f1)" -- "$word"
        compgen -f -X '!*.json' -- "$word"
        compgen -d -S / -- "$word"
      )
      ;;
    --state) mapfile -t COMPREPLY < <(compgen -d -- "$word") ;;
    --trace) mapfile -t COMPREPLY < <(compgen -f -- "$word") ;;
    --uid | --start-time | --set) ;;
    *)
      mapfile -t COMPREPLY < <(compgen -W '--host --state --uid --trace --start-time
        --virtual-clock --check --list --example --show-state --set --help' -- "$word")
      ;;
  esac
}

complete -F _zansim zansim
