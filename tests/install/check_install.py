"""What an administrator sets a machine up with: the set-up, trap names, data sources, registry file, folders.

  check_install.py STATE PROGRAMS
      STATE: what database-servers wrote when it started the two servers; PROGRAMS: the folder of kvreceiver
"""

import os
import pathlib
import re
import shutil
import socket
import sqlite3
import subprocess
import sys
import tempfile
import unittest

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "support"))
sys.dont_write_bytecode = True
from stores import INSTALL, ServerStore, SqliteStore, data_source  # noqa: E402

LOADER = INSTALL / "load-trap-names"
OLD = pathlib.Path(__file__).resolve().parent / "stores"
HEADER = "EnterpriseOid\tRequestType\tSpecificTrap\tName\tTrapDescription"

# Notification OIDs, their names and the names of their enterprises.
WELL_KNOWN = (
    ("1.3.6.1.6.3.1.1.5.3", "linkDown", "snmpTraps"),
    ("1.3.6.1.2.1.15.7.1", "bgpEstablished", "bgpTraps"),
    ("1.3.6.1.2.1.15.0.1", "bgpEstablishedNotification", "bgp"),
    ("1.3.6.1.2.1.16.0.2", "fallingAlarm", "rmon"),
    ("1.3.6.1.2.1.47.2.0.1", "entConfigChange", "entityMIBTraps"),
    ("1.3.6.1.2.1.43.18.2.0.1", "printerV2Alert", "printerV1Alert"),
    ("1.3.6.1.4.1.8072.4.0.2", "nsNotifyShutdown", "netSnmpNotificationPrefix"),
    ("1.0.8802.1.1.2.0.0.1", "lldpRemTablesChange", "lldpNotifications"),
)


def version_1_form(notification):
    """Enterprise and specific code of a notification, by RFC 3584, section 3.2."""
    *prefix, above, last = notification.split(".")
    return ".".join(prefix if above == "0" else [*prefix, above]), int(last)


def run(*command, **options):
    return subprocess.run([str(word) for word in command], capture_output=True, text=True, check=False, **options)


def trap_file(*rows):
    return "\n".join(["# names", HEADER, *("\t".join(row) for row in rows)]) + "\n"


class InFolder(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="korvane-install-")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)


class TrapNames(InFolder):
    def load(self, store, text=None):
        if text is None:
            return run(LOADER, *store.address)
        (self.folder / "names.tsv").write_bytes(text if isinstance(text, bytes) else text.encode())
        return run(LOADER, "--data", self.folder / "names.tsv", *store.address)

    def rows(self, store):
        return store.sql(f"SELECT {HEADER.replace(chr(9), ', ')} FROM EventStructure ORDER BY EnterpriseOid, RequestType")

    def test_shipped_names_are_found_by_their_version_1_form(self):
        store = SqliteStore(self.folder)
        done = self.load(store)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        stored = {(row[0], int(row[1])): (row[2], row[3]) for row in self.rows(store)}
        for notification, trap, enterprise in WELL_KNOWN:
            self.assertEqual(stored.get(version_1_form(notification)), (trap, enterprise), notification)

    def test_every_engine_replaces_what_it_knows_and_takes_all_or_nothing(self):
        servers = [ServerStore(engine, STATE, "trap_names") for engine in ("postgresql", "mariadb")]
        for server in servers:
            self.addCleanup(server.ask, "drop")
        for store in (SqliteStore(self.folder), *servers):
            with self.subTest(store.engine):
                self.replaces_and_takes_all_or_nothing(store)
                # The data source template leads to the store.
                environment = dict(os.environ, **data_source(self.folder, store))
                statement = "SELECT TrapDescription FROM EventStructure WHERE RequestType = 2\n"
                done = run("isql", "-b", "-v", "-d|", "dvldb", input=statement, env=environment, timeout=60)
                self.assertIn("Größe 日本 %s :name \\", done.stdout, done.stdout + done.stderr)

    def replaces_and_takes_all_or_nothing(self, store):
        store.sql("INSERT INTO EventStructure VALUES ('1.3.6.1.4.1.5', 1, 'other', 'another', 'untouched')")
        first = ("1.3.6.1.4.1.4", "-1", "first", "maker", "It's \\' \"so\"; -- \\")
        second = ("1.3.6.1.4.1.4", "2", "second-trap", "maker", "Größe 日本 %s :name \\")
        changed = (*first[:2], "renamed", *first[3:])
        other = ["1.3.6.1.4.1.5", "1", "other", "another", "untouched"]
        for rows in ((first, second), (second, changed)):
            done = self.load(store, trap_file(*rows))
            self.assertEqual(done.returncode, 0, done.stderr)
            wanted = sorted((list(row) for row in rows), key=lambda row: int(row[1]))
            self.assertEqual(self.rows(store), [*wanted, other])

        store.sql("CREATE TRIGGER refuse BEFORE INSERT ON EventStructure WHEN NEW.SpecificTrap = 'refusedTrap' "
                  "BEGIN SELECT RAISE(ABORT, 'refused'); END" if store.engine == "sqlite" else
                  "ALTER TABLE EventStructure ADD CONSTRAINT refuse CHECK (SpecificTrap <> 'refusedTrap')")
        before = self.rows(store)
        done = self.load(store, trap_file(first, (*second[:2], "refusedTrap", *second[3:])))
        self.assertEqual(done.returncode, 1)
        self.assertIn("refuse", done.stderr)
        self.assertEqual(self.rows(store), before)

    def test_damaged_files_are_refused_with_line_and_reason(self):
        store = SqliteStore(self.folder)
        good = ("1.3.6.1.4.1.4", "1", "first", "maker", "text")
        self.load(store, trap_file(good))
        before = self.rows(store)

        def with_second(**changes):
            row = {"oid": "1.3.6.1.4.1.4", "code": "2", "trap": "second", "name": "maker", "text": "text", **changes}
            return trap_file(good, tuple(row.values()))

        for text, line, reason in (
            ("", 1, "empty"),
            (HEADER + "\n", 1, "names no trap"),
            (trap_file(good).replace("Name\t", ""), 2, "the columns must be"),
            (trap_file(good)[:-3], 3, "cut off"),
            (trap_file(good, good[:4]), 4, "4 columns instead of 5"),
            (trap_file(good).replace("\n", "\r\n"), 1, "U+000D"),
            (with_second(text="a\0b"), 4, "U+0000"),
            (with_second(text="Ä").encode("latin-1"), 4, "not UTF-8"),
            (with_second(oid="1.3.6..1"), 4, "is not an OID"),
            (with_second(oid="1.3.06"), 4, "is not an OID"),
            (with_second(oid=".1.3.6"), 4, "is not an OID"),
            (with_second(oid="1.3.4294967296"), 4, "is not an OID"),
            (with_second(oid="1.40.1"), 4, "begin like an OID"),
            (with_second(oid="1" + ".3" * 128), 4, "2 to 128 numbers"),
            (with_second(code="2147483648"), 4, "32-bit"),
            (with_second(code="two"), 4, "32-bit"),
            (with_second(trap="it's"), 4, "SpecificTrap"),
            (with_second(name="a maker"), 4, "Name"),
            (with_second(text=" "), 4, "TrapDescription is empty"),
            (with_second(code="1"), 4, "in line 3 already"),
            (with_second(name="other"), 4, "another name in line 3"),
            (with_second(oid="1.3.6.1.4.1.5"), 4, "another enterprise in line 3"),
        ):
            with self.subTest(reason=reason, text=text):
                done = self.load(store, text)
                self.assertEqual(done.returncode, 1)
                self.assertRegex(done.stderr, rf"names\.tsv:{line}: .*{reason}".replace("+", r"\+"))
                self.assertEqual(self.rows(store), before)

    def test_a_new_store_is_whole_and_nothing_planted_is_written_and_no_other_is_made(self):
        SqliteStore(self.folder)
        self.assertEqual({file.name: file.stat().st_mode & 0o777 for file in self.folder.iterdir()},
                         {"dvldb-traps.db": 0o660, "dvldb.db": 0o660})
        elsewhere = self.folder / "elsewhere"
        (self.folder / "second.db").symlink_to(elsewhere)
        sqlite3.connect(self.folder / "bare.db").close()
        for command, fault in (((INSTALL / "make-store", "sqlite", self.folder / "second.db"), "is there already"),
                               ((LOADER, "sqlite", self.folder / "bare.db"), "no such table: EventStructure"),
                               ((LOADER, "sqlite", self.folder / "typo.db"), "")):
            done = run(*command)
            self.assertEqual((done.returncode, fault in done.stderr), (1, True), done.stderr)
        for name in ("elsewhere", "second-traps.db", "typo.db"):
            self.assertFalse((self.folder / name).exists(), name)


class Upgrades(InFolder):
    """Stores of earlier releases, made by the tables of tests/install/stores."""

    ordered = (("Category_Group_Master", "Category_Name"), ("Trap_Group", "Trap_ID"), ("Trap_Filter_Group", "Trap_ID"))

    actions = (("Beep_Detail", "Beep_ID", "Beep_ID"), ("Email_Detail", "Email_ID", "Email_ID"),
               ("Message_Detail", "Message_ID", "Message_ID"), ("Custom_Action_Detail", "Custom_Action_ID", "Custom_ID"))

    def test_a_store_of_each_earlier_release_becomes_what_a_new_one_is_and_keeps_its_rows(self):
        servers = [ServerStore(engine, STATE, "upgraded") for engine in ("postgresql", "mariadb")]
        for server in servers:
            self.addCleanup(server.ask, "drop")
        for store in (SqliteStore(self.folder), *servers):
            new = self.tables(store)
            for release in (1, 2):
                with self.subTest(store.engine, release=release):
                    self.make_old(store, release)
                    if store.engine == "postgresql":
                        store.sql("GRANT SELECT ON EventTrap TO PUBLIC; GRANT UPDATE (EventAck) ON EventTrap TO PUBLIC")
                    self.upgrade(store, 0, f"from version {release} to version 3")
                    self.assertEqual(self.tables(store), new)
                    store.sql("INSERT INTO EventTrap (EventTime, EventNotes) VALUES (2, 'new')")
                    self.assertEqual(store.sql("SELECT SequenceNumber, EventNotes FROM EventTrap ORDER BY 1"),
                                     [["1", "kept"], ["2", "new"]])
                    self.assertGreater(len(store.sql("SELECT Store_Identity FROM Store_Info")[0][0]), 30)
                    if release == 1:
                        for table, key in self.ordered:
                            rows = store.sql(f"SELECT {key} FROM {table} ORDER BY Sort_Order")
                            self.assertEqual(rows, [["7"], ["3"]], "in the order in which they were made")
                    for table, key, reference in self.actions:
                        store.sql(f"INSERT INTO {table} (Description) VALUES ('next')" if table[0] in "BC" else
                                  f"INSERT INTO {table} ({'Email_To' if table[0] == 'E' else 'Destination'}) VALUES ('x')")
                        numbers = [int(row[0]) for row in store.sql(f"SELECT {key} FROM {table} ORDER BY 1")]
                        self.assertEqual((len(numbers), numbers[0]), (2, 1))
                        self.assertEqual(store.sql(f"SELECT {reference} FROM Trap_Notification_Master"), [["1"]])
            if store.engine == "postgresql":
                self.assertEqual(store.sql("SELECT has_table_privilege('public', 'EventTrap', 'SELECT'), "
                                           "has_column_privilege('public', 'EventTrap', 'eventack', 'UPDATE')"), [["t", "t"]])
            self.upgrade(store, 0, "version 3 already")
            before = store.sql("SELECT Store_Identity FROM Store_Info")
            self.assertEqual(run(INSTALL / "make-store", "--new-identity", *store.address).returncode, 0)
            self.assertNotEqual(store.sql("SELECT Store_Identity FROM Store_Info"), before)
            store.sql("UPDATE Store_Info SET Schema_Version = 4")
            self.upgrade(store, 1, "made for a later release")

    @staticmethod
    def tables(store):
        dump = {"sqlite": ["sqlite3", store.address[1], ".schema"], "mariadb": ["mariadb-dump", "--no-data"],
                "postgresql": ["pg_dump", "--schema-only", "--no-owner"]}[store.engine]
        schema = run(*dump, *store.address[2:], *([] if store.engine == "sqlite" else [store.name])).stdout
        # One engine writes an added column behind the comma of the one before.
        lines = (line for line in schema.splitlines() if re.match(r" +\w|,|CREATE|ALTER", line))
        return sorted(" ".join(part.split()) for line in lines for part in re.split("[,();]", line) if part.strip())

    @staticmethod
    def make_old(store, release):
        if store.engine == "sqlite":
            for file, tables in ((store.main, "sqlite"), (store.traps, "sqlite-traps")):
                file.unlink()
                run("sqlite3", "-bail", file, input=(OLD / str(release) / f"{tables}.sql").read_text())
        else:
            store.sql("DROP SCHEMA public CASCADE; CREATE SCHEMA public" if store.engine == "postgresql" else
                      f"DROP DATABASE {store.name}; CREATE DATABASE {store.name} CHARACTER SET utf8mb4")
            store.sql((OLD / str(release) / f"{store.engine}.sql").read_text())
        store.sql("INSERT INTO EventTrap (EventTime, EventNotes) VALUES (1, 'kept')")
        for number, key in enumerate((7, 3)):
            store.sql(f"INSERT INTO Category_Group (Category_Name, Category_ID) VALUES ('{key}', {number})")
            for table, column in Upgrades.ordered:
                store.sql(f"INSERT INTO {table} ({column}) VALUES ('{key}')")
        store.sql("UPDATE Category_Group_Master SET Category_Desc = 'edited' WHERE Category_Name = '7'")
        # As a node of a cluster that counts from 2 made them.
        store.sql("INSERT INTO Trap_Notification_Master VALUES (1, 2, 2, 2, 2)")
        for table, key, _ in Upgrades.actions:
            store.sql(f"UPDATE {table} SET {key} = 2")

    def upgrade(self, store, status, words):
        done = run(INSTALL / "make-store", "--upgrade", *store.address)
        self.assertEqual((done.returncode, words in done.stdout + done.stderr), (status, True), done)


class SettingUp(InFolder):
    """korvane-setup, everything below a root of its own, with the real receiver or one that never starts."""

    others = "[payroll]\nDriver=SQLite3\nPWD=theirs\n"
    place = ("--database", "kv_setup", "--user", "kv_user")
    secret = "p+%}#;'\" \\x"

    def setUp(self):
        if not (pathlib.Path(PROGRAMS) / "kvreceiver").exists():
            self.skipTest("needs a build with the receiver")
        super().setUp()
        self.root, self.broken = self.folder / "root", self.folder / "broken"
        (self.root / "etc").mkdir(parents=True)
        (self.root / "etc/odbc.ini").write_text(self.others)
        self.broken.mkdir()
        (self.broken / "kvreceiver").write_text("#!/bin/sh\necho no spool >&2; exit 1\n")
        (self.broken / "kvreceiver").chmod(0o755)
        (self.broken / "korvane-categories").symlink_to(pathlib.Path(PROGRAMS).resolve() / "korvane-categories")
        (self.folder / "secret").write_text(self.secret + "\n")
        self.source = self.root / "etc/korvane-store/odbc.ini"

    def set_up(self, status, *options, programs=None, words=""):
        done = run(INSTALL / "korvane-setup", "--root", self.root, "--programs", programs or PROGRAMS, *options)
        said = done.stdout + done.stderr
        self.assertEqual((done.returncode, words in said, self.secret in said), (status, True, False), said)
        return said

    def files(self):
        return {file.relative_to(self.root): file.read_bytes() for file in self.root.rglob("*")
                if file.is_file() and "spool" not in file.parts and file.suffix not in (".lock", ".db")}

    def test_every_engine_is_set_up_and_again_and_a_failed_step_leaves_what_was_there(self):
        for engine in ("sqlite", "postgresql", "mariadb"):
            with self.subTest(engine), socket.socket(type=socket.SOCK_DGRAM) as wire:
                self.setUp()
                wire.bind(("127.0.0.1", 0))
                options = ["--listen", f"udp:127.0.0.1:{wire.getsockname()[1]}"]
                wire.close()
                if engine == "sqlite":
                    options.append("--embedded")
                    def ask(statement):
                        return run("sqlite3", self.root / "var/lib/korvane/dvldb.db", statement).stdout.split()
                    def left():
                        return [file for file in self.root.rglob("*.db")]
                else:
                    beside = ServerStore(engine, STATE, "beside")
                    self.addCleanup(beside.ask, "drop")
                    # Nobody listens on the first host of the two.
                    options += [f"--{engine}", "--host", "127.0.0.9", "--host", "127.0.0.1", "--port", beside.access["Port"],
                                *self.place, "--admin-user", "dvl", "--password-file", self.folder / "secret"]
                    def ask(statement, client=beside.client):
                        return run(*client[:-1], "kv_setup", input=statement).stdout.split()
                    def left(beside=beside):
                        return [row for table, name in
                                ((("pg_roles", "rolname"), ("pg_database", "datname")) if beside.engine == "postgresql"
                                 else (("mysql.user", "User"), ("information_schema.SCHEMATA", "SCHEMA_NAME")))
                                for row in beside.sql(f"SELECT 1 FROM {table} WHERE {name} LIKE 'kv%';")]
                self.story(options, ask, left)
                if engine != "sqlite":
                    names = ("DATABASE kv_setup", "ROLE kv_user" if engine == "postgresql" else "USER kv_user@'127.0.0.1'")
                    for name in names:
                        beside.sql(f"DROP {name};")

    def story(self, options, ask, left):
        before = self.files()
        self.set_up(1, *options, programs=self.broken, words="no spool")
        self.assertEqual((self.files(), left()), (before, []), "all is undone")

        self.set_up(0, *options, words="went through a receiver started for it")
        self.assertEqual(self.source.stat().st_mode & 0o777, 0o640)
        self.assertEqual((self.root / "etc/odbc.ini").read_text(), self.others)
        counts = "SELECT COUNT(*) FROM EventStructure; SELECT COUNT(*) FROM Category_Group_Master;"
        names, categories = map(int, ask(counts))
        self.assertTrue(names > 400 and categories > 4)

        # An operator's categories, and a file that the administrator has added to, outlive what comes after.
        ask("DELETE FROM Category_Group_Master WHERE Sort_Order > 1;")
        self.source.write_text(self.source.read_text() + "# kept\n")
        before = self.files()
        self.set_up(1, *options[2:], "--listen", "udp:127.0.0.1:16299", programs=self.broken, words="no spool")
        self.assertEqual(self.files(), before)
        self.set_up(0, words="categories already")
        self.assertEqual((self.files(), ask(counts)), (before, [str(names), "1"]))
        said = self.set_up(0, "--check", words="taken out again")
        if "--host" in options:
            self.assertRegex(said, r"127\.0\.0\.9:\d+ does not answer: (.*\n)+127\.0\.0\.1:\d+ takes writes\n")
            # The driver's list goes with the second host; what else the administrator told the driver stays.
            self.source.write_text(self.source.read_text().replace("pqopt=", "pqopt=keepalives=1 "))
            self.set_up(0, "--host", "127.0.0.1", "--no-check")
            self.assertNotRegex(self.source.read_text(), r"127\.0\.0\.9|(?m:^pqopt=.*session_attrs|^PORT=$)")
            self.assertEqual("pqopt=keepalives=1" in self.source.read_text(), "--postgresql" in options)

    def test_hosts_are_taken_in_each_form_and_kept(self):
        sys.path.insert(0, str(INSTALL))
        from setup import machine, stores
        with self.assertRaises(machine.Refused):
            stores.hosts_of("a:b", 1)
        pairs = stores.hosts_of("a,b:7 [::1]:8,::2", 9)
        self.assertEqual(pairs, [("a", 9), ("b", 7), ("::1", 8), ("::2", 9)])
        self.assertEqual(stores.hosts_of(stores.hosts_text(pairs), 1), pairs)
        for server, answer, good in ((stores.PostgreSql, "t|off", False), (stores.PostgreSql, "f|on", False),
                                     (stores.PostgreSql, "f|off", True), (stores.MariaDb, "read_only ON", False),
                                     (stores.MariaDb, "read_only OFF wsrep_local_state_comment Initialized", False),
                                     (stores.MariaDb, "read_only OFF wsrep_local_state_comment Donor/Desynced", False),
                                     (stores.MariaDb, "read_only OFF wsrep_local_state_comment Synced", True)):
            self.assertEqual(server.verdict(answer.split())[0], good, answer)

    def test_an_older_store_of_the_machines_data_source_is_told_upgraded_and_taken_over(self):
        store = SqliteStore(self.folder)
        Upgrades.make_old(store, 1)
        data_source(self.root / "etc", store)
        before = (self.root / "etc/odbc.ini").read_text()
        self.assertEqual(self.set_up(3, "--check-store"), "")
        self.set_up(1, "--no-check", words="korvane-setup --upgrade")
        self.assertFalse(self.source.exists())
        self.set_up(0, "--upgrade", words="from version 1 to version 3")
        self.set_up(0, "--no-check", words="stays as it is")
        self.assertIn(f"Database={store.main}", self.source.read_text())
        self.assertEqual((self.set_up(0, "--check-store"), (self.root / "etc/odbc.ini").read_text()), ("", before))

    def test_what_is_not_the_products_is_left_alone(self):
        self.source.parent.mkdir(parents=True)
        main = self.root / "var/lib/korvane/dvldb.db"
        main.parent.mkdir(parents=True)
        for plant, words in ((lambda: self.source.write_text("[dvldb]\nDriver=SQLite3\n" + self.others), "of others"),
                             (lambda: self.source.symlink_to("/etc/odbc.ini"), "symbolic link"),
                             (lambda: sqlite3.connect(main).execute("CREATE TABLE theirs (a)"), "something else"),
                             (lambda: main.rename(main.with_name("dvldb-traps.db")), "a part of a trap store")):
            self.source.unlink(missing_ok=True)
            plant()
            before = self.source.is_symlink(), self.files()
            self.set_up(1, "--embedded", words=words)
            self.assertEqual((self.source.is_symlink(), self.files()), before)
        self.assertEqual([file.name for file in main.parent.glob("*.db")], ["dvldb-traps.db"])


class RegistryFile(InFolder):
    def setUp(self):
        super().setUp()
        self.file = self.folder / "registry.reg"

    def test_make_registry_keeps_what_it_is_not_told_to_change(self):
        file = self.file
        self.make()
        self.assertEqual(file.read_text(), (INSTALL / "registry.reg").read_text())
        file.write_text(file.read_text().replace("000003e8", "00000fa0"))
        file.chmod(0o640)
        self.make('KVSpoolDir=C:\\a "b"', "LocalRootDir=/shared")
        self.assertEqual(file.stat().st_mode & 0o777, 0o640)
        manager, family = file.read_text().split("\\Dorvale]")
        self.assertIn('"MaxViewTraps"=dword:00000fa0\n', manager)
        self.assertIn('"KVSpoolDir"="C:\\\\a \\"b\\""\n', manager)
        self.assertEqual(family, '\n"LocalRootDir"="/shared"\n')

    def test_what_others_planted_in_the_folder_is_neither_followed_nor_written(self):
        for plant in ("registry.new", "registry.reg.lock", "registry.reg"):
            with self.subTest(plant):
                self.make()
                precious = self.folder / "precious"
                self.file.replace(precious)  # a file that could be taken for a registry, at that
                if plant != self.file.name:
                    self.file.write_text(precious.read_text())
                precious.chmod(0o600)
                before = precious.read_text()
                (self.folder / plant).symlink_to(precious)
                done = run(INSTALL / "make-registry", "--output", self.file, "KVSpoolDir=/elsewhere")
                harmless = plant == "registry.new"  # no name that the program uses
                self.assertEqual(done.returncode, 0 if harmless else 1)
                self.assertEqual("is a symbolic link" in done.stderr, not harmless, done.stderr)
                self.assertEqual((precious.read_text(), precious.stat().st_mode & 0o777), (before, 0o600))
                self.assertTrue((self.folder / plant).is_symlink())
                self.assertEqual([name for name in os.listdir(self.folder) if name.startswith(".")], [])
                for file in self.folder.iterdir():
                    file.unlink()

    def make(self, *values):
        done = run(INSTALL / "make-registry", "--output", self.file, *values)
        self.assertEqual((done.returncode, done.stderr), (0, ""))


class ReceiveBuffer(unittest.TestCase):
    def test_the_package_allows_what_the_receiver_asks_for(self):
        sources = INSTALL.parent
        asked = int(re.search(r"kReceiveBufferBytes = (\d+) << 20;", (sources / "receiver/capture/Capture.cpp").read_text())[1]) << 20
        self.assertIn(f"\nnet.core.rmem_max = {asked}\n", (INSTALL / "korvane.sysctl").read_text())
        self.assertIn(f'"$most" -lt {asked} ', (sources / "debian/korvane.postinst").read_text())


class Folders(InFolder):
    """The folders as the service manager's tool makes them, below a root of their own."""

    receiver, group, anna, bert = 61900, 61900, 61901, 61902

    def as_user(self, user, script):
        """Whether a user does it whose one group is that of the operators."""
        identity = (f"--reuid={user}", f"--regid={self.group}", "--clear-groups")
        return run("setpriv", *identity, "sh", "-c", f"umask 077; {script}").returncode == 0

    def test_the_receiver_has_no_hand_in_the_consoles_folder_and_operators_take_nothing_away(self):
        if os.geteuid() != 0 or not shutil.which("systemd-tmpfiles"):
            self.skipTest("needs root and systemd-tmpfiles")
        self.folder.chmod(0o755)
        for name in ("etc", "var/lib", "var/spool", "usr/share/korvane"):
            (self.folder / name).mkdir(parents=True)
        (self.folder / "etc/passwd").write_text(f"root:x:0:0::/:\nkorvane:x:{self.receiver}:{self.group}::/:\n")
        (self.folder / "etc/group").write_text(f"root:x:0:\nkorvane:x:{self.group}:\n")
        shutil.copy(INSTALL / "registry.reg", self.folder / "usr/share/korvane")
        store = self.folder / "var/lib/korvane"
        console, log, book = store / "console", store / "console/KVConsole.Log", store / "console/kvw.hlp"
        # As earlier versions made it, and what the receiver's account may have left there.
        book.mkdir(parents=True)
        (console / "mibc").symlink_to("/tmp/evil")
        for place in (store, console):
            os.chown(place, self.receiver, self.group)
            place.chmod(0o2770)
        settings = self.folder / "korvane.conf"
        template = (INSTALL / "korvane.tmpfiles.in").read_text()
        settings.write_text(template.replace("@CMAKE_INSTALL_FULL_DATADIR@", "/usr/share"))
        done = run("systemd-tmpfiles", f"--root={self.folder}", "--create", "--remove", settings)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        status = console.stat()
        self.assertEqual((status.st_uid, status.st_gid, status.st_mode & 0o7777), (0, self.group, 0o3770))
        self.assertEqual([entry.name for entry in console.iterdir()], ["kvw.hlp"])
        self.assertEqual(os.readlink(book), "/usr/share/korvane/kvw.hlp")
        for user, script, works in ((self.receiver, f"rm -f {book}", False), (self.anna, f"echo anna >{log}", True),
                                    (self.bert, f"echo bert | dd of={log} conv=nocreat,notrunc oflag=append", True),
                                    (self.bert, f"rm -f {log}", False), (self.bert, f"mv {log} {log}.old", False)):
            self.assertEqual(self.as_user(user, script), works, script)
        self.assertEqual(log.read_text(), "anna\nbert\n")


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    PROGRAMS = sys.argv.pop()
    STATE = sys.argv.pop()
    unittest.main()
