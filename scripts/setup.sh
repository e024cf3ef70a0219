#!/usr/bin/env bash
# Installs the missing ones of the Debian 12 packages that pm needs.
#   scripts/setup.sh          for building pm and running the demo
#   scripts/setup.sh --tests  also for the checks and tests
set -euo pipefail

packages=(
    g++ cmake ninja-build pkg-config
    libczmq-dev libsystemd-dev libtomlplusplus-dev libcli11-dev libgtest-dev
    python3 util-linux msmtp snmp
    python3-aiosmtpd snmptrapd
)
if [ "${1:-}" = --tests ]; then
    packages+=(
        clang clang-format clang-tidy libclang-rt-dev gcovr
        dbus-daemon dpkg-dev iproute2 lintian openssl python3-pytest python3-pytest-xdist python3-zmq
    )
fi

missing=()
for package in "${packages[@]}"; do
    state=$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null || true)
    [ "$state" = installed ] || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

echo "To be installed from Debian: ${missing[*]}"
as_root=()
if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null; then
        echo "This needs root or sudo. As root: apt-get install ${missing[*]}" >&2
        exit 1
    fi
    as_root=(sudo)
fi
install=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y
    --no-install-recommends "${missing[@]}")
# The package lists may be missing, or so old that they name versions that no longer exist.
"${as_root[@]}" apt-get update
"${install[@]}"
