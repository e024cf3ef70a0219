"""Sends mixed requests and events to a pm that is killed and restarted, with a mail server that
refuses, hangs and drops connections; with bursts of detached mails, callers that do not read, and
first starts meanwhile. Fails if a mail reported as sent did not arrive, if one arrived more often
than pm makes attempts, if files, processes or descriptors are left, or if memory grows."""
import collections
import contextlib
import os
import pathlib
import random
import re
import shutil
import signal
import struct
import sys
import tempfile
import threading
import time

import zmq

TREE = pathlib.Path(__file__).resolve().parents[1]
sys.path[:0] = [str(TREE / "tests/system"), str(TREE / "scripts")]
from conftest import BUILD, Pm, settings, until  # noqa: E402
from test_process import test_what_the_first_answer_says_holds  # noqa: E402
from smtp_sink import SmtpSink  # noqa: E402

CLIENTS = 6
BURST = 500  # detached mails at once
UNREAD = 10_000  # requests before the first reply is read
ATTEMPTS = 2  # maximum for one mail
GROWTH = 2048  # kB by which a pm process may grow after the first third of its life
KINDS = {  # name: (weight, receivers that must each have the mail if pm reported success)
    "mail": (4, ["x@example.com"]), "detached": (2, []), "message": (2, ["x@example.com"]),
    "alert": (1, [f"user{n}@example.com" for n in range(1, 5)]),
    "alert-mail": (2, ["user2@example.com"]),
    "event": (1, ["user4@example.com"]),  # returns the status of the last destination
    "trap": (2, []), "refused": (1, []), "set": (1, [])}
FUNCTIONS = {"mail": "sendGenericEmail", "detached": "sendGenericEmail",
             "message": "sendTestEmail", "alert": "sendEmailAlertsEx",
             "alert-mail": "sendAlertEmail", "trap": "sendIPMITestTrap", "refused": "sendTestEmail"}


def request(kind, token):
    """The frames of a request after its tag."""
    text = token.encode()
    if kind == "set":
        return [b"set", b"pm_str_email_alert1_subject", b"Soak " + text[6:]]
    if kind == "event":
        return [b"event", b"event_ipmi_pet", b"wait",
                struct.pack("<IH268x510sB", 785, 3, text, 7)]
    record = {
        "mail": lambda: struct.pack("255s255s?", b"Soak", b"x@example.com", True) + text +
        b"\n" + b"x" * random.choice((0, 100, 50_000)) + b"\0",
        "detached": lambda: struct.pack("255s255s?", b"Soak", b"x@example.com", False) + text +
        b"\0",
        "message": lambda: struct.pack("255s255s255s", b"x@example.com", b"Soak", text),
        "alert": lambda: struct.pack("255s255s2040s", b"", b"Soak", text),
        "alert-mail": lambda: struct.pack("<i256s", 2, text),
        "trap": lambda: bytes([random.randint(0, 9)]),
        "refused": lambda: b"x" * random.randint(0, 764)}[kind]()
    return [b"call", b"pm_function_" + FUNCTIONS[kind].encode(), record]


class Soak:
    def __init__(self, pm, sink, bursts):
        self.pm, self.sink, self.bursting = pm, sink, bursts
        self.lives, self.over, self.growth = 0, threading.Event(), 0
        self.answers = {}  # token: (kind, whether pm reported success; None: no answer)
        self.context, self.calm = zmq.Context(), threading.Lock()
        self.bursts, self.unread, self.firsts, self.faults = 0, 0, [], []

    # --- Callers

    def ask(self, kind, token):
        """Whether the request succeeded; None if pm was ended before it answered."""
        life = self.lives
        with self.context.socket(zmq.DEALER) as client:
            client.linger = 0
            client.connect(f"ipc://{self.pm.root}/run/pm/requests")
            client.send_multipart([b"pm/1", token.encode(), *request(kind, token)])
            end = time.monotonic() + 120
            while not client.poll(50):
                if self.lives != life:
                    return None
                assert time.monotonic() < end, f"no answer to {kind} {token}"
            reply = client.recv_multipart()
        assert reply[:2] == [b"pm/1", token.encode()], reply
        return reply[2] == b"done" or reply[2:4] == [b"status", b"0"]

    def call(self, number):
        weights = [weight for weight, _ in KINDS.values()]
        while not self.over.is_set():
            kind = random.choices(list(KINDS), weights)[0]
            token = f"token-{number}-{len(self.answers)}-{random.randrange(1 << 40)}."
            self.answers[token] = (kind, None)
            self.answers[token] = (kind, self.ask(kind, token))

    def send_many(self, requests):
        """Sends all before it reads; the replies, or None if pm was ended meanwhile."""
        life, replies = self.lives, []
        with self.context.socket(zmq.DEALER) as client:
            client.linger = client.sndhwm = 0
            client.connect(f"ipc://{self.pm.root}/run/pm/requests")
            for each in requests:
                client.send_multipart([b"pm/1", b"", *each])
            end = time.monotonic() + 120
            while len(replies) < len(requests):
                if client.poll(50):
                    replies.append(client.recv_multipart()[2:])
                elif self.lives != life:
                    return None
                assert time.monotonic() < end, f"{len(replies)} of {len(requests)} replies"
        return replies

    def burst(self):
        """Tokens of the mails that were answered with success; none if pm was ended."""
        tokens = [f"token-{len(self.answers)}-{n}-{random.randrange(1 << 40)}."
                  for n in range(BURST)]
        self.answers |= {token: ("detached", None) for token in tokens}
        replies = self.send_many([request("detached", token) for token in tokens])
        # The queue of the mail functions holds 512: others may fill it.
        sent = [token for token, reply in zip(tokens, replies or []) if reply[1] == b"0"]
        self.answers |= {token: ("detached", True) for token in sent}
        return sent

    def overload(self):
        while not self.over.wait(random.uniform(1, 8)):
            with self.calm:
                self.bursts += len(self.burst()) > 0
                replies = self.send_many([[b"get", b"NVC/productinfo"]] * UNREAD)
                self.unread += replies is not None

    def start_anew(self, area):
        """First starts of pms of their own, each asked before it serves."""
        def make(*arguments):
            self.firsts.append(Pm(pathlib.Path(tempfile.mkdtemp(dir=area)), *arguments))
            return self.firsts[-1]
        while not self.over.wait(random.uniform(0.5, 2)):
            test_what_the_first_answer_says_holds(make, 0)
            self.firsts[-1].close()

    def watched(self, work, *arguments):
        try:
            work(*arguments)
        except BaseException as fault:  # told at the end
            self.faults.append(fault)
            raise

    # --- Faults of the mail server, and kills of pm

    def misbehave(self):
        while not self.over.wait(random.uniform(0.1, 0.5)):
            self.sink.loop.call_soon_threadsafe(self.sink.released.clear)
            self.sink.mode = random.choices(("serve", "drop", "hang"), (6, 1, 1))[0]
            self.sink.refuse = random.choice((0, 0, 0, 1, 3))
            if self.sink.mode == "hang":
                self.over.wait(random.uniform(0.1, 1.5))
                self.sink.mode = "serve"
            self.sink.release()

    def processes(self):
        """IDs of the other processes in the mount namespace of the current pm: its children."""
        def mounts(pid):
            with contextlib.suppress(OSError):
                return os.readlink(f"/proc/{pid}/ns/mnt")
        own = mounts(self.pm.process.pid)
        return [int(pid) for pid in os.listdir("/proc") if pid.isdigit() and own and
                int(pid) != self.pm.process.pid and mounts(pid) == own]

    def memory(self):
        """What pm holds; after a burst, if there are bursts, as the heap keeps some of it."""
        with self.calm:
            if self.bursting:
                self.burst()
            until(lambda: len(os.listdir(f"/proc/{self.pm.process.pid}/task")) < 100, 120)
            status = pathlib.Path(f"/proc/{self.pm.process.pid}/status").read_text()
            return int(re.search(r"RssAnon:\s*(\d+)", status)[1])

    def live(self, seconds):
        """Lets pm run, and notes how much its memory grows after the first third of the time."""
        assert not self.over.wait(seconds / 3)
        before = self.memory()
        assert not self.over.wait(seconds * 2 / 3)
        self.growth = max(self.growth, self.memory() - before)
        assert self.pm.process.poll() is None, "pm ended by itself"

    def kill(self, sig):
        """Ends pm and, as its unit does, its child processes."""
        children = self.processes()
        status = self.pm.stop(sig)
        assert status == (1 if sig == signal.SIGTERM else -sig), status
        for child in children:
            with contextlib.suppress(ProcessLookupError):
                os.kill(child, signal.SIGKILL)
        self.lives += 1

    # --- Run, and check the results

    def run(self, seconds, area):
        works = [(self.call, n) for n in range(CLIENTS)]
        works += [(self.misbehave,), (self.start_anew, area)]
        if self.bursting:
            works += [(self.overload,)]
        threads = [threading.Thread(target=self.watched, args=work) for work in works]
        held = self.pm.start().held()
        for thread in threads:
            thread.start()
        life = max(3, seconds / 20)
        end = time.monotonic() + seconds
        try:
            while time.monotonic() + 2 * life < end:
                self.live(life)
                self.kill(random.choice((signal.SIGKILL, signal.SIGTERM)))
                self.pm.start()
            self.live(life)
        finally:
            self.over.set()
            for thread in threads:
                thread.join()
            self.sink.mode, self.sink.refuse = "serve", 0
            self.sink.release()
        assert not self.faults, self.faults
        last = self.burst()
        assert len(last) == BURST, f"only {len(last)} mails of the last burst were taken"
        until(lambda: len({match[0].decode() for mail in list(self.sink.mails) if (
            match := re.search(rb"token-[0-9-]+\.", mail.data))} & set(last)) == BURST, 120)
        self.pm.ctl("test-message", "--to", "x@example.com", "--subject", "S", "--body", "last")
        until(lambda: self.pm.holds_no_more_than(held) and not self.processes(), 60)
        assert self.pm.left() == ["zorqemailconfig.txt"], self.pm.left()
        sanitized = b"__asan_init" in (BUILD / "pm").read_bytes()  # ASan keeps freed memory
        assert sanitized or self.growth <= GROWTH, f"memory has grown by {self.growth} kB"
        self.reckon()

    def reckon(self):
        arrived = collections.Counter()
        for mail in self.sink.mails:
            token = re.search(rb"token-[0-9-]+\.", mail.data)
            arrived[token and token[0].decode(), *mail.recipients] += 1
        kinds = collections.Counter()
        for token, (kind, success) in self.answers.items():
            kinds[kind, success] += 1
            for receiver in KINDS[kind][1] if success else []:
                assert arrived[token, receiver] >= 1, f"{kind} {token} to {receiver} is lost"
        for (token, receiver), count in arrived.items():
            assert count <= ATTEMPTS, f"{token} came {count} times to {receiver}"
            assert token is None or token in self.answers, token
        for kind in KINDS:
            print(f"{kind:10}  success {kinds[kind, True]:6}  failure {kinds[kind, False]:6}  "
                  f"no answer {kinds[kind, None]:4}")
        print(f"{self.bursts} bursts of {BURST} detached mails, the last one without a loss; "
              f"{self.unread} times {UNREAD} requests before the first reply was read; "
              f"{len(self.firsts)} first starts")
        print(f"{len(self.sink.mails)} mails arrived, pm ended {self.lives} times, memory grew by "
              f"at most {self.growth} kB in one life")
        assert kinds["mail", True] and kinds["event", True] and kinds["mail", False], "too little"


if __name__ == "__main__":
    with tempfile.TemporaryDirectory(prefix="pm-", dir="/var/tmp") as area:
        shutil.copy(BUILD / "pm", area)
        server = SmtpSink()
        traps = {"SNMP.1#AlertPort": "9"} | {f"SNMPAlert.{n}#{key}": value for n in range(1, 9)
                                             for key, value in (("Destination", "127.0.0.1"),
                                                                ("State", "1"))}
        tested = Pm(pathlib.Path(tempfile.mkdtemp(dir=area)),
                    settings(server.port, attributes=traps, hardware={"community": "public"}))
        try:
            duration = float(sys.argv[1])
            # A burst takes ten seconds and more: a short run would consist of nothing else.
            Soak(tested, server, duration >= 60).run(duration, area)
        finally:
            if tested.process and tested.process.poll() is None:
                tested.stop(signal.SIGKILL)
