#!/bin/sh
# Installs those of the named Debian packages that are missing, and says before how much that is. Needs
# root, or sudo.
set -eu
missing=
for package in "$@"; do
    dpkg-query --show --showformat='${db:Status-Status}' "$package" 2>/dev/null |
        grep -qx installed || missing="$missing $package"
done
[ -n "$missing" ] || exit 0

fail() {
    printf '%s: %s\n' "${0##*/}" "$*" >&2
    exit 1
}
echo "Debian packages to install:$missing"
command -v apt-get >/dev/null || fail "there is no apt-get here: install what these packages hold by other means"
as_root=
if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null ||
        fail "installing them takes root, and there is no sudo: as root, run apt-get install$missing"
    as_root=sudo
    sudo true || fail "sudo refuses: as root, run apt-get install$missing"
fi
messages=$(mktemp)
trap 'rm -f "$messages"' EXIT
apt() { # whose words do not depend on the language here
    $as_root env LC_ALL=C DEBIAN_FRONTEND=noninteractive apt-get -q "$@" >"$messages" 2>&1
}
install() { # APT_OPTION
    # shellcheck disable=SC2086 # one word a package
    apt install --no-install-recommends "$@" $missing
}
refuse() {
    grep '^E: ' "$messages" >&2 || cat "$messages" >&2
    fail "$1"
}

reached=yes # of a list that is known already, packages may still be had
apt update -o APT::Update::Error-Mode=any || reached=
install --assume-no || true # it answers no to its own question, after telling the sizes
if grep -q '^E: Unable to locate\|no installation candidate' "$messages"; then
    [ -n "$reached" ] || refuse "Debian's package servers cannot be reached: is there a network?"
    refuse "not everything is in this system's packages; Debian 12 and 13 have it"
fi
grep '^Need to get\|^After this' "$messages" || true
echo "Fetching ..."
install --download-only --yes || refuse "fetching failed: is there a network?"
echo "Unpacking ..."
install --yes || refuse "installing failed"
