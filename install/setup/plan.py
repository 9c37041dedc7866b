"""What korvane-setup does, in its order: set a machine up, upgrade its store, check it."""

import getpass
import grp
import os
import pathlib
import re
import sys

from . import datasource, trial
from .machine import (ACCOUNT, SERVICE, SHARED, UNIT_FILE, Refused, account_exists, administrators, groups_of)
from .stores import ENGINES, Embedded, engine_of, hosts_of, hosts_text, is_local

NAME = re.compile(r"[A-Za-z_][A-Za-z0-9_-]{0,62}")
HOST = re.compile(r"[A-Za-z0-9][A-Za-z0-9.:_-]{0,252}|::1")
PEER = re.compile(r"[A-Za-z0-9.:%_/-]{1,255}")
AT_SERVER = ("host", "port", "database", "user", "password_file", "admin_user", "admin_password_file", "allow_from",
             "tls", "tls_ca")
UNPROTECTED = ("disable", "allow", "prefer")
SHIPPED_LISTEN = "udp:162,udp6:162"


def first_line(file):
    text = datasource.read_plain(pathlib.Path(file).absolute())
    if text is None:
        raise Refused(f"{file}: there is no such file")
    return text.splitlines()[0] if text else ""


def fit_password(text):
    if not re.fullmatch(r"[\x20-\x7e]{0,200}", text) or text != text.strip() or text[:1] == "{":
        raise Refused("the password must be of printable ASCII characters, without a blank at an end or a brace "
                      "before it: drivers and servers disagree about others")
    return text


class Present:
    """The data source that is there already: in the product's own file, else among the machine's."""

    def __init__(self, machine):
        self.own = datasource.own_text(machine.data_source)
        in_own = self.own is not None and datasource.NAME in datasource.sections(self.own)
        self.text = self.own if in_own else datasource.machine_text(machine.old_data_source)
        self.file = machine.data_source if in_own else machine.old_data_source
        self.values = datasource.values(self.text) if self.text else {}
        self.engine = engine_of(self.values.get("driver", ""))

    def place(self):
        """Of a server, in our words."""
        engine = ENGINES[self.engine]
        names = engine.names
        place = {what: self.values.get(name.lower(), "") for what, name in names.items()}
        place["hosts"] = hosts_of(place["host"] or "127.0.0.1", place["port"] or engine.port)
        place["password"] = datasource.decoded(self.engine, place["password"])
        if self.engine == "mariadb":
            place["tls"] = "require" if place["tls"] == "1" else "prefer"
        else:  # its driver has no value of its own for it
            proof = re.search(r"\bsslrootcert=([^\s{}]+)", self.values.get("pqopt", ""))
            place["tls_ca"] = proof[1] if proof else ""
        return place


def store_of(machine, present):
    """The store that the machine uses now."""
    if not present.engine:
        raise Refused("no trap store is set up on this machine: run korvane-setup first")
    if present.engine == Embedded.engine:
        return Embedded(machine, present.values.get("database"))
    return ENGINES[present.engine](machine, present.place() | {"allow_from": ""})


class Wanted:
    """The store that the options ask for; what they leave open is as it is now, else as usual."""

    def __init__(self, machine, options, present):
        self.engine = options.engine or present.engine
        self.same_engine = self.engine == present.engine
        if not self.engine:
            raise Refused("say where the trap store is: --embedded, --postgresql or --mariadb")
        if self.engine == Embedded.engine:
            if options.console_only:
                raise Refused("a console on a machine of its own needs a store at a server")
            if any(getattr(options, name) for name in AT_SERVER):
                raise Refused("the trap store of this machine is embedded: say of which kind the server is, "
                              "--postgresql or --mariadb")
            self.store = Embedded(machine, present.values.get("database") if self.same_engine else None)
        else:
            self.store = self.server(machine, options, present)

    def server(self, machine, options, present):
        engine = ENGINES[self.engine]
        now = present.place() if self.same_engine else {}

        def chosen(what, usual):
            return str(getattr(options, what) or now.get(what) or usual)

        place = {"hosts": self.hosts(options, now.get("hosts"), engine),
                 "database": chosen("database", "dvldb"), "user": chosen("user", "dvl")}
        hosts = [host for host, _ in place["hosts"]]
        local = all(map(is_local, hosts))
        place["tls"] = chosen("tls", "prefer" if local else "require")
        moves = not set(hosts) <= {host for host, _ in now.get("hosts", ())}
        if moves and not local and not options.tls and place["tls"] in UNPROTECTED:
            place["tls"] = "require"  # what did for this machine does not for another
        place["tls_ca"] = chosen("tls_ca", "")
        if options.tls_ca and (self.engine != "mariadb" or not os.path.isabs(options.tls_ca)):
            raise Refused("--tls-ca is for MariaDB and names a file by its whole path")
        usual_peer = ("localhost" if {"localhost", "::1"} & set(hosts) else "127.0.0.1") if local else "%"
        place["allow_from"] = options.allow_from or usual_peer
        for what, pattern in (("database", NAME), ("user", NAME), ("allow_from", PEER)):
            if not pattern.fullmatch(place[what]):
                raise Refused(f'"{place[what]}" can\'t be used as {what.replace("_", " ")}')
        place["password"] = self.password(options, now, place)
        administrator, secret = None, ""
        if options.admin_user:
            administrator = options.admin_user
            secret = options.admin_password or (first_line(options.admin_password_file)
                                                if options.admin_password_file else "")
        elif local and len(hosts) == 1 and not machine.root and not options.console_only:
            administrator = ""
        if administrator is None and place["password"] is None:
            raise Refused(f'the password of "{place["user"]}" at {", ".join(hosts)} is needed: --password-file FILE. '
                          "Or name who may make this user and the database there: --admin-user")
        return engine(machine, place, administrator, secret)

    @staticmethod
    def hosts(options, now, engine):
        """What is named; the present ones, on another port perhaps; else this machine."""
        usual = options.port or (now[0][1] if now else engine.port)
        if options.host:
            pairs = hosts_of(",".join(options.host), usual)
        else:
            pairs = [(host, options.port or port) for host, port in now or [("127.0.0.1", usual)]]
        for host, port in pairs:
            if not HOST.fullmatch(host):
                raise Refused(f'"{host}" can\'t be used as host')
            if not 0 < port < 65536:
                raise Refused(f'"{port}" is no port')
        if not pairs or len(set(pairs)) < len(pairs):
            raise Refused("each host is to be named once")
        if engine.engine == "postgresql" and len({port for _, port in pairs}) > 1:
            raise Refused("PostgreSQL's driver takes one port for all hosts: let the servers listen on the same")
        return pairs

    @staticmethod
    def password(options, now, place):
        """None: there is none yet.  A list that has a present host is of the same store."""
        if options.password_file:
            return fit_password(first_line(options.password_file))
        if options.password:
            return fit_password(options.password)
        same = now.get("user") == place["user"] and set(now.get("hosts", ())) & set(place["hosts"])
        return now["password"] if same and now else None


class SetUp:
    def __init__(self, machine, options, steps):
        self.machine, self.options, self.steps = machine, options, steps
        self.present = Present(machine)
        self.wanted = Wanted(machine, options, self.present)
        self.store = self.wanted.store
        self.receiver_here = not options.console_only

    def look_first(self):
        """What would stop it half way."""
        lacking = self.store.missing_packages()
        if lacking:
            raise Refused(f"this machine lacks what it needs for that store: sudo apt install {' '.join(lacking)}")
        for user in self.options.operator:
            if not account_exists(user):
                raise Refused(f'there is no user "{user}" on this machine')
        if self.options.start and not self.machine.service_manager():
            raise Refused("no service manager runs here: leave --start out, and start kvreceiver by other means")
        if getattr(self.store, "administrator", None) is not None:
            self.store.look_at_server()
        if self.receiver_here:
            self.machine.program("kvreceiver")
            self.look_at_ports()

    def is_older(self):
        try:
            return self.wanted.same_engine and self.store.state() == "older"
        except Refused:  # it is not there, or does not answer: the steps will say
            return False

    def look_at_ports(self):
        listen = self.options.listen or (
            trial.listen_addresses(self.machine) if self.machine.registry.exists() else SHIPPED_LISTEN)
        taken = [place for place in trial.places_of(listen) if trial.taken(place)]
        if taken and not self.machine.service_runs() and not self.options.no_check:
            raise Refused(f"another program listens on UDP port {taken[0][2]} already (sudo ss -ulpn sport = "
                          f":{taken[0][2]} shows which). If it is a receiver started by hand, end it; otherwise let "
                          "this one listen elsewhere: --listen udp:1162")

    def run(self):
        take, store = self.steps.take, self.store
        if len(getattr(store, "hosts", ())) > 1:
            take(f"Look which of the hosts takes writes: {hosts_text(store.hosts)}", self.look_at_hosts)
        self.folders()
        if getattr(store, "administrator", None) is not None:
            take(f'Make the user "{store.user}" and the database {store.place()}, if they are not there',
                 lambda: store.make_place(self.steps))
        if self.receiver_here:
            take(f"Make the tables of the trap store in {store.place()}", lambda: store.make_tables(self.steps))
            take("Load the names of standard traps", lambda: store.load_names(self.steps))
        else:
            take(f"Look at the trap store in {store.place()}", self.look_at_store)
        take(f"Write the data source into {self.machine.data_source}", self.write_data_source)
        if self.receiver_here and not self.options.no_categories:
            take("Load the starter categories, which grade the standard traps, into a store without any",
                 self.categories)
        settings = self.settings()
        if settings:
            take(f"Write into {self.machine.registry}: " + ", ".join(settings), lambda: self.write_settings(settings))
        for user in self.options.operator:
            take(f"Admit {user} as an operator: {self.admission(user)}", lambda user=user: self.admit(user))
        if self.receiver_here:
            self.service()
            if not self.options.no_check:
                take("Send a trap through receiver and store",
                     lambda: trial.prove(self.machine, store, self.steps))

    def look_at_hosts(self):
        self.steps.tell("\n".join(words for _, _, words in self.store.find()))

    def folders(self):
        take, machine = self.steps.take, self.machine
        if machine.root:
            take(f"Make the folders below {machine.root}", self.own_folders)
            return
        if not account_exists():
            take(f"Make the user and the group {ACCOUNT}", lambda: machine.run("systemd-sysusers", UNIT_FILE))
        take("Put folders, first settings and rights in order (systemd-tmpfiles)",
             lambda: machine.run("systemd-tmpfiles", "--create", "--remove", UNIT_FILE))

    def own_folders(self):
        machine = self.machine
        for folder in (machine.data_source.parent, machine.registry.parent, machine.spool, machine.console,
                       machine.embedded_store.parent):
            missing = [each for each in (folder, *folder.parents) if not each.exists()]
            for each in reversed(missing):
                each.mkdir(mode=0o750)
                self.steps.when_undone(f"Removing {each}", each.rmdir)

    def categories(self):
        """Through the data source, as a user of the store; nothing beside what an operator has graded."""
        machine = self.machine
        self.steps.tell(machine.run(machine.program("korvane-categories"), account=machine.account(), timeout=120,
                                    **machine.trial_variables()).strip())

    def look_at_store(self):
        state = self.store.state()
        if state != "current":
            raise Refused(f"what is there is {state}: a console of its own needs a store of this release, set up on "
                          "the machine of the receiver")

    def write_data_source(self):
        path = self.machine.data_source
        text = self.present.text if self.wanted.same_engine else datasource.template(self.wanted.engine)
        text = datasource.with_values(text, self.store.access(datasource.values(text)))
        if not self.machine.root:
            path.parent.mkdir(mode=0o750, exist_ok=True)
            os.chown(path.parent, 0, grp.getgrnam(ACCOUNT).gr_gid)
            path.parent.chmod(0o750)
        old = self.present.own
        if old is None:
            self.steps.when_undone(f"Removing {path}", lambda: path.unlink(missing_ok=True))
        elif old != text:
            self.steps.when_undone(f"Writing back {path}",
                                   lambda: datasource.write(path, old, not self.machine.root))
        datasource.write(path, text, not self.machine.root)

    def settings(self):
        """Values of the registry file that are to be other than they are."""
        machine, wanted = self.machine, {}
        if machine.root:
            wanted = {"KVInstallPath": machine.console, "KVSpoolDir": machine.spool}
        now = trial.listen_addresses(machine) if machine.registry.exists() else SHIPPED_LISTEN
        if self.options.listen:
            wanted["KVListenAddresses"] = self.options.listen
        elif now == SHIPPED_LISTEN and not trial.ipv6_works():
            wanted["KVListenAddresses"] = "udp:162"  # an address that can't be had would stop the receiver
        return [f"{name}={value}" for name, value in wanted.items() if str(value) != self.setting(name)]

    def setting(self, name):
        if not self.machine.registry.exists():
            return None
        return self.machine.run(SHARED / "make-registry", "--output", self.machine.registry, "--get", name).strip("\n")

    def write_settings(self, settings):
        machine = self.machine
        if machine.registry.exists():
            old = [f"{name}={self.setting(name)}" for name in (each.partition("=")[0] for each in settings)]
            self.steps.when_undone(f"Writing back {machine.registry}",
                                   lambda: machine.run(SHARED / "make-registry", "--output", machine.registry, *old))
        else:
            self.steps.when_undone(f"Removing {machine.registry}", lambda: machine.registry.unlink(missing_ok=True))
        machine.run(SHARED / "make-registry", "--output", machine.registry, *settings)

    def admission(self, user):
        rank = administrators()
        if rank in groups_of(user) or user == "root":
            return f"group {ACCOUNT}"
        if self.options.make_administrators:
            return f"groups {ACCOUNT} and {rank}"
        return f"group {ACCOUNT} (the console starts for administrators only: sudo adduser {user} {rank})"

    def admit(self, user):
        rank = administrators()
        wanted = [ACCOUNT] + ([rank] if self.options.make_administrators and user != "root" else [])
        for group in wanted:
            if group not in groups_of(user):
                self.machine.run("gpasswd", "-a", user, group)
                self.steps.when_undone(f"Taking {user} out of the group {group}",
                                       lambda group=group: self.machine.run("gpasswd", "-d", user, group))

    def service(self):
        if self.machine.service_runs():
            self.steps.take("Restart the receiver", self.restart)
        elif self.options.start:
            self.steps.take("Start the receiver, now and at every boot", self.start)

    def restart(self):
        def action():
            self.machine.run("systemctl", "restart", SERVICE)

        self.steps.undo.insert(0, ("Restarting the receiver", action))  # with what was written back before
        action()

    def start(self):
        enabled = self.machine.tries("systemctl", "is-enabled", "--quiet", SERVICE)
        undo = ("stop",) if enabled else ("disable", "--now")
        self.steps.when_undone("Stopping the receiver", lambda: self.machine.run("systemctl", *undo, SERVICE))
        self.machine.run("systemctl", "enable", "--now", SERVICE)

    def last_words(self):
        print("The console is ready." if not self.receiver_here else "Everything is set up.")
        if self.receiver_here and not self.machine.root and not self.machine.service_runs():
            print(f"Start the receiver, now and at every boot:  sudo systemctl enable --now {SERVICE}")
        if self.options.operator:
            print("New operators are admitted from their next log-in on. The console is in their menu: Korvane Manager "
                  "Console.")
        elif not self.machine.root:
            print("Admit operators:  sudo korvane-setup --operator NAME")


def upgrade(machine, steps):
    store = store_of(machine, Present(machine))
    state = store.state()
    if state == "current":
        print(f"The trap store in {store.place()} is up to date.")
        return
    if state != "older":
        raise Refused(f"what is in {store.place()} is {state}, and no store of an earlier release")
    steps.take(f"Bring the trap store in {store.place()} up to date, its rows stay",
               lambda: steps.tell(store.script("make-store", "--upgrade").strip()))
    steps.take("Load the names of standard traps", lambda: store.load_names(steps))
    if machine.service_runs():
        steps.take("Restart the receiver", lambda: machine.run("systemctl", "restart", SERVICE))
    steps.tell("Consoles that are open must be started again.")


def check(machine, steps):
    present = Present(machine)
    store = store_of(machine, present)
    print(f"The data source is in {present.file}, the trap store in {store.place()}.")
    if len(getattr(store, "hosts", ())) > 1:
        print("\n".join(words for _, _, words in store.find()))
    state = store.state()
    if state != "current":
        hint = ": korvane-setup --upgrade" if state == "older" else ""
        raise Refused(f"the trap store is {state}{hint}")
    steps.take("Send a trap through receiver and store", lambda: trial.prove(machine, store, steps))


def check_store(machine):
    """For scripts: 3 when the store is of an earlier release, else 0, without a word and within five seconds."""
    try:
        return 3 if store_of(machine, Present(machine)).state(timeout=4) == "older" else 0
    except (Refused, OSError):
        return 0


class Questions:
    """Asks what the options left open."""

    @staticmethod
    def ask(words, usual=""):
        return input(f"{words}{f' [{usual}]' if usual else ''}: ").strip() or str(usual)

    def agreed(self, words, usual="y"):
        return self.ask(f"{words} (y/n)", usual).lower().startswith("y")

    def fill(self, options, present):
        engines = {"1": "sqlite", "2": "postgresql", "3": "mariadb"}
        print("Where is the trap store?\n  1  embedded: files of this machine, no server needed\n"
              "  2  PostgreSQL\n  3  MariaDB")
        usual = next((key for key, engine in engines.items() if engine == present.engine), "1")
        while (answer := self.ask("Your choice", usual)) not in engines:
            pass
        options.engine = engines[answer]
        if options.engine != "sqlite":
            self.fill_server(options, present)
        invited = os.environ.get("SUDO_USER", "")
        usual = invited if invited not in ("", "root") and not present.engine else ""
        if not options.operator:
            named = self.ask("Operators to admit, by user name (- for none)", usual or "-").split()
            options.operator = [name for name in named if name != "-"]
        for user in options.operator:
            if account_exists(user) and administrators() not in groups_of(user):
                options.make_administrators |= self.agreed(
                    f"The console starts for administrators only, and {user} is none. Put {user} into the group "
                    f"{administrators()}, which may do everything on this machine?", "n")

    def fill_server(self, options, present):
        engine = ENGINES[options.engine]
        now = present.place() if present.engine == options.engine else {}
        answer = self.ask("Machine of the server (several that hold the same store: with commas between them)",
                          hosts_text(now["hosts"]) if len(now.get("hosts", ())) > 1 else now.get("host") or "127.0.0.1")
        options.host = [answer]
        if not re.search(r"[^:]:\d+\b", answer):
            options.port = int(self.ask("Port", now["hosts"][0][1] if now else engine.port))
        options.database = self.ask("Database", now.get("database") or "dvldb")
        options.user = self.ask("User of the product there", now.get("user") or "dvl")
        words = "as it is" if now else "a new one is made"
        options.password = getpass.getpass(f"Password of {options.user} (Enter: {words}): ")
        if not all(is_local(host) for host, _ in hosts_of(answer, engine.port)):
            options.admin_user = self.ask("Who may make this user and the database there (- if both are there)", "-")
            if options.admin_user == "-":
                options.admin_user = None
            else:
                options.admin_password = getpass.getpass(f"Password of {options.admin_user}: ")


def set_up(machine, options, steps):
    asks = not options.engine and sys.stdin.isatty() and not options.told
    if asks:
        Questions().fill(options, Present(machine))
    work = SetUp(machine, options, steps)
    work.look_first()
    if asks and work.is_older() and Questions().agreed("The trap store is of an earlier release. Bring it up to date?"):
        upgrade(machine, steps)
    if asks and not options.dry_run and not options.yes:
        planned = SetUp(machine, options, type(steps)(True))
        print("This is going to happen:")
        planned.run()
        if not Questions().agreed("Do it?"):
            raise Refused("nothing was changed")
    work.run()
    steps.undo.clear()  # it works: no answer and no lost terminal takes it back from here on
    if asks and work.receiver_here and machine.service_manager() and not machine.service_runs() \
            and not options.dry_run and Questions().agreed("Start the receiver, now and at every boot?"):
        steps.take("Start the receiver", work.start)
    if not options.dry_run:
        work.last_words()
