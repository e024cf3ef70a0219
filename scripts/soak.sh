#!/usr/bin/env bash
# Soaks the release build of pm: mixed requests and events for SECONDS (15 by default, 3600
# for an hour) against a mail server that refuses, hangs and drops, with pm killed and
# restarted now and then.
#   scripts/soak.sh [SECONDS]
# PM_BUILD names another build that is there already, such as build/asan.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/lib.sh

[ -n "${PM_BUILD:-}" ] || build release pm pmctl
export PM_BUILD=${PM_BUILD:-$builds/release}
say "Soak of ${1:-15} s"
# The interpreter that Debian's modules belong to, whatever else is in PATH.
exec /usr/bin/python3 scripts/soak.py "${1:-15}"
