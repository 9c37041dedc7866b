#!/usr/bin/env python3
"""What the documents promise is there: the files and headings that they link to, and the tests that they name.

  check_documents.py TREE
"""
import pathlib
import re
import subprocess
import sys

tree = pathlib.Path(sys.argv[1])
files = subprocess.run(["git", "ls-files", "*.md"], cwd=tree, check=True, capture_output=True, text=True).stdout.split()
files = files or [str(path.relative_to(tree)) for path in tree.glob("*.md")]
cases = {f"{suite}.{name}" for path in (tree / "tests").rglob("*.cpp")
         for suite, name in re.findall(r"^TEST(?:_[FP])?\((\w+), *(\w+)\)", path.read_text(), re.M)}


def anchor(heading):
    """As the common viewers of Markdown make it."""
    return re.sub(r"[^\w\- ]", "", re.sub(r"[`*]", "", heading).strip().lower()).replace(" ", "-")


faults = []
for file in files:
    text = (tree / file).read_text()
    plain = re.sub(r"^```.*?^```", "", text, flags=re.M | re.S)
    for target in re.findall(r"\]\(([^)\s]+)\)", plain):
        if "://" in target or target.startswith("mailto:"):
            continue
        path, _, heading = target.partition("#")
        linked = (tree / file).parent / path if path else tree / file
        if not linked.exists():
            faults.append(f"{file}: no file {target}")
        elif heading and linked.suffix == ".md" and heading not in {
                anchor(line) for line in re.findall(r"^#+ +(.*)$", linked.read_text(), re.M)}:
            faults.append(f"{file}: no heading {target}")
    for name in re.findall(r"`(\w+Test\.\w+)`", text):
        if name not in cases:
            faults.append(f"{file}: no test {name}")
print("\n".join(faults) or f"{len(files)} documents keep what they promise")
sys.exit(bool(faults))
