"""Stores on several servers, on loopback and in a folder of their own: a Galera cluster of three nodes, a PostgreSQL
primary with standbys.  What is killed, frozen or cut off can be put right again; between clients and each server
stands a Gate."""
import asyncio
import contextlib
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import threading
import time

sys.path.append(str(pathlib.Path(__file__).resolve().parents[2] / "support"))
from stores import INSTALL, run  # noqa: E402

LOOP = asyncio.new_event_loop()
threading.Thread(target=LOOP.run_forever, daemon=True).start()


def wait_until(condition, what, seconds=120):
    until = time.monotonic() + seconds
    while True:
        with contextlib.suppress(RuntimeError):
            if condition():
                return
        if time.monotonic() > until:
            raise RuntimeError(f"gave up waiting for {what}")
        time.sleep(0.2)


class Gate:
    """Hands connections on.  Closed it refuses them and drops those that are there; mute it takes all and says nothing.
    """

    def __init__(self, host, port, target):
        self.place, self.target, self.server, self.writers = (host, port), target, None, set()
        self.passing = asyncio.Event()
        self.passing.set()
        self.call(self.open())

    @staticmethod
    def call(work):
        return asyncio.run_coroutine_threadsafe(work, LOOP).result(20)

    def set(self, state):
        self.call({"open": self.open, "closed": self.close, "mute": self.mute}[state]())

    async def open(self):
        self.passing.set()
        if self.server is None:
            self.server = await asyncio.start_server(self.connected, *self.place)

    async def close(self):
        if self.server is not None:
            self.server.close()
            self.server = None
        for writer in list(self.writers):
            writer.transport.abort()

    async def mute(self):
        self.passing.clear()

    async def connected(self, reader, writer):
        self.writers.add(writer)
        try:
            await self.passing.wait()
            there, back = await asyncio.open_connection("127.0.0.1", self.target)
            self.writers.add(back)
            await asyncio.gather(self.pump(reader, back), self.pump(there, writer))
            self.writers.discard(back)
        except OSError:
            writer.transport.abort()
        self.writers.discard(writer)

    async def pump(self, reader, writer):
        with contextlib.suppress(OSError):
            while data := await reader.read(65536):
                await self.passing.wait()
                writer.write(data)
                await writer.drain()
        writer.transport.abort()


class Node:
    """One server: its folder, port, process and gate."""

    def __init__(self, number, folder, port, gate_place, owner):
        self.number, self.name, self.port, self.owner = number, "abc"[number], port, owner
        self.folder = folder / self.name
        self.folder.mkdir()
        self.data, self.process, self.frozen = self.folder / "data", None, False
        self.gate = Gate(*gate_place, port)
        if os.geteuid() == 0:
            shutil.chown(self.folder, owner)

    def spawn(self, *command):
        user = {"user": self.owner, "group": self.owner, "extra_groups": []} if os.geteuid() == 0 else {}
        with (self.folder / "log").open("ab") as log:
            return subprocess.Popen([str(word) for word in command], cwd=self.folder, stdin=subprocess.DEVNULL,
                                    stdout=log, stderr=log, start_new_session=True, **user)

    def work(self, *command):
        if self.spawn(*command).wait():
            raise RuntimeError(f"{command[0]} failed:\n{self.log()[-2000:]}")

    def log(self):
        return (self.folder / "log").read_text(errors="replace")

    def alive(self):
        return self.process is not None and self.process.poll() is None

    def send(self, number):
        """To the server and what it started, some of which is in a group of its own."""
        self.frozen = number == signal.SIGSTOP
        with contextlib.suppress(OSError):
            pid = self.process.pid
            children = pathlib.Path(f"/proc/{pid}/task/{pid}/children").read_text().split()
            for each in [pid, *map(int, children)]:
                with contextlib.suppress(ProcessLookupError):
                    os.kill(each, number)

    def kill(self):
        self.send(signal.SIGKILL)
        self.process.wait()
        self.gate.set("closed")  # nobody listens on a port of a server that is gone

    def stop(self, number=signal.SIGTERM):
        self.process.send_signal(number)
        with contextlib.suppress(subprocess.TimeoutExpired):
            self.process.wait(60)
        self.kill()


class Cluster(contextlib.AbstractContextManager):
    """Starts nothing before make(), so that whoever has entered it ends what was started, whatever fails."""

    nodes, proxy = (), None

    def __exit__(self, *_):
        for node in self.nodes:
            if node.alive():
                node.kill()

    def sql(self, statement, node=None):
        return [line.split("\t") for line in run(*self.client(node or self.writable()), input=statement,
                                                 timeout=60).splitlines()]

    def ready(self, node):
        with contextlib.suppress(RuntimeError, subprocess.TimeoutExpired):
            return self.state(node)
        return False


class Galera(Cluster):
    engine = "mariadb"

    def __init__(self, folder, ports, through):
        self.through, self.front, self.folder, self.ports = through, ports + 20, folder, ports

    def make(self, _synchronous):
        folder, ports = self.folder, self.ports
        self.nodes = [Node(i, folder, ports + i, ("127.0.0.1", ports + 10 + i), "mysql") for i in range(3)]
        first = self.nodes[0]
        first.work("mariadb-install-db", "--no-defaults", f"--datadir={first.data}", "--skip-test-db",
                   "--auth-root-authentication-method=normal")
        (first.folder / "users.sql").write_text(
            "CREATE USER dvl@'127.0.0.1';\nGRANT ALL ON *.* TO dvl@'127.0.0.1' WITH GRANT OPTION;\n"
            "CREATE USER korvane_check@'127.0.0.1' IDENTIFIED VIA mysql_native_password;\n")
        self.start(first, f"--init-file={first.folder}/users.sql", "--wsrep-new-cluster")
        for node in self.nodes[1:]:
            self.start(node)
        self.wait_until_whole()
        run(*self.client(first)[:-1], input="CREATE DATABASE dvldb CHARACTER SET utf8mb4")
        run(INSTALL / "make-store", self.engine, "dvldb", *self.client(first)[4:-1])
        if self.through == "haproxy":
            self.proxy = self.start_proxy()

    def __exit__(self, *details):
        if self.proxy:
            self.proxy.kill()
        super().__exit__(*details)

    def start_proxy(self):
        """With the template that is installed, and the addresses of this trial in it."""
        text = (INSTALL / "cluster" / "haproxy-galera.cfg").read_text()
        text = text.replace("127.0.0.1:3306", f"127.0.0.1:{self.front}")
        for node in self.nodes:
            text = text.replace(f"store{node.number + 1}.example.net:3306", "%s:%d" % node.gate.place)
        (self.folder / "haproxy.cfg").write_text(text)
        with (self.folder / "haproxy.log").open("ab") as log:
            return subprocess.Popen(["haproxy", "-db", "-f", self.folder / "haproxy.cfg"], stdout=log, stderr=log)

    def client(self, node):
        return ["mariadb", "-N", "-r", "-B", "--protocol=tcp", "--host=127.0.0.1", f"--port={node.port}", "--user=dvl",
                "--connect-timeout=3", "dvldb"]

    def access(self, client):
        """Of the data source: each client begins with another node of the list."""
        if self.through == "haproxy":
            return {"SERVER": "127.0.0.1", "PORT": self.front}
        order = [self.nodes[(client + i) % 3] for i in range(3)]
        return {"SERVER": ",".join("%s:%d" % node.gate.place for node in order), "PORT": ""}

    def group_port(self, node):
        return self.ports + 30 + 3 * node.number

    def start(self, node, *more):
        group = self.group_port(node)
        if (node.data / "grastate.dat").exists():
            more = [*more, f"--wsrep-start-position={self.position(node)}"]
        node.data.mkdir(exist_ok=True)
        if os.geteuid() == 0:
            shutil.chown(node.data, node.owner)
        peers = ",".join(f"127.0.0.1:{self.group_port(each)}" for each in self.nodes)
        node.gate.set("open")
        node.process = node.spawn(
            *self.server(node), *more, f"--wsrep-cluster-address=gcomm://{peers}", f"--wsrep-node-name={node.name}",
            f"--wsrep-node-address=127.0.0.1:{group}", f"--wsrep-sst-receive-address=127.0.0.1:{group + 2}",
            "--wsrep-provider-options=gmcast.listen_addr=tcp://127.0.0.1:%d;ist.recv_addr=127.0.0.1:%d;gcache.size=32M"
            % (group, group + 1), "--wsrep-cluster-name=weather", "--wsrep-sst-method=rsync", "--wsrep-slave-threads=2")

    def position(self, node):
        node.work(*self.server(node), "--wsrep-cluster-address=gcomm://", "--wsrep-recover")
        return re.findall(r"Recovered position: ?([0-9a-f-]+:-?\d+)", node.log())[-1]

    def server(self, node):
        return ["mariadbd", "--no-defaults", f"--datadir={node.data}", f"--socket={node.folder}/socket",
                f"--pid-file={node.folder}/pid", f"--port={node.port}", "--bind-address=127.0.0.1",
                "--skip-name-resolve", "--character-set-server=utf8mb4", "--binlog-format=ROW",
                "--innodb-autoinc-lock-mode=2",
                "--innodb-buffer-pool-size=64M", "--innodb-flush-log-at-trx-commit=2", "--innodb-flush-method=nosync",
                "--skip-innodb-doublewrite", "--debug-no-sync", "--wsrep-on=ON",
                "--wsrep-provider=/usr/lib/galera/libgalera_smm.so"]

    def state(self, node):
        asked = "SHOW STATUS LIKE 'wsrep_local_state_comment'"
        return node.alive() and not node.frozen and run(
            *self.client(node)[:-1], input=asked, timeout=5).split()[1:] == ["Synced"]

    def writable(self):
        return next((node for node in self.nodes if self.ready(node)), self.nodes[0])

    def wait_until_whole(self):
        for node in self.nodes:
            if not node.alive():
                self.start(node)
        wait_until(lambda: all(map(self.ready, self.nodes)), "three synced nodes\n" +
                   "\n".join(node.log()[-1500:] for node in self.nodes))

    def set_provider(self, node, option):
        run(*self.client(node)[:-1], input=f"SET GLOBAL wsrep_provider_options='{option}'", timeout=30)

    # The faults: each takes the node that is worked on, holds for some seconds, and puts it right.
    def kill(self, node, seconds):
        node.kill()
        time.sleep(seconds)

    def freeze(self, node, seconds):
        node.send(signal.SIGSTOP)
        time.sleep(seconds)
        node.send(signal.SIGCONT)

    def isolate(self, node, seconds):
        """Off its cluster, but not off its clients."""
        self.set_provider(node, "gmcast.isolate=1")
        time.sleep(seconds)
        self.set_provider(node, "gmcast.isolate=0")

    def cut(self, node, seconds, state="closed"):
        node.gate.set(state)
        time.sleep(seconds)
        node.gate.set("open")

    def mute(self, node, seconds):
        self.cut(node, seconds, "mute")

    def partition(self, node, seconds):
        """Off its cluster and off its clients."""
        self.set_provider(node, "gmcast.isolate=1")
        self.cut(node, seconds)
        self.set_provider(node, "gmcast.isolate=0")

    def copied(self, node, seconds):
        """A node that comes back with nothing gets all of the store from another."""
        node.stop()
        shutil.rmtree(node.data)
        time.sleep(seconds)

    def quorum(self, node, seconds):
        """Two of three at once; the third refuses statements until an administrator says that it is the cluster."""
        for other in self.nodes:
            if other is not node:
                other.kill()
        time.sleep(seconds)
        wait_until(lambda: not self.ready(node), "the node to see that it is alone")
        self.set_provider(node, "pc.bootstrap=YES")

    def blackout(self, _node, seconds):
        """All at once; the most advanced begins the cluster anew."""
        for node in self.nodes:
            node.kill()
        time.sleep(seconds)
        first = max(self.nodes, key=lambda node: int(self.position(node).rpartition(":")[2]))
        state = first.data / "grastate.dat"
        state.write_text(state.read_text().replace("safe_to_bootstrap: 0", "safe_to_bootstrap: 1"))
        self.start(first, "--wsrep-new-cluster")
        wait_until(lambda: self.ready(first), "the first node")

    faults = {each.__name__: each for each in (kill, freeze, isolate, cut, mute, partition, copied, quorum, blackout)}


class Postgres(Cluster):
    """Synchronous: two standbys, of which one has to have each commit.  Otherwise one, which may lag."""

    engine = "postgresql"

    def __init__(self, folder, ports, _through):
        self.bin = sorted(pathlib.Path("/usr/lib/postgresql").glob("*/bin"))[-1]
        self.folder, self.front, self.ports = folder, ports + 20, ports

    def make(self, synchronous):
        folder, ports = self.folder, self.ports
        self.nodes = [Node(i, folder, ports + i, (f"127.0.0.{11 + i}", self.front), "postgres")
                      for i in range(3 if synchronous else 2)]
        peers = "host={} port={} user=dvl dbname=postgres target_session_attrs=read-write connect_timeout=2".format(
            ",".join("127.0.0.1" for _ in self.nodes), ",".join(str(node.port) for node in self.nodes))
        self.settings = {
            "listen_addresses": "127.0.0.1", "unix_socket_directories": "", "fsync": "off", "shared_buffers": "32MB",
            "dynamic_shared_memory_type": "mmap", "wal_log_hints": "on", "wal_keep_size": "256MB", "hot_standby": "on",
            "primary_conninfo": peers, "wal_receiver_timeout": "5s", "wal_sender_timeout": "5s",
            "synchronous_standby_names": "ANY 1 (a, b, c)" if synchronous else ""}
        self.primary = self.nodes[0]
        self.primary.work(self.bin / "initdb", "-D", self.primary.data, "-U", "dvl", "--auth=trust", "-E", "UTF8",
                          "--locale=C.UTF-8", "--no-sync")
        self.start(self.primary)
        wait_until(lambda: self.ready(self.primary), "the primary")
        self.wait_until_whole()
        run("createdb", *self.address(self.primary), "dvldb")
        run(INSTALL / "make-store", self.engine, "dvldb", *self.address(self.primary))

    @staticmethod
    def address(node):
        return ["-h", "127.0.0.1", "-p", str(node.port), "-U", "dvl"]

    def client(self, node, database="dvldb"):
        return ["psql", "-X", "-q", "-A", "-t", "-F", "\t", "-v", "ON_ERROR_STOP=1", *self.address(node), database]

    def ask(self, node, statement):
        return run(*self.client(node, "postgres"), input=statement, timeout=20).strip()

    def access(self, _client):
        return {"Servername": ",".join(node.gate.place[0] for node in self.nodes), "Port": self.front,
                "SSLmode": "disable\npqopt=target_session_attrs=read-write tcp_user_timeout=10000"}

    def start(self, node):
        node.gate.set("open")
        settings = [f"--{name}={value}" for name, value in self.settings.items() if name != "primary_conninfo"]
        node.process = node.spawn(self.bin / "postgres", "-D", node.data, "-p", node.port,
                                  f"--cluster_name={node.name}", *settings)

    def state(self, node):
        """A primary takes writes, a standby follows it."""
        if not node.alive() or node.frozen:
            return False
        if node is self.primary:
            return self.ask(node, "SELECT pg_is_in_recovery()") == "f"
        return self.ask(node, "SELECT status FROM pg_stat_wal_receiver") == "streaming"

    def writable(self):
        return self.primary

    def follow(self, node):
        """A server that was primary, or has nothing yet, becomes a standby."""
        source = f"host=127.0.0.1 port={self.primary.port} user=dvl dbname=postgres"
        try:
            if not node.data.exists():
                raise RuntimeError("nothing to rewind")
            self.ask(self.primary, "CHECKPOINT")  # before it a new primary is not known as one
            node.work(self.bin / "pg_rewind", "-D", node.data, f"--source-server={source}", "--no-sync")
        except RuntimeError:
            shutil.rmtree(node.data, ignore_errors=True)
            node.work(self.bin / "pg_basebackup", "-D", node.data, "-d", source, "-c", "fast", "--no-sync")
        (node.data / "standby.signal").touch()
        (node.data / "postgresql.auto.conf").write_text(f"primary_conninfo = '{self.settings['primary_conninfo']}'\n")
        if os.geteuid() == 0:
            shutil.chown(node.data / "standby.signal", node.owner)
        self.start(node)

    def wait_until_whole(self):
        for node in self.nodes:
            if not node.alive():
                self.start(node) if (node.data / "standby.signal").exists() else self.follow(node)
        wait_until(lambda: all(map(self.ready, self.nodes)), "primary and standbys\n" +
                   "\n".join(node.log()[-1500:] for node in self.nodes))

    def promote(self):
        """The most advanced of the standbys; the primary is dead before, or there would be two."""
        if self.primary.alive():
            self.primary.kill()
        standbys = [node for node in self.nodes if node is not self.primary and node.alive()]
        self.primary = max(standbys, key=lambda node: int(self.ask(
            node, "SELECT pg_wal_lsn_diff(pg_last_wal_receive_lsn(), '0/0')::bigint")))
        self.primary.work(self.bin / "pg_ctl", "-D", self.primary.data, "-w", "promote")

    # The faults: each takes a standby, holds for some seconds, and puts it right.
    def kill(self, _node, seconds):
        self.primary.kill()
        time.sleep(seconds)
        self.promote()

    def stop(self, _node, seconds):
        self.primary.stop(signal.SIGINT)
        time.sleep(seconds)
        self.promote()

    def freeze(self, _node, seconds):
        self.primary.send(signal.SIGSTOP)
        time.sleep(seconds)
        self.promote()

    def cut(self, _node, seconds, state="closed"):
        self.primary.gate.set(state)
        time.sleep(seconds)
        self.promote()

    def mute(self, node, seconds):
        self.cut(node, seconds, "mute")

    def restart(self, _node, seconds):
        """Dead and back, without a promotion."""
        self.primary.kill()
        time.sleep(seconds)
        self.start(self.primary)

    def standby(self, node, seconds):
        node.kill()
        time.sleep(seconds)

    def standbyfrozen(self, node, seconds):
        node.send(signal.SIGSTOP)
        time.sleep(seconds)
        node.send(signal.SIGCONT)

    def lagging(self, node, seconds):
        """The standby misses the last seconds of the primary that dies, so the store goes back."""
        self.ask(node, "ALTER SYSTEM SET primary_conninfo = ''")
        self.ask(node, "SELECT pg_reload_conf()")
        time.sleep(seconds)
        self.primary.kill()
        self.ask(node, "ALTER SYSTEM RESET primary_conninfo")
        self.promote()

    faults = {each.__name__: each for each in (kill, stop, freeze, cut, mute, restart, standby, standbyfrozen, lagging)}
