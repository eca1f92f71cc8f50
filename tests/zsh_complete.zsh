# Types each LINE into an interactive zsh (through a pseudo-terminal) whose
# completion system has FOLDER on its $fpath, presses Tab, and appends
# "[what the line became]" to OUT.
#
# usage: zsh tests/zsh_complete.zsh FOLDER OUT LINE...
zmodload zsh/zpty
folder=$1 out=$2
shift 2
zpty shell "zsh -f -i"
# Each step waits for what the shell prints when it is done: the prompt, or
# the marker the dump widget prints.
zpty -w shell "PS1='RE''ADY> '"
zpty -r shell chunk '*READY> ' || exit 1
zpty -w shell "fpath=($folder \$fpath); autoload -Uz compinit; compinit -u -D; tsntxtr() { :; }"
zpty -r shell chunk '*READY> ' || exit 1
zpty -w shell "dump() { print -r -- \"[\$BUFFER]\" >> $out; BUFFER=; print -n DU''MPED }"
zpty -r shell chunk '*READY> ' || exit 1
zpty -w shell "zle -N dump; bindkey '^T' dump"
zpty -r shell chunk '*READY> ' || exit 1
for line; do
  zpty -w -n shell "$line"$'\t\C-t'
  zpty -r shell chunk '*DUMPED*' || exit 1
done
zpty -w shell "exit"
while zpty -r shell chunk; do :; done
