#!/usr/bin/env bash
# Runs the soak test of the release build: mixed requests and events for SECONDS (15 by default)
# with a mail server that refuses, hangs and drops connections. pm is killed and restarted
# several times.
#   scripts/soak.sh [SECONDS]
# PM_BUILD names another, existing build folder, such as build/asan.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/lib.sh

[ -n "${PM_BUILD:-}" ] || build release pm pmctl
export PM_BUILD=${PM_BUILD:-$builds/release}
say "Soak of ${1:-15} s"
# By its path, because Debian's modules work only with Debian's Python.
exec /usr/bin/python3 scripts/soak.py "${1:-15}"
