"""The package in a root with only its dependencies: installs, sends a mail, is removed."""
import os
import pathlib
import platform
import re
import shutil
import subprocess

import pytest
from conftest import BUILD, NAMESPACES, TREE, settings

# Copies the essential and the named packages with their dependencies. $1: root, then names.
ROOT = r"""
set -e
root=$1; shift
mkdir -p "$root"/{tmp,proc,dev,run}; for link in /bin /sbin /lib*; do cp -P "$link" "$root"; mkdir -p "$root/usr$link"; done
{ dpkg-query -W -f '${Essential} ${Package}\n' | sed -n 's/^yes //p' | xargs apt-cache depends \
    --recurse --installed --no-recommends --no-suggests --no-conflicts --no-breaks \
    --no-replaces --no-enhances "$@" | sed -n 's/:.*//; /^[a-z]/p' | sort -u |
    xargs dpkg -L 2>/dev/null || true
  find /etc/{passwd,group,nsswitch.conf,hosts,ld.so.conf,ld.so.conf.d} /etc/alternatives \
    /var/lib/dpkg -not -name 'pm.*'
} | sort -u | tar --create --no-recursion --files-from - --ignore-failed-read 2>/dev/null |
    tar --extract --keep-directory-symlink --directory "$root"
chroot "$root" ldconfig
"""

# $1: root, $2: package, $3: settings file.
USE = r"""
set -e
mount --rbind /dev "$1/dev"; mount -t proc proc "$1/proc"
cp "$2" "$1/pm.deb"
chroot "$1" dpkg --install /pm.deb >&2
chroot "$1" stat -c '%n %a %U' /etc/pm.conf
chroot "$1" ls /etc/systemd/system/multi-user.target.wants/
cp "$3" "$1/etc/pm.conf"
chroot "$1" /usr/sbin/pm & pm=$!
trap 'kill -9 $pm' EXIT
until chroot "$1" pmctl --timeout 5 list >"$1/list" 2>&1; do kill -0 $pm; sleep 0.05; done
grep -c pm_function_ "$1/list"
chroot "$1" pmctl alert --subject Installed --body 'From the package.'
trap EXIT
kill $pm; wait $pm || echo "ended $?"
chroot "$1" dpkg --purge pm >&2
find "$1" -xdev -name 'pm*' -path '*[/.]pm*' | grep -v -e '/tmp/pm.lock' -e '/pm.deb' || true
"""


def test_installed_package_mails_and_leaves_nothing(area, sink):
    release = "CMAKE_BUILD_TYPE:STRING=Release\n" in (BUILD / "CMakeCache.txt").read_text()
    if not (release and shutil.which("dpkg-shlibdeps") and os.getuid() == 0):
        pytest.skip("packages are made of release builds, with dpkg-dev, and tried as root")
    made = subprocess.check_output([TREE / "scripts/package.sh", BUILD], text=True)
    package = pathlib.Path(TREE, made.splitlines()[-1])
    (place := area / "package").mkdir()
    subprocess.run(["dpkg-deb", "-x", package, place / "pm"], check=True)
    depends = subprocess.check_output(["dpkg-deb", "-f", package, "Depends"], text=True)
    names = re.sub(r"\(.*?\)|,", "", depends).split()
    subprocess.run(["bash", "-c", ROOT, "bash", place / "root", *names], check=True)
    for program in "sbin/pm", "bin/pmctl":  # check the hardening of the installed files
        path = place / "pm/usr" / program
        notes = subprocess.check_output(f"readelf -dnWs {path}; objdump -d {path}", shell=True)
        signs = [b"__stack_chk_fail", b"_chk@", b"BIND_NOW", b"PIE"]
        assert [s for s in signs + [b"endbr64"] * (platform.machine() == "x86_64")
                if s not in notes] == [], program
    (place / "pm.conf").write_text(settings(sink.port, count=1))
    done = subprocess.run([*NAMESPACES, "bash", "-c", USE, "bash", place / "root", package,
                           place / "pm.conf"], stdout=subprocess.PIPE, text=True, timeout=60)
    assert done.stdout.splitlines() == ["/etc/pm.conf 600 root", "pm.service", "8", "ended 1"]
    assert [b"From the package." in mail.data for mail in sink.mails] == [True]
