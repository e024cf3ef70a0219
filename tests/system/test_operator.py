"""The verbs check, log and status of pmctl, as text and as JSON."""
import json
import os
import re
import socket
import subprocess

import pytest
from conftest import BUILD, CERTIFICATE_ROOT, NAMESPACES, PREFIX, TREE, SmtpSink, ask, settings, until

SECRET, COMMUNITY = "hunter2 of spades", "very private"
at = "'Norvu.Embedded.1#{}' = {}".format
OWN = ".*IPv4.1#Address: .* 0.0.0.0"  # of a machine without a network
# A valid settings file; each {} takes further lines of a table.
FILE = ("[settings]|pm_str_email_server_address = '127.0.0.1'|pm_bool_email_alert1_enabled = true|"
        "pm_str_email_alert1_destination = 'a@example.com'|{}|[attributes]|{}|[hardware]|{}|")


@pytest.mark.parametrize("text, findings", [
    (FILE.format("pm_str_email_server_adress = ''|pm_bool_email_alert2_enabled = true|"
                 "alert_bool_smtp_auth_enable = true", f"x|{at('SNMP.1#x', 0)}|"
                 f"{at('Remotehosts.1#smtpport', 0)}", "community = pub"), [
        "5: .*did you mean \"pm_str_email_server_address\"", "6: .*alert2_enabled: .*no address",
        "7: .*auth_enable: .*no user", "7: .*auth_enable: .*no password",
        "7: .*auth_enable: mechanism 0 .*refuses", "9: syntax error",
        "10: .*SNMP.1#x: is no known key", "11: .*smtpport: .* from 1 to 65535", "13: syntax error: must be a text in quotes", OWN]),
    ("[attributes]|" + at("IPv4.1#Enable", 0), [
        "2: .*Enable: neither IPv4 nor", "pm_str_email_server_address: no mail", "no mail dest"]),
    (FILE.format("", f"{at('IPv4.1#Enable', 0)}|{at('IPv6.1#Enable', 1)}|"
                 + at("Remotehosts.1#ConnectionEncryption", 2), ""), [
        "2: pm_str_email_server_address: is an IPv4 address", "9: .*Encryption: .*never verified",
        "9: .*Encryption: .*host.crt", "9: .*Encryption: .*host.key", ".*Address1: mails go"]),
    (FILE.format("", "|".join([at("SNMPAlert.2#Destination", "'a;b'"), at("SNMPAlert.4#State", 1),
                               at("SNMPAlert.3#Destination", "'-v'")]), "community = \"a'b\""), [
        "7: .*2#Destination: would", "8: .*4#State: .*no address", "9: .*3#Destination: would",
        "11: hardware.community: would be", OWN, "holds a password.*chmod 600"]),
    (FILE.format("", at("SNMPAlert.1#Destination", "'::1'"), ""), [OWN, "hardware.community: no SNMP"])])
def test_check_finds(make_pm, text, findings):
    pm = make_pm(text.replace("|", "\n"))
    found, printed = (subprocess.run(  # without the machine's network, whose addresses are defaults
        [*NAMESPACES, "-n", BUILD / "pmctl/pmctl", "--root", pm.root, "check", "--offline", *form],
        stdout=subprocess.PIPE, text=True).stdout.rstrip() for form in ([], ["--json"]))
    for line, finding in zip(found.split("\n"), findings, strict=True):
        assert re.match(rf"(error|warning|note): {pm.root}/etc/pm.conf:? ?{finding}", line), line
    assert [str(finding["line"] or "") for finding in json.loads(printed)["findings"]] == [
        re.match(r"\d*", finding)[0] for finding in findings]


SENDER, ENCRYPTION = "Remotehosts.1#SenderEmail", "Remotehosts.1#ConnectionEncryption"
LOGIN = {"alert_bool_smtp_auth_enable": True, "alert_str_smtp_user": "u",
         "alert_str_smtp_password": SECRET}


@pytest.mark.parametrize("flat, attributes, findings", [
    ({}, {}, []), ({}, {"network.1#dnsnvcname": "n%U"}, []),
    ({"pm_str_email_server_address": "mail.example.com"}, {}, ["note: .*keeps no queue"]),
    ({}, {SENDER: "%U.%C@%%H%Z"}, ["SenderEmail: holds %U", "SenderEmail: holds %H", "%C"]),
    ({}, {SENDER: "%M@a"}, ["%M.*(no mail can be sent|replaces)"]),
    ({}, {SENDER: "", "network.1#dnsnvcname": "n%U"}, ["dnsnvcname: holds %U"]),
    ({}, {SENDER: " "}, ["SenderEmail: holds blanks only"]),
    ({"pm_str_email_alert2_destination": "ops"}, {SENDER: "a"}, [
        "alert2_destination: .*without \"@\"", "SenderEmail: .*without \"@\""]),
    (LOGIN, {}, ["auth_enable: mechanism 0 .*refuses"]),
    (LOGIN | {"alert_int_smtp_sasl": 1}, {}, ["sasl: .*in clear"]),
    (LOGIN | {"alert_int_smtp_sasl": 4}, {}, ["sasl: .*try out"]),
    (LOGIN | {"alert_str_smtp_password": "", "alert_int_smtp_sasl": 5}, {}, [
        "auth_enable: .*no password", "auth_enable: mechanism 0", "sasl: .*from 0 to 4"]),
    (LOGIN, {ENCRYPTION: 3}, ["auth_enable: mechanism 0", "Encryption: .*from 0 to 2"]),
    (LOGIN, {ENCRYPTION: 1}, ["host.crt", "host.key", "note: .*Encryption: .*never verified"]),
    ({}, {"IPv4.1#Address": "", "IPv6.1#Enable": 1, "IPv6.1#Address1": ""}, [
        "IPv4.1#Address: is empty", "IPv6.1#Address1: is empty"]),
    ({}, {"ActiveDirectory.1#Enable": 1, "LDAP.1#Enable": 1}, ["ad_enable_mode_pl: .*both on"]),
    (LOGIN | {"pm_str_email_server_address": "::1\n", "alert_str_smtp_user": "u\r"},
     {SENDER: "a@b\n", ENCRYPTION: 9, "SNMP.1#AlertPort": 0, "Remotehosts.1#smtpport": 65536}, [
         "server_address: .*control.*single line", "user: .*control.*single line", "no mail server",
         "auth_enable: .*no user", "auth_enable: mech", "smtpport: .*from 1 to 65535",
         "AlertPort: .*from 1 to 65535", "SenderEmail: .*control.*single line", "from 0 to 2"])])
def test_check_of_what_goes_to_the_relay(make_pm, flat, attributes, findings):
    pm = make_pm(settings(flat=flat, attributes=attributes))
    (pm.root / "etc/pm.conf").chmod(0o600)
    wrong = any(not finding.startswith("note") for finding in findings)
    found = pm.ctl("check", "--offline", status=int(wrong)).split("\n")
    found = [line for line in found if findings and "nothing is wrong" not in line] or found
    if not findings:
        findings = ["nothing is wrong"]
    assert len(found) == len(findings) and SECRET not in str(found), found
    for finding in findings:
        assert any(re.search(finding, line) for line in found), (finding, found)


def test_check_asks_run_time_values_and_network(pm, monkeypatch):
    assert "nothing is wrong" in pm.ctl("check")
    for key, value in ((PREFIX + "Remotehosts.1#smtpport", 1), ("hardware.community", SECRET),
                       (PREFIX + "SNMPAlert.1#Destination", "nowhere.invalid")):
        pm.ctl("set", key, value)
    (pm.root / "var/lib/pm/settings.toml").chmod(0o640)
    monkeypatch.setenv("PATH", "/nowhere")
    found = pm.ctl("check", status=1)
    for finding in ("smtpport: has no effect: .*\"1\".*pmctl unset", "msmtp is not found",
                    "127.0.0.1 does not answer at port 1 ", "snmptrap is not found",
                    "1#Destination: .*nowhere.invalid", "settings.toml: .*chmod 600"):
        assert re.search(finding, found), found
    assert SECRET not in found and len(found.split("\n")) == 6


@pytest.mark.parametrize("change, finding", [
    ("true", ""), ("chmod 644 host.key", "host.key may be read"),
    ("cp other.key host.key", "host.key is not the key of"),
    ("openssl x509 -in host.crt -signkey host.key -days 0 -out host.crt", "host.crt has expired"),
    ("echo x >host.crt", "host.crt is no certificate"), ("echo x >host.key", "host.key is no priv")])
def test_check_of_certificate_and_key(make_pm, place, change, finding):
    make = ("openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes "
            "-subj /CN=h -days 99 -keyout {0}.key -out {0}.crt 2>/dev/null && ")
    subprocess.run(make.format("other") + make.format("host") + change, shell=True, check=True,
                   cwd=place, stderr=subprocess.DEVNULL)
    pm = make_pm(settings(attributes={ENCRYPTION: 1}))
    done = subprocess.run([*NAMESPACES, "sh", "-c", CERTIFICATE_ROOT.format(place) + 'exec "$@"', "sh",
                           BUILD / "pmctl/pmctl", "--root", pm.root, "check", "--offline"],
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    assert done.returncode == int(bool(finding)) and finding in done.stdout, done.stdout


def test_check_of_rights_and_of_a_silent_server(make_pm, make):
    sink = make(SmtpSink, mode="hang")
    pm = make_pm(settings(sink.port))
    (pm.root / "var/lib/pm").mkdir(parents=True)
    (pm.root / "var/lib/pm").chmod(0o777)
    (pm.root / "etc/pm.conf").chmod(0o666)
    found = pm.ctl("check", status=1)
    for finding in ("does not greet", "pm.conf: others .*0666", "lib/pm: others .*0777.*chmod 700"):
        assert re.search(finding, found), found


@pytest.fixture
def failed(make_pm, place):  # one mail failed, with secrets in msmtp's message; one trap was sent
    (place / "msmtp").write_text('#!/bin/sh\ngrep password "$2" >&2; echo no >&2; exit 77\n')
    (place / "msmtp").chmod(0o700)
    pm = make_pm(settings(
        flat=LOGIN, hardware={"community": COMMUNITY},
        attributes={"SNMPAlert.1#Destination": "127.0.0.1", "SNMP.1#AlertPort": 9}),
        environment={"PATH": f"{place}:{os.environ['PATH']}"}).start()
    assert "pmctl log" in pm.ctl("test-mail", 1, status=1)
    pm.ctl("test-trap", 1)
    return pm


def test_log_tells_reasons_and_no_secrets(failed, monkeypatch):
    monkeypatch.setenv("TZ", "XXX-1")
    log = failed.ctl("log")
    for text in (r"2 \[220\] command failed: msmtp: exit status 77; it said: password .*no",
                 r"5 \[258\] \[\d+\]: sendTrap\(\) - executing: \[snmptrap .* -c '\*\*\*' 127.*"):
        assert re.search(rf"(?m)^[\d-]{{10}}T[\d:]{{8}}\.\d{{3}}\+01:00 {text}$", log), log
    assert SECRET not in log and COMMUNITY not in log and "sendTrap" not in failed.errors()
    assert failed.ctl("log", "--utc", "--since", "1h", "--level", "error").count("Z 2 [") == 4
    assert failed.ctl("log", "--since", "2099-01-01") == ""
    assert "is no time" in failed.ctl("log", "--since", "yesterday", status=2)


JOURNAL = """
mount -t tmpfs tmpfs /run; mkdir -p /run/systemd/journal; touch /run/systemd/journal/socket
mount --bind {}/journal /run/systemd/journal/socket
export JOURNAL_STREAM=$(stat -L -c %d:%i /proc/self/fd/2)
"""


def test_mails_in_the_journal(make_pm, sink, place):
    ids = re.findall("(?m)^-- ([0-9a-f]{32})$", (TREE / "packaging/pm.catalog").read_text())
    with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as journal:
        journal.bind(f"{place}/journal")
        journal.settimeout(20)
        sink.refuse = 2
        pm = make_pm(settings(sink.port, 1), mounts=JOURNAL.format(place)).start()
        pm.ctl("test-mail", 1, status=1)
        pm.ctl("test-mail", 1)
        seen = []
        while "PM_STATUS=0\n" not in "".join(seen[-1:]):
            seen.append(journal.recv(65536).decode())
    assert "PM_DESTINATION=user1@example.com\n" in seen[-1]
    assert re.findall("(?:MESSAGE_ID|PM_STATUS)=(.*)", "".join(seen)) == [
        ids[1], ids[1], ids[0], "-1", "0"]


def test_log_is_bounded_and_followed(pm, connect):
    client = connect(pm)
    for times, status, request in (  # the events log three lines each and no failure
            (500, b"1", ask(b"call", b"pm_function_sendTestTrap")),
            (200, b"0", ask(b"event", b"event_ipmi_pet", b"wait", b"\0" * 24))):
        for _ in range(times):
            client.send_multipart(request)
        assert all(client.recv_multipart()[3] == status for _ in range(times))
    everything = pm.ctl("log").split("\n")
    failures = pm.ctl("log", "--level", "error").split("\n")
    assert len(everything) == 500 + 100 and len(failures) == 100
    assert pm.ctl("log", "-n", "2", "--level", "error").split("\n") == failures[-2:]
    with pm.ctl_start("log", "-n", "1", "-f", "--level", "error") as follower:
        assert follower.stdout.readline() == failures[-1] + "\n"
        pm.ctl("test-trap", 1, status=1)
        assert " 2 [" in follower.stdout.readline()  # and no word of the lines of other levels
    with pm.ctl_start("log", "-n", "1", "-f") as follower:
        assert follower.stdout.readline().rstrip("\n") in pm.ctl("log")
        pm.ctl("test-trap", 1, status=1)
        assert "".join(follower.stdout.readline() for _ in range(3)).rstrip("\n") in pm.ctl("log")
        pm.stop()
        while "waiting for its next start" not in follower.stdout.readline():
            pass
        pm.start()
        while "Registered function pm_function_sendTestTrap" not in follower.stdout.readline():
            pass


def test_status_counts(failed):
    failed.ctl("set", "pm_bool_email_alert3_enabled", "false")
    failed.ctl("event", "event_ipmi_pet", "--message", "Fan", status=1)
    status, served, value = (json.loads(failed.ctl(*verb, "--json")) for verb in (
        ["status"], ["list"], ["get", "pm_bool_email_alert3_enabled"]))
    assert [[*status[kind].values()] for kind in ("mails", "relay_runs", "traps")] == [
        [0, 1 + 3], [0, 2 + 6], [1, 0]]
    once = {"done": 1, "failed": 1, "running": 0}
    assert status["functions"]["pm_function_sendTestEmailEx"] == once | {"waiting": 0}
    assert status["topics"]["event_ipmi_pet"] == once
    assert status["last_failure"]["reason"].startswith("msmtp: exit status 77; it said:")
    assert all(set(served[kind]) == set(status[kind]) for kind in ("functions", "topics"))
    assert (status["service"], status["module"]) == ("email_trap_lqorn", 220)
    assert status["last_failure"]["destination"] == "user4@example.com"
    assert "0 taken by the mail server, 4 failed" in failed.ctl("status")
    metrics = failed.ctl("status", "--openmetrics").split("\n")
    assert {"pm_up 1", 'pm_mails_total{result="failed"} 4', "# TYPE pm_mails counter",
            'pm_function_calls_total{function="pm_function_sendTestEmailEx",result="failed"} 1'
            } < set(metrics) and metrics[-1] == "# EOF"
    assert value["value"] is False and value["source"] == "run time"


def test_reasons(make_pm, sink, place):
    pm = make_pm(settings(sink.port, 2)).start()
    assert "127.0.0.1 took the test mail for user1@example.com" in pm.ctl("test-mail", 1)
    sink.refuse = 2  # both attempts to send the first of two mails
    event = pm.ctl("event", "event_ipmi_pet", "--message", "M", status=1)
    assert re.search(r"user1@.* failed, status -1: msmtp: .*550 No such", event) and (
        "user2" not in event)
    mail = ["--subject", "S", "--body", "B"]
    for server, reason in (("0.0.0.0", "no mail server is set"), ("", 'server "" does not resolve'),
                           ("nowhere.invalid", "server nowhere.invalid does not resolve: .+"),
                           ("::1", "server ::1 has no address of an enabled family")):
        pm.ctl("set", "pm_str_email_server_address", server)
        assert re.search(reason, pm.ctl("alert", *mail, status=1))
    sink.refuse = 2
    pm.ctl("set", "pm_str_email_server_address", "0.0.0.0")
    says = pm.ctl("test-message", "--to", "a@b", *mail, status=1)
    assert re.search("no mail server is set; msmtp: .*550 No such", says)
    pm.ctl("set", "pm_str_email_server_address", "::1")
    for wait in ([], ["--no-wait"]):
        pm.ctl("mail", "--to", 'a" b@c', *mail, *wait, status=0 if wait else 1)
    until(lambda: json.loads(pm.ctl("status", "--json"))["generic_mails"] == {
        "done": 2, "failed": 2, "running": 0})
    last = json.loads(pm.ctl("status", "--json"))["last_failure"]
    assert (last["destination"], last["status"]) == ('a" b@c', -1) and "::1" in last["reason"]
    assert len(re.findall("not sent: .*nowhere.invalid does not", pm.errors())) == 2
    pm.ctl("set", "pm_str_email_server_address", "127.0.0.1")
    (pm.tmp / "zorqemail.txt").mkdir()
    for verb in (["test-mail", 1], ["test-message", "--to", "a@b", *mail]):
        assert re.search("-17: .*: Is a directory", pm.ctl(*verb, status=1))
    pm.ctl("set", "pm_bool_email_alert1_enabled", "false")
    pm.ctl("set", "pm_str_email_alert2_destination", "")
    assert "no mail was sent: no destination is enabled" in pm.ctl("alert", *mail)
    pm.stop()
    for root, says in ((pm.root, "no pm is running"), (place, "has no etc/pm.conf")):
        done = subprocess.run([BUILD / "pmctl/pmctl", "--root", root, "list"], stderr=subprocess.PIPE)
        assert done.returncode == 3 and says in done.stderr.decode()


def test_examples_of_neighbours(pm, sink):
    tools = TREE / "packaging/examples"
    environment = os.environ | {
        "PATH": f"{BUILD}/pmctl:{os.environ['PATH']}", "PM_HOST_ROOT": str(pm.root),
        "SMARTD_FULLMESSAGE": "line\n" * 500, "SMARTD_FAILTYPE": "Health", "SMARTD_DEVICESTRING": "sda",
        "MONIT_HOST": "web1", "MONIT_SERVICE": "root", "MONIT_EVENT": "Resource limit matched",
        "MONIT_DATE": "now", "MONIT_DESCRIPTION": "space usage 95%"}
    for tool, lines, says in (("smartd-pm", None, b": SMART Health on sda"),
                              ("monit-pm", None, b"web1: root: Resource limit matched"),
                              ("lines-pm", b"PSU 2 lost\n\n" + b"x" * 600,
                               b"\r\nPSU 2 lost\r\n")):
        sink.mails.clear()
        subprocess.run([tools / tool], env=environment, input=lines, check=True)
        sink.wait(lambda s: len(s.mails) == (8 if lines else 4))
        assert says in sink.mails[0].data and b"/console" in sink.mails[0].data
    pm.ctl("mail", "--to", "a@b", "--subject", "S", "--body-file", "-", "--skip-empty", stdin=b"")
    assert len(sink.mails) == 8
    pm.stop()
    assert 'pm_up 0\n# EOF' in pm.ctl("status", "--openmetrics", status=3)


def test_colours_on_a_terminal_alone(place):
    for unwanted, expected in (({}, b"\x1b[31merror\x1b[0m: "), ({"NO_COLOR": "1"}, b"error: ")):
        terminal, theirs = os.openpty()
        subprocess.run([BUILD / "pmctl/pmctl", "--root", place, "check"], stdout=theirs,
                       env={"TERM": "xterm"} | unwanted, check=False)
        assert os.read(terminal, 4096).startswith(expected)
