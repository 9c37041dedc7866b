"""What korvane-setup asks of the machine: places, accounts, running other programs, and the list of steps."""

import contextlib
import fcntl
import grp
import os
import pathlib
import pwd
import shutil
import signal
import subprocess
import sys

SHARED = pathlib.Path(__file__).resolve().parents[1]  # the scripts and templates of the product
ACCOUNT = "korvane"  # the receiver's user, and the operators' group
SERVICE = "KVReceiver"
UNIT_FILE = "korvane.conf"  # below sysusers.d and tmpfiles.d
ADMINISTRATORS = ("sudo", "wheel", "root")  # the first that exists is what the console asks for


class Refused(Exception):
    """What can't be done and why; its text goes to the user."""


class Machine:
    """This machine; or, with a root of its own, a folder that everything is kept in, for trials and tests."""

    def __init__(self, root=None, programs=None):
        self.root = root.absolute() if root else None
        top = self.root or pathlib.Path("/")
        self.programs = programs.absolute() if programs else None
        self.data_source = top / "etc/korvane-store/odbc.ini"
        self.old_data_source = top / "etc/odbc.ini"
        self.registry = top / "etc/korvane/registry.reg"
        self.spool = top / "var/spool/korvane"
        self.console = top / "var/lib/korvane/console"
        self.embedded_store = top / "var/lib/korvane/dvldb.db"
        self.lock = top / "run/korvane-setup.lock"

    def account(self):
        """Under which the receiver runs and an embedded store is used; None: as the caller."""
        return None if self.root else ACCOUNT

    def program(self, name):
        path = self.environment()["PATH"]
        found = shutil.which(name, path=f"{self.programs}:{path}" if self.programs else path)
        if not found:
            raise Refused(f"the program {name} is not installed")
        return found

    def service_manager(self):
        return not self.root and os.path.isdir("/run/systemd/system")

    def service_runs(self):
        return self.service_manager() and self.tries("systemctl", "is-active", "--quiet", SERVICE)

    @contextlib.contextmanager
    def alone(self):
        """Two of these at once would undo each other's work."""
        try:
            self.lock.parent.mkdir(parents=True, exist_ok=True)
            file = os.open(self.lock, os.O_RDWR | os.O_CREAT | os.O_NOFOLLOW | os.O_CLOEXEC, 0o600)
        except OSError as error:
            raise Refused(f"{self.lock}: {error.strerror}") from None
        try:
            fcntl.flock(file, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            raise Refused("another korvane-setup is at work on this machine") from None
        try:
            yield
        finally:
            os.close(file)

    def environment(self, **more):
        """No setting of the caller reaches what runs for it: a home and its start-up files may be anyone's."""
        clean = {"PATH": "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin", "HOME": "/nonexistent",
                 "LANG": "C.UTF-8"}
        if not self.root:
            return clean | more
        return clean | {key: os.environ[key] for key in ("PATH", "TMPDIR", "ODBCSYSINI") if key in os.environ} | more

    def trial_variables(self):
        """What leads the product's programs to files that are not where they look for them."""
        files = {"ODBCINI": self.data_source, "KORVANE_REGISTRY": self.registry}
        return {name: str(file) for name, file in files.items()} if self.root else {}

    def run(self, *command, account=None, text=None, timeout=None, **variables):
        """What the command printed.  Its own words are the reason when it fails."""
        name = pathlib.Path(str(command[0])).name
        try:
            started = subprocess.Popen([str(word) for word in command], text=True, cwd="/", start_new_session=True,
                                       stdin=subprocess.DEVNULL if text is None else subprocess.PIPE,
                                       stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                       env=self.environment(**variables), **identity(account))
        except FileNotFoundError:
            raise Refused(f"the program {name} is not installed") from None
        try:
            said, complained = started.communicate(text, timeout)
        except BaseException as reason:  # what it started ends with it
            with contextlib.suppress(ProcessLookupError):
                os.killpg(started.pid, signal.SIGKILL)
            started.communicate()
            if isinstance(reason, subprocess.TimeoutExpired):
                raise Refused(f"{name} gave no answer in {timeout:g} seconds") from None
            raise
        if started.returncode:
            raise Refused(f"{name} failed:\n{complained.strip() or said.strip() or f'status {started.returncode}'}")
        return said

    def tries(self, *command, account=None):
        try:
            self.run(*command, account=account)
        except Refused:
            return False
        return True


def account_exists(name=ACCOUNT):
    with contextlib.suppress(KeyError):
        return bool(pwd.getpwnam(name))
    return False


def identity(account):
    """For subprocess: the whole of an account, not only its number."""
    if account is None or os.geteuid() != 0:
        return {}
    entry = pwd.getpwnam(account)
    return {"user": entry.pw_uid, "group": entry.pw_gid, "umask": 0o007,
            "extra_groups": os.getgrouplist(account, entry.pw_gid)}


def groups_of(user):
    return {grp.getgrgid(number).gr_name for number in os.getgrouplist(user, pwd.getpwnam(user).pw_gid)}


def administrators():
    names = {entry.gr_name for entry in grp.getgrall()}
    return next((name for name in ADMINISTRATORS if name in names), ADMINISTRATORS[-1])


class Steps:
    """Says each step before it is taken, and takes back what was done when a later one fails."""

    def __init__(self, dry_run):
        self.dry_run, self.number, self.undo = dry_run, 0, []

    def take(self, words, action):
        self.number += 1
        print(f"{self.number}. {words}", flush=True)
        if not self.dry_run:
            action()

    @staticmethod
    def tell(words):
        print("\n".join(f"   {line}" for line in words.splitlines()), flush=True)

    def when_undone(self, words, action):
        self.undo.append((words, action))

    def take_back(self):
        """All of it, in reverse order.  What can't be undone is said, and the rest goes on."""
        if self.undo:
            print("Undoing what was done:", flush=True)
        while self.undo:
            words, action = self.undo.pop()
            print(f"   {words}", flush=True)
            try:
                action()
            except (Refused, OSError) as error:
                print(f"   This failed and is left to you: {error}", file=sys.stderr, flush=True)
