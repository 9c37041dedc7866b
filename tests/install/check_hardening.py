#!/usr/bin/env python3
"""Looks whether a program was built so that a fault in it is hard to use: see cmake/KorvaneHardening.cmake.

  check_hardening.py PROGRAM
  check_hardening.py --self-test COMPILER      a program built without any of it must be found out
"""
import pathlib
import platform
import subprocess
import sys
import tempfile


def faults(program):
    def readelf(*options):
        return subprocess.run(["readelf", "--wide", *options, program], capture_output=True, text=True, check=True).stdout

    header, segments, dynamic = (readelf(option) for option in ("-h", "-l", "-d"))
    symbols = readelf("--dyn-syms")
    wanted = {
        "a position-independent program": "DYN (Position-Independent" in header,
        "a relocation table that is read-only": "GNU_RELRO" in segments,
        "... and complete before the start": "NOW" in dynamic,
        "a stack that holds no code": any("GNU_STACK" in line and "RWE" not in line for line in segments.splitlines()),
        "guarded stacks": "__stack_chk_fail" in symbols,
        "fortified calls of the C library": "_chk@GLIBC" in symbols.replace("__stack_chk_fail", ""),
    }
    if platform.machine() == "x86_64":
        # Not by the program's note, which the C library's own start files take away: a handful of landing marks is theirs.
        wanted["guarded jumps"] = pathlib.Path(program).read_bytes().count(b"\xf3\x0f\x1e\xfa") > 100
    return [name for name, found in wanted.items() if not found]


def self_test(compiler):
    with tempfile.TemporaryDirectory() as folder:
        source, program = pathlib.Path(folder, "plain.cpp"), pathlib.Path(folder, "plain")
        source.write_text("#include <cstdio>\nint main(int, char** v) { char b[9]; std::sprintf(b, v[0]); }\n")
        plain = ["-fno-stack-protector", "-fcf-protection=none", "-no-pie", "-Wl,-z,norelro,-z,lazy,-z,execstack"]
        if platform.machine() != "x86_64":
            plain.remove("-fcf-protection=none")
        subprocess.run([compiler, "-O2", "-U_FORTIFY_SOURCE", "-w", *plain, source, "-o", program], check=True)
        found = faults(program)
    return [] if len(found) >= 6 else [f"a plain program was found to lack only: {', '.join(found)}"]


wrong = self_test(sys.argv[2]) if sys.argv[1] == "--self-test" else faults(sys.argv[1])
print("\n".join(f"missing: {name}" for name in wrong) or "hardened")
sys.exit(bool(wrong))
