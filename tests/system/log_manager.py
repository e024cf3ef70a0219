"""A fake log manager service on a private bus."""
import ctypes
import subprocess
import threading

CONFIGURATION = """<busconfig><type>system</type><listen>unix:path={0}/bus</listen>
<auth>EXTERNAL</auth><policy context="default"><allow user="*"/><allow own="*"/>
<allow send_destination="*"/><allow receive_sender="*"/></policy></busconfig>"""


class Bus:
    """A dbus-daemon in a folder; environment makes pm use it."""

    def __init__(self, folder):
        (folder / "bus.conf").write_text(CONFIGURATION.format(folder))
        self.environment = {"DBUS_SYSTEM_BUS_ADDRESS": f"unix:path={folder}/bus",
                            "DBUS_STARTER_BUS_TYPE": "system", "SYSTEMD_BUS_TIMEOUT": "1s"}
        self.process = subprocess.Popen(
            ["dbus-daemon", f"--config-file={folder}/bus.conf", "--nofork", "--print-address"],
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        assert self.process.stdout.readline().startswith(b"unix:")  # printed when it listens

    def close(self):
        self.process.kill()
        self.process.wait()
        self.process.stdout.close()


class LogManager:
    """Serves TestSNMPTrap; answer: a number, or "error"."""

    def __init__(self, bus, answer):
        self.answer, self.indexes, self.ended = answer, [], False
        self.lib = ctypes.CDLL("libsystemd.so.0")
        self.bus = ctypes.c_void_p()
        assert self.lib.sd_bus_new(ctypes.byref(self.bus)) >= 0
        for call, *arguments in (
                ("set_address", bus.environment["DBUS_SYSTEM_BUS_ADDRESS"].encode()),
                ("set_bus_client", 1), ("start",),
                ("request_name", b"com.braxel.norvu.tzkmanager", ctypes.c_uint64(0))):
            assert getattr(self.lib, "sd_bus_" + call)(self.bus, *arguments) >= 0
        self.thread = threading.Thread(target=self._serve)
        self.thread.start()

    def close(self):
        self.ended = True
        self.thread.join()
        self.lib.sd_bus_flush_close_unref(self.bus)

    def _serve(self):
        while not self.ended:
            message = ctypes.c_void_p()
            if self.lib.sd_bus_process(self.bus, ctypes.byref(message)) == 0:
                self.lib.sd_bus_wait(self.bus, ctypes.c_uint64(20000))
            if message:
                if self.lib.sd_bus_message_is_method_call(
                        message, b"com.braxel.norvu.tzkmanager.TZK", b"TestSNMPTrap") > 0:
                    self._answer(message)
                self.lib.sd_bus_message_unref(message)

    def _answer(self, message):
        index = ctypes.c_uint32()
        assert self.lib.sd_bus_message_read(message, b"u", ctypes.byref(index)) > 0
        self.indexes.append(index.value)
        if self.answer == "error":
            self.lib.sd_bus_reply_method_errno(message, 5, None)
        else:
            self.lib.sd_bus_reply_method_return(message, b"i", ctypes.c_int32(self.answer))
