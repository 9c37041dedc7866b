"""A receiver with a private store, senders for it, and the account of what became of each trap.

Shared by kill_receiver and faults.  Every trap carries a number of its own in its bindings; what is in EventTrap at
the end is compared with what was sent and what was answered.
"""
import collections
import configparser
import contextlib
import os
import pathlib
import re
import select
import signal
import socket
import sqlite3
import subprocess
import threading
import time

TOP = pathlib.Path(__file__).resolve().parents[2]
SERVERS = TOP / "tests" / "support" / "database-servers"
MARK = re.compile(r"weather-(\d+)\.")
RESEND_SECONDS = 0.7


def run(*command, **options):
    done = subprocess.run([str(word) for word in command], capture_output=True, text=True, check=False, **options)
    if done.returncode:
        raise RuntimeError(f"{command[0]} failed:\n{done.stdout}{done.stderr}")
    return done.stdout


# BER, as far as a notification of version 2c needs it (X.690, RFC 3416).


def element(tag, content):
    length = len(content)
    if length < 0x80:
        return bytes([tag, length]) + content
    octets = length.to_bytes((length.bit_length() + 7) // 8, "big")
    return bytes([tag, 0x80 | len(octets)]) + octets + content


def integer(value, tag=0x02):
    return element(tag, value.to_bytes(value.bit_length() // 8 + 1, "big"))


def oid(text):
    numbers = [int(part) for part in text.split(".")]
    content = b""
    for number in [40 * numbers[0] + numbers[1], *numbers[2:]]:
        octets = [number & 0x7F]
        while number := number >> 7:
            octets.append(number & 0x7F | 0x80)
        content += bytes(reversed(octets))
    return element(0x06, content)


INFORM, TRAP, RESPONSE = 0xA6, 0xA7, 0xA2
HEAD = (
    element(0x30, oid("1.3.6.1.2.1.1.3.0") + integer(4711, 0x43))
    + element(0x30, oid("1.3.6.1.6.3.1.1.4.1.0") + oid("1.3.6.1.4.1.32473.9.0.1"))
)
VALUE = oid("1.3.6.1.4.1.32473.9.1.0")


def notification(kind, number):
    binding = element(0x30, VALUE + element(0x04, f"weather-{number}.".encode()))
    pdu = element(kind, integer(number) + integer(0) + integer(0) + element(0x30, HEAD + binding))
    return element(0x30, integer(1) + element(0x04, b"public") + pdu)


def answered_number(packet):
    """The request ID of a response; None for anything else."""
    at = packet.find(b"public") + 6
    if at < 6 or packet[at : at + 1] != bytes([RESPONSE]):
        return None
    at += 2 + (packet[at + 1] & 0x7F if packet[at + 1] & 0x80 else 0)
    return int.from_bytes(packet[at + 2 : at + 2 + packet[at + 1]], "big")


class Sender:
    """Sends informs, and traps between them, at a pace; repeats an inform until it is answered."""

    def __init__(self, port, informs_per_second, traps_per_second=0, first=1):
        self.address = ("127.0.0.1", port)
        self.pause = 1 / (informs_per_second + traps_per_second)
        self.traps_per_inform = traps_per_second / informs_per_second
        self.next = first
        self.traps, self.informs, self.answered = set(), set(), set()
        self.waiting = collections.OrderedDict()  # number: when to repeat it
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.bind(("127.0.0.1", 0))
        self.socket.setblocking(False)
        self.sending = threading.Event()
        self.ending = threading.Event()
        self.thread = threading.Thread(target=self._work, daemon=True)
        self.thread.start()

    def start(self):
        self.sending.set()

    def pause_sending(self):
        self.sending.clear()

    def wait_until_answered(self, seconds):
        deadline = time.monotonic() + seconds
        while self.waiting and time.monotonic() < deadline:
            time.sleep(0.02)
        return not self.waiting

    def close(self):
        self.ending.set()
        self.thread.join()
        self.socket.close()

    def _work(self):
        due = time.monotonic()
        owed = 0.0
        while not self.ending.is_set():
            now = time.monotonic()
            while self.sending.is_set() and due <= now:
                kind = TRAP if owed >= 1 else INFORM
                owed += -1 if kind == TRAP else self.traps_per_inform
                self._send_new(kind, now)
                due = max(due + self.pause, now - 0.1)
            if not self.sending.is_set():
                due = now
            self._repeat(now)
            if select.select([self.socket], [], [], min(0.02, max(0, due - now)) if due > now else 0.01)[0]:
                self._take_answers()

    def _send_new(self, kind, now):
        number = self.next
        self.next += 1
        if kind == INFORM:
            self.informs.add(number)
            self.waiting[number] = now + RESEND_SECONDS
        if self._send(kind, number) and kind == TRAP:
            self.traps.add(number)

    def _repeat(self, now):
        while self.waiting:
            number, when = next(iter(self.waiting.items()))
            if when > now:
                return
            self.waiting.pop(number)
            self.waiting[number] = now + RESEND_SECONDS
            self._send(INFORM, number)

    def _send(self, kind, number):
        try:
            self.socket.sendto(notification(kind, number), self.address)
            return True
        except OSError:  # nobody listens just now
            return False

    def _take_answers(self):
        while True:
            try:
                number = answered_number(self.socket.recv(65536))
            except BlockingIOError:
                return
            except OSError:
                continue  # the refusal of an earlier packet
            if number in self.informs:
                self.answered.add(number)
                self.waiting.pop(number, None)


class SqliteStore:
    engine = "sqlite"

    def __init__(self, folder):
        self.folder = folder / "store"
        self.folder.mkdir()
        self.main, self.traps = self.folder / "dvldb.db", self.folder / "dvldb-traps.db"
        run(TOP / "install" / "make-store", "sqlite", self.main)

    def data_source(self):
        return {"Database": self.main}

    def sql(self, statement):
        with contextlib.closing(sqlite3.connect(self.traps, isolation_level=None, timeout=10)) as connection:
            return [list(map(str, row)) for row in connection.execute(statement)]

    def drop(self):
        pass


class ServerStore:
    """A database of its own on a running server.  port: where the receiver finds it, the server's or a proxy's."""

    def __init__(self, engine, state, name="weather"):
        self.engine, self.state, self.name = engine, state, name
        ports = configparser.ConfigParser()
        ports.read(state)
        self.server_port = self.port = ports.getint(engine, "port")
        self.keeper = ports.getint("keeper", "pid")
        self.server_folder = pathlib.Path(ports["keeper"]["folder"]) / engine
        self.user = "dvl"
        run(SERVERS, "ask", state, "create", engine, name)

    def data_source(self):
        if self.engine == "postgresql":
            return {"Port": self.port, "Database": self.name, "UserName": self.user}
        return {"PORT": self.port, "DATABASE": self.name, "UID": self.user}

    def client(self, database=None):
        """The engine's own, which reads statements from its standard input."""
        database = database or self.name
        if self.engine == "postgresql":
            return ["psql", "-X", "-q", "-A", "-t", "-v", "ON_ERROR_STOP=1", "-h", "127.0.0.1", "-p", self.server_port,
                    "-U", "dvl", database]
        return ["mariadb", "--no-defaults", "-N", "-r", "-B", "--protocol=tcp", "--host=127.0.0.1",
                f"--port={self.server_port}", "--user=dvl", database]

    def sql(self, statement):
        environment = dict(os.environ, PGOPTIONS="-c default_transaction_read_only=off")
        return [line.split("\t") for line in run(*self.client(), input=statement, env=environment).splitlines()]

    def as_mariadb_root(self, statement):
        run("mariadb", "--no-defaults", f"--socket={self.server_folder / 'socket'}", "--user=root", "-e", statement)

    def processes(self):
        """The server's process and all that descend from it, so no other server's."""
        parents = {}
        for entry in pathlib.Path("/proc").iterdir():
            with contextlib.suppress(OSError, ValueError):
                head, _, tail = (entry / "stat").read_text().rpartition(")")
                parents[int(entry.name)] = (int(tail.split()[1]), head.split("(", 1)[1])
        name = {"postgresql": "postgres", "mariadb": "mariadbd"}[self.engine]
        found = [pid for pid, (parent, comm) in parents.items() if parent == self.keeper and comm == name]
        for pid in found:
            found.extend(child for child, (parent, _) in parents.items() if parent == pid)
        return found

    def drop(self):
        run(SERVERS, "ask", self.state, "drop", self.engine, self.name)


class World:
    """One receiver, its store, spool and settings, in a folder that the caller removes."""

    def __init__(self, program, folder, store, extra_settings=()):
        self.program, self.folder, self.store = pathlib.Path(program).resolve(), folder, store
        self.log_file = folder / "receiver.log"
        self.process = None
        self.peak_kib = 0
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as probe:
            probe.bind(("127.0.0.1", 0))
            self.port = probe.getsockname()[1]
        (folder / "spool").mkdir()
        (folder / "receiver.conf").write_text("community public\n")
        registry = folder / "registry.reg"
        run(TOP / "install" / "make-registry", "--output", registry, f"KVListenAddresses=udp:127.0.0.1:{self.port}",
            f"KVSpoolDir={folder / 'spool'}", f"KVSnmpConfig={folder / 'receiver.conf'}")
        text = registry.read_text()
        for name, number in extra_settings:
            text = re.sub(rf'"{name}"=dword:\w+', f'"{name}"=dword:{number:08x}', text)
        registry.write_text(text)
        self._make_data_source()
        # A build with the leak sanitizer: the drivers leak, and the tests of the receiver judge its own leaks.
        self.environment = dict(os.environ, LSAN_OPTIONS="exitcode=0", ODBCSYSINI=str(folder),
                                ODBCINI=str(folder / "odbc.ini"), KORVANE_REGISTRY=str(registry))

    def _make_data_source(self):
        odbc = TOP / "install" / "odbc"
        drivers = next(pathlib.Path("/usr/lib").glob("*/odbc"))
        text = re.sub(r"^Driver=.*/", f"Driver={drivers}/", (odbc / "odbcinst.ini").read_text(), flags=re.M)
        (self.folder / "odbcinst.ini").write_text(text)
        source = (odbc / f"odbc-{self.store.engine}.ini").read_text()
        for key, value in self.store.data_source().items():
            source = re.sub(rf"^{key}=.*", f"{key}={value}", source, flags=re.M | re.I)
        (self.folder / "odbc.ini").write_text(source)

    def start(self):
        with self.log_file.open("ab") as log:
            self.process = subprocess.Popen([self.program], stdin=subprocess.DEVNULL, stdout=log, stderr=log,
                                            env=self.environment, cwd=self.folder)

    def wait_until_ready(self, seconds=30):
        """Whether it came up; False also when it ended."""
        size = self.log_size_at_start
        deadline = time.monotonic() + seconds
        while time.monotonic() < deadline:
            if re.search(r" ready$", self.log()[size:], re.M):
                return True
            if self.process.poll() is not None:
                return False
            time.sleep(0.02)
        return False

    def start_and_wait(self):
        self.log_size_at_start = len(self.log())
        self.start()
        if not self.wait_until_ready():
            raise RuntimeError(f"the receiver did not start:\n{self.log()[-2000:]}")

    def log(self):
        return self.log_file.read_text(errors="replace") if self.log_file.exists() else ""

    def kill(self, number=signal.SIGKILL):
        self.note_memory()
        self.process.send_signal(number)
        if number == signal.SIGKILL:
            self.process.wait()

    def open_files(self):
        with contextlib.suppress(OSError):
            return len(os.listdir(f"/proc/{self.process.pid}/fd"))
        return 0

    def note_memory(self):
        with contextlib.suppress(OSError):
            status = pathlib.Path(f"/proc/{self.process.pid}/status").read_text()
            if peak := re.search(r"VmHWM:\s+(\d+)", status):  # an ended process has none
                self.peak_kib = max(self.peak_kib, int(peak[1]))

    def stop(self, seconds=20):
        """Its exit status; negative: the signal that ended it."""
        if self.process is None:
            return None
        self.note_memory()
        self.process.terminate()
        try:
            return self.process.wait(seconds)
        except subprocess.TimeoutExpired:
            self.process.kill()
            return self.process.wait()

    def stored(self):
        """How often each number is in EventTrap."""
        found = collections.Counter()
        for row in self.store.sql("SELECT EventDescription FROM EventTrap"):
            if match := MARK.search(row[0]):
                found[int(match[1])] += 1
        return found

    def wait_until_stored(self, wanted, seconds):
        deadline = time.monotonic() + seconds
        while time.monotonic() < deadline:
            with contextlib.suppress(RuntimeError, sqlite3.Error):
                if wanted <= self.stored().keys():
                    return True
            if self.process is not None and self.process.poll() is not None:
                return False
            time.sleep(0.1)
        return False
