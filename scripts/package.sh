#!/usr/bin/env bash
# Makes the Debian package and prints its path:
#   scripts/package.sh          builds the release preset first
#   scripts/package.sh BUILD    uses an existing build folder
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/lib.sh

build=${1:-$builds/release}
maintainer=$(sed -n 's/^Maintainer: //p' packaging/debian/control.in)
version=$(sed -n 's/^project(pm VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
released=$(sed -n "s/^## $version (\(.*\))$/\1/p" CHANGELOG.md)
[ -n "$released" ] || {
    echo "package: CHANGELOG.md has no section '## $version (DATE)'" >&2
    exit 1
}
for tool in dpkg-shlibdeps dpkg-architecture; do
    command -v $tool >/dev/null || {
        echo "package: $tool is missing; install dpkg-dev" >&2
        exit 1
    }
done
if [ $# -eq 0 ]; then
    build release pm pmctl >&2
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
stage=$work/stage
put_packed() { # file, path in the package
    mkdir -p "$stage/$(dirname "$2")"
    gzip -9nc "$1" >"$stage/$2"
    chmod 644 "$stage/$2"
}
cached() { # a variable of the build's configuration
    sed -n "s/^$1:[A-Z]*=//p" "$build/CMakeCache.txt"
}

umask 022
DESTDIR=$stage cmake --install "$build" --prefix /usr >&2
"$(cached CMAKE_STRIP)" --strip-unneeded --remove-section=.comment --remove-section=.note \
    "$stage/usr/sbin/pm" "$stage/usr/bin/pmctl"
find "$stage/usr/share/man" -type f -exec gzip -9n {} +
install -D -m 644 packaging/debian/copyright "$stage/usr/share/doc/pm/copyright"
install -D -m 644 packaging/debian/lintian-overrides "$stage/usr/share/lintian/overrides/pm"
{
    printf 'pm (%s) bookworm; urgency=medium\n\n' "$version"
    awk -v version="$version" '/^## / { on = $2 == version }
        on && sub(/^- /, "  * ")' CHANGELOG.md | fold -s -w 76 | sed 's/^\([^ ]\)/    \1/; s/ *$//'
    printf '\n -- %s  %s\n' "$maintainer" "$(date -u -R -d "$released")"
} >"$work/changelog"
put_packed "$work/changelog" usr/share/doc/pm/changelog.gz

# The architecture of the compiler's target: a cross build has another one than this machine.
triplet=$("$(cached CMAKE_CXX_COMPILER)" -dumpmachine)
architecture=$(dpkg-architecture -f -t "$triplet" -q DEB_HOST_ARCH)
export DEB_HOST_ARCH=$architecture
mkdir -p "$stage/DEBIAN" "$work/debian"
: >"$work/debian/control" # dpkg-shlibdeps expects a source tree
shlibs=$(cd "$work" && dpkg-shlibdeps -O stage/usr/sbin/pm stage/usr/bin/pmctl |
    sed -n 's/^shlibs:Depends=//p')
sed -e "s/@VERSION@/$version/; s/@ARCHITECTURE@/$architecture/; s/@SHLIBS@/$shlibs/" \
    -e "s/@SIZE@/$(du -sk --apparent-size "$stage" | cut -f1)/" \
    packaging/debian/control.in >"$stage/DEBIAN/control"
echo /etc/pm.conf >"$stage/DEBIAN/conffiles"
install -m 755 packaging/debian/{postinst,prerm,postrm} "$stage/DEBIAN"
(cd "$stage" && find . -path ./DEBIAN -prune -o -path ./etc -prune -o -type f -printf '%P\0' |
    sort -z | xargs -0 md5sum) >"$stage/DEBIAN/md5sums"

package=$build/pm_${version}_$architecture.deb
# With a fixed date, the same tree gives the same package, byte for byte.
SOURCE_DATE_EPOCH=$(date -u +%s -d "$released") \
    dpkg-deb --root-owner-group --build "$stage" "$package" >&2
if command -v lintian >/dev/null; then
    lintian --fail-on error,warning "$package" >&2
fi
echo "$package"
