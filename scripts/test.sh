#!/usr/bin/env bash
# Builds pm and runs every check and test, or only the named parts:
#   scripts/test.sh [format|tidy|units|tsan|system|asan|coverage|fuzz|soak]...
#
#   format  clang-format, and the direction of includes between folders
#   tidy    clang-tidy
#   units   unit tests, built with the address and undefined-behaviour sanitizers
#   tsan    the concurrent unit tests, built with the thread sanitizer
#   system  system tests of the release build
#   asan    system tests of a pm built with the sanitizers of units
#   coverage  how many lines of pm's own operations the unit tests run
#   fuzz    each fuzz target for 20 seconds
#   soak    mixed traffic against bad mail servers, with pm killed now and then
set -uo pipefail
cd "$(dirname "$0")/.." || exit
. scripts/lib.sh

all=(format tidy units tsan system asan coverage fuzz soak)
parts=("${@:-${all[@]}}")
[ $# -gt 0 ] || parts=("${all[@]}")
for part in "${parts[@]}"; do
    if [[ " ${all[*]} " != *" $part "* ]]; then
        sed -n '2,13s/^# \{0,1\}//p' "$0" >&2
        exit 2
    fi
done

scripts/setup.sh --tests || exit
log=$(mktemp -d) || exit
trap 'rm -rf "$log"' EXIT
trap 'exit 130' INT
trap 'exit 143' TERM HUP

sources() { find common config core mail trap platform pmctl tests bench packaging -name '*.cpp' -o -name '*.h'; }

check_format() {
    local status=0
    sources | xargs clang-format --dry-run -Werror || status=1
    python3 tests/include_rules.py . || status=1
    return $status
}

check_tidy() {
    # clang-tidy cannot read the compiler's precompiled headers.
    [ -f build/tidy/build.ninja ] || cmake --preset release -B build/tidy \
        -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON -DPM_BUILD_BENCH=ON >/dev/null || return
    sources | grep '\.cpp$' | grep -v '^tests/' |
        xargs -P "$(nproc)" -n 2 clang-tidy --quiet -p build/tidy 2>&1 |
        { grep -Ev '^[0-9]+ warnings? (generated|treated)|^Suppressed|^Use -header' || true; }
}

check_units() {
    build asan && ctest --test-dir build/asan --output-on-failure -j "$(nproc)"
}

# setarch -R: the thread sanitizer does not work with every random address layout.
check_tsan() {
    build tsan pm_unit_tests && setarch -R ctest --test-dir build/tsan --output-on-failure -j "$(nproc)" \
        -L concurrent --no-tests=error
}

check_asan() { build asan pm pmctl && PM_BUILD=build/asan system_tests -m "not release"; }

check_coverage() { scripts/coverage.sh; }
check_fuzz() { scripts/fuzz.sh 20; }
check_soak() { scripts/soak.sh 15; }

check_system() { build release pm pmctl && PM_BUILD=build/release system_tests; }

# By its path, because Debian's pytest works only with Debian's Python.
system_tests() {
    /usr/bin/python3 -m pytest -p no:cacheprovider -q --durations=3 tests/system "$@"
}

failed=()
for part in "${parts[@]}"; do
    say "$part"
    start=$SECONDS
    if "check_$part" 2>&1 | tee "$log/$part"; then
        printf -- '-- %s: passed in %d s\n' "$part" $((SECONDS - start))
    else
        printf -- '-- %s: FAILED after %d s\n' "$part" $((SECONDS - start))
        failed+=("$part")
    fi
done

say "${#parts[@]} parts in $SECONDS s; failed: ${failed[*]:-none}"
# The totals, as each runner printed them.
for part in "${parts[@]}"; do
    grep -hE '^[0-9]+% tests passed|^=*.* (passed|failed).* in [0-9.]+s|includes checked' \
        "$log/$part" | sed "s/^/$part: /"
done
[ ${#failed[@]} -eq 0 ]
