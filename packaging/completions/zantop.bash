# Completion of zantop in bash.

_zantop() {
  local word=$2 words=
  COMPREPLY=()
  case $3 in
    --sort) words='gpu pid user type gpu-memory use cpu memory time command' ;;
    --graph) words='braille block ascii' ;;
    --theme) words='dark light' ;;
    --log)
      mapfile -t COMPREPLY < <(compgen -f -- "$word")
      return
      ;;
    -i | --id | -d | --delay | -n | --count | --filter | --begin | --end) return ;;
    *)
      words='-i --id -d --delay -n --count --sort --filter --log --begin --end --batch --graph
        --theme --no-colour --no-mouse --help --version'
      ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
}

complete -F _zantop zantop
