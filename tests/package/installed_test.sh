#!/bin/sh
# Run in a bare root: installs the package, uses it, removes it. Usage: installed_test.sh PACKAGE
set -eu
export LC_ALL=C

fail() {
    printf 'package: %s\n' "$1" >&2
    exit 1
}

# expect WHAT EXPECTED SAID
expect() {
    [ "$2" = "$3" ] || fail "$1: $3"
}

# A terminal of its own would stop apt where this runs in the background of another.
DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends -o Dpkg::Use-Pty=0 \
    "$1" >/tmp/log 2>&1 || fail "$(cat /tmp/log)"

expect 'the hook' 'Sorvane: Invalid arguments: Agent identity is required.' \
    "$(sorvane-hook 2>&1 </dev/null)"

# One opaque red pixel for each decoder; its digest is the one of docs/pixel-digest.md.
red='904ed72888409b0548b8d5cd49973855c1e15e59b93f8961c33c5022a4e9e359 1 1'
expect 'the decoder' "$red" "$(printf '%s' iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAIAAACQd1PeAAAADElEQVR4nG \
P4z8AAAAMBAQDJ/pLvAAAAAElFTkSuQmCC | tr -d ' ' | base64 -d | /usr/libexec/sorvane/sorvane-pixels 10)"
expect 'the decoder of rare formats' "$red" \
    "$(printf 'P6 1 1 255\n\377\000\000' | /usr/libexec/sorvane/sorvane-pixels-extra 10)"

version=$(dpkg-query -W -f '${Version}' sorvane-hook)
expect 'the doctor' "sorvane-doctor $version" "$(sorvane-doctor --version)"
# Nobody runs Sorvane here, and that is what it must say.
status=0
said=$(sorvane-doctor) || status=$?
expect "the doctor's status" 1 "$status"
case $said in
    *'failed     socket '* | *'failed     root '*) ;;
    *) fail "the doctor misses nothing: $said" ;;
esac
for decoder in sorvane-pixels sorvane-pixels-extra; do
    printf '%s\n' "$said" | grep -q "^  ok .*/usr/libexec/sorvane/$decoder decodes" || fail "the doctor: $said"
done

for command in hook doctor; do
    for file in man/man1/sorvane-$command.1.gz bash-completion/completions/sorvane-$command \
        fish/vendor_completions.d/sorvane-$command.fish; do
        [ -s "/usr/share/$file" ] || fail "no $file"
    done
done
for file in zsh/vendor-completions/_sorvane doc/sorvane-hook/agents.md sorvane/opencode/sorvane.js; do
    [ -s "/usr/share/$file" ] || fail "no $file"
done

apt-get purge -q -y -o Dpkg::Use-Pty=0 sorvane-hook >/tmp/log 2>&1 || fail "$(cat /tmp/log)"
left=$(find / -xdev -iname '*sorvane*' -not -path '/proc/*' -not -path '/var/lib/apt/*')
expect 'what a removal leaves' '' "$left"
