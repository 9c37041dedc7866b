#!/usr/bin/env python3
"""Counts the tests against the code and fails when they are more than so many percent of it.

  check_share.py ROOT LIMIT

Counted are non-blank lines of .cpp, .h, .ui and .py files and of scripts: tests/ against src/, receiver/,
mibc/, tools/ and install/.  Tests that say the same twice cost every later change; new ones must earn their lines.
"""
import pathlib
import sys

ENDINGS = {".cpp", ".h", ".ui", ".py"}


def is_counted(path):
    if not path.is_file() or path.is_symlink() or "__pycache__" in path.parts:
        return False
    return path.suffix in ENDINGS or (not path.suffix and path.read_bytes()[:2] == b"#!")


def lines_of(folder):
    return sum(sum(1 for line in path.read_text(errors="replace").splitlines() if line.strip())
               for path in folder.rglob("*") if is_counted(path))


def main():
    root, limit = pathlib.Path(sys.argv[1]), float(sys.argv[2])
    tests = {folder: lines_of(folder) for folder in sorted((root / "tests").iterdir()) if folder.is_dir()}
    code = {name: lines_of(root / name) for name in ("src", "receiver", "mibc", "tools", "install")}
    share = 100 * sum(tests.values()) / sum(code.values())
    for folder, lines in tests.items():
        print(f"{lines:7} tests/{folder.name}")
    for name, lines in code.items():
        print(f"{lines:7} {name}")
    print(f"tests are {share:.1f} % of the code (at most {limit:g} %)")
    return 0 if share <= limit else 1


if __name__ == "__main__":
    sys.exit(main())
