"""Hostile and careless clients at the request socket: refused, and nobody else is hurt."""
import contextlib
import socket
import struct

import pytest
import zmq
from conftest import until

CHANGE = b"CfgMgr$1$AttributeChange$norvu.embedded.1#lockdown.1#systemlockdown$"
GENERIC = b"pm_function_sendGenericEmail"


@pytest.fixture
def connect(pm):
    with zmq.Context() as context:
        context.linger = 0

        def dealer():
            client = context.socket(zmq.DEALER)
            client.connect(f"ipc://{pm.root}/run/pm/requests")
            return client
        yield dealer
        context.destroy()


def change(offset, size=57):
    return struct.pack("<IH14xI", size, 1, offset).ljust(size, b"x")


def test_refusals_hurt_nobody(pm, sink, connect):
    client = connect()
    before = pm.held()
    for code, *frames in (
            (b"version", b"pm/2", b"tag", b"list"), (b"malformed", b"pm/1", b"tag"),
            (b"unknown-verb", b"pm/1", b"tag", b""), (b"malformed", *[b"pm/1"] * 2000),
            (b"unknown-name", b"pm/1", b"tag", b"call", GENERIC + b"x", b"\0" * 1000),
            (b"malformed", b"pm/1", b"tag", b"call", GENERIC + b"\0x", b""),
            (b"unknown-name", b"pm/1", b"tag", b"get", b"%s%n/../etc"),
            (b"malformed", b"pm/1", b"tag", b"event", CHANGE, b"wait", change(57)),
            (b"malformed", b"pm/1", b"tag", b"event", CHANGE, b"wait", change(2**32 - 1)),
            (b"malformed", b"pm/1", b"tag", b"event", CHANGE, b"wait", change(24, 24)),
            (b"too-large", b"pm/1", b"tag", b"call", GENERIC, b"x" * (65 << 20))):
        client.send_multipart(frames)
        assert client.poll(20000), frames[:4]
        reply = client.recv_multipart()
        assert reply[0] == b"pm/1" and reply[2:4] == [b"refused", code], (frames[:4], reply)
    client.close()
    until(lambda: pm.holds_no_more_than(before))
    assert sink.connections == 0
    assert pm.ctl("get", "pm_str_email_alert4_subject") == "Subject 4"


def test_noise_and_hang_ups_hurt_nobody(pm, sink, connect):
    held = []
    for noise in (b"", b"GET / HTTP/1.0\r\n\r\n", bytes(100000),
                  b"\xff\0\0\0\0\0\0\0\1\x7f\3\0NULL".ljust(64, b"\0") + b"\xff" * 64):
        held.append(socket.socket(socket.AF_UNIX))
        held[-1].connect(f"{pm.root}/run/pm/requests")
        held[-1].setblocking(False)
        with contextlib.suppress(OSError):  # hung up on already
            held[-1].send(noise)
    for _ in range(20):  # those that ask and go before they are answered
        client = connect()
        for _ in range(50):
            client.send_multipart([b"pm/1", b"", b"list"])
        client.send_multipart([b"pm/1", b"", b"event", b"event_ipmi_pet", b"wait"])
        client.close()
    assert "event_ipmi_pet" in pm.ctl("list")
    pm.ctl("mail", "--to", "a@example.com", "--subject", "S", "--body", "B")
    assert len(sink.mails) >= 1
    for connection in held:
        connection.close()
