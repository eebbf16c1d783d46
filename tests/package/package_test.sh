#!/usr/bin/env bash
# Holds the Debian package to Debian's rules, installs it into a bare root of this release, with nothing
# but what it says it depends on, and uses it there. Needs the network. Usage: package_test.sh PACKAGE
set -euo pipefail

package=$(realpath "$1")
here=$(realpath "$(dirname "$0")")
sources=$here/../..

fail() {
    printf 'package: %s\n' "$1" >&2
    exit 1
}

lintian --allow-root --fail-on error,warning "$package"

version=$(dpkg-deb -f "$package" Version)
[[ $(dpkg-parsechangelog -l "$sources/packaging/debian/changelog" -S Version) == "$version" ]] ||
    fail "the package's changelog does not begin with $version"
grep -q "^## $version " "$sources/CHANGELOG.md" || fail "CHANGELOG.md does not name $version"

# shellcheck source=/dev/null
suite=$(. /etc/os-release && printf '%s' "$VERSION_CODENAME")
lists=()
for list in /etc/apt/sources.list /etc/apt/sources.list.d/*.list /etc/apt/sources.list.d/*.sources; do
    [[ ! -s $list ]] || lists+=("$list")
done
# shellcheck disable=SC2016 # the root's path is for the hook's shell
mmdebstrap --quiet --variant=apt \
    --customize-hook="upload $package /package.deb" \
    --customize-hook="upload $here/installed_test.sh /installed_test.sh" \
    --customize-hook='chroot "$1" /bin/sh /installed_test.sh /package.deb' \
    "$suite" /dev/null "${lists[@]}"
