"""Test traps as snmptrapd and a log manager on a bus get them."""
import os
import re
import socket
import subprocess
import time

import pytest
from conftest import PREFIX, settings
from log_manager import Bus, LogManager

GUID = "00112233-4455-6677-8899-aabbccddeeff"
EPOCH_1998 = 883612800


class TrapReceiver:
    """A real snmptrapd on both loopback addresses."""

    def __init__(self, folder):
        with socket.socket(socket.AF_INET6, socket.SOCK_DGRAM) as free:
            free.bind(("::", 0))
            self.port = free.getsockname()[1]
        (folder / "conf").write_text('disableAuthorization yes\nformat1 %N|%w|%q|%P|%v;\\n\n')
        self.process = subprocess.Popen(
            ["snmptrapd", "-f", "-n", "-Lo", "-C", "-c", folder / "conf", "-On", "-Ox",
             f"udp:127.0.0.1:{self.port}", f"udp6:[::1]:{self.port}"], stdout=subprocess.PIPE,
            text=True, env=os.environ | {"MIBS": "", "SNMP_PERSISTENT_DIR": str(folder)})
        while "NET-SNMP version" not in self.process.stdout.readline():  # then it listens
            assert self.process.poll() is None

    def trap(self):
        """The next trap's fields: enterprise, numbers, community, variable binding."""
        text = ""
        while not text.endswith(";\n"):
            text += self.process.stdout.readline()
        return text[:-2].split("|")

    def close(self):
        self.process.kill()
        self.process.communicate()


@pytest.fixture
def bus(make, place):
    return make(Bus, place)


@pytest.mark.parametrize("destination, guid, host, community", [
    ("127.0.0.1", GUID, "host12", "pub lic"), ("::1", GUID.upper(), "h" * 64, "c" * 18),
    ("localhost", "not a GUID", "ab", "$HOME`id`")])
def test_trap_bytes(make_pm, make, place, destination, guid, host, community):
    receiver = make(TrapReceiver, place)
    pm = make_pm(settings(
        attributes={"SNMP.1#AlertPort": receiver.port, "SNMPAlert.8#Destination": destination},
        hardware={"community": community, "smbios_guid": guid, "host_name": host})).start()
    before = int(time.time())
    assert "started" in pm.ctl("test-trap", "8", "--road", "ipmi")
    enterprise, generic, specific, version, binding = receiver.trap()
    assert (enterprise, generic, specific) == (".1.3.6.1.4.1.3183.1.1", "6", ".1001")
    assert "v1" in version and version.endswith(f"community {community}")
    name, _, value = binding.partition(" = Hex-STRING: ")
    assert name == ".1.3.6.1.4.1.3183.1.1.1"
    got = bytes.fromhex(value)
    assert got[:18].hex() == ("0" * 36 if len(guid) != 36 else
                              "00112233445566778899aabbccddeeff0000")
    assert before <= int.from_bytes(got[18:22], "big") + EPOCH_1998 <= time.time()
    assert got[22:46].hex() == "ffff202100ff0018000fffff000000000019000f4a2b0100"
    assert got[46:] == host.encode() + b"\0\xc1"


@pytest.mark.parametrize("answer, status, line", [
    (0, 0, ""), (-7, -7, ""), ("error", -1, "Failed to call method"),
    ("text", -1, "Failed to parse response"), ("nothing", -1, "Failed to call method"),
    (None, -1, "Failed to call method")])
def test_bus_road(make_pm, bus, make, answer, status, line):
    manager = None if answer is None else make(LogManager, bus, answer)
    pm = make_pm(settings(attributes={"SNMPAlert.3#State": "1", "SNMPAlert.8#State": 1}),
                 environment=bus.environment).start("-debug")
    pm.ctl("test-trap", "3")
    pm.ctl("test-trap", "8", "--road", "snmp")
    assert manager is None or manager.indexes == [3, 8]
    for said, times in ((f"SnmpTestTrapSubmitEvent() - Exit with status={status}", 2),
                        (f"sendSNMPTestTrap() - Exit with status={status}", 2),
                        ("sendTestTrap() - return code = 0", 1)):
        assert pm.errors().count(said) == times
    assert line in pm.errors()


@pytest.mark.parametrize("road, function, refused, off", [
    ("front", "sendTestTrap", "1", "2"), ("snmp", "sendSNMPTestTrap", "-3", "-1"),
    ("ipmi", "sendIPMITestTrap", "-3", "-1")])
def test_refusals(make_pm, road, function, refused, off):
    pm = make_pm(settings(attributes={"SNMPAlert.2#State": "10"})).start()
    for index, status in (("0", refused), ("9", refused), ("255", refused),
                          ("1", off), ("2", off)):  # no community, no destination, not enabled
        said = pm.ctl("test-trap", index, "--road", road, status=1)
        assert re.search(rf"(?<![-\d]){status}(?!\d)", said), said
    assert ("hardware.community" in pm.errors()) == (road == "ipmi")
    assert refused in pm.ctl("call", f"pm_function_{function}", status=1)  # no record
    pm.ctl("test-trap", "256", "--road", road, status=2)


@pytest.mark.parametrize("community, destination, peer", [
    ("public", "192.0.2.1", "192.0.2.1:162"), ("public", "2001:db8::1", "udp6:[2001:db8::1]:162"),
    ("public", "fe80::1%eth0", "udp6:[fe80::1%eth0]:162"), ("public", "a-b.c_d", "a-b.c_d:162"),
    ("$(touch it) \"`id`*", "h", "h:162"), ("-r 5 -Lf it", "h", "h:162"),
    ("a' -Lf it 'b", "h", None), ("a\\'; touch it", "h", None), ("public", "-Lfit", None),
    ("public", "h -Lf it", None), ("public", "h;touch it", None), ("public", "$(touch it)", None),
    ("public", "h'", None), ("public", "h/../it", None), ("public", "h\u00e4", None)])
def test_hostile_values_change_no_command(make_pm, place, community, destination, peer):
    (place / "snmptrap").write_text(f'#!/bin/sh\nprintf "%s\\n" "$@" >{place}/ran\n')
    (place / "snmptrap").chmod(0o755)
    pm = make_pm(settings(attributes={"SNMPAlert.1#Destination": destination},
                          hardware={"community": community}), mounts=f"cd {place}",
                 environment={"PATH": f"{place}:{os.environ['PATH']}"}).start("-debug")
    said = pm.ctl("test-trap", "1", "--road", "ipmi", status=0 if peer else 1)
    if peer:
        ran = (place / "ran").read_text().split("\n")
        assert ran[:12] == ["-v", "1", "-c", community, peer, ".1.3.6.1.4.1.3183.1.1", "", "6",
                            "1001", "", ".1.3.6.1.4.1.3183.1.1.1", "x"]
        assert ran[12].endswith(" c1") and len(ran) == 14
    else:
        assert "-1" in said and re.search("no trap is sent.*VESK_ERROR_GENERAL", pm.errors())
    assert sorted(f.name for f in place.iterdir()) == (["ran"] if peer else []) + ["snmptrap"]


def test_hanging_log_manager_stops_no_mail(make_pm, sink, bus, make):
    manager = make(LogManager, bus, "nothing")
    pm = make_pm(settings(sink.port, 1, None, {"SNMPAlert.1#State": "1"}),
                 environment=bus.environment | {"SYSTEMD_BUS_TIMEOUT": "60s"}).start()
    client = pm.ctl_start("test-trap", "1")
    assert manager.asked.wait(20)
    pm.ctl("event", "event_ipmi_pet", "--message", "M")
    pm.ctl("test-mail", "1")
    pm.ctl("set", PREFIX + "SNMPAlert.1#State", "0")
    assert client.poll() is None and len(sink.mails) == 2
    assert pm.stop() == 1
    client.communicate(timeout=20)
    assert client.returncode == 3
