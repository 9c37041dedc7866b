#!/usr/bin/env python3
"""Walks the #include lines of the tree and fails on a breach of the house rules.

A folder of src/ includes only itself and folders below it; the receiver and the MIB compiler
are built on the logic floors alone; no file takes part in a circle of includes; the logic library
includes nothing of Qt; every source is named by a list that builds it.  `--self-test` checks that each
breach is really found.
"""
import graphlib
import pathlib
import re
import sys
import tempfile

FLOORS = {
    "platform": 0, "common": 1, "store": 2, "params": 3, "intake": 4, "systems": 5, "traplist": 6, "traps": 7,
    "reports": 8, "categories": 9, "alerts": 9, "config": 9, "help": 9, "mainwnd": 10, "app": 11,
}
# The receiver's rooms; what lies at its top (service, configuration, counters, log) belongs to all of them.
RECEIVER_FLOORS = {"clock": 0, "spool": 1, "capture": 2, "snmp": 3, "store": 3, "alerts": 3}
COMPANIONS = {"receiver": 3, "mibc": 2, "tools": 9}  # the highest floor each may use
INCLUDE = re.compile(r'^\s*#\s*include\s+(?:"([^"]+)"|<([^>]+)>)', re.M)
SOURCES = {".h", ".cpp"}


def files_of(root, folder):
    return sorted(p.resolve() for p in (root / folder).rglob("*") if p.suffix in SOURCES)


def resolve(root, file, name):
    """The file of this tree that an include names, or None."""
    found = (base / name for base in (file.parent, root / "src", root))
    return next((path.resolve() for path in found if path.is_file()), None)


def qt_files(root):
    """Files that a CMakeLists.txt gives to korvane_windows, and the headers beside them."""
    found = set()
    for lists in list((root / "src").rglob("CMakeLists.txt")) + list((root / "src").rglob("*.cmake")):
        for block in re.findall(r"target_sources\(\s*korvane_(?:windows|console)\b(.*?)\)", lists.read_text(), re.S):
            for name in re.findall(r"([\w./-]+\.(?:cpp|h))", block.replace("${CMAKE_CURRENT_SOURCE_DIR}/", "")):
                path = lists.parent / name
                found.update({path.resolve(), path.with_suffix(".h").resolve()})
    return found


def is_qt(path, listed):
    return path in listed or path.parent.name == "qt" or path.name.startswith("frm") or path.name == "main.cpp"


def breaches(root):
    root = root.resolve()
    found, graph, listed = [], {}, qt_files(root)
    folders = [(f"src/{name}", floor, False) for name, floor in FLOORS.items()]
    folders += [(name, floor, True) for name, floor in COMPANIONS.items()]
    for folder, floor, companion in folders:
        for file in files_of(root, folder):
            name, graph[file] = file.relative_to(root), []
            for quoted, angled in INCLUDE.findall(file.read_text(errors="replace")):
                target = resolve(root, file, quoted) if quoted else None
                if target:
                    graph[file].append(target)
                    if lower := wrong_floor(root, file, target, folder, floor, companion):
                        found.append(f"{name}: {lower} but includes {target.relative_to(root)}")
                if (re.match(r"Q[A-Z]|Qt[A-Z]", angled) or target in listed) and not is_qt(file, listed):
                    found.append(f"{name}: logic includes Qt by {quoted or angled}")
    return found + circles(root, graph) + unbuilt(root)


def wrong_floor(root, file, target, folder, floor, companion):
    """What the file stands below, or nothing when it may include the target."""
    top, room = target.relative_to(root).parts[:2]
    if top != "src":
        own = file.relative_to(root).parts[1]
        if top != folder:
            return f"{folder} stands apart from {top}"
        allowed = own == room or RECEIVER_FLOORS.get(room, -1) < RECEIVER_FLOORS.get(own, 99)
        return None if allowed else f"{folder}/{own} stands below {room}"
    other = FLOORS.get(room, 99)
    allowed = folder == f"src/{room}" or other < floor or (companion and other <= floor)
    return None if allowed else f"{folder} stands below {room}"


def unbuilt(root):
    """Sources that no list of theirs names: they would be neither compiled nor run."""
    found = []
    for file in (f for folder in ("src", "receiver", "mibc", "tools", "tests") for f in files_of(root, folder)):
        lists = [p for above in file.parents if above.is_relative_to(root) and above != root
                 for p in [*above.glob("CMakeLists.txt"), *above.glob("*.cmake")]] + [*root.glob("bench/*.cmake")]
        if file.suffix == ".cpp" and not any(re.search(rf"\b{file.name}\b", p.read_text()) for p in lists):
            found.append(f"{file.relative_to(root)}: no CMakeLists.txt names it")
    return found


def circles(root, graph):
    try:
        graphlib.TopologicalSorter(graph).prepare()
    except graphlib.CycleError as error:
        return ["circle: " + " <- ".join(str(path.relative_to(root)) for path in error.args[1])]
    return []


def self_test():
    cases = (
        ({"src/store/A.h": '#include "traps/B.h"\n', "src/traps/B.h": ""}, "stands below traps"),
        ({"src/alerts/A.h": '#include "config/B.h"\n', "src/config/B.h": ""}, "stands below config"),
        ({"receiver/A.cpp": '#include "traps/B.h"\n', "src/traps/B.h": ""}, "stands below traps"),
        ({"receiver/A.h": '#include "mibc/B.h"\n', "mibc/B.h": ""}, "stands apart from mibc"),
        ({"receiver/spool/A.h": '#include "receiver/snmp/B.h"\n', "receiver/snmp/B.h": ""}, "stands below snmp"),
        ({"src/store/A.h": '#include "store/B.h"\n', "src/store/B.h": '#include "store/A.h"\n'}, "circle"),
        ({"src/store/A.cpp": "#include <QString>\n"}, "includes Qt"),
        ({"tests/store/A.cpp": "", "tests/store/CMakeLists.txt": "BA.cpp"}, "names it"),
        ({"src/CMakeLists.txt": "frmA.cpp", "src/traps/A.h": '#include "store/B.h"\n', "receiver/CMakeLists.txt": "C.cpp",
          "src/store/B.h": "#include <string>\n", "src/traps/frmA.cpp": "#include <QWidget>\n",
          "receiver/C.cpp": '#include "store/B.h"\n'}, None),
    )
    failed = []
    for tree, expected in cases:
        with tempfile.TemporaryDirectory() as folder:
            for path, text in tree.items():
                file = pathlib.Path(folder, path)
                file.parent.mkdir(parents=True, exist_ok=True)
                file.write_text(text)
            found = breaches(pathlib.Path(folder))
        if bool(found) != bool(expected) or not all(expected in breach for breach in found[:1]):
            failed.append(f"{tree}: found {found}")
    return failed


def main():
    found = self_test() if "--self-test" in sys.argv else breaches(pathlib.Path(sys.argv[1]))
    print("\n".join(found) if found else "the floors hold")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
