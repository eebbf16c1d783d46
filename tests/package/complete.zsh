# Prints what zsh offers for a command line, a word a line: complete.zsh FOLDER LINE
# Completion wants a terminal, so a second zsh gets one, and writes down what it would have shown.
zmodload zsh/zpty

offered=$(mktemp)
zpty inner zsh -f
zpty -w inner "PS1= fpath=(${(q)1} \$fpath) LISTMAX=0; stty -echo; cd ${(q)PWD}"
zpty -w inner 'autoload -Uz compinit && compinit -u -D'
# Every match goes through compadd; -O keeps it from being added to the line.
zpty -w inner "compadd() {
    local -a matches; local name
    builtin compadd -O matches \"\$@\"
    for name in \$matches; do
        [[ -d \$name ]] && print -r -- \$name/ || print -r -- \$name
    done >>${(q)offered}
    builtin compadd \"\$@\"
}"
zpty -w inner "print -r -- ready"
while zpty -r inner line && [[ $line != *ready* ]]; do :; done
zpty -n -w inner "$2"$'\t'
# All matches of a line come at once, as soon as the functions are loaded.
for try in {1..100}; do
    sleep 0.1
    [[ -s $offered ]] && break
done
sleep 0.3
zpty -d inner
sort -u $offered
rm -f $offered
