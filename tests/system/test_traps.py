"""Test traps as received by a real snmptrapd and by a log manager on a bus."""
import os
import socket
import subprocess
import time

import pytest
from conftest import settings
from log_manager import Bus, LogManager

GUID = "00112233-4455-6677-8899-aabbccddeeff"
GUID_BYTES = GUID.replace("-", "") + "0000"
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
        while "NET-SNMP version" not in self.process.stdout.readline():  # printed when it listens
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


@pytest.mark.parametrize("destination, guid, sent, host, community", [
    ("127.0.0.1", GUID, GUID_BYTES, "host12", "pub lic"),
    ("::1", GUID.upper(), GUID_BYTES, "h" * 64, "c" * 18),
    ("localhost", "not a GUID", "0" * 36, "ab", "$HOME`id`")])
def test_trap_bytes(make_pm, make, place, destination, guid, sent, host, community):
    receiver = make(TrapReceiver, place)
    pm = make_pm(settings(
        attributes={"SNMP.1#AlertPort": receiver.port, "SNMPAlert.8#Destination": destination},
        hardware={"community": community, "smbios_guid": guid, "host_name": host})).start()
    before = int(time.time())
    assert f"sent to {destination}, port {receiver.port}" in pm.ctl("test-trap", "8")
    *head, version, binding = receiver.trap()
    assert head == [".1.3.6.1.4.1.3183.1.1", "6", ".1001"]
    assert "v1" in version and version.endswith(f"community {community}")
    name, _, value = binding.partition(" = Hex-STRING: ")
    got = bytes.fromhex(value)
    assert before <= int.from_bytes(got[18:22], "big") + EPOCH_1998 <= time.time()
    assert name == ".1.3.6.1.4.1.3183.1.1.1" and (got[:18] + got[22:]).hex() == (
        sent + "ffff202100ff0018000fffff000000000019000f4a2b0100" + host.encode().hex() + "00c1")


@pytest.mark.parametrize("answer, status, reason", [
    (0, 0, "it alone knows"), (-7, -7, "the log manager answered -7"),
    ("error", -1, "the log manager was not reached or failed"),
    (None, -1, "the log manager is not on the system bus")])
def test_by_the_log_manager(make_pm, make, place, monkeypatch, answer, status, reason):
    bus = make(Bus, place)
    manager = None if answer is None else make(LogManager, bus, answer)
    pm = make_pm(settings(attributes={"SNMPAlert.3#State": "1", "SNMPAlert.8#State": 1}),
                 environment=bus.environment).start("-debug")
    monkeypatch.setenv("DBUS_SYSTEM_BUS_ADDRESS", bus.environment["DBUS_SYSTEM_BUS_ADDRESS"])
    assert ("cannot be sent by the log manager" in pm.ctl("check", status=1)) == (answer is None)
    for arguments in (["3", "--via", "log-manager"], ["8", "--road", "snmp"]):
        assert reason in pm.ctl("test-trap", *arguments, status=1 if status else 0)
    assert manager is None or manager.indexes == [3, 8]
    assert pm.errors().count(f"sendSNMPTestTrap() - Exit with status={status}") == 2
