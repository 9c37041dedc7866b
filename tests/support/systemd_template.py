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
from dbusmock import mockobject
from gi.repository import GLib

BUS_NAME = "org.freedesktop.systemd1"
MAIN_OBJ = "/org/freedesktop/systemd1"
MAIN_IFACE = BUS_NAME + ".Manager"
UNIT_IFACE = BUS_NAME + ".Unit"
SYSTEM_BUS = True


def load(mock, parameters):
    mock.log_name, mock.behaviours, mock.jobs = str(parameters["log"]), parameters["units"], 0
    mock.AddProperty(MAIN_IFACE, "Version", "252")


def note(mock, *words):
    with open(mock.log_name, "a", encoding="utf-8") as log:
        print(*words, file=log)


def unit(mock, name):
    path = f"{MAIN_OBJ}/unit/{name.encode().hex()}"
    if path not in mockobject.objects:
        how = mock.behaviours.get(name, {"load": "not-found", "active": "inactive"})
        states = {"LoadState": how.get("load", "loaded"), "ActiveState": how.get("active", "active")}
        mock.AddObject(path, UNIT_IFACE, states, [])
    return mockobject.objects[path]


def fail(error):
    raise dbus.exceptions.DBusException(error, name="org.freedesktop.DBus.Error." + error)


@dbus.service.method(MAIN_IFACE, in_signature="", out_signature="")
def Subscribe(self):
    pass


@dbus.service.method(MAIN_IFACE, in_signature="s", out_signature="o")
def LoadUnit(self, name):
    note(self, "LoadUnit", name)
    return fail("InvalidArgs") if "/" in name else unit(self, name).path


def new_job(mock):
    mock.jobs += 1
    return f"{MAIN_OBJ}/job/{mock.jobs}"


@dbus.service.method(MAIN_IFACE, in_signature="ss", out_signature="o")
def StopUnit(self, name, mode):
    note(self, "StopUnit", name, mode)
    unit(self, name).props[UNIT_IFACE]["ActiveState"] = self.behaviours[name].get("stop", "inactive")
    return new_job(self)


@dbus.service.method(MAIN_IFACE, in_signature="ss", out_signature="o")
def StartUnit(self, name, mode):
    note(self, "StartUnit", name, mode)
    start = self.behaviours[name].get("start", "done")
    if start == "refused":
        fail("AccessDenied")
    job = new_job(self)

    def finish():
        unit(self, name).props[UNIT_IFACE]["ActiveState"] = "active" if start == "done" else "failed"
        # Another unit's job ends first: the outcome must be told apart by the job.
        for path, result in ((MAIN_OBJ + "/job/9999", "failed"), (job, "done" if start == "exits" else start)):
            self.EmitSignal(MAIN_IFACE, "JobRemoved", "uoss", [1, path, name, result])

    if start != "silent":
        GLib.timeout_add(30, finish)
    return job
