#!/bin/sh
# Installs those of the named Debian packages that are missing. Needs root, or sudo.
set -eu
missing=
for package in "$@"; do
    dpkg-query --show --showformat='${db:Status-Status}' "$package" 2>/dev/null |
        grep -qx installed || missing="$missing $package"
done
[ -n "$missing" ] || exit 0

as_root=
[ "$(id -u)" -eq 0 ] || as_root=sudo
echo "Installing Debian packages:$missing"
export DEBIAN_FRONTEND=noninteractive
$as_root apt-get update -qq
# shellcheck disable=SC2086 # one word a package
$as_root apt-get install -y -qq --no-install-recommends $missing >/dev/null
