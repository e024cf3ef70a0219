# shellcheck shell=bash
# What the scripts share. Sourced, with the tree's root as working directory.

say() { printf '\n== %s\n' "$*"; }

# Configures a preset and builds targets of it (all if none is named).
build() {
    local preset=$1 targets=("${@:2}")
    say "Building $preset${2:+: ${*:2}}"
    [ -f "build/$preset/build.ninja" ] || cmake --preset "$preset" || return
    cmake --build --preset "$preset" ${targets[0]:+--target "${targets[@]}"}
}

# Prints the words that give a command mounts of its own, as far as this machine
# lets us: root's way, or a user namespace. Fails where it allows neither.
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
