# shellcheck shell=bash
# Functions for the scripts, which source this file in the root of the tree.

# Builds are in build/, or in the folder that PM_BUILD_DIR names: with that, the scripts
# write nothing to the source tree.
builds=$(realpath -m -- "${PM_BUILD_DIR:-build}")
export PYTHONDONTWRITEBYTECODE=1

say() { printf '\n== %s\n' "$*"; }

# build PRESET [TARGET]...: configures the preset and builds these targets, or all.
build() {
    local preset=$1 targets=("${@:2}")
    say "Building $preset${2:+: ${*:2}}"
    [ -f "$builds/$preset/build.ninja" ] || cmake --preset "$preset" -B "$builds/$preset" || return
    cmake --build "$builds/$preset" ${targets[0]:+--target "${targets[@]}"}
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

# Runs a command with a private, empty /tmp, since pm's files have fixed names there.
# A source tree or build folder that is below /tmp stays visible at its path.
with_private_tmp() {
    local way
    way=$(private_mounts) || { echo "this machine allows no private mounts; run this as root" >&2; return 1; }
    mkdir -p "$builds" || return
    # shellcheck disable=SC2016,SC2086
    $way sh -c '
        exec 8<"$1" 9<"$2" && mount -t tmpfs tmpfs /tmp || exit
        keep() {
            case $1 in /tmp/*) mkdir -p "$1" && mount -c --bind "/proc/self/fd/$2" "$1" ;; esac
        }
        keep "$1" 8 && keep "$2" 9 && cd "$1" && shift 2 && exec "$@" 8<&- 9<&-' \
        sh "$PWD" "$builds" "$@"
}
