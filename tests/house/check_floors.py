#!/usr/bin/env python3
"""Walks the #include lines of the tree and fails on a breach of the house rules.

A folder of src/ includes only itself and folders below it; the receiver and the MIB compiler
are built on the logic floors alone; no file takes part in a circle of includes; the logic library
includes nothing of Qt; every source is named by a list that builds it.  `--self-test` checks that each
breach is really found.
"""
import pathlib
import re
import sys
import tempfile

FLOORS = {
    "platform": 0, "common": 1, "store": 2, "params": 3, "intake": 4, "systems": 5, "traplist": 6, "traps": 7,
    "reports": 8, "categories": 9, "alerts": 9, "config": 9, "help": 9, "mainwnd": 10, "app": 11,
}
# The receiver's rooms; what lies at its top (service, configuration, counters, log) belongs to all of them.
RECEIVER_FLOORS = {"clock": 0, "spool": 1, "snmp": 2, "store": 2, "alerts": 2}
COMPANIONS = {"receiver": 2, "mibc": 2}  # the highest floor each may use
INCLUDE = re.compile(r'^\s*#\s*include\s+(?:"([^"]+)"|<([^>]+)>)', re.M)
SOURCES = {".h", ".cpp"}


def files_of(root, folder):
    return sorted(p for p in (root / folder).rglob("*") if p.suffix in SOURCES)


def resolve(root, file, name):
    """The file of this tree that an include names, or None."""
    for base in (file.parent, root / "src", root):
        path = (base / name)
        if path.is_file():
            return path.resolve()
    return None


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
            file = file.resolve()
            graph[file] = []
            for quoted, angled in INCLUDE.findall(file.read_text(errors="replace")):
                target = resolve(root, file, quoted) if quoted else None
                if target:
                    graph[file].append(target)
                    found += wrong_floor(root, file, target, folder, floor, companion)
                if (re.match(r"Q[A-Z]|Qt[A-Z]", angled or "") or (target and target in listed)) \
                        and not is_qt(file, listed):
                    found.append(f"{file.relative_to(root)}: logic includes Qt by {quoted or angled}")
    return found + circles(root, graph) + unbuilt(root)


def wrong_floor(root, file, target, folder, floor, companion):
    parts = target.relative_to(root).parts
    if parts[0] != "src":
        if not "/".join(parts).startswith(folder + "/"):
            return [f"{file.relative_to(root)}: includes {'/'.join(parts)}"]
        own, other = file.relative_to(root).parts[1], parts[1]
        if own == other or RECEIVER_FLOORS.get(other, -1) < RECEIVER_FLOORS.get(own, 99):
            return []
        return [f"{file.relative_to(root)}: {folder}/{own} stands below {other} but includes {'/'.join(parts)}"]
    own = not companion and parts[1] == folder.split("/")[1]
    other = FLOORS.get(parts[1], 99)
    if own or other < floor or (companion and other <= floor):
        return []
    return [f"{file.relative_to(root)}: {folder} stands below {parts[1]} but includes {'/'.join(parts)}"]


def unbuilt(root):
    """Sources that no list of theirs names: they would be neither compiled nor run."""
    found = []
    for file in (f for folder in ("src", "receiver", "mibc", "tests") for f in files_of(root, folder)):
        lists = [p for above in file.parents if above.is_relative_to(root) and above != root
                 for p in [*above.glob("CMakeLists.txt"), *above.glob("*.cmake")]]
        if file.suffix == ".cpp" and not any(re.search(rf"\b{file.name}\b", p.read_text()) for p in lists):
            found.append(f"{file.relative_to(root)}: no CMakeLists.txt names it")
    return found


def circles(root, graph):
    done, path, found = set(), [], []

    def visit(file):
        if file in path:
            names = [str(p.relative_to(root)) for p in path[path.index(file):] + [file]]
            found.append("circle: " + " -> ".join(names))
            return
        if file in done or file not in graph:
            return
        path.append(file)
        for target in graph[file]:
            visit(target)
        path.pop()
        done.add(file)

    for file in graph:
        visit(file)
    return found


def self_test():
    cases = {
        "floor": ({"src/store/A.h": '#include "traps/B.h"\n', "src/traps/B.h": ""}, "stands below traps"),
        "sibling": ({"src/alerts/A.h": '#include "config/B.h"\n', "src/config/B.h": ""}, "stands below config"),
        "companion": ({"receiver/A.cpp": '#include "traps/B.h"\n', "src/traps/B.h": ""}, "stands below traps"),
        "room": ({"receiver/spool/A.h": '#include "receiver/snmp/B.h"\n', "receiver/snmp/B.h": ""}, "stands below snmp"),
        "circle": ({"src/store/A.h": '#include "store/B.h"\n', "src/store/B.h": '#include "store/A.h"\n'}, "circle"),
        "qt": ({"src/store/A.cpp": "#include <QString>\n"}, "includes Qt"),
        "unbuilt": ({"tests/store/A.cpp": "", "tests/store/CMakeLists.txt": "BA.cpp"}, "names it"),
        "good": ({"src/CMakeLists.txt": "frmA.cpp", "receiver/CMakeLists.txt": "C.cpp", "src/traps/A.h": '#include "store/B.h"\n', "src/store/B.h": "#include <string>\n",
                  "src/traps/frmA.cpp": "#include <QWidget>\n", "receiver/C.cpp": '#include "store/B.h"\n'}, None),
    }
    failed = []
    for name, (tree, expected) in cases.items():
        with tempfile.TemporaryDirectory() as folder:
            root = pathlib.Path(folder)
            for path, text in tree.items():
                (root / path).parent.mkdir(parents=True, exist_ok=True)
                (root / path).write_text(text)
            found = breaches(root)
            if (expected is None and found) or (expected and not any(expected in f for f in found)):
                failed.append(f"{name}: found {found}")
    return failed


def main():
    if "--self-test" in sys.argv:
        found = self_test()
    else:
        found = breaches(pathlib.Path(sys.argv[1]))
    print("\n".join(found) if found else "the floors hold")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
