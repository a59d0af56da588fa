# Completes the lines of $cases, each twice: with all that is offered, and as the tab key does.
# The results come out on $results. Read as .zshrc of an interactive shell, which it ends.
fpath=($scripts/zsh/vendor-completions $fpath)
autoload -Uz compinit && compinit -D -u
bindkey -e
unsetopt auto_list beep
zle -C offer-all complete-word _generic
zstyle ':completion:offer-all:*' completer _all_matches _complete
zstyle ':completion:offer-all:*' insert true
bindkey '^Xa' offer-all
bindkey '^Xt' take

# Types the next line and its keys.
type-next() {
  (( $#lines )) || exit
  BUFFER=$lines[1]
  CURSOR=$#BUFFER
  zle -U "$keys[1]"$'\C-xt'
  shift lines keys
}
take() {
  print -r -- "$BUFFER" >>$results
  type-next
}
zle -N take
zle -N zle-line-init type-next

lines=() keys=()
while IFS= read -r line; do
  lines+=("$line" "$line") keys+=($'\C-xa' $'\t')
done <$cases
