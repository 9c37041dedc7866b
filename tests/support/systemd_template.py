"""The part of the service manager's bus interface that a restart uses, for python3-dbusmock.

Parameters: "log" names the file that gets one line per call; "units" maps a unit's name to how it behaves:
  load    LoadState (loaded)
  active  ActiveState before the first call (active)
  stop    ActiveState that a stop leaves behind (inactive)
  start   "done", "failed", "dependency": the result of the job, after a short while
          "exits": the job is done, the service is not
          "silent": nothing is ever heard of the job
          "refused": the call itself fails
A unit that is not named there loads as "not-found", without an error.
"""
import dbus
from gi.repository import GLib

BUS_NAME = "org.freedesktop.systemd1"
MAIN_OBJ = "/org/freedesktop/systemd1"
MAIN_IFACE = "org.freedesktop.systemd1.Manager"
UNIT_IFACE = "org.freedesktop.systemd1.Unit"
SYSTEM_BUS = True

manager = None


def load(mock, parameters):
    global manager
    manager = mock
    mock.log_name = str(parameters["log"])
    mock.behaviours = parameters["units"]
    mock.jobs = 0
    mock.loaded = {}
    mock.AddProperty(MAIN_IFACE, "Version", "252")


def note(mock, line):
    with open(mock.log_name, "a", encoding="utf-8") as log:
        log.write(line + "\n")


def unit_path(mock, name):
    if name not in mock.loaded:
        path = f"{MAIN_OBJ}/unit/number{len(mock.loaded)}"
        behaviour = mock.behaviours.get(name)
        load_state = "not-found" if behaviour is None else behaviour.get("load", "loaded")
        active = "inactive" if behaviour is None else behaviour.get("active", "active")
        mock.AddObject(path, UNIT_IFACE,
                       {"LoadState": load_state, "ActiveState": active}, [])
        mock.loaded[name] = path
    return mock.loaded[name]


def set_active(mock, name, state):
    dbusmock_object(unit_path(mock, name)).props[UNIT_IFACE]["ActiveState"] = dbus.String(state)


def dbusmock_object(path):
    from dbusmock import mockobject
    return mockobject.objects[path]


@dbus.service.method(MAIN_IFACE, in_signature="", out_signature="")
def Subscribe(self):
    pass


@dbus.service.method(MAIN_IFACE, in_signature="s", out_signature="o")
def LoadUnit(self, name):
    note(manager, f"LoadUnit {name}")
    if "/" in name:
        raise dbus.exceptions.DBusException("no unit name", name="org.freedesktop.DBus.Error.InvalidArgs")
    return dbus.ObjectPath(unit_path(manager, name))


def new_job():
    manager.jobs += 1
    return dbus.ObjectPath(f"{MAIN_OBJ}/job/{manager.jobs}")


@dbus.service.method(MAIN_IFACE, in_signature="ss", out_signature="o")
def StopUnit(self, name, mode):
    note(manager, f"StopUnit {name} {mode}")
    set_active(manager, name, manager.behaviours[name].get("stop", "inactive"))
    return new_job()


@dbus.service.method(MAIN_IFACE, in_signature="ss", out_signature="o")
def StartUnit(self, name, mode):
    note(manager, f"StartUnit {name} {mode}")
    start = manager.behaviours[name].get("start", "done")
    if start == "refused":
        raise dbus.exceptions.DBusException("not for you", name="org.freedesktop.DBus.Error.AccessDenied")
    job = new_job()

    def finish():
        result = "done" if start == "exits" else start
        set_active(manager, name, "active" if start == "done" else "failed")
        # Another unit's job ends first: the outcome must be told apart by the job.
        for path, outcome in ((MAIN_OBJ + "/job/9999", "failed"), (str(job), result)):
            manager.EmitSignal(MAIN_IFACE, "JobRemoved", "uoss",
                               [dbus.UInt32(1), dbus.ObjectPath(path), name, outcome])
        return False

    if start != "silent":
        GLib.timeout_add(30, finish)
    return job
