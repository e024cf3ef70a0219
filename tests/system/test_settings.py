"""Settings of a real pm: reading, writing, keeping and reactions to changes."""
import os
import pathlib
import signal
import stat
import subprocess
import time

import pytest
import zmq
from conftest import BUILD, NAMESPACES, PREFIX, SmtpSink, settings, until

SUBJECT = "pm_str_email_alert1_subject"
LDAP, AD = "pam_int_ldap_enable_mode", "pam_int_ad_enable_mode_pl"


def test_written_values(make_pm):
    pm = make_pm(settings(count=1, attributes={"SNMPAlert.1#State": {"enum": "1"}}) + "x").start()
    assert pm.errors().count("pm.conf:") == 1  # for the last line; all others are loaded
    written = {SUBJECT: "quotes \" ' and \\ and # = [x] \u00e4\u20ac",
               "pm_str_email_alert1_body": "two\nlines\t.", PREFIX + "SNMP.1#AlertPort": "1162"}
    for key, value in written.items():
        pm.ctl("set", key.replace("AlertPort", "ALERTPORT"), value)
    assert {key: pm.ctl("get", key) for key in written} == written
    pm.stop(signal.SIGKILL)
    pm.start()
    assert {key: pm.ctl("get", key) for key in written} == written
    assert pm.ctl("get", PREFIX.lower() + "snmpalert.1#state") == "1"
    assert [stat.S_IMODE(f.stat().st_mode) for f in (pm.root / "var/lib/pm").iterdir()] == [0o600]
    pm.ctl("unset", SUBJECT)
    assert pm.ctl("get", SUBJECT) == "Subject 1" and "pm.conf" in pm.ctl("get", "-v", SUBJECT)
    for key, value, says in ((SUBJECT, "x" * 255, "254"), (SUBJECT, "a\nb", ""), (AD, "many", ""),
                             (PREFIX + "Remotehosts.1#smtpport", "70000", "from 1 to 65535"),
                             (PREFIX + "Remotehosts.1#smtpport", "25x", "from 1 to 65535"),
                             ("pm_str_email_alert1_subjekt", "x", SUBJECT)):
        assert says in pm.ctl("set", key, value, status=1)
    assert pm.ctl("get", SUBJECT) == "Subject 1"
    (pm.root / "value").write_text("from a file\n")
    for arguments, value in ((["-"], "from a pipe"), (["--file", pm.root / "value"], "from a file")):
        pm.ctl("set", SUBJECT, *arguments, stdin=b"from a pipe\n")
        assert pm.ctl("get", SUBJECT) == value


MACHINE = r"""
hostname web7.example.net
set -- unshare -n sh -c 'ip link add d0 type veth peer d1 && ip link set d0 up && ip link set d1 up &&
    ip address add 198.51.100.7/24 dev d0 && ip address add 2001:db8::7/64 dev d0 nodad &&
    ip route add default dev d0 && ip -6 route add default dev d0 && exec "$@"' sh "$@"
"""


def test_defaults_come_from_the_machine(make_pm):
    if subprocess.run([*NAMESPACES, "-n", "ip", "link", "add", "d0", "type", "veth"]).returncode:
        pytest.skip("this kernel makes no virtual interfaces here")
    pm = make_pm(f"[settings]\n{SUBJECT} = ''\n", mounts=MACHINE)
    pm.launch().close()  # whose message would not leave the network namespace
    until(lambda: pm.ctl_start("list").wait() == 0)
    keys = [PREFIX + key for key in ("network.1#dnsnvcname", "IPv4.1#Address", "IPv4.1#Enable",
                                     "IPv6.1#Address1", "IPv6.1#Enable")]
    inside = ["nsenter", "-n", "-t", str(pm.process.pid)]
    printed = lambda: [pm.ctl("get", "-v", key).split(" = ")[1] for key in keys]  # noqa: E731
    check = lambda: subprocess.run(  # noqa: E731
        [*inside, BUILD / "pmctl/pmctl", "--root", pm.root, "check", "--offline"],
        stdout=subprocess.PIPE).stdout
    assert printed() == [value + " (from the machine)" for value in (
        "web7", "198.51.100.7", "1", "2001:db8::7", "1")]
    assert b"0.0.0.0" not in check().replace(b"server_address", b"")
    subprocess.run([*inside, "ip", "-4", "address", "flush", "dev", "d0"], check=True)
    pm.ctl("set", keys[0], "mine")
    assert printed() == ["mine (run time)", "0.0.0.0 (default)", "0 (from the machine)",
                      "2001:db8::7 (from the machine)", "1 (from the machine)"]
    subprocess.run([*inside, "ip", "address", "flush", "dev", "d0"], check=True)
    assert printed()[1:] == [value + " (default)" for value in ("0.0.0.0", "1", "::", "0")]
    assert b"nobody's address" in check()


def test_killed_while_writing(make_pm):
    pm = make_pm(settings()).start()
    for answers in range(10):
        with zmq.Context() as context, context.socket(zmq.DEALER) as client:
            client.linger = 0
            client.connect(f"ipc://{pm.root}/run/pm/requests")
            for n in range(200):
                client.send_multipart([b"pm/1", b"", b"set", SUBJECT.encode(),
                                       (b"a", b"b")[n % 2] * 250])
            for _ in range(answers + 1):
                assert client.poll(20000) and client.recv_multipart()[2] == b"done"
            pm.stop(signal.SIGKILL)
        pm.start()
        assert pm.ctl("get", SUBJECT) in ("a" * 250, "b" * 250) and pm.errors() == ""
    pm.stop()
    kept = pm.root / "var/lib/pm/settings.toml"
    damaged = kept.read_bytes() + b"\1 rubbish"
    kept.write_bytes(damaged)
    pm.start()
    pm.ctl("set", "pm_str_email_alert3_subject", "new")
    assert kept.with_name("settings.toml.damaged").read_bytes() == damaged
    assert "settings.toml" in pm.errors() and pm.ctl("get", SUBJECT) != "Subject 1"


def test_full_disk_changes_nothing(make_pm):
    pm = make_pm(settings())
    folder = pm.root / "var/lib/pm"
    folder.mkdir(parents=True)
    pm.mounts = f"mount -t tmpfs -o size=32k tmpfs {folder}"
    pm.start()
    pm.ctl("set", SUBJECT, "old")
    seen = pathlib.Path(f"/proc/{pm.process.pid}/root{folder}")  # as pm sees it
    names = os.listdir(seen)
    with open(seen / "filler", "wb", buffering=0) as filler, pytest.raises(OSError):
        while True:
            filler.write(b"x" * 1024)
    pm.ctl("set", SUBJECT, "new", status=1)
    assert pm.ctl("get", SUBJECT) == "old"
    (seen / "filler").unlink()
    assert os.listdir(seen) == names


def test_directory_services_are_not_on_together(make_pm):
    pm = make_pm(settings(flat={LDAP: 1})).start()
    for on, off in ((PREFIX + "ActiveDirectory.1#Enable", LDAP), (LDAP, AD),
                    (AD, PREFIX + "LDAP.1#Enable"), (PREFIX + "ldap.1#enable", AD)):
        pm.ctl("set", on, "1")
        until(lambda: pm.ctl("get", off) == "0")
        assert pm.ctl("get", on) == "1"


def test_snmp_change_is_seen_by_watch(pm):
    watch = pm.ctl_start("watch")
    assert watch.stdout.readline() == "pmctl: watching\n"
    pm.ctl("set", PREFIX + "SNMPAlert.8#Destination", "192.0.2.1")
    assert "pm_event_snmp_config_changed" in watch.stdout.readline()
    watch.kill()
    watch.communicate()


@pytest.mark.parametrize("served", ["", "ipc:///nobody/serves/it", "ipc://{}/slow"])
def test_configuration_event_restarts_the_sibling(make_pm, make, place, served):
    sink = make(SmtpSink, mode="hang")
    asked = place / "asked"
    (place / "systemctl").write_text(f'#!/bin/sh\necho "$@" >{asked}\n')
    (place / "systemctl").chmod(0o755)
    pm = make_pm(settings(sink.port, 1, {"pm_str_endpoint_teshServiceRequest":
                                         served.format(place)}),
                 environment={"PATH": f"{place}:{os.environ['PATH']}"}).start()
    with zmq.Context() as context, context.socket(zmq.ROUTER) as service:
        service.bind(f"ipc://{place}/slow")
        with pm.ctl_start("event", "event_ipmi_pet", "--message", "M") as mail:
            sink.wait(lambda s: s.connections > 0)  # this mail hangs, but delays nothing else
            restart = pm.ctl_start("event", "qelctl_event_config_changed")
            if "slow" in served:
                peer, version, tag, *_ = service.recv_multipart()
                time.sleep(6)
                service.send_multipart([peer, version, tag, b"status", b"0"])
            assert restart.communicate(timeout=20) and restart.returncode == 0
            assert asked.exists() == ("slow" not in served) and mail.poll() is None
            sink.release()
    assert "slow" in served or asked.read_text() == "restart qelctl_ipmiextd.service\n"
