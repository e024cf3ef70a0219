#!/usr/bin/env bash
# Compares pm with the commands that it runs, and prints one table. It uses private mounts, so
# that it and an installed pm do not disturb each other.
#   bench/run.sh [--disk] [--realtime] [--rounds 30] [--idle 30] [--requests 10000]
#     --disk      /tmp on the disk of /var/tmp; by default it is in memory, as on a controller
#     --realtime  for a busy machine: pm and the bare commands get priority over all other
#                 work (root only)
# If monit is installed (apt-get install monit), the table shows its idle figures too.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/lib.sh

build=$builds/bench
mount=(-t tmpfs tmpfs)
priority=()
dir=''
trap '[ -z "$dir" ] || rm -rf "$dir"' EXIT
trap 'exit 130' INT
trap 'exit 143' TERM HUP

scripts/setup.sh
say "Building $build"
cmake --preset release -B "$build" -DPM_BUILD_BENCH=ON -DPM_BUILD_TESTS=OFF >/dev/null
cmake --build "$build" --target pm pm_bench smtp_sink

if ! private=$(private_mounts); then
    echo "bench: this machine allows no private mounts; run this as root" >&2
    exit 1
fi
dir=$(mktemp -d /var/tmp/pm-bench.XXXXXX)
mkdir "$dir/tmp"
while :; do
    case ${1:-} in
    --disk) mount=(--bind "$dir/tmp") ;;
    --realtime) priority=(chrt --rr 1) ;;
    *) break ;;
    esac
    shift
done
say "Measuring"
# As pm runs its commands: with it, msmtp takes about 0.2 ms longer.
export LC_ALL=C.UTF-8
# shellcheck disable=SC2016,SC2086
PM_BENCH_MOUNT=${mount[*]} "${priority[@]}" $private sh -c \
    'mount $PM_BENCH_MOUNT /tmp && exec /usr/bin/python3 -B bench/figures.py "$@"' \
    sh "$dir" "$build" "$@"
