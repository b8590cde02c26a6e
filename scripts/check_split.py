#!/usr/bin/env python3
"""check_split.py BUILD: the compiler's front end over every file on its own, as listed in BUILD/compile_commands.json, so
that no include is missing. Nothing is optimised or linked, which is why this is quick. What the build itself makes (headers
alone, examples of pages) is compiled file by file anyway, and is left out."""
import concurrent.futures
import json
import os
import pathlib
import shlex
import subprocess
import sys


def front_end(entry):
    """The command of a file without its cache and its output."""
    words = shlex.split(entry["command"])
    if words[0].endswith("ccache"):
        words = words[1:]
    output = words.index("-o")
    return words[:output] + words[output + 2:] + ["-fsyntax-only"]


def check(entry):
    done = subprocess.run(front_end(entry), cwd=entry["directory"], capture_output=True, text=True)
    return entry["file"], done.returncode, done.stderr


def main():
    build = pathlib.Path(sys.argv[1]).resolve()
    entries = [entry for entry in json.loads((build / "compile_commands.json").read_text())
               if entry["file"].endswith(".cpp") and build not in pathlib.Path(entry["file"]).parents]
    failed = 0
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for file, code, words in pool.map(check, entries):
            if code != 0:
                failed += 1
                print(f"{file}:\n{words}", file=sys.stderr)
    print(f"files on their own: {len(entries) - failed} passed, {failed} failed")
    return 1 if failed or not entries else 0


sys.exit(main())
