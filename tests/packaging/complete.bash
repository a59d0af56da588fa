# Completes the lines of $cases, each twice: with all that is offered, and as the tab key does.
# The results come out on $results. Needs an interactive shell with its input from keys.
PS1=
set -u
shopt -s failglob
[[ -z ${wordbreaks+set} ]] || COMP_WORDBREAKS=$wordbreaks
for script in "$scripts"/bash-completion/completions/*; do source "$script"; done
take() {
  printf '%s\n' "$READLINE_LINE" >>"$results"
  READLINE_LINE=
}
bind -x '"\C-xt": take'
bind '"\C-xa": insert-completions'
