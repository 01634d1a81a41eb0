# Prints what zsh offers behind each line of the standard input, with the completions below the directory that is named.
zmodload zsh/zpty && zpty shell "zsh -f -i"
# What is given to the completion system is printed between the characters 1 and 2, which the terminal does not echo.
zpty -w shell "PS1= PS2= fpath=($1/zsh/site-functions \$fpath)"'
autoload -Uz compinit; compinit -u -D; unsetopt beep list_beep
compadd() {
  local -a matches
  if [[ ${@[1,(i)(-|--)]} != *-(O|A|D)\ * ]]; then builtin compadd -A matches "$@"; offered+=($matches); fi
  builtin compadd "$@"
}
capture() { local -a offered; _main_complete; compstate[insert]= compstate[list]=; print -n "\x01$offered\x02" }
zle -C capture list-choices capture; bindkey "^I" capture'
while IFS= read -r line; do
  zpty -w -n shell $'\C-u'$line$'\t'
  zpty -r -m shell output $'*\x01*\x02*'
  print -r -- "${${output##*$'\x01'}%%$'\x02'*}"
done
