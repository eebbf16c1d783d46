#!/usr/bin/env bash
# Renders the man pages with their own tools, which must have nothing to complain of, and holds each
# page to what its program takes: the doctor says that itself. Usage: manuals_test.sh FOLDER DOCTOR
set -euo pipefail

folder=$1
doctor=$2
fail() {
    printf '%s\n' "$1" >&2
    exit 1
}

# The options and commands of the doctor's help, at the beginning of their lines: a newer CLI11 puts those
# without a letter below the others. What a line goes on with stands further in.
doctors_words() {
    "$doctor" --help | sed -nE 's/^ {2,10}(-[a-z], *)?(-?-?[a-z]+).*/\2/p'
}
[[ $(doctors_words) == *--json*identity* ]] || fail 'the help of the doctor is not understood'

for page in "$folder"/*.1; do
    if command -v mandoc >/dev/null; then
        # The pages refer to each other before either is installed.
        said=$(mandoc -T lint -W style "$page" | grep -v 'referenced manual not found' || true)
        [[ -z $said ]] || fail "$said"
    fi
    # The man of groff; mandoc's own knows no such option.
    if man --version 2>/dev/null | grep -q '^man '; then
        said=$(man --warnings --encoding UTF-8 --local-file "$page" 2>&1 >/dev/null)
        [[ -z $said ]] || fail "$page: $said"
    fi
    text=$(MANPAGER='cat' man "$page" | col -b)
    [[ $text == *"$(basename "$page" .1)"* ]] || fail "$page: does not name its program"
    while read -r option; do
        [[ $text == *"$option"* ]] || fail "$page: lacks $option"
    done < <(case $page in
        *-hook.1) printf '%s\n' --agent --client-id --credential-file ;;
        *) doctors_words && echo NO_COLOR ;;
    esac)
done
