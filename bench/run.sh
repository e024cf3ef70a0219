#!/usr/bin/env bash
# Measures pm beside the commands that it runs, and prints one table. It has mounts of its own,
# and neither disturbs nor is disturbed by a pm that serves the same machine.
#   bench/run.sh [--disk] [--realtime] [--rounds 30] [--idle 30] [--requests 10000]
#     --disk      /tmp is where /var/tmp is; otherwise it is in memory, as on a controller
#     --realtime  for a machine that has other work to do: all that is measured, the bare
#                 commands too, goes before that work (root only)
# Monit's idle figures stand beside pm's if it is installed: apt-get install monit
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
    echo "bench: this machine allows no mounts of one's own; run it as root" >&2
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
# shellcheck disable=SC2016,SC2086
PM_BENCH_MOUNT=${mount[*]} "${priority[@]}" $private sh -c \
    'mount $PM_BENCH_MOUNT /tmp && exec /usr/bin/python3 -B bench/figures.py "$@"' \
    sh "$dir" "$build" "$@"
