"""Fixtures of the system tests: a real pm with its own root, /tmp and host identity."""
import contextlib
import json
import os
import pathlib
import select
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time

import pytest
import zmq

TREE = pathlib.Path(__file__).parents[2]
sys.path.insert(0, str(TREE / "scripts"))
from smtp_sink import SmtpSink  # noqa: E402

BUILD = TREE / os.environ.get("PM_BUILD", "build/release")
PREFIX = "Norvu.Embedded.1#"
LIMIT = 20  # seconds, for any single step
# Starts a program in its own mount and host name namespaces.
NAMESPACES = ["unshare", "-m", "-u"] if os.geteuid() == 0 else ["unshare", "-r", "-m", "-u"]
SANITIZERS = ":".join(f"handle_{s}=2" for s in ("segv", "sigbus", "abort", "sigfpe", "sigill"))
# Makes a root of bind mounts, in which the test can create /etc/certs and /flash.
CERTIFICATE_ROOT = """
r={0}/tree; mkdir -p $r; mount -t tmpfs tmpfs $r
for d in /*; do
    if [ -L $d ]; then cp -P $d $r; elif [ -d $d ] && [ $d != /etc ]; then
        mkdir $r$d; mount --rbind $d $r$d
    fi
done
mkdir $r/etc $r/.etc; mount --rbind /etc $r/.etc
for f in /etc/*; do ln -s /.etc/${{f##*/}} $r$f; done
mkdir -p $r/etc/certs/CA/certs $r/flash/data0/cv/private
cp {0}/host.crt $r/etc/certs/CA/certs/; cp {0}/host.key $r/flash/data0/cv/private/
set -- chroot $r "$@"
"""


def until(test, seconds=LIMIT):
    """Polls a condition that cannot be waited for; returns its first true value."""
    end = time.monotonic() + seconds
    while not (answer := test()):
        assert time.monotonic() < end, "did not come about in time"
        time.sleep(0.01)
    return answer


def settings(port=25, count=4, flat=None, attributes=None, hardware=None):
    """Returns a settings file with count mail destinations and a mail server on a port."""
    tables = {"settings": {"pm_str_email_server_address": "127.0.0.1"},
              "attributes": {"IPv4.1#Address": "192.0.2.10", "IPv4.1#Enable": 1,
                             "IPv6.1#Enable": 0, "IPv6.1#Address1": "::",  # not the machine's
                             "network.1#dnsnvcname": "", "Remotehosts.1#smtpport": port,
                             "Remotehosts.1#SenderEmail": "norvu@example.com"},
              "hardware": {"host_name": "host12"} | (hardware or {})}
    for n in range(1, count + 1):
        tables["settings"] |= {f"pm_bool_email_alert{n}_enabled": True} | {
            f"pm_str_email_alert{n}_{key}": value for key, value in (
                ("destination", f"user{n}@example.com"), ("subject", f"Subject {n}"),
                ("body", f"Body {n}"))}
    tables["settings"] |= flat or {}
    tables["attributes"] = {PREFIX + name: value for name, value in
                            (tables["attributes"] | (attributes or {})).items()}
    return "".join(f"[{table}]\n" + "".join(
        f"{json.dumps(key)} = {json.dumps(value, separators=(',', '='))}\n"
        for key, value in keys.items()) for table, keys in tables.items())


class Started(subprocess.Popen):
    def __exit__(self, *error):
        self.kill()  # a test that failed must not wait for it
        super().__exit__(*error)


class Pm:
    """A pm on a root, and pmctl for it. mounts: shell commands to run in its namespaces."""

    def __init__(self, place, text="", mounts="", environment=None):
        self.binary, self.root, self.tmp = place.parent / "pm", place / "root", place / "tmp"
        self.out, self.err, self.process = place / "stdout", place / "stderr", None
        self.mounts, self.environment = mounts, environment or {}
        (self.root / "etc").mkdir(parents=True)
        (self.root / "etc/pm.conf").write_text(text)
        self.tmp.mkdir()

    def launch(self, *options):
        """Starts pm; returns the socket on which it will report readiness."""
        notify = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        notify.bind("")
        script = ("echo '(none)' 2>/dev/null >/proc/sys/kernel/domainname\n"  # only root may
                  f"set -e\n{self.mounts}\nmount --bind {self.tmp} ${{r:-}}/tmp\nexec \"$@\"")
        environment = os.environ | {
            "PM_HOST_ROOT": str(self.root), "ASAN_OPTIONS": SANITIZERS,
            "NOTIFY_SOCKET": "@" + notify.getsockname()[1:].decode()} | self.environment
        environment.pop("JOURNAL_STREAM", None)
        with open(self.out, "w") as out, open(self.err, "w") as err:
            self.process = subprocess.Popen(
                [*NAMESPACES, "sh", "-c", script, "sh", self.binary, *options],
                stdin=subprocess.DEVNULL, stdout=out, stderr=err, env=environment)
        return notify

    def start(self, *options):
        """Starts pm and waits until it serves."""
        with self.launch(*options) as notify:
            assert self.ready(notify) == [notify], f"pm did not come up: {self.errors()}"
            assert notify.recv(100).startswith(b"READY=1")
        return self

    def ready(self, *others):
        """Waits until pm ends or a file is readable; returns the readable ones."""
        with os.fdopen(os.pidfd_open(self.process.pid)) as end:
            return select.select([end, *others], [], [], LIMIT)[0]

    def wait(self):
        """Waits for the end of pm and returns its status."""
        assert self.process.returncode is not None or self.ready(), "pm did not end"
        return self.process.wait()

    def stop(self, sig=signal.SIGTERM):
        self.process.send_signal(sig)
        return self.wait()

    def close(self):
        if self.process and self.process.returncode is None:
            self.stop(signal.SIGKILL)

    def ctl(self, *arguments, status=0, stdin=None):
        """Runs pmctl, checks its exit status and returns what it printed on both outputs."""
        done = subprocess.run([BUILD / "pmctl/pmctl", "--root", self.root, "--timeout", "60",
                               *map(str, arguments)], input=stdin, timeout=90,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        text = done.stdout.decode(errors="replace")
        assert done.returncode == status, f"{arguments}: {done.returncode}: {text}"
        return text.rstrip("\n")

    def ctl_start(self, *arguments):
        return Started([BUILD / "pmctl/pmctl", "--root", self.root, *arguments],
                       stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)

    def errors(self):
        return self.err.read_text(errors="replace")

    def left(self):
        """The names in pm's /tmp, without its lock."""
        return sorted(f.name for f in self.tmp.iterdir() if f.name != "pm.lock")

    def held(self):
        """Counts pm's descriptors, threads and children."""
        process = pathlib.Path(f"/proc/{self.process.pid}")
        tasks = list((process / "task").iterdir())
        children = 0
        for task in tasks:
            with contextlib.suppress(OSError):  # the thread has ended meanwhile
                children += len((task / "children").read_text().split())
        return len(list((process / "fd").iterdir())), len(tasks), children

    def holds_no_more_than(self, before):
        return all(now <= then for now, then in zip(self.held(), before))


def pytest_configure(config):
    config.addinivalue_line("filterwarnings", "ignore:Requiring AUTH while not requiring TLS")
    config.addinivalue_line("markers", "release: not under sanitizers, which slow and take faults")


@pytest.fixture(scope="session")
def area():
    """Not below /tmp, as pm has its own; short, as socket paths are limited."""
    with tempfile.TemporaryDirectory(prefix="pm-", dir="/var/tmp") as folder:
        shutil.copy(BUILD / "pm", folder)
        yield pathlib.Path(folder)


@pytest.fixture
def place(area):
    """A folder for one test."""
    return pathlib.Path(tempfile.mkdtemp(dir=area))


@pytest.fixture
def make():
    """Creates objects and calls their close() after the test."""
    with contextlib.ExitStack() as stack:
        yield lambda kind, *arguments, **named: stack.enter_context(
            contextlib.closing(kind(*arguments, **named)))


@pytest.fixture
def make_pm(make, area):
    return lambda *arguments, **named: make(Pm, pathlib.Path(tempfile.mkdtemp(dir=area)),
                                            *arguments, **named)


@pytest.fixture
def connect():
    """Connects clients to the request socket of a pm."""
    with zmq.Context() as context:
        context.linger = 0

        def dealer(pm):
            client = context.socket(zmq.DEALER)
            client.connect(f"ipc://{pm.root}/run/pm/requests")
            client.rcvtimeo = LIMIT * 1000
            return client
        yield dealer
        context.destroy()


def ask(*frames):
    return [b"pm/1", b"tag", *frames]


@pytest.fixture
def sink(make):
    return make(SmtpSink)


@pytest.fixture
def pm(make_pm, sink):
    """A running pm with four destinations and a mail server that accepts all mail."""
    return make_pm(settings(sink.port)).start()
