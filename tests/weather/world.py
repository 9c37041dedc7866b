"""A receiver with a private store, senders for it, and the account of what became of each trap.

Shared by packets, kill_receiver and faults.  Every trap of a Sender carries a number of its own in its bindings; what
is in EventTrap at the end is compared with what was sent and what was answered.
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

import packets_ber as ber

TOP = pathlib.Path(__file__).resolve().parents[2]
SERVERS = TOP / "tests" / "support" / "database-servers"
MARK = re.compile(r"weather-(\d+)\.")
RESEND_SECONDS = 0.7
INFORM, TRAP, RESPONSE = 0xA6, 0xA7, 0xA2


def run(*command, **options):
    done = subprocess.run([str(word) for word in command], capture_output=True, text=True, check=False, **options)
    if done.returncode:
        raise RuntimeError(f"{command[0]} failed:\n{done.stdout}{done.stderr}")
    return done.stdout


def wait_until(condition, seconds=60, pause=0.05):
    until = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > until:
            return False
        time.sleep(pause)
    return True


def udp_socket():
    """On a free port of loopback."""
    made = socket.socket(type=socket.SOCK_DGRAM)
    made.bind(("127.0.0.1", 0))
    made.setblocking(False)
    return made


def message(kind, number, *bindings):
    return ber.encoded(ber.community_message(1, b"public", ber.notification(kind, number, list(bindings))))


class Sender:
    """Sends informs, and traps between them, at a pace; repeats an inform until it is answered."""

    def __init__(self, port, informs_per_second, traps_per_second=0):
        self.address = ("127.0.0.1", port)
        self.pause = 1 / (informs_per_second + traps_per_second)
        self.traps_per_inform = traps_per_second / informs_per_second
        self.next = 1
        self.traps, self.informs, self.answered = set(), set(), set()
        self.waiting = collections.OrderedDict()  # number: when to repeat it
        self.socket = udp_socket()
        self.sending = threading.Event()
        self.ending = threading.Event()
        self.thread = threading.Thread(target=self._work, daemon=True)
        self.thread.start()

    def start(self):
        self.sending.set()

    def pause_sending(self):
        self.sending.clear()

    def wait_until_answered(self, seconds):
        return wait_until(lambda: not self.waiting, seconds, 0.02)

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
        while self.waiting and (first := next(iter(self.waiting.items())))[1] <= now:
            del self.waiting[first[0]]
            self.waiting[first[0]] = now + RESEND_SECONDS
            self._send(INFORM, first[0])

    def _send(self, kind, number):
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
            return ["psql", "-X", "-q", "-A", "-t", "-v", "ON_ERROR_STOP=1", "-h", "127.0.0.1", "-p",
                    str(self.server_port), "-U", "dvl", database]
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


class World(contextlib.AbstractContextManager):
    """One receiver, its store, spool and settings, in a folder that the caller removes; ends it as it is left."""

    def __init__(self, program, folder, store, users="community public\n", **settings):
        self.program, self.folder, self.store = pathlib.Path(program).resolve(), folder, store
        self.log_file = folder / "receiver.log"
        self.process = None
        self.peak_mib = 0
        with udp_socket() as probe:
            self.port = probe.getsockname()[1]
        (folder / "users").touch(0o600)
        (folder / "users").write_text(users)
        settings |= {"KVListenAddresses": f"udp:127.0.0.1:{self.port}", "KVSpoolDir": folder / "spool",
                     "KVSnmpConfig": folder / "users"}
        run(TOP / "install" / "make-registry", "--output", folder / "registry.reg",
            *(f"{name}={value}" for name, value in settings.items()))
        self._make_data_source()
        self.environment = dict(os.environ, ODBCSYSINI=str(folder), ODBCINI=str(folder / "odbc.ini"),
                                KORVANE_REGISTRY=str(folder / "registry.reg"),
                                # What waits in quarantine is no growth, and a driver loses memory at each connect.
                                ASAN_OPTIONS="quarantine_size_mb=8", LSAN_OPTIONS="exitcode=0",
                                UBSAN_OPTIONS="print_stacktrace=1")
        self.environment.pop("JOURNAL_STREAM", None)

    def __exit__(self, *_):
        if self.alive():
            self.process.kill()
            self.process.wait()

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
        found = collections.Counter()
        for row in self.store.sql("SELECT EventDescription FROM EventTrap"):
            if match := MARK.search(row[0]):
                found[int(match[1])] += 1
        return found

    def wait_until_stored(self, wanted, seconds):
        def are_there():
            with contextlib.suppress(RuntimeError, sqlite3.Error):
                return wanted <= self.stored().keys()
            return False
        return wait_until(lambda: are_there() or not self.alive(), seconds, 0.1) and are_there()
