# What zsh reads on a simulated machine: the user's own file, from its own directory.
zansim_zdotdir=$ZDOTDIR
ZDOTDIR=${ZANSIM_ZDOTDIR:-$HOME}
if [[ -f $ZDOTDIR/.zshenv ]]; then
  . $ZDOTDIR/.zshenv
fi
# An interactive shell looks for its next file here.
if [[ -o interactive ]]; then
  ZANSIM_ZDOTDIR=$ZDOTDIR
  ZDOTDIR=$zansim_zdotdir
fi
unset zansim_zdotdir
