"""An SMTP server on loopback that keeps the mails it receives and can misbehave on request.

Run as a program (see demo.sh), it prints its port and then each mail.
"""
import asyncio
import hashlib
import hmac
import logging
import re
import socket
import sys
import threading
from collections import namedtuple

from aiosmtpd.smtp import SMTP, AuthResult

Mail = namedtuple("Mail", "sender recipients domain mechanism tls data")
logging.getLogger("mail.log").setLevel(logging.CRITICAL)


class SmtpSink:
    """refuse: how many recipients to refuse; domain: a pattern that the greeting's domain
    must match; logins: {user: password}, which makes a login by one of mechanisms mandatory;
    tls: a context, used from the start or, with starttls, on request; mode: "serve",
    "hang" (accept, then send nothing until release()) or "drop" (accept, then close)."""

    def __init__(self, host="127.0.0.1", refuse=0, domain="", logins=None, mechanisms="PLAIN",
                 tls=None, starttls=False, mode="serve", on_mail=None):
        self.refuse, self.domain, self.logins, self.mode = refuse, domain, logins, mode
        self.mechanisms, self.tls, self.starttls = mechanisms.split(), tls, starttls
        self.mails, self.domains, self.connections = [], [], 0
        self.on_mail = on_mail
        self.changed = threading.Condition()
        self.released = asyncio.Event()
        self.loop = asyncio.new_event_loop()
        self.socket = socket.create_server(
            (host, 0), family=socket.AF_INET6 if ":" in host else socket.AF_INET, backlog=128)
        self.port = self.socket.getsockname()[1]
        serve = self.loop.create_server(self._protocol, sock=self.socket,
                                        ssl=None if starttls else tls)
        self.server = self.loop.run_until_complete(serve)
        self.thread = threading.Thread(target=self.loop.run_forever, daemon=True)
        self.thread.start()

    def close(self):
        self.release()
        self.loop.call_soon_threadsafe(self.server.close)
        self.loop.call_soon_threadsafe(self.loop.stop)
        self.thread.join()

    def release(self):
        """Closes the hanging connections."""
        self.loop.call_soon_threadsafe(self.released.set)

    def wait(self, test, seconds=60):
        """Waits until test(self) is true. Tests after each connection, greeting and mail."""
        with self.changed:
            assert self.changed.wait_for(lambda: test(self), seconds), (
                f"{self.connections} connections, {len(self.mails)} mails came")

    def _note(self, act):
        with self.changed:
            act()
            self.changed.notify_all()

    def _protocol(self):
        def count():
            self.connections += 1
        self._note(count)
        if self.mode != "serve":
            return asyncio.StreamReaderProtocol(asyncio.StreamReader(loop=self.loop),
                                                self._misbehave, loop=self.loop)
        every = {"PLAIN", "LOGIN", "CRAM-MD5"}
        return SMTP(self, loop=self.loop, hostname="sink", data_size_limit=None,
                    tls_context=self.tls if self.starttls else None,
                    auth_required=bool(self.logins), auth_require_tls=False,
                    auth_exclude_mechanism=every - set(self.mechanisms) if self.logins else every,
                    authenticator=self._authenticate)

    async def _misbehave(self, _reader, writer):
        if self.mode == "hang":
            await self.released.wait()
        writer.close()

    def _authenticate(self, _server, session, _envelope, mechanism, data):
        password = self.logins.get(data.login.decode())
        session.mechanism = mechanism
        return AuthResult(handled=False,
                          success=password is not None and data.password == password.encode())

    async def auth_CRAM__MD5(self, server, _args):
        challenge = b"<1.2@sink>"
        user, _, digest = (await server.challenge_auth(challenge)).decode().partition(" ")
        secret = self.logins.get(user, "").encode()
        server.session.mechanism = "CRAM-MD5"
        good = hmac.new(secret, challenge, hashlib.md5).hexdigest()
        return AuthResult(success=hmac.compare_digest(good, digest), handled=False)

    async def handle_EHLO(self, _server, session, _envelope, hostname, responses):
        self._note(lambda: self.domains.append(hostname))
        if not re.fullmatch(self.domain or ".*", hostname):
            return ["550 That is no name for you"]
        session.host_name = hostname
        if not self.logins:
            return [line for line in responses if not line.startswith("250-AUTH")]
        return responses

    async def handle_HELO(self, _server, session, _envelope, hostname):
        session.host_name = hostname
        return "250 sink" if re.fullmatch(self.domain or ".*", hostname) else "550 No"

    async def handle_RCPT(self, _server, _session, envelope, address, _options):
        if self.refuse > 0:
            self.refuse -= 1
            return "550 No such mailbox"
        envelope.rcpt_tos.append(address)
        return "250 OK"

    async def handle_DATA(self, server, session, envelope):
        mail = Mail(envelope.mail_from, envelope.rcpt_tos, session.host_name,
                    getattr(session, "mechanism", None),
                    server.transport.get_extra_info("cipher") is not None, envelope.content)
        self._note(lambda: self.mails.append(mail))
        if self.on_mail:
            self.on_mail(mail)
        return "250 OK"


def show(mail):
    print(f"--- from <{mail.sender}> to <{', '.join(mail.recipients)}>, by {mail.domain}")
    print(mail.data.decode(errors="replace").replace("\r\n", "\n"), flush=True)


if __name__ == "__main__":
    print(SmtpSink(on_mail=show).port, flush=True)
    sys.stdin.read()
