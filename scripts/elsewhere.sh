#!/usr/bin/env bash
# Runs unit and system tests on other systems, each in a Debian root of its own (root only):
#   scripts/elsewhere.sh [trixie|bookworm-arm64]...      by default both
# arm64 is emulated by qemu-user. The roots stay in the build folder, for the next run.
# PM_MIRROR names another Debian mirror than deb.debian.org.
set -uo pipefail
cd "$(dirname "$0")/.." || exit
. scripts/lib.sh

mirror=${PM_MIRROR:-http://deb.debian.org/debian}
systems=("$@")
[ $# -gt 0 ] || systems=(trixie bookworm-arm64)
for tool in debootstrap qemu-aarch64-static; do
    command -v "$tool" >/dev/null || {
        echo "elsewhere: $tool is missing: apt-get install debootstrap qemu-user-static binfmt-support" >&2
        exit 1
    }
done

# Prepares the root of a system if it is not there: SUITE or SUITE-ARCHITECTURE.
prepare() {
    local root=$1 suite=${2%%-*} architecture=()
    case $2 in *-*) architecture=(--arch "${2#*-}") ;; esac
    if [ ${#architecture[@]} -gt 0 ] && [ ! -e /proc/sys/fs/binfmt_misc/qemu-aarch64 ]; then
        echo "elsewhere: the kernel does not start arm64 programs: mount -t binfmt_misc none" \
            "/proc/sys/fs/binfmt_misc && update-binfmts --enable qemu-aarch64" >&2
        return 1
    fi
    [ -f "$root/prepared" ] && return
    rm -rf "$root"
    debootstrap --variant=minbase "${architecture[@]}" "$suite" "$root" "$mirror" &&
        touch "$root/prepared"
}

# Runs a command in a root, with the tree at /tree, read-only, and the builds at /builds.
inside() {
    local root=$1
    shift
    mkdir -p "$root/tree" "$root/builds"
    cp -L /etc/resolv.conf /etc/hosts "$root/etc"
    # shellcheck disable=SC2016
    unshare -m sh -c '
        mount --bind "$1" "$1" && mount --bind "$2" "$1/tree" &&
        mount -o remount,bind,ro "$1/tree" &&
        mount --rbind /dev "$1/dev" && mount --bind /proc "$1/proc" &&
        mount --rbind /sys "$1/sys" || exit
        # Not chroot: private mounts in the root need it to be a mount, and paths in /proc
        # must begin at it.
        cd "$1" && pivot_root . . && umount -l . && shift 2 && exec env -i HOME=/root LANG=C.UTF-8 \
            PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
            PM_BUILD_DIR=/builds PM_TEST_PRESET=debug "$@"' sh "$root" "$PWD" "$@"
}

failed=()
for system in "${systems[@]}"; do
    root=$builds/roots/$system
    say "$system"
    if ! { prepare "$root" "$system" && inside "$root" /tree/scripts/test.sh units system; }; then
        failed+=("$system")
    fi
done
say "failed: ${failed[*]:-none}"
[ ${#failed[@]} -eq 0 ]
