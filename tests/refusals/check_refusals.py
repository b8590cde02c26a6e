#!/usr/bin/env python3
"""check_refusals.py SOURCE COMPILER...: compiles the source and expects a diagnostic with the given words on, or caused by,
each line that ends in "// refused: words", and none elsewhere."""
import re
import subprocess
import sys

source, compiler = sys.argv[1], sys.argv[2:]
wanted = {}
for number, line in enumerate(open(source, encoding="utf-8"), 1):
    found = re.search(r"// refused: (.*)$", line)
    if found:
        wanted[number] = found.group(1).strip()

done = subprocess.run([*compiler, "-fsyntax-only", "-Wall", "-Wextra", "-fno-diagnostics-show-caret", source], capture_output=True, text=True)
# A diagnostic and the lines before it that say where it was asked for are one block.
blocks, block = [], []
for line in done.stderr.splitlines():
    block.append(line)
    if re.search(r": (error|warning): ", line):
        blocks.append("\n".join(block))
        block = []
places = re.compile(re.escape(source) + r":(\d+):")
failures, met = [], set()
for block in blocks:
    lines = {int(number) for number in places.findall(block)}
    met.update(line for line in lines if line in wanted and wanted[line] in block)
    if not any(line in wanted for line in lines):
        failures.append("not expected:\n" + block)
failures += [f"{source}:{line}: compiles, or without the words: {wanted[line]}" for line in sorted(set(wanted) - met)]
print("\n".join(failures) or f"{len(wanted)} lines refused")
sys.exit(1 if failures or not wanted else 0)
