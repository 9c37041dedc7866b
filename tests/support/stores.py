"""Trap stores of each engine, made with what an administrator has, for the tests that are written in Python."""
import contextlib
import os
import pathlib
import re
import sqlite3
import subprocess

TOP = pathlib.Path(__file__).resolve().parents[2]
INSTALL = TOP / "install"
SERVERS = TOP / "tests" / "support" / "database-servers"


def run(*command, **options):
    done = subprocess.run([str(word) for word in command], capture_output=True, text=True, check=False, **options)
    if done.returncode:
        raise RuntimeError(f"{command[0]} failed:\n{done.stdout}{done.stderr}")
    return done.stdout


@contextlib.contextmanager
def database_servers(state):
    """Runs both servers; state is the file that says where they are."""
    run(SERVERS, "start", state, os.getpid())
    try:
        yield
    finally:
        run(SERVERS, "stop", state)


class SqliteStore:
    engine = "sqlite"

    def __init__(self, folder):
        self.folder = folder
        self.main, self.traps = folder / "dvldb.db", folder / "dvldb-traps.db"
        self.address = [self.engine, self.main]  # for the scripts in install/
        self.access = {"Database": self.main}  # for the data source
        self.client = ["sqlite3", "-bail", "-cmd", ".timeout 10000", self.traps]
        run(INSTALL / "make-store", *self.address)

    def sql(self, statement):
        with contextlib.closing(sqlite3.connect(self.main, isolation_level=None, timeout=10)) as connection:
            connection.execute("ATTACH DATABASE ? AS traps", [str(self.traps)])
            return [list(map(str, row)) for row in connection.execute(statement)]


class ServerStore:
    """A database of its own on a running server, until it is dropped."""

    def __init__(self, engine, state, name="weather"):
        self.engine, self.state, self.name = engine, state, name
        places = dict(line.split("=") for line in pathlib.Path(state).read_text().splitlines())
        self.folder, port = pathlib.Path(places["folder"]) / engine, places[engine]
        options = {"postgresql": ["-h", "127.0.0.1", "-p", port, "-U", "dvl"],
                   "mariadb": ["--protocol=tcp", "--host=127.0.0.1", f"--port={port}", "--user=dvl"]}[engine]
        self.address = [engine, name, *options]
        self.access = {"Port": port, "Database": name}
        self.client = {"postgresql": ["psql", "-X", "-q", "-A", "-t", "-F", "\t", "-v", "ON_ERROR_STOP=1"],
                       "mariadb": ["mariadb", "-N", "-r", "-B"]}[engine] + [*options, name]
        self.ask("create")

    def ask(self, verb):
        run(SERVERS, verb, self.state, self.engine, self.name)

    def sql(self, statement):
        environment = dict(os.environ, PGOPTIONS="-c default_transaction_read_only=off")
        return [line.split("\t") for line in run(*self.client, input=statement, env=environment).splitlines()]

    def processes(self):
        """The server's, so no other server's."""
        file = {"postgresql": "data/postmaster.pid", "mariadb": "pid"}[self.engine]
        pid = (self.folder / file).read_text().split()[0]
        children = pathlib.Path(f"/proc/{pid}/task/{pid}/children").read_text()
        return [int(each) for each in [pid, *children.split()]]


def data_source(folder, store):
    """Makes the templates lead to the store, with nothing but its place filled in.  The environment that names them."""
    templates = INSTALL / "odbc"
    drivers = next(pathlib.Path("/usr/lib").glob("*/odbc"))
    text = re.sub(r"^Driver=.*/", f"Driver={drivers}/", (templates / "odbcinst.ini").read_text(), flags=re.M)
    (folder / "odbcinst.ini").write_text(text)
    source = (templates / f"odbc-{store.engine}.ini").read_text()
    for key, value in store.access.items():
        source, count = re.subn(rf"^({key})=.*", rf"\1={value}", source, flags=re.M | re.I)
        assert count == 1, f"{key} stands {count} times in the template"
    (folder / "odbc.ini").write_text(source)
    return {"ODBCSYSINI": str(folder), "ODBCINI": str(folder / "odbc.ini")}
