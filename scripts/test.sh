#!/usr/bin/env bash
# Builds pm and tests it:
#   scripts/test.sh              format, share, units, system: one build, some minutes
#   scripts/test.sh all          every part
#   scripts/test.sh PART...      the named parts
#
#   format    clang-format, and the direction of includes between folders
#   share     lines of tests and golden texts: at most a third of the code
#   units     unit tests, with the address and undefined-behaviour sanitizers
#   system    system tests of the same build
#   tidy      clang-tidy
#   odr       the one-definition rule, checked by the linker
#   tsan      the concurrent unit tests, with the thread sanitizer
#   release   system tests of the release build, the package included
#   coverage  how many lines of pm's own operations the unit tests run
#   fuzz      each fuzz target for 20 seconds
#   soak      mixed traffic against bad mail servers, with pm killed now and then
#
# PM_BUILD_DIR names a folder for the builds, for example for a read-only source tree.
set -uo pipefail
cd "$(dirname "$0")/.." || exit
. scripts/lib.sh

preset=${PM_TEST_PRESET:-asan}
brief=(format share units system)
all=("${brief[@]}" tidy odr tsan release coverage fuzz soak)
case $# in
    0) parts=("${brief[@]}") ;;
    *) parts=("$@") ;;
esac
[ "${parts[*]}" != all ] || parts=("${all[@]}")
for part in "${parts[@]}"; do
    if [[ " ${all[*]} " != *" $part "* ]]; then
        sed -n '2,/^set/s/^# \{0,1\}//p' "$0" >&2
        exit 2
    fi
done

scripts/setup.sh --tests || exit
mkdir -p "$builds" || exit
log=$(mktemp -d) || exit
trap 'rm -rf "$log"' EXIT
trap 'exit 130' INT
trap 'exit 143' TERM HUP

sources() {
    find common config core mail trap platform pmctl tests bench packaging \
        \( -name '*.cpp' -o -name '*.h' \) -print0
}

check_format() {
    local status=0
    sources | xargs -0 clang-format --dry-run -Werror || status=1
    python3 tests/include_rules.py . || status=1
    return $status
}

check_share() { python3 tests/share.py .; }

check_units() {
    build "$preset" pm pmctl pm_unit_tests pm_host_tests pm_schema_texts &&
        with_private_tmp ctest --test-dir "$builds/$preset" --output-on-failure -j "$(nproc)"
}

check_system() {
    build "$preset" pm pmctl && PM_BUILD=$builds/$preset system_tests -m "not release"
}

check_tidy() {
    [ -f "$builds/tidy/build.ninja" ] ||
        cmake --preset release -B "$builds/tidy" -DPM_BUILD_BENCH=ON >/dev/null || return
    sources | grep -z '\.cpp$' | grep -zv '^tests/' |
        xargs -0 -P "$(nproc)" -n 2 clang-tidy --quiet -p "$builds/tidy" 2>&1 |
        { grep -Ev '^[0-9]+ warnings? (generated|treated)|^Suppressed|^Use -header' || true; }
}

# Finds types and functions that have the same name in two files but differ.
check_odr() { build odr pm pmctl pm_unit_tests pm_host_tests; }

# setarch -R: the thread sanitizer does not work with every random address layout.
check_tsan() {
    build tsan pm_unit_tests && with_private_tmp setarch -R ctest --test-dir "$builds/tsan" \
        --output-on-failure -j "$(nproc)" -L concurrent --no-tests=error
}

check_release() { build release pm pmctl && PM_BUILD=$builds/release system_tests; }
check_coverage() { scripts/coverage.sh; }
check_fuzz() { scripts/fuzz.sh 20; }
check_soak() { scripts/soak.sh 15; }

# By its path, because Debian's pytest works only with Debian's Python.
system_tests() {
    /usr/bin/python3 -m pytest -p no:cacheprovider -q --durations=3 \
        -n "$(($(nproc) * 2))" tests/system "$@"
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
    grep -hE '^[0-9]+% tests passed|^=*.* (passed|failed).* in [0-9.]+s|includes checked|^Tests:' \
        "$log/$part" | sed "s/^/$part: /"
done
[ ${#failed[@]} -eq 0 ]
