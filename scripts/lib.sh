# shellcheck shell=bash
# Functions for the scripts, which source this file in the root of the tree.

say() { printf '\n== %s\n' "$*"; }

# build PRESET [TARGET]...: configures the preset and builds these targets, or all.
build() {
    local preset=$1 targets=("${@:2}")
    say "Building $preset${2:+: ${*:2}}"
    [ -f "build/$preset/build.ninja" ] || cmake --preset "$preset" || return
    cmake --build --preset "$preset" ${targets[0]:+--target "${targets[@]}"}
}

# Prints the command that runs another one with private mounts: as root, or in a user
# namespace. Fails if the machine allows neither.
private_mounts() {
    local way
    for way in "unshare -m" "unshare -rm"; do
        # shellcheck disable=SC2086
        if $way sh -c 'mount --bind /var/tmp /tmp' 2>/dev/null; then
            echo "$way"
            return 0
        fi
    done
    return 1
}
