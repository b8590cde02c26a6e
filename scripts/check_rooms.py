#!/usr/bin/env python3
"""Checks that sources and public headers include only what stands below their room. The table of rooms and the picture
of the includes in docs/architecture.md come from here (check_docs.py compares them); --picture prints both."""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent

# Bottom up: (room, subject, the rooms it may include; None: every room above it in this list).
ROOMS = [
    ("win32", "the edge to the system: handle owners, last error, files, clock, process facts", []),
    ("text", "string, names without case, identities, number text, facts of Unicode, collation, the scan kernels", None),
    ("errors", "error objects, exceptions, what an exception says, stack capture, message sources, the message table",
     None),
    ("encoding", "converters, encoded files, message libraries, locales, text streams: what reports errors about texts", None),
    ("datetime", "calendar, value classes, formats, zones; members of lower classes that read or hold dates", None),
    ("data", "buffers, binary streams, blobs, marshalling", ["win32", "text", "errors", "encoding", "datetime"]),
    ("sync", "locks, semaphores, the baton, stopwatches, threads", None),
    ("work", "pool, thread server, timers, schedules", None),
    ("files", "paths, files, directories, streams, change server", None),
    ("xml", "tokens, tree, handlers, writer", ["win32", "text", "errors", "encoding", "data"]),
    ("system", "registry keys, factories, memory switch", None),
    ("log", "manager, channels, subscribers, log files, trace",
     ["win32", "text", "errors", "encoding", "datetime", "data", "sync", "system"]),
    ("net", "addresses, names, sockets, socket server",
     ["win32", "text", "errors", "encoding", "datetime", "data", "sync", "work", "log"]),
    ("debug", "assertions, signals, crash records, lock order", None),
    ("match", "character sets, parser, automata, matcher", ["text"]),
    ("match/condition", "condition expressions", ["text", "errors", "datetime", "log", "match"]),
    ("unittest", "test cases, scopes, the menu that hosts show", ["text", "errors"]),
    ("app/commandline", "options and the usage screen", None),
    ("app/config", "configuration files", None),
    ("app/host", "application, plug-in modules, console, quit requests", None),
]
ORDER = [name for name, _, _ in ROOMS]

# A public header stands in the room of its classes. A zone as a value stands with the errors, whose texts name
# instants; its rules are computed in datetime.
HEADER_ROOM = {
    "XCExport.h": None, "XCRefCount.h": None, "XCSafeCounter.h": None,
    "XCFormatArg.h": "text", "XCString.h": "text", "XCStringValue.h": "text", "XCStringStorage.h": "text",
    "XCStringNumbers.h": "text", "XCStringOrder.h": "text", "XCStringSearch.h": "text",
    "XCStringTools.h": "text", "XCStringParts.h": "text", "XCStdFormat.h": "text",
    "XCCollator.h": "text", "XCGuid.h": "text", "XCUnicode.h": "text", "XCLineFault.h": "text", "XCLevelCollator.h": "text",
    "XCLocaleCollator.h": "encoding", "XCMessageLibrary.h": "encoding", "XCStringConverter.h": "encoding",
    "XCLocale.h": "encoding", "XCStringStream.h": "encoding",
    "XCTimeZone.h": "errors",
    "XCFormatContext.h": "errors", "XCDouble.h": "errors", "XCErrorID.h": "errors",
    "XCCoreError.h": "errors", "XCError.h": "errors", "XCException.h": "errors", "XCMessageSource.h": "errors", "XCResult.h": "errors",
    "XCErrorCode.h": "errors",
    "XCDateTime.h": "datetime", "XCChrono.h": "datetime", "XCOldDateTime.h": "datetime", "XCDateAndTime.h": "datetime",
    "XCDateEx.h": "datetime", "XCTimeEx.h": "datetime", "XCDateTimeEx.h": "datetime", "XCDurationEx.h": "datetime",
    "XCBuffer.h": "data", "XCByteStream.h": "data", "XCBinaryWriter.h": "data", "XCBinaryReader.h": "data",
    "XCBlob.h": "data", "XCMarshal.h": "data", "XCUntypedVector.h": "data",
    "XCSync.h": "sync", "XCStopWatch.h": "sync", "XCProgress.h": "sync", "XCThread.h": "sync", "XCFuture.h": "sync",
    "XCThreadDump.h": "sync", "XCSignals.h": "debug",
    "XCAssert.h": "debug", "XCLockOrder.h": "debug",
    "XCPath.h": "files", "XCFileInfo.h": "files", "XCFile.h": "files", "XCFileStream.h": "files",
    "XCSaveFile.h": "files",
    "XCDirectory.h": "files", "XCDirectoryWalker.h": "files",
    "XCTask.h": "work", "XCThreadPool.h": "work", "XCThreadServer.h": "work", "XCTimer.h": "work",
    "XCSchedule.h": "work", "XCScheduler.h": "work",
    "XCIPAddress.h": "net", "XCHost.h": "net", "XCSocket.h": "net", "XCBufferedSocket.h": "net",
    "XCSocketServer.h": "net",
    "XCLog.h": "log", "XCLogChannel.h": "log", "XCLogFile.h": "log",
    "XCLogSubscriber.h": "log", "XCLogField.h": "log", "XCLogLevel.h": "log", "XCLogPattern.h": "log", "XCTrace.h": "log",
    "XCCharSet.h": "match", "XCRegEx.h": "match", "XCRegExTree.h": "match", "XCRegExParser.h": "match",
    "XCNFANodeSet.h": "match", "XCInlineArray.h": "match", "XCRegExFind.h": "match", "XCCondition.h": "match/condition", "XCConditionBuilding.h": "match/condition",
    "XCConditionParams.h": "match/condition",
    "XCConditionSet.h": "match/condition",
    "XCCommandLine.h": "app/commandline", "XCOptions.h": "app/commandline", "XCConfig.h": "app/config",
    "XCConfigFile.h": "app/config", "XCConfigLayers.h": "app/config", "XCLogSettings.h": "app/config",
    "XCConfigParts.h": "app/config", "XCCommaSeparatedValues.h": "app/config",
    "XCPlugIn.h": "app/host", "XCAppTimer.h": "app/host",
    "XCApplication.h": "app/host", "XCApplicationBase.h": "app/host", "XCApplicationWithPlugIns.h": "app/host",
    "XCConsoleInfo.h": "app/host", "XCModuleSafety.h": "app/host", "XCService.h": "app/host",
    "XCEventLog.h": "app/host", "XCUnitTest.h": "unittest",
}
# Files above all rooms: the umbrella, and the constants of all exported classes.
ABOVE_ALL = {"include/XelbrinCore/XelbrinCore.h", "src/ExportedConstants.cpp"}
INCLUDE = re.compile(r'^\s*#\s*include\s+["<](?:XelbrinCore/)?([^">]+)[">]')


def may_include(room):
    """The rooms that a room sees, itself first."""
    position = ORDER.index(room)
    named = ROOMS[position][2]
    return [room] + (ORDER[:position] if named is None else named)


def room_of_source(path):
    folder = path.relative_to(ROOT / "src").parent.as_posix()
    return folder if folder in ORDER else None


def target_room(path, name):
    """The room an include leads to; None for the standard library and the common headers."""
    if name in HEADER_ROOM:
        return HEADER_ROOM[name]
    for candidate in (path.parent / name, ROOT / "src" / name):
        if candidate.exists():
            return room_of_source(candidate.resolve())
    return None


def files():
    """Every file that is judged, with its room; None where it has none."""
    for path in sorted((ROOT / "src").rglob("*")):
        if path.suffix in (".h", ".cpp"):
            yield path, room_of_source(path)
    for path in sorted((ROOT / "include").rglob("*.h")):
        yield path, HEADER_ROOM.get(path.name)


def includes(path):
    """(line number, name) of each include of a file."""
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        found = INCLUDE.match(line)
        if found:
            yield number, found.group(1)


def judge(path, room):
    """The faults of one file."""
    here = path.relative_to(ROOT).as_posix()
    public = here.startswith("include/")
    if here in ABOVE_ALL:
        return
    if room is None and not (public and path.name in HEADER_ROOM):
        yield f"{here}: stands in no room"
        return
    for number, name in includes(path):
        target = target_room(path, name)
        if room and target and target not in may_include(room):
            yield f"{here}:{number}: {room} must not include {target} ({name})"
        if room is None and target:
            yield f"{here}:{number}: a common header includes no room ({name})"
        if name.lower() == "windows.h" and (public or path.suffix == ".h" and room != "win32"):
            yield f"{here}:{number}: windows.h belongs into .cpp files and src/win32"


def table():
    """The table of docs/architecture.md; rooms without a file are left out."""
    standing = {room for _, room in files()}
    rows = ["| room | subject | may include |", "|---|---|---|"]
    for name, subject, named in ROOMS:
        if name not in standing:
            continue
        seen = [other for other in may_include(name)[1:] if other in standing]
        text = ", ".join(seen) if named is not None or len(seen) < 3 else "every room above"
        rows.append(f"| `{name}` | {subject} | {text or 'nothing of ours'} |")
    return "\n".join(rows)


def picture():
    """Who includes whom, as found: a row a room, a column a room, bottom up. An "o" is the room itself; an include of a
    room above would stand right of it."""
    standing = {room for _, room in files()}
    rooms = [name for name in ORDER if name in standing]
    found = {name: set() for name in rooms}
    for path, room in files():
        if room and path.relative_to(ROOT).as_posix() not in ABOVE_ALL:
            found[room] |= {target_room(path, name) for _, name in includes(path)}
    width = max(map(len, rooms))
    lines = [" " * (width + 4) + " ".join(f"{column:2}" for column in range(1, len(rooms) + 1))]
    for row, room in enumerate(rooms, 1):
        marks = " ".join(" o" if other == room else " x" if other in found[room] else "  " for other in rooms)
        lines.append(f"{row:2} {room:{width}} {marks}".rstrip())
    return "\n".join(lines)


def main():
    if "--picture" in sys.argv:
        print(table(), picture(), sep="\n\n")
        return 0
    faults = [fault for path, room in files() for fault in judge(path, room)]
    if faults:
        print("\n".join(faults), file=sys.stderr)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
