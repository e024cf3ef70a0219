#!/usr/bin/env bash
# Builds the fuzz targets with clang and runs each for some seconds on its seeds:
#   scripts/fuzz.sh [SECONDS] [TARGET]...      by default 20 seconds, all targets
# New inputs are kept in build/fuzz/corpus, crashes in build/fuzz/crashes; docs/faults.md
# says how to replay a crash.
set -uo pipefail
cd "$(dirname "$0")/.." || exit
. scripts/lib.sh

seconds=${1:-20}
targets=("${@:2}")
[ ${#targets[@]} -gt 0 ] || targets=(records words settings_file messages)
compiler=$(command -v clang++ clang++-14 | head -n 1)
if [ -z "$compiler" ]; then
    echo "clang++ is missing: apt-get install clang libclang-rt-dev" >&2
    exit 1
fi

say "Building the fuzz targets"
here=$builds/fuzz
if [ ! -f "$here/build.ninja" ]; then
    cmake -S . -B "$here" -G Ninja -DCMAKE_CXX_COMPILER="$compiler" \
        -DCMAKE_C_COMPILER="${compiler/++/}" -DCMAKE_CXX_FLAGS="-O1 -g" \
        -DPM_SANITIZE=fuzzer-no-link,address,undefined -DPM_BUILD_FUZZ=ON -DPM_BUILD_TESTS=OFF ||
        exit
fi
cmake --build "$here" --target "${targets[@]/%/_fuzz}" || exit

failed=()
for target in "${targets[@]}"; do
    say "$target for $seconds s"
    corpus=$here/corpus/$target
    crashes=$here/crashes/$target-
    mkdir -p "$corpus" "${crashes%/*}"
    with_private_tmp "$here/tests/fuzz/${target}_fuzz" -max_total_time="$seconds" -timeout=10 \
        -print_final_stats=1 -artifact_prefix="$crashes" "$corpus" "$PWD/tests/fuzz/seeds/$target" \
        >"$here/$target.log" 2>&1
    status=$?
    grep -E 'number_of_executed_units|ERROR|SUMMARY|Test unit written' "$here/$target.log"
    if [ $status -ne 0 ]; then
        failed+=("$target")
        tail -n 40 "$here/$target.log"
    fi
done
say "failed: ${failed[*]:-none}"
[ ${#failed[@]} -eq 0 ]
