"""Measures pm and prints the table of figures. run.sh starts this with private mounts.

    figures.py FOLDER BUILD [--rounds N] [--idle SECONDS] [--requests N]
"""
import argparse
import os
import pathlib
import shutil
import signal
import socket
import statistics
import subprocess
import sys
import threading
import time

LIMIT = 20  # seconds for each wait
STARTS = 15
REFUSED_CALLS = 2000
PATH = "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin"  # as in a service

# Runs in place of a command and keeps its input: the relay's two files, or the trap's arguments.
RECORDER = """#!/bin/sh
case $0 in
*/msmtp)
    n=1; while [ -e "{0}/$n.msg" ]; do n=$((n + 1)); done
    cat >"{0}/$n.msg"; cp "$2" "{0}/$n.conf"; chmod 600 "{0}/$n.conf" ;;
*/snmptrap)
    printf '%s\\0' snmptrap "$@" >"{0}/trap.args" ;;
esac
"""

SETTINGS = """[settings]
pm_str_email_server_address = "127.0.0.1"
{destinations}
[attributes]
"Norvu.Embedded.1#IPv4.1#Address" = "192.0.2.10"
"Norvu.Embedded.1#Remotehosts.1#SenderEmail" = "norvu@example.com"
"Norvu.Embedded.1#Remotehosts.1#smtpport" = {mail_port}
"Norvu.Embedded.1#SNMP.1#AlertPort" = {trap_port}
"Norvu.Embedded.1#SNMPAlert.1#Destination" = "127.0.0.1"
[hardware]
host_name = "host12"
community = "public"
smbios_guid = "00112233-4455-6677-8899-aabbccddeeff"
"""
DESTINATION = """pm_bool_email_alert{0}_enabled = true
pm_str_email_alert{0}_destination = "admin{0}@example.com"
pm_str_email_alert{0}_subject = "Server alert for admin {0}"
pm_str_email_alert{0}_body = "Rack 12, room {0}\""""


class Idle:
    """Memory, descriptors, threads and context switches of a process."""

    def __init__(self, pid):
        proc = pathlib.Path(f"/proc/{pid}")
        status = dict(line.split(":\t", 1) for line in
                      (proc / "status").read_text().splitlines() if ":\t" in line)
        self.resident, self.private = (int(status[key].split()[0]) for key in
                                       ("VmRSS", "RssAnon"))
        self.descriptors = len(list((proc / "fd").iterdir()))
        tasks = [(task / "status").read_text() for task in (proc / "task").iterdir()]
        self.threads = len(tasks)
        self.switches = sum(int(line.split()[1]) for text in tasks for line in text.splitlines()
                            if "ctxt_switches" in line)


class Peak(threading.Thread):
    """The most memory and descriptors that a process holds, until stop()."""

    def __init__(self, pid):
        super().__init__()
        self.proc, self.over, self.descriptors = pathlib.Path(f"/proc/{pid}"), False, 0
        (self.proc / "clear_refs").write_text("5")  # the peak so far
        self.start()

    def run(self):
        while not self.over:
            self.descriptors = max(self.descriptors, len(os.listdir(self.proc / "fd")))
            time.sleep(0.002)

    def stop(self):
        self.over = True
        self.join()
        status = (self.proc / "status").read_text()
        return int(status.split("VmHWM:")[1].split()[0]), self.descriptors


class Bench:
    """The sinks for mails and traps, pm, and the programs that measure it."""

    def __init__(self, folder, build):
        self.folder, self.build, self.root = folder, build, folder / "root"
        self.files, self.started = folder / "files", []
        self.files.mkdir()
        (self.root / "etc").mkdir(parents=True)
        os.environ["PM_HOST_ROOT"] = str(self.root)
        for name in ("NOTIFY_SOCKET", "JOURNAL_STREAM"):
            os.environ.pop(name, None)
        self.path, os.environ["PATH"] = os.environ["PATH"], PATH
        # A copy, so that a build does not change the program during the measurement.
        self.pm_path = folder / "pm"
        subprocess.run(["strip", "-o", self.pm_path, build / "pm"], check=True)
        self.log = open(folder / "log", "w")
        self.mails = subprocess.Popen([build / "bench/smtp_sink"], stdin=subprocess.PIPE,
                                      stdout=subprocess.PIPE, bufsize=0)
        mail_port = int(self.mails.stdout.readline())
        self.traps = socket.socket(type=socket.SOCK_DGRAM)
        self.traps.bind(("127.0.0.1", 0))
        (self.root / "etc/pm.conf").write_text(SETTINGS.format(
            destinations="\n".join(DESTINATION.format(n) for n in range(1, 5)),
            mail_port=mail_port, trap_port=self.traps.getsockname()[1]))

    def close(self):
        for process in self.started + [self.mails]:
            process.kill()
            process.wait()

    def start(self, *command, environment=None):
        process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                   stderr=self.log, env=environment)
        self.started.append(process)
        return process

    def start_pm(self, environment=None):
        notify = self.folder / "notify"
        notify.unlink(missing_ok=True)
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as listener:
            listener.bind(str(notify))
            listener.settimeout(LIMIT)
            pm = self.start(self.pm_path, environment=(environment or os.environ) |
                            {"NOTIFY_SOCKET": str(notify)})
            while b"READY=1" not in listener.recv(256):
                pass
        return pm

    def stop(self, process):
        process.send_signal(signal.SIGTERM)
        process.wait(LIMIT)
        self.started.remove(process)

    def timed(self, *arguments):
        """Runs pm_bench and returns {name: numbers} of the lines that it prints."""
        # It expects the trap sink as descriptor 3.
        command = ["sh", "-c", f'exec "$@" 3<&{self.traps.fileno()}', "sh",
                   self.build / "bench/pm_bench", *map(str, arguments)]
        done = subprocess.run(command, stdin=self.mails.stdout, stdout=subprocess.PIPE, text=True,
                              stderr=self.log, pass_fds=[self.traps.fileno()])
        if done.returncode != 0:
            said = (self.folder / "log").read_text().splitlines()[-10:]
            sys.exit("\n".join([f"bench: {arguments[0]} could not be measured", *said]))
        lines = [line.split() for line in done.stdout.splitlines()]
        return {name: [float(number) for number in numbers] for name, *numbers in lines}

    def time(self, mode, times):
        return self.timed(mode, self.root / "run/pm", self.files, times)

    def record(self):
        """Runs pm with recorders in place of the commands. The bare commands later get the
        input that these have kept."""
        programs, kept = self.folder / "recorders", self.folder / "kept"
        programs.mkdir()
        kept.mkdir()
        for name in ("msmtp", "snmptrap"):
            (programs / name).write_text(RECORDER.format(kept))
            (programs / name).chmod(0o755)
        pm = self.start_pm(os.environ | {"PATH": f"{programs}:{os.environ['PATH']}"})
        self.time("once", 1)
        self.stop(pm)
        for n, name in enumerate(("event1", "event2", "event3", "event4", "generic"), 1):
            for kind in ("msg", "conf"):
                (kept / f"{n}.{kind}").rename(self.files / f"{name}.{kind}")
        (kept / "trap.args").rename(self.files / "trap.args")


def start_monit(bench):
    if not (program := shutil.which("monit", path=f"{PATH}:{bench.path}")):
        return None
    folder = bench.folder / "monit"
    folder.mkdir()
    (folder / "rc").write_text(f"""set daemon 120
set idfile {folder}/id
set statefile {folder}/state
set pidfile {folder}/pid
check system localhost
""")
    (folder / "rc").chmod(0o600)
    return bench.start(program, "-I", "-c", folder / "rc")


def compare(sides, each=1, bare="bare"):
    """Medians of both sides in ms, and of their difference in each round, per mail or trap."""
    differences = [own - other for own, other in zip(sides["pm"], sides[bare])]
    return [statistics.median(sides["pm"]) / 1000, statistics.median(sides[bare]) / 1000,
            statistics.median(differences) / each / 1000]


def comparisons(bench, rounds):
    """The rows that compare pm with the bare commands."""
    rows = []
    for mode, each, title, unit in (("event", 4, "Event to four destinations", "mail"),
                                    ("generic", 1, "Generic mail, blocking", "mail"),
                                    ("trap", 1, "IPMI test trap", "trap")):
        own, bare, more = compare(bench.time(mode, rounds), each)
        rows.append((title, f"{own:.2f} ms", f"{bare:.2f} ms", f"{more:+.2f} ms a {unit}",
                     "+0.5 ms", more <= 0.5))
    sides = bench.time("burst", rounds)
    for side, title, aim in (("bare", "16 detached mails, xargs -P 16", 1.0),
                             ("spawned", "16 detached mails, spawned at once", None)):
        own, bare, _ = compare(sides, bare=side)
        rows.append((title, f"{own:.2f} ms", f"{bare:.2f} ms", f"ratio {own / bare:.2f}",
                     "1.0" if aim else "", own / bare <= aim if aim else None))
    return rows


def flood_rows(bench, pm, rounds):
    """500 detached mails, and what they take."""
    peak = Peak(pm.pid)
    sides = bench.time("flood", rounds)
    memory, descriptors = peak.stop()
    lost = sides["lost"][0]
    own, bare, _ = compare(sides)
    return [("500 detached mails, xargs -P 64", f"{own:.0f} ms", f"{bare:.0f} ms",
             f"ratio {own / bare:.2f}", "1.0", own / bare <= 1),
            ("Lost of them", f"{lost:.0f}", "", "", "0", lost == 0),
            ("Resident at most meanwhile", f"{memory} kB", "", "", "", None),
            ("Descriptors at most meanwhile", f"{descriptors}", "", "", "", None)]


def memory_rows(states, monit):
    """states: (title, Idle) in order of time; the title of the first one is "idle"."""
    rows = []
    aims = {"idle": (None, 1024), "after the first mail": (7.5 * 1024, None)}
    for title, state in states:
        for i, name in enumerate(("Resident", "Private")):
            value, aim = (state.resident, state.private)[i], aims.get(title, (None, None))[i]
            beside = (monit.resident, monit.private)[i] if monit and title == "idle" else None
            rows.append((f"{name} {title}", f"{value} kB",
                         f"{beside} kB (monit)" if beside else "", "",
                         f"{aim:.0f} kB" if aim else "", value <= aim if aim else None))
    (_, first), (last_title, last) = states[-2:]
    same = (first.descriptors, first.threads) == (last.descriptors, last.threads)
    rows.append((f"Descriptors, threads {last_title}", f"{last.descriptors}, {last.threads}", "",
                 f"before: {first.descriptors}, {first.threads}", "the same", same))
    return rows


def print_table(rows):
    head = ("", "pm", "reference", "difference", "aim", "")
    table = [head] + [row[:5] + ({True: "met", False: "MISSED", None: ""}[row[5]],)
                      for row in rows]
    widths = [max(len(row[i]) for row in table) for i in range(len(head))]
    for n, row in enumerate(table):
        print("| " + " | ".join(cell.ljust(width) for cell, width in zip(row, widths)) + " |")
        if n == 0:
            print("|" + "|".join("-" * (width + 2) for width in widths) + "|")


def measure(bench, options):
    bench.record()
    starts = bench.timed("start", bench.pm_path, bench.folder / "notify", STARTS)
    pm, monit = bench.start_pm(), start_monit(bench)
    time.sleep(2)
    before = [Idle(process.pid) for process in (pm, monit) if process]
    time.sleep(options.idle)
    after = [Idle(process.pid) for process in (pm, monit) if process]
    woken = [late.switches - early.switches for early, late in zip(before, after)]
    if monit:
        bench.stop(monit)

    states = [("idle", after[0])]
    bench.time("first", 1)
    time.sleep(0.5)
    states.append(("after the first mail", Idle(pm.pid)))
    rows = comparisons(bench, options.rounds)
    rows += flood_rows(bench, pm, max(3, options.rounds // 10))
    refused = sorted(bench.time("refused", REFUSED_CALLS)["refused"])
    p50, p99 = (refused[int(len(refused) * part)] / 1000 for part in (0.5, 0.99))
    time.sleep(0.5)
    settled = Idle(pm.pid)
    mails = bench.time("load", options.requests)["mails"][0]
    time.sleep(1)
    states += [(f"before {options.requests} requests", settled),
               (f"after them ({mails:.0f} mails)", Idle(pm.pid))]
    bench.stop(pm)

    start, stop = (statistics.median(starts[name]) / 1000 for name in ("start", "stop"))
    size = bench.pm_path.stat().st_size / 1000
    rows += [("Refused call, p50", f"{p50:.3f} ms", "", "", "", None),
             ("Refused call, p99", f"{p99:.3f} ms", "", "", "0.3 ms", p99 < 0.3),
             ("Start to serving", f"{start:.2f} ms", "", "", "10 ms", start <= 10),
             ("SIGTERM to end", f"{stop:.2f} ms", "", "", "", None),
             (f"Wake-ups in {options.idle:g} s idle", f"{woken[0]}",
              f"{woken[1]} (monit)" if monit else "", "", "0", woken[0] == 0)]
    rows += memory_rows(states, after[1] if monit else None)
    rows.append(("Stripped binary", f"{size:.0f} kB", "", "", "400 kB", size < 400))
    print_table(rows)
    if not monit:
        print("\nMonit is not installed; its idle figures are missing (apt-get install monit).")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--rounds", type=int, default=30)
    parser.add_argument("--idle", type=float, default=30)
    parser.add_argument("--requests", type=int, default=10000)
    options = parser.parse_args()
    for sig in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(sig, lambda number, _: sys.exit(128 + number))
    bench = Bench(options.folder, options.build.resolve())
    try:
        measure(bench, options)
    finally:
        bench.close()


if __name__ == "__main__":
    main()
