"""The trap store on each engine: what makes it, what takes it back, and how it is asked.

Everything goes through the product's scripts and the engines' own clients.  Passwords reach these by their
environment, which nobody but the same user can read; never by a command line, a file or a server's log.
"""

import base64
import concurrent.futures
import hashlib
import hmac
import pathlib
import re
import secrets
import time

from . import datasource
from .machine import SHARED, Refused

HOST_SECONDS = 10  # for one host's answer; all are asked at once

def is_local(host):
    return re.fullmatch(r"127(\.\d{1,3}){3}|localhost|::1", host) is not None


def hosts_of(text, usual_port):
    """Pairs of host and port: NAME, NAME:PORT, ADDRESS or [ADDRESS]:PORT, several with commas between them."""
    pairs = []
    for word in filter(None, re.split(r"[,\s]+", text)):
        found = re.fullmatch(r"(?:\[([^]]*)\]|([^:]*))(?::(\d+))?", word) or re.fullmatch(r"()(.*:.*:.*)()", word)
        if not found:
            raise Refused(f'"{word}" is no host, and no host with its port')
        pairs.append((found[1] or found[2], int(found[3] or usual_port)))
    return pairs


def hosts_text(pairs):
    return ", ".join(f"[{host}]:{port}" if ":" in host else f"{host}:{port}" for host, port in pairs)


class Store:
    """address: for the scripts.  account and variables: of whom and with which environment they run."""

    engine = ""
    needs = ()  # program, package
    driver = ""
    driver_package = ""
    account = None

    def __init__(self, machine):
        self.machine, self.variables = machine, {}
        self.made_place = False  # in this run: the database and all in it is ours to take back
        self.made_tables = False  # in this run

    def missing_packages(self):
        lacking = [package for program, package in self.needs if not self.has_program(program)]
        drivers = self.machine.run("odbcinst", "-q", "-d") if self.has_program("odbcinst") else ""
        if f"[{self.driver.lower()}]" not in drivers.lower():
            lacking.append(self.driver_package)
        return lacking

    def has_program(self, name):
        try:
            return bool(self.machine.program(name))
        except Refused:
            return False

    def script(self, name, *options, timeout=None):
        return self.machine.run(SHARED / name, *options, *self.address, account=self.account, timeout=timeout,
                                **self.variables)

    def state(self, timeout=None):
        """"missing", "empty", "current", "older", "newer" or "other"; Refused when it can't be reached."""
        return self.script("make-store", "--state", timeout=timeout).strip()

    def make_place(self, steps):
        """What must be there before the tables: a user and a database at a server."""

    def make_tables(self, steps):
        before = self.state()
        if before == "other":
            raise Refused(f"{self.place()} holds something else, or a part of a trap store; it is left alone. "
                          "Name another place, or put the store back from its copy")
        if before == "newer":
            raise Refused(f"{self.place()} was brought up to date for a later release of this program")
        if before == "older":
            raise Refused(f"{self.place()} is of an earlier release. Bring it up to date first: "
                          "korvane-setup --upgrade")
        if before == "current":
            steps.tell("It is there already and stays as it is.")
            return False
        if not self.made_place:
            steps.when_undone(f"Removing the tables made in {self.place()}", self.remove_tables)
        self.script("make-store")
        self.made_tables = True
        return True

    def load_names(self, steps):
        steps.tell(self.script("load-trap-names").strip())

    def tables(self):
        text = (SHARED / "schema" / f"{self.engine}.sql").read_text(encoding="utf-8")
        return re.findall(r"^CREATE TABLE (\w+)", text, re.M)


class Embedded(Store):
    engine = "sqlite"
    needs = (("sqlite3", "sqlite3"),)
    driver, driver_package = "SQLite3", "libsqliteodbc"

    def __init__(self, machine, file=None):
        super().__init__(machine)
        self.main = pathlib.Path(file or machine.embedded_store)
        self.traps = self.main.with_name(f"{self.main.name.removesuffix('.db')}-traps.db")
        self.address = [self.engine, str(self.main)]
        self.account = machine.account()  # root opens nothing in a folder of others

    def place(self):
        return str(self.main)

    def access(self, _present):
        return {"Database": str(self.main)}

    def ask(self, statements, traps=False):
        return self.machine.run("sqlite3", "-batch", "-bail", "-init", "/dev/null", "-cmd", ".timeout 10000",
                                str(self.traps if traps else self.main), text=statements, account=self.account)

    def make_tables(self, steps):
        made = super().make_tables(steps)
        if not made:  # operators must be able to write what is there
            self.machine.tries("chmod", "0660", "--", self.main, self.traps, account=self.account)
        return made

    def remove_tables(self):
        files = [f"{file}{ending}" for file in (self.main, self.traps) for ending in ("", "-wal", "-shm")]
        self.machine.run("rm", "-f", "--", *files, account=self.account)


class Server(Store):
    """A database of a server, or of several that hold the same: of these the set-up works with the one that takes
    writes.  administrator: a name, "" for the server's own on this machine, None for nobody."""

    port = 0
    names = {}  # of the values of a data source: host, port, database, user, password
    local_account = None  # whom the server believes to be its administrator, on this machine

    def __init__(self, machine, place, administrator=None, administrator_password=""):
        super().__init__(machine)
        self.hosts, self.database, self.user = place["hosts"], place["database"], place["user"]
        self.found = self.hosts[0] if len(self.hosts) == 1 else None
        self.password, self.password_known = place["password"], place["password"] is not None
        self.tls, self.tls_ca = place["tls"], place.get("tls_ca", "")
        if self.password is None:
            self.password = secrets.token_urlsafe(24)
        self.administrator, self.administrator_password = administrator, administrator_password
        self.allow_from = place["allow_from"]
        self.variables = self.secret(self.password if self.password_known or administrator is not None else "")

    @property
    def address(self):
        return [self.engine, self.database, *self.options(self.user)]

    def place(self):
        return f"{self.database} on {hosts_text(self.hosts)}"

    def access(self, present):
        """Values of a data source that has the present ones."""
        values = {"database": self.database, "user": self.user,
                  "password": datasource.encoded(self.engine, self.password)}
        return {self.names[what]: str(value) for what, value in values.items()} | self.encryption() | \
            self.host_values(present)

    def at(self):
        """The host that takes writes, and its port; one alone needs no proof."""
        if self.found is None:
            self.find()
        return self.found

    def find(self, seconds=HOST_SECONDS):
        answers = self.survey(seconds)
        self.found = next((pair for pair, good, _ in answers if good), None)
        if self.found is None:
            raise Refused("no host takes writes:\n" + "\n".join(words for _, _, words in answers))
        return answers

    def survey(self, seconds=HOST_SECONDS):
        """Of each host in its order: the pair, whether it takes writes, and words about it."""
        with concurrent.futures.ThreadPoolExecutor(len(self.hosts)) as pool:
            return list(pool.map(lambda pair: self.look_at(pair, seconds), self.hosts))

    def look_at(self, pair, seconds):
        user, secret = self.user, self.variables
        if self.administrator:
            user, secret = self.administrator, self.secret(self.administrator_password)
        database = self.database if user == self.user else self.system_database
        try:
            good, words = self.verdict(self.client(self.options(user, pair), database, self.condition_asked,
                                                   timeout=seconds, **secret).split())
        except Refused as error:
            good, words = False, f"does not answer: {' '.join(str(error).split())}"
        return pair, good, f"{hosts_text([pair])} {words}"

    def state(self, timeout=None):
        """The search for the host is a part of the time."""
        begun = time.monotonic()
        if self.found is None and timeout:
            self.find(timeout / 2)
        return super().state(timeout and timeout - (time.monotonic() - begun))

    def ask(self, statements, traps=False):
        return self.client(self.options(self.user), self.database, statements, **self.variables)

    def as_administrator(self, statements):
        if self.administrator == "":
            return self.client(self.local_options(), self.system_database, statements, account=self.local_account)
        return self.client(self.options(self.administrator), self.system_database, statements,
                           **self.secret(self.administrator_password))

    def look_at_server(self):
        """Whether its administrator's word is taken; on this machine without a password."""
        try:
            port = self.as_administrator(self.port_asked).strip()
        except Refused as error:
            answers = "denied" in str(error).lower() or "authentication" in str(error).lower()
            local = self.administrator == "" and not answers
            hint = f"\nNo server on this machine? sudo apt install {self.server_package}" if local else ""
            raise Refused(f"{error}{hint}") from None
        if self.administrator == "" and port != str(self.at()[1]):
            raise Refused(f"the server of this machine answers on port {port}. For the one on port {self.at()[1]} name "
                          "who may make user and database there: --admin-user")

    def make_place(self, steps):
        if self.administrator is None:
            return
        if not self.as_administrator(self.user_there()).strip():
            self.as_administrator(self.create_user())
            steps.when_undone(f'Removing the user "{self.user}"', lambda: self.as_administrator(self.drop_user()))
        elif not self.password_known:
            raise Refused(f'the server has a user "{self.user}" already, and its password is not known here. Give '
                          "it with --password-file, or take another name with --user")
        if not self.as_administrator(self.database_there()).strip():
            self.as_administrator(self.create_database())
            self.made_place = True
            steps.when_undone(f'Removing the database "{self.database}"',
                              lambda: self.as_administrator(self.drop_database()))
        self.after_database(steps)

    def after_database(self, steps):
        pass

    def remove_tables(self):
        self.ask("".join(f"DROP TABLE IF EXISTS {table};\n" for table in self.tables()))


class PostgreSql(Server):
    engine, port = "postgresql", 5432
    needs = (("psql", "postgresql-client"),)
    driver, driver_package, server_package = "PostgreSQL Unicode", "odbc-postgresql", "postgresql"
    names = {"host": "Servername", "port": "Port", "database": "Database", "user": "UserName", "password": "Password",
             "tls": "SSLmode"}
    system_database, local_account = "postgres", "postgres"
    port_asked = "SHOW port;"
    condition_asked = "SELECT pg_is_in_recovery(), current_setting('default_transaction_read_only');"
    # Which of several hosts, and that one which went without a word is given up: the driver hands these on.
    several = {"target_session_attrs": "read-write", "tcp_user_timeout": "10000"}

    def options(self, user, at=None):
        host, port = at or self.at()
        return ["-w", "-h", host, "-p", str(port), "-U", user]

    def local_options(self):
        return ["-w", "-p", str(self.at()[1])]

    @staticmethod
    def verdict(answer):
        standby, read_only = answer[0].split("|")
        if standby == "t":
            return False, "is a standby"
        return read_only != "on", "refuses writes (default_transaction_read_only)" if read_only == "on" else "takes writes"

    def host_values(self, present):
        """The driver takes several hosts, but one port for all of them."""
        words = dict(word.partition("=")[::2] for word in present.get("pqopt", "").strip("{}").split())
        if len(self.hosts) > 1:
            words = self.several | words | {"target_session_attrs": "read-write"}
        else:
            words.pop("target_session_attrs", None)
        return {"Servername": ",".join(host for host, _ in self.hosts), "Port": str(self.hosts[0][1]),
                "pqopt": " ".join(f"{name}={value}" for name, value in words.items())}

    def secret(self, password):
        proof = {"PGSSLROOTCERT": self.tls_ca} if self.tls_ca else {}
        return {"PGPASSWORD": password, "PGSSLMODE": self.tls, "PGCONNECT_TIMEOUT": "5"} | proof

    def encryption(self):
        return {"SSLmode": self.tls}

    def client(self, options, database, statements, **how):
        how.setdefault("PGOPTIONS", "-c client_min_messages=warning")
        return self.machine.run("psql", "-X", "-q", "-A", "-t", "-v", "ON_ERROR_STOP=1", *options, database,
                                text=statements, **how)

    def user_there(self):
        return f"SELECT 1 FROM pg_roles WHERE rolname = '{self.user}';"

    def create_user(self):
        return f"CREATE ROLE \"{self.user}\" LOGIN PASSWORD '{scram_verifier(self.password)}';"

    def drop_user(self):
        return f'DROP ROLE IF EXISTS "{self.user}";'

    def database_there(self):
        return f"SELECT 1 FROM pg_database WHERE datname = '{self.database}';"

    def create_database(self):
        return f'CREATE DATABASE "{self.database}" OWNER "{self.user}" ENCODING \'UTF8\' TEMPLATE template0;'

    def drop_database(self):
        return f'DROP DATABASE IF EXISTS "{self.database}" WITH (FORCE);'


class MariaDb(Server):
    engine, port = "mariadb", 3306
    needs = (("mariadb", "mariadb-client"),)
    driver, driver_package, server_package = "MariaDB Unicode", "odbc-mariadb", "mariadb-server"
    names = {"host": "SERVER", "port": "PORT", "database": "DATABASE", "user": "UID", "password": "PWD",
             "tls": "SSLVERIFY", "tls_ca": "SSLCA"}
    system_database = "information_schema"
    port_asked = "SELECT @@port;"
    # Statements that a node answers which is not synced with its cluster.
    condition_asked = "SHOW GLOBAL VARIABLES LIKE 'read_only'; SHOW GLOBAL STATUS LIKE 'wsrep_local_state_comment';"

    @staticmethod
    def verdict(answer):
        """A server of no cluster has no such status, or an empty one."""
        said = dict(zip(answer[::2], answer[1::2]))
        synced = said.get("wsrep_local_state_comment", "")
        if said.get("read_only") == "ON":
            return False, "refuses writes (read_only)"
        if synced not in ("", "Synced"):
            return False, f"is not synced with its cluster ({synced})"
        return True, "is synced and takes writes" if synced else "takes writes"

    def host_values(self, _present):
        """The driver takes several hosts only with a port each."""
        if len(self.hosts) == 1:
            return {"SERVER": self.hosts[0][0], "PORT": str(self.hosts[0][1])}
        return {"SERVER": hosts_text(self.hosts).replace(" ", ""), "PORT": ""}

    def options(self, user, at=None):
        host, port = at or self.at()
        encryption = ["--ssl-verify-server-cert"] if self.tls == "require" else []
        encryption += [f"--ssl-ca={self.tls_ca}"] if self.tls_ca else []
        return ["--protocol=tcp", f"--host={host}", f"--port={port}", f"--user={user}",
                "--connect-timeout=5", *encryption]

    def local_options(self):
        return ["--protocol=socket"]  # with a port this client would go by the network

    def secret(self, password):
        return {"MYSQL_PWD": password} if password else {}

    def encryption(self):
        """Nothing less makes this driver refuse a connection in plain text (3.1.15; it passes over FORCETLS)."""
        return {"SSLVERIFY": "1" if self.tls == "require" else "", "SSLCA": self.tls_ca}

    def client(self, options, database, statements, **how):
        return self.machine.run("mariadb", *options, "--default-character-set=utf8mb4", "-N", "-B", database,
                                text=statements, **how)

    def account_name(self):
        return f"'{self.user}'@'{self.allow_from}'"

    def grant_name(self):
        """In a GRANT an underscore stands for any character."""
        return "`" + self.database.replace("_", "\\_") + "`.*"

    def user_there(self):
        return f"SELECT 1 FROM mysql.user WHERE User = '{self.user}' AND Host = '{self.allow_from}';"

    def create_user(self):
        digest = hashlib.sha1(hashlib.sha1(self.password.encode()).digest()).hexdigest().upper()
        return f"CREATE USER {self.account_name()} IDENTIFIED BY PASSWORD '*{digest}';"

    def drop_user(self):
        return f"DROP USER IF EXISTS {self.account_name()};"

    def database_there(self):
        return f"SELECT 1 FROM information_schema.SCHEMATA WHERE SCHEMA_NAME = '{self.database}';"

    def create_database(self):
        return f"CREATE DATABASE `{self.database}` CHARACTER SET utf8mb4;"

    def drop_database(self):
        return f"DROP DATABASE IF EXISTS `{self.database}`;"

    def after_database(self, steps):
        granted = f"SELECT 1 FROM mysql.db WHERE User = '{self.user}' AND Host = '{self.allow_from}'"
        if not self.as_administrator(f"{granted} AND REPLACE(Db, '\\\\', '') = '{self.database}';").strip():
            self.as_administrator(f"GRANT ALL ON {self.grant_name()} TO {self.account_name()};")
            steps.when_undone(f'Taking the rights on "{self.database}" away again', lambda: self.as_administrator(
                f"REVOKE ALL ON {self.grant_name()} FROM {self.account_name()};"))


ENGINES = {each.engine: each for each in (Embedded, PostgreSql, MariaDb)}


def engine_of(driver):
    """By the name or the file of its driver; None when it is none of ours."""
    words = (("sqlite", "sqlite"), ("postgres", "postgresql"), ("psqlodbc", "postgresql"), ("maria", "mariadb"),
             ("libmaodbc", "mariadb"))
    return next((engine for word, engine in words if word in driver.lower()), None)


def scram_verifier(password):
    """What PostgreSQL keeps instead of a password (RFC 5803), so that its log never sees the password."""
    salt, rounds = secrets.token_bytes(16), 4096
    salted = hashlib.pbkdf2_hmac("sha256", password.encode(), salt, rounds)
    client = hmac.digest(salted, b"Client Key", "sha256")
    keys = (hashlib.sha256(client).digest(), hmac.digest(salted, b"Server Key", "sha256"))
    texts = [base64.b64encode(each).decode() for each in (salt, *keys)]
    return f"SCRAM-SHA-256${rounds}:{texts[0]}${texts[1]}:{texts[2]}"
