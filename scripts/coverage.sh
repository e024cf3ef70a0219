#!/usr/bin/env bash
# Measures for each file how many lines of pm's own operations the unit tests run, and lists
# the others. Fails below 95 % in total.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/lib.sh

limit=95
here=$builds/coverage
if ! command -v gcovr >/dev/null; then
    echo "gcovr is missing: apt-get install gcovr" >&2
    exit 1
fi
say "Building for coverage"
[ -f "$here/build.ninja" ] || cmake --preset debug -B "$here" -DCMAKE_CXX_FLAGS=--coverage
cmake --build "$here" --target pm_unit_tests
find "$here" -name '*.gcda' -delete

say "Unit tests"
with_private_tmp "$here/tests/pm_unit_tests" --gtest_brief=1 2>"$here/errors" ||
    { cat "$here/errors" >&2; exit 1; }

say "Lines of pm's own operations"
gcovr --root . --filter '(common|config|core|mail|trap)/[^/]*$' --fail-under-line $limit \
    --print-summary "$here/CMakeFiles/pm_operations.dir" "$here/CMakeFiles/pm_common.dir"
