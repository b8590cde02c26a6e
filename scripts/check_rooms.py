#!/usr/bin/env python3
"""Checks that each source folder includes only the folders it may see (docs/architecture.md shows the table)."""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent

# folder -> folders it may include, beside itself and the standard library
MAY_INCLUDE = {
    "win32": set(),
    "text": {"win32"},
    "errors": {"win32"},
    "match": {"text"},
    "datetime": {"text", "errors", "win32"},
    "sync": {"datetime", "text", "errors", "win32"},
    "log": {"sync", "datetime", "text", "errors", "win32"},
    "match/condition": {"match", "datetime", "log", "text", "errors"},
    "app": {"win32", "text", "errors", "datetime", "sync", "log", "match", "match/condition"},
}
# text and errors know each other from their .cpp files only.
SOURCES_MAY_INCLUDE = {"text": {"errors"}, "errors": {"text", "datetime"}}

HEADER_ROOM = {
    "XCExport.h": None, "XCRefCount.h": None,
    "XCString.h": "text", "XCStringConverter.h": "text", "XCCollator.h": "text",
    "XCError.h": "errors", "XCException.h": "errors", "XCMessageSource.h": "errors",
    "XCDateTime.h": "datetime", "XCOldDateTime.h": "datetime", "XCTimeZone.h": "datetime",
    "XCSync.h": "sync", "XCStopWatch.h": "sync", "XCThread.h": "sync",
    "XCLog.h": "log", "XCLogFile.h": "log", "XCLogSubscriber.h": "log", "XCTrace.h": "log",
    "XCCharSet.h": "match", "XCRegEx.h": "match", "XCCondition.h": "match/condition",
    "XCConditionParams.h": "match/condition",
    "XCCommandLine.h": "app", "XCConfig.h": "app", "XCPlugIn.h": "app", "XCApplication.h": "app", "XCUnitTest.h": "app",
}
INCLUDE = re.compile(r'^\s*#\s*include\s+["<](?:XelbrinCore/)?([^">]+)[">]')


def room_of(path):
    parts = path.relative_to(ROOT / "src").parts
    return "match/condition" if parts[:2] == ("match", "condition") else parts[0]


def target_room(path, name):
    """The room an include leads to; None for the standard library and the common headers."""
    if name in HEADER_ROOM:
        return HEADER_ROOM[name]
    for candidate in (path.parent / name, ROOT / "src" / name):
        if candidate.exists():
            return room_of(candidate.resolve())
    return None


def main():
    faults = []
    for path in sorted((ROOT / "src").rglob("*")):
        if path.suffix not in (".h", ".cpp"):
            continue
        room = room_of(path)
        # A string's common header is what every room speaks, the collating tables of match included.
        allowed = {room} | MAY_INCLUDE[room]
        if path.suffix == ".cpp":
            allowed |= SOURCES_MAY_INCLUDE.get(room, set())
        for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
            found = INCLUDE.match(line)
            target = found and target_room(path, found.group(1))
            if target and target not in allowed:
                faults.append(f"{path.relative_to(ROOT)}:{number}: {room} must not include {target} ({found.group(1)})")
            if found and found.group(1).lower() == "windows.h" and path.suffix == ".h" and room != "win32":
                faults.append(f"{path.relative_to(ROOT)}:{number}: windows.h belongs into .cpp files and src/win32")
    for path in sorted((ROOT / "include").rglob("*.h")):
        if path.name not in HEADER_ROOM and path.name != "XelbrinCore.h":
            faults.append(f"{path.relative_to(ROOT)}: header without a room")
        if re.search(r"#\s*include\s+<[wW]indows\.h>", path.read_text(encoding="utf-8")):
            faults.append(f"{path.relative_to(ROOT)}: public headers never include windows.h")
    print("\n".join(faults), file=sys.stderr) if faults else None
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
