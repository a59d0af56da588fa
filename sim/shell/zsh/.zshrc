# What zsh reads on a simulated machine: the user's own file, then the prompt.
ZDOTDIR=$ZANSIM_ZDOTDIR
if [[ -f $ZDOTDIR/.zshrc ]]; then
  . $ZDOTDIR/.zshrc
fi
PROMPT="[zansim $ZANSIM_NAME] $PROMPT"
