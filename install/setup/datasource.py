"""The file that holds the data source of the trap store, and nothing else.

Other data sources of the machine are other people's: they are read here, never written.  The file names the
library that is loaded for the store and may hold a password, so it lies in a folder that is root's alone, and
the operators' group reads it.
"""

import grp
import os
import pathlib
import re
import secrets
import stat
import urllib.parse

from .machine import ACCOUNT, SHARED, Refused

NAME = "dvldb"
LARGEST_FILE = 1024 * 1024


def read_plain(path):
    """The text of a regular file; None when there is none."""
    try:
        file = os.open(path, os.O_RDONLY | os.O_NOFOLLOW | os.O_NONBLOCK | os.O_CLOEXEC)
    except FileNotFoundError:
        return None
    except OSError as error:
        raise Refused(f"{path}: {'it is a symbolic link' if path.is_symlink() else error.strerror}") from None
    with os.fdopen(file, "rb") as stream:
        if not stat.S_ISREG(os.fstat(file).st_mode):
            raise Refused(f"{path}: it is no regular file")
        return stream.read(LARGEST_FILE).decode("utf-8", "surrogateescape")


def sections(text):
    """The lines of each section, by its name."""
    found, name = {}, None
    for line in text.splitlines():
        head = re.fullmatch(r"\s*\[([^]]*)\]\s*", line)
        if head:
            name = head[1].strip().lower()
        if name is not None:
            found.setdefault(name, []).append(line)
    return found


def values(text):
    """What the data source says, by the names of its values in small letters."""
    pairs = (re.match(r"\s*([^#;=\s][^=]*?)\s*=(.*)", line) for line in sections(text).get(NAME, []))
    return {pair[1].lower(): pair[2].strip() for pair in pairs if pair}


def template(engine):
    return (SHARED / "odbc" / f"odbc-{engine}.ini").read_text(encoding="utf-8")


def own_text(path):
    """The text of the product's own file, None when there is none.  Refuses one that holds more than it should."""
    text = read_plain(path)
    others = sorted(set(sections(text)) - {NAME}) if text is not None else []
    if others:
        raise Refused(f'{path} holds data sources of others ("{others[0]}"); it is left alone. Move them to '
                      "/etc/odbc.ini first, where every program finds them")
    return text


def machine_text(path):
    """The section of the product in the data sources of the machine, where earlier releases had it.  Sites link that
    file to another place; the folder is root's, so the link is to be trusted."""
    text = read_plain(pathlib.Path(os.path.realpath(path)))
    lines = sections(text).get(NAME) if text is not None else None
    return "\n".join(lines).rstrip() + "\n" if lines else None


def with_values(text, access):
    """The text with these values in it, in their places where they stand already."""
    lines = text.splitlines()
    head = next(i for i, line in enumerate(lines) if line.strip().lower() == f"[{NAME}]")
    for key, value in access.items():
        at = next((i for i, line in enumerate(lines) if re.match(rf"\s*{key}\s*=", line, re.I)), None)
        if at is None and value != "":
            lines.insert(head + 1, f"{key}={value}")
        elif at is not None:
            lines[at] = f"{key}={value}"
    return "\n".join(lines) + "\n"


def write(path, text, shared):
    """Replaces the file whole; shared: the operators' group may read it."""
    temporary = path.with_name(f".{path.name}.{secrets.token_hex(8)}")
    file = os.open(temporary, os.O_WRONLY | os.O_CREAT | os.O_EXCL | os.O_NOFOLLOW | os.O_CLOEXEC, 0o600)
    try:
        with os.fdopen(file, "wb") as stream:
            stream.write(text.encode("utf-8", "surrogateescape"))
            stream.flush()
            if shared:
                os.fchown(file, 0, grp.getgrnam(ACCOUNT).gr_gid)
            os.fchmod(file, 0o640)
            os.fsync(file)
        os.replace(temporary, path)
    except BaseException:
        temporary.unlink(missing_ok=True)
        raise


def encoded(engine, password):
    """As the driver of the engine wants it: one decodes percent signs, another takes the text as it stands."""
    return urllib.parse.quote(password, safe="") if engine == "postgresql" else password


def decoded(engine, password):
    return urllib.parse.unquote_plus(password) if engine == "postgresql" else password
