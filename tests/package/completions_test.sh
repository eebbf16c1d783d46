#!/usr/bin/env bash
# Loads the completions into their own shells and asks each for what it offers. A shell that this
# machine lacks is left out, but not bash. Usage: completions_test.sh FOLDER
set -euo pipefail

folder=$1
fail() {
    printf '%s\n' "$1" >&2
    exit 1
}

# What bash offers for a command line, whose last word is the one being typed.
from_bash() {
    bash --norc -c 'source "$1/sorvane.bash"
        compopt() { :; }
        shift
        COMP_WORDS=("$@") COMP_CWORD=$(($# - 1))
        _sorvane
        # What bash itself does: without an offer it takes file names, and it marks folders.
        IFS="
"
        ((${#COMPREPLY[@]})) || COMPREPLY=($(compgen -f -- "${COMP_WORDS[COMP_CWORD]}"))
        for word in "${COMPREPLY[@]}"; do
            [[ ! -d $word ]] || word+=/
            printf "%s\n" "$word"
        done' - "$folder" "$@"
}

# shellcheck disable=SC2016 # the variables are fish's
from_fish() {
    fish --no-config -c 'source $argv[1]/sorvane.fish; complete -C "$argv[2..-1]"' "$folder" "$@" |
        cut -f 1
}

# zsh completes on a terminal only: it is given one, types the line and a tab, and lists.
from_zsh() {
    zsh -f "$here/complete.zsh" "$folder" "$*"
}

# offers SHELL EXPECTED... -- WORD...: each expected word is among those that the shell offers.
offers() {
    local shell=$1 expected=() offered word
    shift
    while [[ $1 != -- ]]; do
        expected+=("$1")
        shift
    done
    shift
    offered=$("from_$shell" "$@")
    for word in "${expected[@]}"; do
        grep -qxF -e "$word" <<<"$offered" || fail "$shell, '$*': no $word in: $offered"
    done
}

try_shell() {
    local shell=$1
    offers "$shell" --agent --client-id --credential-file -- sorvane-hook --
    offers "$shell" codex claude-code cursor custom- -- sorvane-hook --agent ''
    offers "$shell" event identity -- sorvane-doctor ''
    offers "$shell" --agent --workspace --json --help --version -- sorvane-doctor --
    offers "$shell" codex claude-code -- sorvane-doctor --agent c
    offers "$shell" picture.png folder/ -- sorvane-doctor identity ''
    offers "$shell" folder/ -- sorvane-doctor --workspace ''
    [[ $("from_$shell" sorvane-doctor --workspace '') != *picture* ]] || fail "$shell: a file is a folder"
    [[ $("from_$shell" sorvane-doctor event '') != *identity* ]] || fail "$shell: two commands"
}

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
mkdir "$scratch/folder"
touch "$scratch/picture.png"
folder=$(realpath "$folder")
here=$(realpath "$(dirname "$0")")
cd "$scratch"

bash -n "$folder/sorvane.bash"
try_shell bash
if command -v fish >/dev/null; then
    fish --no-execute "$folder/sorvane.fish"
    try_shell fish
fi
if command -v zsh >/dev/null; then
    zsh -n "$folder/_sorvane"
    try_shell zsh
fi
