"""The process: options, signals, one pm for each root, resources and leftover files."""
import contextlib
import ctypes
import os
import pathlib
import resource
import select
import signal
import socket
import subprocess
import time
import timeit

import pytest
import zmq
from conftest import settings, until

USAGE = "Usage:\n      -debug (-d) debug mode\n      -factorydefaults (-fd) factory defaults\n\n"
DESCRIPTION = ("This system component provides a complete set of remote management functions for "
               "Braxel Vantline servers")


def test_unknown_options(make_pm):
    pm = make_pm(settings())
    pm.launch("-D").close()
    assert pm.wait() == 1 and pm.errors() == ""
    assert pm.out.read_text() == "argc:1 argv[n]:-D\nargc:2 -D unknown \n" + USAGE
    assert list(pm.root.iterdir()) == [pm.root / "etc"]


def test_factory_defaults(make_pm):
    pm = make_pm(settings(flat={"NVC/productinfo": "Mine"})).start("-DEBUG")
    keys = ("NVC/description", "NVC/productinfo", "pm_str_email_alert1_subject")
    pm.ctl("set", keys[0], "Changed")
    pm.ctl("set", keys[2], "Changed")
    for option, values in ((None, ["Changed", "Mine", "Changed"]),
                           ("-FactoryDefaults", [DESCRIPTION, "Norvu Controller 6", "Subject 1"])):
        pm.stop()
        pm.start(*([option] if option else []))
        assert [pm.ctl("get", key) for key in keys] == values


@pytest.mark.parametrize("number", range(3))
def test_what_the_first_answer_says_holds(make_pm, number):
    pm = make_pm(settings())
    asked = ((b"set", b"NVC/productinfo", b"Mine"),
             (b"set", b"Norvu.Embedded.1#SNMPAlert.8#Destination", b"192.0.2.1"))
    with zmq.Context() as context, context.socket(zmq.DEALER) as client, pm.launch():
        client.linger, client.reconnect_ivl, client.rcvtimeo = 0, 1, 60000
        client.connect(f"ipc://{pm.root}/run/pm/requests")
        for words in asked:
            client.send_multipart([b"pm/1", b"", *words])
        assert [client.recv_multipart()[2] for _ in asked] == [b"done"] * 2
        until(lambda: "send pm_event_snmp_config_changed in" in pm.ctl("log"), 60)
        assert pm.ctl("get", "NVC/productinfo") == "Mine"


@pytest.mark.parametrize("name", ["TERM", "INT", "HUP", "USR2", "ALRM", "CONT", "QUIT", "TSTP"])
def test_signals_that_end_it(make_pm, name):
    pm = make_pm(settings()).start("-fd")
    assert pm.stop(getattr(signal, "SIG" + name)) == 1
    assert pm.out.read_text() == "argc:1 argv[n]:-fd\n" and pm.errors() == ""


@pytest.mark.release
def test_end_is_quick(make_pm):
    seconds = [timeit.timeit(make_pm(settings()).start().stop, number=1) for _ in range(5)]
    assert min(seconds) < 0.05


@pytest.mark.release
@pytest.mark.parametrize("name", ["SEGV", "BUS", "FPE", "ILL", "ABRT"])
def test_faults_say_so(make_pm, name):
    pm = make_pm(settings()).start()
    assert pm.stop(getattr(signal, "SIG" + name)) == 1
    assert pm.errors().count("\n") == 1 and f"SIG{name}" in pm.errors()


def test_bursts_of_harmless_signals(pm, sink):
    libc = ctypes.CDLL(None)
    for _ in range(5):
        clients = [pm.ctl_start("event", "event_ipmi_pet", "--message", "M"),
                   pm.ctl_start("mail", "--to", "a@b", "--subject", "S", "--body", "B")]
        while None in [client.poll() for client in clients]:
            for task in os.listdir(f"/proc/{pm.process.pid}/task"):
                for sig in (signal.SIGUSR1, signal.SIGCHLD, signal.SIGPIPE):
                    libc.tgkill(pm.process.pid, int(task), sig)
        assert [(client.communicate(), client.returncode)[1] for client in clients] == [0, 0]
    assert len(sink.mails) == 25 and pm.stop() == 1


@pytest.mark.parametrize("which, fewest, most", [("-S", 1200, 1300), ("", 400, 530)])
def test_many_idle_connections(make_pm, which, fewest, most):
    _, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
    resource.setrlimit(resource.RLIMIT_NOFILE, (hard, hard))
    pm = make_pm(settings(), mounts=f"ulimit {which} -n 1024").start()
    with contextlib.ExitStack() as stack:
        for _ in range(1200):
            connection = stack.enter_context(socket.socket(socket.AF_UNIX))
            connection.connect(str(pm.root / "run/pm/requests"))
        assert pm.ctl("get", "pm_str_email_alert4_subject") == "Subject 4"
        until(lambda: fewest < pm.held()[0] < most)  # idle connections are closed, the oldest first
        assert pm.process.poll() is None


def test_closed_standard_descriptors(make_pm):
    for closed in ("<&-", ">&-", "2>&-", "<&- >&- 2>&-"):
        pm = make_pm(settings(), mounts=f"exec {closed}").start("-d")
        fds = pathlib.Path(f"/proc/{pm.process.pid}/fd")
        assert {str((fds / str(n)).readlink()) for n in range(3)} <= {
            "/dev/null", str(pm.out), str(pm.err)}
        assert (pm.root / "run/pm/lock").read_text() == f"{pm.process.pid}\n"
        pm.stop()


def test_a_full_standard_error_holds_no_end(make_pm):
    pm = make_pm(settings())
    os.mkfifo(pm.err)
    errors = os.open(pm.err, os.O_RDWR | os.O_NONBLOCK)
    pm.start("-d").process.send_signal(signal.SIGUSR1)
    said = b""
    while b"received SIGUSR1" not in said:  # after it, pm's main thread sleeps
        until(lambda: select.select([errors], [], [], 1)[0])
        said += os.read(errors, 65536)
    for size in (4096, 1):
        with contextlib.suppress(BlockingIOError):
            while os.write(errors, b"." * size):
                pass
    pm.process.send_signal(signal.SIGUSR1)
    held = pathlib.Path(f"/proc/{pm.process.pid}/syscall")  # write, on two architectures
    until(lambda: held.read_text().startswith(("1 0x2 ", "64 0x2 ")))
    assert pm.stop() == 1
    os.close(errors)


@pytest.mark.parametrize("shared", ["root", "tmp"])
def test_second_instance_is_refused(make_pm, shared):
    first, second = make_pm(settings()).start(), make_pm(settings())
    setattr(second, shared, getattr(first, shared))
    for _ in range(10):
        second.launch().close()
        assert second.wait() == 255 and "libqorn init failed" in second.errors()
        assert str(first.process.pid) in second.errors()
    assert first.ctl("get", "pm_str_email_alert4_subject") == "Subject 4"
    # A killed pm leaves a lock and a socket that do not hinder the next, and no mail files.
    first.stop(signal.SIGKILL)
    left = ["zorqemail.txt", "zorqgenericemail1", "zorqgenericemail12345",
            "zorqemailconfig.txt00017"]
    # The last two are not names that pm uses.
    kept = ["zorqemailconfig.txt", "zorqgenericemail123456", "zorqgenericemail12x"]
    for name in left + kept:
        (second.tmp / name).touch()
    second.start()
    assert second.left() == kept
    assert f"left: {' '.join('/tmp/' + name for name in left)}\n" in second.errors()
    second.stop()
    # For root, files in /tmp cannot hinder the start, as the claim is elsewhere.
    (second.tmp / "pm.lock").unlink(missing_ok=True)
    (second.tmp / "pm.lock").symlink_to(first.err)
    if pathlib.Path("/run/pm/tmp.claims").exists():
        second.start()
    else:
        second.launch().close()
        assert second.wait() != 0 and "symbolic link" in second.errors()


@pytest.mark.parametrize("group, modes", [
    ("daemon", ["750 daemon", "660 daemon"]), ("no such", ["700 root"])])
def test_group_of_the_sockets(make_pm, group, modes):
    if os.getuid() != 0:
        pytest.skip("only root may give files to a group")
    pm = make_pm(settings(), environment={"PM_HOST_SOCKET_GROUP": group}).start()
    found = subprocess.check_output(["stat", "-c", "%a %G", pm.root / "run/pm",
                                     pm.root / "run/pm/requests"], text=True).splitlines()
    assert found[:len(modes)] == modes
    assert ('no group "no such"' in pm.errors()) == (group == "no such")


@pytest.mark.release
def test_idle_and_nothing_left_over(make_pm, sink):
    pm = make_pm(settings(sink.port, 1, None, {"SNMPAlert.1#Destination": "127.0.0.1"},
                          {"community": "public"})).start()

    def work():
        pm.ctl("event", "event_ipmi_pet", "--message", "M")
        pm.ctl("mail", "--to", "a@example.com", "--subject", "S", "--body", "B")
        pm.ctl("test-trap", "1")
        pm.ctl("set", "pm_str_email_alert1_subject", str(len(sink.mails)))
        pm.ctl("call", "pm_function_sendTestEmailEx", status=1)  # no record

    def switches():
        return sum(int(line.split()[1])
                   for task in pathlib.Path(f"/proc/{pm.process.pid}/task").iterdir()
                   for line in (task / "status").read_text().splitlines()
                   if "ctxt_switches" in line)
    work()
    before = pm.held()
    for _ in range(10):
        work()
    until(lambda: pm.holds_no_more_than(before))
    assert pm.left() == ["zorqemailconfig.txt"]
    counts = [switches()]
    while len(counts) < 5 and (len(counts) < 2 or counts[-1] != counts[-2]):
        time.sleep(3)  # the time measured; it may include the end of the work
        counts.append(switches())
    assert counts[0] > 0 and counts[-1] == counts[-2], counts
