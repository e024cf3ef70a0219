"""Hostile and faulty clients of the request socket are refused and do not disturb others."""
import contextlib
import re
import socket
import struct

import pytest
import zmq
from conftest import SmtpSink, ask, settings, until

CHANGE = b"CfgMgr$1$AttributeChange$norvu.embedded.1#lockdown.1#systemlockdown$"
GENERIC = b"pm_function_sendGenericEmail"
MAIL = b"pm_function_sendTestEmailEx"


def change(offset, size=57):
    return ask(b"event", CHANGE, b"wait", struct.pack("<IH14xI", size, 1, offset).ljust(size, b"x"))


def test_refusals_hurt_nobody(pm, sink, connect):
    client = connect(pm)
    before = pm.held()
    for code, frames in (
            (b"version", [b"pm/2", b"tag", b"list"]), (b"malformed", ask()),
            (b"unknown-verb", ask(b"")), (b"malformed", ask(*[b"pm/1"] * 2000)),
            (b"malformed", ask(b"call")), (b"malformed", ask(b"call", b"n" * 256)),
            (b"unknown-name", ask(b"call", GENERIC + b"x", b"\0" * 1000)),
            (b"malformed", ask(b"call", GENERIC + b"\0x", b"")),
            (b"unknown-name", ask(b"get", b"%s%n/../etc")),
            (b"failed", ask(b"set", b"alert_int_smtp_sasl", b"many")),
            (b"unknown-name", ask(b"event", b"event_ipmi", b"wait")),
            (b"malformed", ask(b"event", b"event_ipmi_pet", b"maybe")),
            (b"malformed", change(57)), (b"malformed", change(2**32 - 1)),
            (b"malformed", change(24, 24)),
            (b"too-large", ask(b"call", GENERIC, b"x" * (65 << 20)))):
        client.send_multipart(frames)
        reply = client.recv_multipart()
        assert reply[0] == b"pm/1" and reply[2:4] == [b"refused", code], (frames[:4], reply)
    client.send_multipart(change(56))
    assert client.recv_multipart()[2:] == [b"status", b"0"]
    client.close()
    until(lambda: pm.holds_no_more_than(before))
    assert sink.connections == 0
    assert pm.ctl("get", "pm_str_email_alert4_subject") == "Subject 4"


@pytest.mark.parametrize("size, taken", [(1, 513), (60 << 20, 4)])  # one of them is running
def test_what_waits_is_bounded_and_others_are_served(make_pm, make, connect, size, taken):
    sink = make(SmtpSink, mode="hang")
    pm = make_pm(settings(sink.port, 1)).start()
    client = connect(pm)
    client.send_multipart(ask(b"call", MAIL, b"\1" * size))
    sink.wait(lambda s: s.connections > 0)
    for _ in range(taken):
        client.send_multipart(ask(b"call", MAIL, b"\5" * size))
    assert client.recv_multipart()[2:4] == [b"refused", b"busy"]  # arrives before all other replies
    assert "-1" in pm.ctl("test-trap", 1, status=1)
    sink.mode = "drop"
    sink.release()
    assert [client.recv_multipart()[3] for _ in range(taken)] == [b"-1"] + [b"-3"] * (taken - 1)


def test_replies_that_nobody_reads(pm, connect):
    client = connect(pm)
    for n in range(10000):
        client.send_multipart([b"pm/1", b"%d" % n, b"get", b"NVC/productinfo"])
    assert pm.ctl("list")  # others are served at the same time
    assert [int(client.recv_multipart()[1]) for _ in range(10000)] == list(range(10000))
    # Beyond the limit for kept replies, pm closes the connection.
    greedy = connect(pm)
    ends = greedy.get_monitor_socket(zmq.EVENT_DISCONNECTED)

    def ask_more():
        with contextlib.suppress(zmq.Again):
            for _ in range(1000):
                greedy.send_multipart(ask(b"list"), zmq.NOBLOCK)
    until(lambda: ask_more() or "does not read its replies" in pm.errors(), 60)
    assert pm.ctl("list")

    def has_ended():  # the replies that pm sent before may be lost or come first
        with contextlib.suppress(zmq.Again):
            for _ in range(1000):
                assert greedy.recv_multipart(zmq.NOBLOCK)[2] == b"done"
        return ends.poll(0)
    until(has_ended)


def test_copies_of_detached_mails_are_bounded(make_pm, make, connect):
    pm = make_pm(settings(make(SmtpSink, mode="hang").port, 1)).start()
    client = connect(pm)
    record = struct.pack("255s255s?", b"S", b"a@example.com", False).ljust(60 << 20, b"x")
    for status in [b"0"] * 4 + [b"-1"]:
        client.send_multipart(ask(b"call", GENERIC, record))
        assert client.recv_multipart()[2:4] == [b"status", status]


def test_noise_and_hang_ups_hurt_nobody(pm, sink, connect, make):
    for noise in (b"", b"GET / HTTP/1.0\r\n\r\n", bytes(100000),
                  b"\xff\0\0\0\0\0\0\0\1\x7f\3\0NULL".ljust(64, b"\0") + b"\xff" * 64):
        held = make(socket.socket, socket.AF_UNIX)
        held.connect(f"{pm.root}/run/pm/requests")
        held.setblocking(False)
        with contextlib.suppress(OSError):  # pm has closed it already
            held.send(noise)
    for _ in range(20):  # clients that close before they get the reply
        client = connect(pm)
        for _ in range(50):
            client.send_multipart(ask(b"list"))
        client.send_multipart(ask(b"event", b"event_ipmi_pet", b"wait"))
        client.close()
    assert "event_ipmi_pet" in pm.ctl("list")
    pm.ctl("mail", "--to", "a@example.com", "--subject", "S", "--body", "B")
    assert len(sink.mails) >= 1


def test_drain_waits_for_what_was_accepted_and_takes_nothing_new(make_pm, make):
    sink = make(SmtpSink, mode="hang")
    pm = make_pm(settings(sink.port, 1)).start()
    for _ in range(4):
        pm.ctl("event", "event_ipmi_pet", "--message", "M", "--no-wait")
    mail = ["mail", "--to", "a@b", "--subject", "S", "--body", "B", "--no-wait"]
    pm.ctl(*mail)
    sink.wait(lambda s: s.connections == 2)
    assert re.search("3 waiting and 1 running .* 1 generic", pm.ctl(
        "drain", "--timeout", "0.2", status=1))
    for refused in (mail, ["event", "event_ipmi_pet"], ["set", "NVC/description", "x"]):
        assert "refused: pm is being drained" in pm.ctl(*refused, status=1)
    assert "no new work is taken" in pm.ctl("status")
    sink.mode = "serve"
    sink.release()
    pm.ctl("drain")
    assert len(sink.mails) == 5 and pm.stop() == 1
    pm.start()
    for call in (["drain"], ["drain", "--cancel"], mail):
        pm.ctl(*call)
