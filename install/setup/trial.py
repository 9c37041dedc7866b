"""The proof that it works: one trap through the receiver into the store, and out again.

Where no receiver runs, one is started as the unit would, and ended after it.
"""

import contextlib
import errno
import os
import pathlib
import secrets
import signal
import socket
import subprocess
import tempfile
import time

from .datasource import read_plain
from .machine import SERVICE, SHARED, Refused

START_SECONDS, STORE_SECONDS, END_SECONDS = 30, 20, 30
UPTIME, TRAP_OID, TEXT = "1.3.6.1.2.1.1.3.0", "1.3.6.1.6.3.1.1.4.1.0", "1.3.6.1.4.1.32473.2.1.0"
TRAP = "1.3.6.1.4.1.32473.2.0.1"  # of the enterprise number that is kept for examples: nobody's alerts are about it


def encoded(tag, *parts):
    """One value in the basic encoding rules."""
    body = b"".join(parts)
    size = bytes([len(body)]) if len(body) < 128 else b"\x82" + len(body).to_bytes(2, "big")
    return bytes([tag]) + size + body


def encoded_oid(text):
    first, second, *rest = map(int, text.split("."))
    body = bytearray([first * 40 + second])
    for number in rest:
        digits = [number & 0x7F]
        while number := number >> 7:
            digits.append(number & 0x7F | 0x80)
        body += bytes(reversed(digits))
    return encoded(6, bytes(body))


def trap_message(community, text):
    """A trap of SNMPv2c (RFC 3416) with one text in it."""
    def binding(oid, value):
        return encoded(0x30, encoded_oid(oid), value)

    number = secrets.randbelow(2**31).to_bytes(4, "big")
    bindings = encoded(0x30, binding(UPTIME, encoded(0x43, b"\x01")), binding(TRAP_OID, encoded_oid(TRAP)),
                       binding(TEXT, encoded(4, text.encode())))
    pdu = encoded(0xA7, encoded(2, number), encoded(2, b"\0"), encoded(2, b"\0"), bindings)
    return encoded(0x30, encoded(2, b"\1"), encoded(4, community.encode()), pdu)


def places_of(listen):
    """Family, address and port of each of the receiver's addresses."""
    found = []
    for item in listen.replace(",", " ").split():
        transport, _, rest = item.partition(":")
        address, _, port = rest.rpartition(":")
        family = {"udp": socket.AF_INET, "udp6": socket.AF_INET6}.get(transport)
        if family is None or not port.isdigit() or not 0 < int(port) < 65536:
            raise Refused(f'"{item}" is no address to listen on: udp:[ADDRESS:]PORT or udp6:[[ADDRESS]:]PORT')
        found.append((family, address.strip("[]"), int(port)))
    if not found:
        raise Refused("the receiver is told no address to listen on")
    return found


def taken(place):
    """Whether somebody listens there already.  Other reasons are the receiver's to say."""
    family, address, port = place
    with socket.socket(family, socket.SOCK_DGRAM) as probe:
        if family == socket.AF_INET6:
            probe.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_V6ONLY, 1)
        try:
            probe.bind((address, port))
        except OSError as error:
            return error.errno == errno.EADDRINUSE
    return False


def ipv6_works():
    with contextlib.suppress(OSError):
        with socket.socket(socket.AF_INET6, socket.SOCK_DGRAM) as probe:
            probe.bind(("::", 0))
            return True
    return False


def listen_addresses(machine):
    return machine.run(SHARED / "make-registry", "--output", machine.registry, "--get", "KVListenAddresses").strip()


def community(machine):
    """One that the receiver accepts."""
    file = machine.run(SHARED / "make-registry", "--output", machine.registry, "--get", "KVSnmpConfig").strip()
    lines = ((read_plain(pathlib.Path(file)) or "") if file else "").splitlines()
    words = [line.split() for line in lines]
    return next((each[1].strip('"') for each in words if len(each) > 1 and each[0] == "community"), "public")


def check_settings(machine, running, steps):
    """The receiver's own look at its settings."""
    try:
        machine.run(machine.program("kvreceiver"), "--check", account=machine.account(), timeout=60,
                    **machine.trial_variables())
    except Refused as error:
        lines = [line for line in str(error).splitlines()[1:] if not line.endswith(": ok")]
        if running:
            lines = [line for line in lines if not line.startswith("listen address ")]
        if lines:
            raise Refused("the receiver is not content:\n" + "\n".join(lines)) from None
    steps.tell("The receiver finds settings, spool folder and store in order.")


@contextlib.contextmanager
def receiver(machine):
    """A receiver of our own, as the unit starts it."""
    command = [machine.program("kvreceiver")]
    if machine.account() and os.geteuid() == 0:
        right = "+net_bind_service"
        command = ["setpriv", f"--reuid={machine.account()}", f"--regid={machine.account()}", "--init-groups",
                   "--pdeathsig=TERM", f"--inh-caps={right}", f"--ambient-caps={right}", "--no-new-privs", *command]
    with tempfile.TemporaryFile() as words:
        started = subprocess.Popen(command, stderr=words, stdin=subprocess.DEVNULL, cwd="/", umask=0o007,
                                   env=machine.environment(**machine.trial_variables()))
        try:
            wait_until_ready(started, words)
            yield
        finally:
            started.send_signal(signal.SIGTERM)
            try:
                started.wait(END_SECONDS)
            except subprocess.TimeoutExpired:
                started.kill()
                started.wait()


def said(words):
    words.seek(0)
    return words.read().decode("utf-8", "replace")


def wait_until_ready(started, words):
    deadline = time.monotonic() + START_SECONDS
    while "ready" not in said(words):
        if started.poll() is not None or time.monotonic() > deadline:
            raise Refused("the receiver did not start:\n" + "\n".join(said(words).splitlines()[-5:]))
        time.sleep(0.05)


def send_and_find(machine, store, listen):
    """Sends a trap and waits until it is a row of the store; the row is taken out again.  The seconds it took."""
    mark = f"korvane-setup check {secrets.token_hex(8)}"
    family, address, port = places_of(listen)[0]
    loopback = "::1" if family == socket.AF_INET6 else "127.0.0.1"
    target = (loopback if address in ("", "0.0.0.0", "::") else address, port)
    begun = time.monotonic()
    with socket.socket(family, socket.SOCK_DGRAM) as wire:
        wire.sendto(trap_message(community(machine), mark), target)
    condition = f"FROM EventTrap WHERE EventTime > {int(time.time()) - 3600} AND EventDescription LIKE '%{mark}%'"
    while not (found := store.ask(f"SELECT SequenceNumber {condition};", traps=True).strip()):
        if time.monotonic() > begun + STORE_SECONDS:
            raise Refused(f"a trap sent to {target[0]}, port {port}, was not in the store after {STORE_SECONDS} "
                          f"seconds. The receiver's words: journalctl -u {SERVICE}; who listens there: "
                          f"sudo ss -ulpn sport = :{port}")
        time.sleep(0.05)
    took = time.monotonic() - begun
    store.ask(f"DELETE FROM EventTrap WHERE SequenceNumber IN ({', '.join(found.split())});", traps=True)
    return took


def empty_again(machine, steps):
    """The trap of a failed check does not go into the next store.  Only for a store that is taken back as well: what
    came from others meanwhile belonged to it."""
    spool = machine.run(SHARED / "make-registry", "--output", machine.registry, "--get", "KVSpoolDir").strip()
    if not machine.run("ls", "-A", spool, account=machine.account()):
        steps.when_undone(f"Emptying {spool}", lambda: machine.run("find", spool, "-mindepth", "1", "-delete",
                                                                   account=machine.account()))


def prove(machine, store, steps):
    """Sends through the receiver that runs, or through one of our own."""
    listen = listen_addresses(machine)
    running = machine.service_runs() or any(map(taken, places_of(listen)))
    check_settings(machine, running, steps)
    if not running and store.made_tables:
        empty_again(machine, steps)
    with contextlib.nullcontext() if running else receiver(machine):
        took = send_and_find(machine, store, listen)
    how = "the receiver that runs" if running else "a receiver started for it"
    steps.tell(f"A trap went through {how} into the store in {took:.1f} seconds, and was taken out again.")
