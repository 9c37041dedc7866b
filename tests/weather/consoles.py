"""Whole consoles on a screen that is not there (cluster/console.cpp, built as weather_console), led by lines."""
import contextlib
import json
import select
import subprocess
import time

from world import MARK


class Console:
    def __init__(self, program, folder, number, environment):
        self.folder, self.number, self.asked = folder, number, set()
        with (folder / f"console{number}.log").open("ab") as log:
            self.process = subprocess.Popen(
                [program], stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=log, text=True, cwd=folder,
                env=environment | {"QT_QPA_PLATFORM": "offscreen", "HOME": str(folder)})

    def tell(self, command, seconds=180):
        """Its answer; None when it gave none in time: its window stands still."""
        file = self.folder / f"rows{self.number}"
        if self.process.poll() is not None:
            log = (self.folder / f"console{self.number}.log").read_text()
            raise RuntimeError(f"console {self.number} ended:\n{log[-2000:]}")
        print(command, "" if command in ("begin", "state") else file, file=self.process.stdin, flush=True)
        if not select.select([self.process.stdout], [], [], seconds)[0]:
            raise RuntimeError(f"console {self.number} does not answer")
        answer = json.loads(self.process.stdout.readline() or '{"error": "it ended"}')
        if "error" in answer:
            raise RuntimeError(f"console {self.number}: {answer['error']}")
        if command in ("show", "acknowledge"):
            answer["traps"] = [row(line) for line in file.read_text().splitlines()]
        return answer

    def is_open(self):
        with contextlib.suppress(RuntimeError):
            return "rows" in self.tell("state")
        return False

    def marks(self):
        return [mark for _, _, mark in self.tell("show")["traps"]]

    def acknowledge(self):
        """All that it shows.  What it said, and how long its window stood still."""
        began = time.monotonic()
        answer = self.tell("acknowledge")
        self.asked |= {trap[2] for trap in answer["traps"]}
        return answer["said"], time.monotonic() - began

    def close(self):
        self.process.kill()
        self.process.wait()


def row(line):
    """Number, time and the sender's mark: what must be the same on the screen and in the store."""
    number, when, _, text = line.split("\t", 3)
    return int(number), int(when), int(MARK.search(text)[1])
