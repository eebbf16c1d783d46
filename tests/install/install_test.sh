#!/usr/bin/env bash
# Installs a build and uses what is there as strangers do: the hook itself, a project that finds the
# library through CMake, and a compiler called with pkg-config's answer.
# Usage: install_test.sh SOURCE_FOLDER BUILD PREFIX VERSION
# PREFIX is the one that the build was configured with. What is there is removed.
set -euo pipefail

source_folder=$1
build=$2
prefix=$3
version=$4
here=$(mktemp -d)
trap 'rm -rf "$here" "$prefix"' EXIT

rm -rf "$prefix"
cmake --install "$build" >"$here/log"
cmake --install "$build" --prefix "$here/moved" >>"$here/log"

fail() {
    echo "$1"
    exit 1
}

[[ -x $prefix/libexec/sorvane/sorvane-pixels ]] || fail 'no decoder in libexec'
[[ -f $prefix/share/man/man1/sorvane-hook.1 ]] || fail 'no man page'
for file in bash-completion/completions/sorvane-hook fish/vendor_completions.d/sorvane-hook.fish \
    zsh/site-functions/_sorvane; do
    [[ -f $prefix/share/$file ]] || fail "no $file"
done
said=$("$prefix/bin/sorvane-doctor" --version)
[[ $said == "sorvane-doctor $version" ]] || fail "doctor: $said"
[[ ! -e $prefix/bin/sorvane-standin ]] || fail 'the stand-in is no product'
said=$("$prefix/bin/sorvane-hook" 2>&1 </dev/null)
[[ $said == 'Sorvane: Invalid arguments: Agent identity is required.' ]] || fail "hook: $said"

# The picture of docs/pixel-digest.md: one opaque red pixel.
printf '%s' iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAIAAACQd1PeAAAADElEQVR4nGP4z8AAAAMBAQDJ/pLv \
    AAAAAElFTkSuQmCC | base64 -d >"$here/red.png"
pixels=904ed72888409b0548b8d5cd49973855c1e15e59b93f8961c33c5022a4e9e359

cmake -S "$source_folder/tests/install/consumer" -B "$here/consumer" -G Ninja \
    -DCMAKE_PREFIX_PATH="$prefix" >"$here/log"
cmake --build "$here/consumer" >>"$here/log" || { cat "$here/log"; exit 1; }
said=$("$here/consumer/consumer" "$here/red.png")
[[ $said == *"$pixels"* ]] || fail "through CMake: $said"

# Some compilers have no such folder to tell of.
multiarch=$(c++ -print-multiarch 2>/dev/null) || multiarch=''
PKG_CONFIG_PATH=$prefix/lib/pkgconfig:$prefix/lib/$multiarch/pkgconfig
export PKG_CONFIG_PATH
read -ra flags <<<"$(pkg-config --cflags --libs sorvane)"
c++ -std=c++20 "$source_folder/tests/install/consumer/main.cpp" "${flags[@]}" -o "$here/tool"
said=$("$here/tool" "$here/red.png")
[[ $said == *"$pixels"* ]] || fail "through pkg-config: $said"

# An installation in another folder than it was configured for.
mv "$prefix" "$here/gone"
cp "$here/tool" "$here/moved/bin"
said=$("$here/moved/bin/tool" "$here/red.png")
[[ $said == *"$pixels"* ]] || fail "moved: $said"
