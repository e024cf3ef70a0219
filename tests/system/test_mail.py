"""Mails as received by a real SMTP server."""
import os
import re
import ssl
import struct
import subprocess

import pytest
from conftest import CERTIFICATE_ROOT, PREFIX, SmtpSink, ask, settings, until

FOOTER = ("\nTo launch the Norvu Web Interface, click here: https://192.0.2.10\n"
          "To launch the Norvu Virtual Console, click here: https://192.0.2.10/console\n")
LINK = "\nNorvu web UI: https://192.0.2.10\n"
DATE = r"(?:Mon|Tue|Wed|Thu|Fri|Sat|Sun), \d\d [A-Z][a-z]{2} \d{4} \d\d:\d\d:\d\d [+-]\d{4}"


def text(mail):
    """A mail without the headers that msmtp adds, and with a fixed date."""
    data = mail.data.decode().replace("\r\n", "\n")
    data, ids = re.subn(r"^Message-ID: .*\n", "", data, count=1, flags=re.M)
    assert ids == 1
    return re.sub(rf"^(Date|Date/Time): {DATE}$", r"\1: D", data, flags=re.M)


def message(to, subject, body):
    return (f"Date: D\nFrom: norvu@example.com\nTo: {to}\nSubject: {subject}\n"
            f"Content-type: text/plain\n\n{body}\n\n")


def test_event_becomes_four_mails(pm, sink):
    pm.ctl("event", "event_ipmi_pet", "--message", "Fan 3 failed", "--filter-id", "7")
    assert [text(mail) for mail in sink.mails] == [
        message(f"user{n}@example.com", f"Subject {n}", f"Message: Body {n}\nFan 3 failed{FOOTER}")
        for n in (1, 2, 3, 4)]
    assert {mail.sender for mail in sink.mails} == {"norvu@example.com"}


TO_A = ["--to", "a@example.com", "--subject", "S", "--body", "B"]
VERBS = {
    "event": (["event", "event_ipmi_pet", "--message", "M"],
              message("user1@example.com", "Subject 1", f"Message: Body 1\nM{FOOTER}")),
    "alert": (["alert", "--subject", "S", "--body", "B"],
              message("user1@example.com", "S", f"B{FOOTER}")),
    "test-mail": (["test-mail", "1"], message(
        "user1@example.com", "Test email alert from norvu", "Message: Body 1\nEvent Message: "
        f"Test email to user.\nSeverity: Informational\nDate/Time: D\n{FOOTER}")),
    "test-message": (["test-message", *TO_A], message("a@example.com", "S", f"B{LINK}")),
    "alert-mail": (["alert-mail", "1", "--body", "B"],
                   message("user1@example.com", "Subject 1", f"B{LINK}")),
    "mail": (["mail", *TO_A], message("a@example.com", "S", "B")),
}


@pytest.mark.parametrize("verb, end", [
    ("alert", FOOTER), ("alert-mail", LINK), ("test-message", LINK)])
def test_longest_body_keeps_its_links(pm, sink, verb, end):
    call = [*VERBS[verb][0][:-1]]
    body = "line\n" * 407
    printed = pm.ctl(*call, body[:2039 if verb == "alert" else 254], status=2)
    body = body[:int(re.search(r"at most (\d+) are", printed)[1])]
    pm.ctl(*call, body)
    assert text(sink.mails[0]).endswith(body + end + "\n\n")


@pytest.mark.parametrize("verb", VERBS)
def test_second_attempt_and_all_that_follow_use_the_bare_domain(make_pm, make, verb):
    sink = make(SmtpSink, domain=r"192\.0\.2\.10")
    pm = make_pm(settings(sink.port, 1)).start()
    arguments, expected = VERBS[verb]
    pm.ctl(*arguments)
    pm.ctl(*arguments)
    assert [text(mail) for mail in sink.mails] == [expected, expected]
    assert sink.domains == ["[192.0.2.10]", "192.0.2.10", "192.0.2.10"]
    assert pm.left() == ([] if verb == "mail" else ["zorqemailconfig.txt"])
    sink.refuse = 2
    assert "-1" in pm.ctl(*arguments, status=1)
    assert len(sink.mails) == 2 and len(sink.domains) == 5


def test_refusals(pm, sink):
    pm.ctl("set", "pm_str_email_alert4_destination", "")
    for arguments, status, says in (
            ("test-mail 5", 2, "1 to 4"), ("test-mail 4", 1, "-1: the destination has no address"),
            ("test-mail x", 2, ""), ("test-trap 9", 2, "1 to 8"),
            ("test-trap 1", 1, "-1: no SNMP community"), ("test-trap 1 --via bus", 2, "log-manager"),
            ("test-trap 1 --via log-manager", 1, "2: the destination is not enabled"),
            ("test-trap 1 --road snmp", 1, "-1: the destination is not enabled"),
            (f"set {PREFIX}SNMPAlert.1#Destination [::1]", 2, "::1 for example"),
            (f"set {PREFIX}SNMPAlert.1#Destination udp6:::1", 2, "::1 for example"),
            ("alert-mail 5 --body B", 2, "1 to 4"), ("alert-mail 1 --body " + "B" * 255, 2, "254"),
            (f"test-message --to {'t' * 255} --subject S --body B", 2, "254"),
            (f"mail --to {'t' * 250} --subject S --body B", 2, "249"),
            ("mail --to t --body B --subject " + "S" * 245, 2, "244"),
            ("alert --body B --subject " + "S" * 255, 2, "254"),
            ("alert --subject S --body " + "B" * 2040, 2, "2039"), ("statsu", 2, '"status"?'),
            ("help statsu", 2, '"status"?'), ("help test-trap", 0, "udp6"), ("--version", 0, "1.")):
        assert says in pm.ctl(*arguments.split(), status=status)
    assert sink.connections == 0


def test_a_fifo_in_place_of_a_file_fails_at_once(pm, sink):
    for name in ("zorqemail.txt", "zorqemailconfig.txt"):
        os.mkfifo(pm.tmp / name)
        assert "-17" in pm.ctl("test-message", *TO_A, status=1)
        reader = os.open(pm.tmp / name, os.O_RDONLY | os.O_NONBLOCK)
        assert "-17" in pm.ctl("test-message", *TO_A, status=1)
        os.close(reader)
        (pm.tmp / name).unlink()
    pm.ctl("test-message", *TO_A)
    assert len(sink.mails) == 1


def test_a_full_disk_is_named_as_the_reason(make_pm, sink):
    pm = make_pm(settings(sink.port, 1))
    pm.mounts = f"mount -t tmpfs -o size=8k x {pm.tmp}; dd if=/dev/zero of={pm.tmp}/all || :"
    pm.start()
    for verb in (["test-message", *TO_A], ["test-mail", 1]):
        assert "written: No space left on device" in pm.ctl(*verb, status=1)


@pytest.fixture(scope="module")
def certificate(area):
    subprocess.run("openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes "
                   "-keyout host.key -out host.crt -subj /CN=localhost -days 2".split(),
                   check=True, capture_output=True, cwd=area)
    context = ssl.create_default_context(ssl.Purpose.CLIENT_AUTH)
    context.load_cert_chain(area / "host.crt", area / "host.key")
    return context


# Server's address, encryption, configured mechanism, password, mechanisms that the server
# offers; expected mechanism, "" for no login, None for a failure.
RELAYS = [
    ("127.0.0.1", 0, None, "", "", ""), ("::1", 0, None, "", "", ""),
    ("localhost", 1, None, "", "", ""), ("::1", 2, None, "", "", ""),
    ("127.0.0.1", 0, 2, "p w", "LOGIN", "LOGIN"), ("127.0.0.1", 1, 0, "p w", "PLAIN", "PLAIN"),
    ("localhost", 2, 4, "p w", "PLAIN CRAM-MD5", "CRAM-MD5"),
    ("127.0.0.1", 0, 1, "wrong", "PLAIN", None), ("127.0.0.1", 0, 1, "p w", "LOGIN", None),
]


@pytest.mark.parametrize("host, encryption, mechanism, password, offered, used", RELAYS)
def test_relays(make_pm, make, area, certificate, host, encryption, mechanism, password, offered,
                used):
    v6 = host == "::1"
    sink = make(SmtpSink, host.replace("localhost", "127.0.0.1"), starttls=encryption == 2,
                tls=certificate if encryption else None, mechanisms=offered,
                logins={"u": "p w"} if offered else None)
    flat = {"pm_str_email_server_address": host, "alert_str_smtp_user": "u",
            "alert_bool_smtp_auth_enable": mechanism is not None,
            "alert_str_smtp_password": password, "alert_int_smtp_sasl": mechanism or 0}
    pm = make_pm(settings(sink.port, 1, flat, {
        "Remotehosts.1#ConnectionEncryption": encryption, "IPv4.1#Enable": int(not v6),
        "IPv6.1#Enable": int(v6), "IPv6.1#Address1": "2001:db8::10"}),
        mounts=CERTIFICATE_ROOT.format(area) if encryption else "").start()
    pm.ctl("event", "event_ipmi_pet", "--message", "M", status=1 if used is None else 0)
    domain, link = (("[IPv6:2001:db8::10]", "https://[2001:db8::10]/console\n") if v6 else
                    ("[192.0.2.10]", "https://192.0.2.10/console\n"))
    assert [(mail.mechanism or "", mail.tls, mail.domain) for mail in sink.mails] == (
        [] if used is None else [(used, bool(encryption), domain)])
    assert all(link in text(mail) for mail in sink.mails)


def test_body_of_50_megabytes(pm, sink, place):
    body = (b"0123456789" * 90 + b"\n") * 58000
    (place / "body").write_bytes(body)
    pm.ctl("mail", "--to", "a@example.com", "--subject", "S", "--body-file", place / "body")
    got = sink.mails[0].data.replace(b"\r\n", b"\n").partition(b"\n\n")[2]
    assert got == body + b"\n\n" and pm.left() == []


def test_350_detached_mails_at_a_hanging_relay(make_pm, make, connect):
    sink = make(SmtpSink, mode="hang")
    pm = make_pm(settings(sink.port, 4, None, {"SNMPAlert.1#Destination": "127.0.0.1"},
                          {"community": "public"}), mounts="ulimit -n 1024").start()
    client = connect(pm)
    before = pm.held()
    for n in range(350):
        record = struct.pack("255s255s?", b"S%d" % n, b"t%d@b" % n, False) + b"B%d\0" % n
        client.send_multipart(ask(b"call", b"pm_function_sendGenericEmail", record))
        assert client.recv_multipart()[3] == b"0"
    client.close()
    until(lambda: pm.held()[2] == 56)  # as many commands of generic mails run at a time
    pm.ctl("test-trap", "1")  # a command of a request does not wait for them
    assert pm.held()[0] < 300 and pm.held()[2] == 56
    sink.mode = "serve"
    sink.release()
    sink.wait(lambda s: len(s.mails) >= 350)
    assert {text(mail) for mail in sink.mails} == {message(f"t{n}@b", f"S{n}", f"B{n}")
                                                   for n in range(350)}
    until(lambda: pm.left() == [] and pm.holds_no_more_than(before))


def test_hanging_relay_stops_nothing_else(make_pm, make):
    sink = make(SmtpSink, mode="hang")
    pm = make_pm(settings(sink.port, 1, {"pam_int_ldap_enable_mode": 1},
                          {"SNMPAlert.1#Destination": "127.0.0.1"},
                          {"community": "public"})).start()
    for _ in range(10):
        pm.ctl("mail", *TO_A, "--no-wait")
    slow = [pm.ctl_start("event", "event_ipmi_pet", "--message", "M"),
            pm.ctl_start("test-message", *TO_A)]
    sink.wait(lambda s: s.connections > 10)
    pm.ctl("test-trap", "1")
    pm.ctl("test-trap", "2", status=1)  # no address
    pm.ctl("set", PREFIX + "ActiveDirectory.1#Enable", "1")
    until(lambda: pm.ctl("get", "pam_int_ldap_enable_mode") == "0")
    assert "pm_function_sendTestTrap" in pm.ctl("list")
    assert [client.poll() for client in slow] == [None, None]
    assert pm.stop() == 1 and pm.errors().endswith("pm: ended with mails under way: 12\n")
    sink.release()
    assert [(client.communicate(timeout=20), client.returncode)[1] for client in slow] == [3, 3]
