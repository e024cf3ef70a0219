#!/usr/bin/env bash
# Makes the Debian package and prints its path:
#   scripts/package.sh          of the release build, which it makes first
#   scripts/package.sh BUILD    of the programs in a build folder
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
for tool in dpkg-shlibdeps strip; do
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
put() { # mode, file, where it goes
    install -D -m "$1" "$2" "$stage/$3"
}
put_packed() { # file, where it goes
    mkdir -p "$stage/$(dirname "$2")"
    gzip -9nc "$1" >"$stage/$2"
    chmod 644 "$stage/$2"
}

umask 022
put 755 "$build/pm" usr/sbin/pm
put 755 "$build/pmctl/pmctl" usr/bin/pmctl
strip --strip-unneeded --remove-section=.comment --remove-section=.note \
    "$stage/usr/sbin/pm" "$stage/usr/bin/pmctl"
put 600 packaging/pm.conf etc/pm.conf
put 644 packaging/pm.service lib/systemd/system/pm.service
put 644 packaging/pmctl.bash usr/share/bash-completion/completions/pmctl
for page in packaging/man/*.[0-9]; do
    put_packed "$page" "usr/share/man/man${page##*.}/$(basename "$page").gz"
done
put 644 packaging/debian/copyright usr/share/doc/pm/copyright
put 644 packaging/debian/lintian-overrides usr/share/lintian/overrides/pm
{
    printf 'pm (%s) bookworm; urgency=medium\n\n' "$version"
    awk -v version="$version" '/^## / { on = $2 == version }
        on && sub(/^- /, "  * ")' CHANGELOG.md | fold -s -w 76 | sed 's/^\([^ ]\)/    \1/; s/ *$//'
    printf '\n -- %s  %s\n' "$maintainer" "$(date -u -R -d "$released")"
} >"$work/changelog"
put_packed "$work/changelog" usr/share/doc/pm/changelog.gz

mkdir -p "$stage/DEBIAN" "$work/debian"
: >"$work/debian/control" # dpkg-shlibdeps works in a source tree
shlibs=$(cd "$work" && dpkg-shlibdeps -O stage/usr/sbin/pm stage/usr/bin/pmctl |
    sed -n 's/^shlibs:Depends=//p')
architecture=$(dpkg --print-architecture)
sed -e "s/@VERSION@/$version/; s/@ARCHITECTURE@/$architecture/; s/@SHLIBS@/$shlibs/" \
    -e "s/@SIZE@/$(du -sk --apparent-size "$stage" | cut -f1)/" \
    packaging/debian/control.in >"$stage/DEBIAN/control"
echo /etc/pm.conf >"$stage/DEBIAN/conffiles"
install -m 755 packaging/debian/{postinst,prerm,postrm} "$stage/DEBIAN"
(cd "$stage" && find . -path ./DEBIAN -prune -o -path ./etc -prune -o -type f -printf '%P\0' |
    sort -z | xargs -0 md5sum) >"$stage/DEBIAN/md5sums"

package=$build/pm_${version}_$architecture.deb
# The same tree gives the same package, byte for byte.
SOURCE_DATE_EPOCH=$(date -u +%s -d "$released") \
    dpkg-deb --root-owner-group --build "$stage" "$package" >&2
if command -v lintian >/dev/null; then
    lintian --fail-on error,warning "$package" >&2
fi
echo "$package"
