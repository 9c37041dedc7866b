"""A receiver with a private store, senders for it, and the account of what became of each trap.

Shared by packets and faults.  Every trap of a Sender carries a number of its own in its bindings; what
is in EventTrap at the end is compared with what was sent and what was answered.
"""
import collections
import contextlib
import os
import pathlib
import re
import select
import signal
import socket
import sqlite3
import subprocess
import sys
import threading
import time

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "support"))
import packets_ber as ber  # noqa: E402
from stores import INSTALL, ServerStore, SqliteStore, data_source, database_servers, run  # noqa: E402, F401

MARK = re.compile(r"weather-(\d+)\.")
RESEND_SECONDS = 0.7
INFORM, TRAP, RESPONSE = 0xA6, 0xA7, 0xA2


def wait_until(condition, seconds=60, pause=0.05):
    until = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > until:
            return False
        time.sleep(pause)
    return True


def udp_socket(host="127.0.0.1"):
    """On a free port of loopback."""
    made = socket.socket(type=socket.SOCK_DGRAM)
    made.bind((host, 0))
    made.setblocking(False)
    return made


def message(kind, number, *bindings):
    return ber.encoded(ber.community_message(1, b"public", ber.notification(kind, number, list(bindings))))


class Sender:
    """Sends at a pace informs, or an inform after so many traps; repeats an inform until it is answered."""

    def __init__(self, port, a_second, traps_between=0, host="127.0.0.1", first=1):
        self.address, self.pause, self.traps_between = ("127.0.0.1", port), 1 / a_second, traps_between
        self.next = first
        self.traps, self.informs, self.answered = set(), set(), set()
        self.waiting = {}  # number: when to repeat it
        self.socket = udp_socket(host)
        self.sending, self.ending = threading.Event(), threading.Event()
        self.thread = threading.Thread(target=self._work, daemon=True)
        self.thread.start()

    def sent(self):
        return self.traps | self.informs

    def wait_until_answered(self, seconds):
        return wait_until(lambda: not self.waiting, seconds, 0.02)

    def close(self):
        self.ending.set()
        self.thread.join()
        self.socket.close()

    def _work(self):
        due = time.monotonic()
        while not self.ending.is_set():
            now = time.monotonic()
            while self.sending.is_set() and due <= now:
                self._send_new()
                due = max(due + self.pause, now - 0.1)
            if not self.sending.is_set():
                due = now
            for number in [number for number, when in self.waiting.items() if when <= now]:
                self._send(INFORM, number)
            if select.select([self.socket], [], [], 0.005)[0]:
                self._take_answers()

    def _send_new(self):
        number, self.next = self.next, self.next + 1
        if number % (self.traps_between + 1) == 0:
            self.informs.add(number)
            self._send(INFORM, number)
        elif self._send(TRAP, number):
            self.traps.add(number)

    def _send(self, kind, number):
        if kind == INFORM:
            self.waiting[number] = time.monotonic() + RESEND_SECONDS
        try:
            self.socket.sendto(message(kind, number, ber.binding(4, b"weather-%d." % number)), self.address)
            return True
        except OSError:  # nobody listens just now
            return False

    def _take_answers(self):
        while True:
            try:
                tag, pdu, _ = ber.decoded(self.socket.recv(65536))[0][1][2]
            except BlockingIOError:
                return
            except OSError:
                continue  # the refusal of an earlier packet
            number = int.from_bytes(pdu[0][1], "big")
            if tag == RESPONSE and number in self.informs:
                self.answered.add(number)
                self.waiting.pop(number, None)


class PairSender(Sender):
    """Each trap goes to both, each inform to each of them until that one answers.  Every so many traps are alike."""

    def __init__(self, ports, a_second, host="127.0.0.1", alike_every=0):
        self.ports, self.alike_every, self.alike = ports, alike_every, 0
        super().__init__(ports[0], a_second, 3, host)

    def _is_alike(self, number):
        return self.alike_every and number % self.alike_every == 1

    def _send_new(self):
        number, self.next = self.next, self.next + 1
        inform = number % (self.traps_between + 1) == 0
        if not inform and self._is_alike(number):
            self.alike += 1
        else:
            (self.informs if inform else self.traps).add(number)
        for port in self.ports:
            self._send(INFORM if inform else TRAP, (number, port))

    def _send(self, kind, target):
        number, port = target
        if kind == INFORM:
            self.waiting[target] = time.monotonic() + RESEND_SECONDS
        text = b"weather-0." if kind == TRAP and self._is_alike(number) else b"weather-%d." % number
        with contextlib.suppress(OSError):  # nobody listens just now
            self.socket.sendto(message(kind, number, ber.binding(4, text)), ("127.0.0.1", port))

    def _take_answers(self):
        while True:
            try:
                packet, (_, port) = self.socket.recvfrom(65536)
            except BlockingIOError:
                return
            except OSError:
                continue  # the refusal of an earlier packet
            number = int.from_bytes(ber.decoded(packet)[0][1][2][1][0][1], "big")
            self.waiting.pop((number, port), None)


@contextlib.contextmanager
def storm(port, packets=400, pause=0.02):
    """Bursts of traps that nobody counts, so that what is counted comes in the midst of many others."""
    ending, packet = threading.Event(), message(TRAP, 1, ber.binding(4, b"storm"))

    def blow():
        with udp_socket() as sender:
            while not ending.wait(pause):
                for _ in range(packets):
                    with contextlib.suppress(OSError):  # nobody listens just now
                        sender.sendto(packet, ("127.0.0.1", port))

    thread = threading.Thread(target=blow, daemon=True)
    thread.start()
    try:
        yield
    finally:
        ending.set()
        thread.join()


class World(contextlib.AbstractContextManager):
    """One receiver, its store, spool and settings, in a folder that the caller removes; ends it as it is left."""

    def __init__(self, program, folder, store, users="community public\n", **settings):
        self.program, self.folder, self.store = pathlib.Path(program).resolve(), folder, store
        self.log_file = folder / "receiver.log"
        self.process, self.peak_mib = None, 0
        with udp_socket() as probe:
            self.port = probe.getsockname()[1]
        (folder / "users").touch(0o600)
        (folder / "users").write_text(users)
        settings |= {"KVListenAddresses": f"udp:127.0.0.1:{self.port}", "KVSpoolDir": folder / "spool",
                     "KVSnmpConfig": folder / "users"}
        run(INSTALL / "make-registry", "--output", folder / "registry.reg",
            *(f"{name}={value}" for name, value in settings.items()))
        self.environment = dict(os.environ, **data_source(folder, store),
                                KORVANE_REGISTRY=str(folder / "registry.reg"),
                                # What waits in quarantine is no growth, and a driver loses memory at each connect.
                                ASAN_OPTIONS="quarantine_size_mb=8", LSAN_OPTIONS="exitcode=0",
                                UBSAN_OPTIONS="print_stacktrace=1")
        self.environment.pop("JOURNAL_STREAM", None)

    def __exit__(self, *_):
        if self.alive():
            self.process.kill()
            self.process.wait()

    def start(self):
        with self.log_file.open("ab") as log:
            self.process = subprocess.Popen([self.program], stdin=subprocess.DEVNULL, stdout=log, stderr=log,
                                            env=self.environment, cwd=self.folder)

    def start_and_wait(self):
        before = len(self.log())
        self.start()
        if not wait_until(lambda: " ready\n" in self.log()[before:] or not self.alive(), 60, 0.02) or not self.alive():
            raise RuntimeError(f"the receiver did not start:\n{self.log()[-2000:]}")

    def alive(self):
        return self.process is not None and self.process.poll() is None

    def log(self):
        return self.log_file.read_text(errors="replace") if self.log_file.exists() else ""

    def figures(self):
        """Of the last line of counters, by their names."""
        line = self.log().rpartition("counters: ")[2].partition("\n")[0]
        return {name: int(figure) for name, figure in (part.rsplit(" ", 1) for part in line.split(", "))}

    def kill(self, number=signal.SIGKILL):
        self.note_memory()
        self.process.send_signal(number)

    def open_files(self):
        with contextlib.suppress(OSError):
            return len(os.listdir(f"/proc/{self.process.pid}/fd"))
        return 0

    def note_memory(self):
        with contextlib.suppress(OSError):
            status = pathlib.Path(f"/proc/{self.process.pid}/status").read_text()
            if peak := re.search(r"VmHWM:\s+(\d+)", status):  # an ended process has none
                self.peak_mib = max(self.peak_mib, int(peak[1]) // 1024)

    def stop(self, seconds=60):
        """Its exit status; negative: the signal that ended it."""
        self.kill(signal.SIGTERM)
        try:
            return self.process.wait(seconds)
        except subprocess.TimeoutExpired:
            self.process.kill()
            return self.process.wait()

    def stored(self):
        """How often each number is in EventTrap."""
        rows = self.store.sql("SELECT EventDescription FROM EventTrap WHERE EventDescription LIKE '%weather-%'")
        return collections.Counter(int(found[1]) for row in rows if (found := MARK.search(row[0])))

    def has_stored(self, wanted):
        with contextlib.suppress(RuntimeError, sqlite3.Error):
            return wanted <= self.stored().keys()
        return False


class Account:
    """What became of everything that was sent; ends the sender's sending and the receiver."""

    def __init__(self, world, sender, seconds):
        began = time.monotonic()
        sender.sending.clear()
        all_answered = sender.wait_until_answered(30)
        in_time = wait_until(lambda: world.has_stored(sender.sent()) or not world.alive(), seconds, 0.1)
        self.caught_up = time.monotonic() - began
        self.files, alive, status = world.open_files(), world.alive(), world.stop()
        stored, sent = world.stored(), sender.sent()
        lost, foreign = sent - stored.keys(), stored.keys() - sent
        doubled = [number for number, times in stored.items() if times > 1]
        self.figures = (len(sender.traps), f"{len(sender.answered)}/{len(sender.informs)}", len(stored), len(lost),
                        len(doubled))
        self.faults = [text for wrong, text in (
            (not alive or status, f"it {'stopped' if alive else 'ended by itself'} with {status}"),
            (lost, f"lost: {sorted(lost)[:9]}"), (doubled, f"doubled: {sorted(doubled)[:9]}"),
            (foreign, f"never sent: {sorted(foreign)[:9]}"), (not all_answered, "informs without an answer"),
            (not sender.answered, "nothing was answered"), (not in_time and not lost, "caught up only at the stop"),
            # Nothing that is sent here is refused by a store.
            ((world.folder / "spool" / "quarantine.txt").exists(), "traps were put aside")) if wrong]
