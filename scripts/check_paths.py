#!/usr/bin/env python3
"""Checks that paths reach the system through xc::win32::SystemPath alone: a call of the system that takes a path stands
in a file of the file mechanism and is given ForSystem(), and nothing in src/ opens files past it."""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
MECHANISM = {"src/win32/File.cpp", "src/win32/FileSystem.cpp", "src/win32/Module.cpp",
             "src/win32/CopySteps.cpp", "src/win32/TreeSteps.cpp", "src/win32/FileRights.cpp"}

# Calls of the system that take a path, with the positions of their path arguments.
CALLS = {name: (0,) for name in (
    "CreateFile CreateFile2 DeleteFile GetFileAttributes GetFileAttributesEx SetFileAttributes CreateDirectory "
    "RemoveDirectory FindFirstFile FindFirstFileEx FindFirstStream FindFirstChangeNotification GetFileSecurity SetFileSecurity "
    "GetLongPathName GetShortPathName LoadLibrary LoadLibraryEx GetCompressedFileSize GetDiskFreeSpaceEx "
    "GetVolumePathName SetCurrentDirectory AddDllDirectory SetDllDirectory GetTempFileName GetBinaryType").split()}
CALLS |= {name: (0, 1) for name in (
    "MoveFile MoveFileEx MoveFileWithProgress CopyFile CopyFileEx ReplaceFile CreateHardLink CreateSymbolicLink").split()}
CALL = re.compile(r"\b(" + "|".join(CALLS) + r")(?:[WA])?\(")
# What makes names absolute or asks for names of the system is no use of a path.
ABSOLUTE = re.compile(r"\bGetFullPathName[WA]?\(")
# Other ways to a file.
FORBIDDEN = re.compile(r"#\s*include\s*<(?:filesystem|fstream)>|\b(?:_w?f?s?open|_wfopen_s|fopen|fopen_s|_wfreopen|freopen|"
                       r"_wremove|_wrename|_wmkdir|_wunlink|_wstat\w*)\(")
# A library of the system by its bare name, from the system's folder alone.
SYSTEM_LIBRARY = re.compile(r'LoadLibraryExW\(name, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32\)')
NO_SYSTEM_LIBRARY = re.compile(r'LoadSystemLibrary\((?!L"\w+\.dll"\)|wchar_t const\*)')
COMMENT = re.compile(r"//[^\n]*")


def arguments(text, start):
    """The arguments of the call whose parenthesis opens before `start`."""
    depth, found, begin = 1, [], start
    for at in range(start, len(text)):
        depth += (text[at] in "([{") - (text[at] in ")]}")
        if (text[at] == "," and depth == 1) or depth == 0:
            found.append(text[begin:at].strip())
            begin = at + 1
        if depth == 0:
            break
    return found


def judge(here, text):
    """The faults of one source."""
    text = COMMENT.sub("", text)

    def at(match):
        return f"{here}:{text.count(chr(10), 0, match.start()) + 1}"

    for match in FORBIDDEN.finditer(text):
        yield f"{at(match)}: a file is opened past SystemPath ({match.group(0)})"
    for match in ABSOLUTE.finditer(text):
        if here != "src/win32/FileSystem.cpp":
            yield f"{at(match)}: SystemPath makes names absolute"
    for match in NO_SYSTEM_LIBRARY.finditer(text):
        yield f"{at(match)}: a library of the system is named by a literal"
    for match in CALL.finditer(text):
        if SYSTEM_LIBRARY.match(text, match.start()):
            continue
        given = arguments(text, match.end())
        if here not in MECHANISM:
            yield f"{at(match)}: {match.group(1)} stands outside the file mechanism of src/win32"
        elif not all(given[i].endswith(".ForSystem()") for i in CALLS[match.group(1)] if i < len(given)):
            yield f"{at(match)}: {match.group(1)} is not given SystemPath::ForSystem()"


def prove():
    """The check finds what it is there for."""
    bad = ["::CreateFileW(path.c_str(), 0);", "::MoveFileExW(a.ForSystem(), b.Text().c_str(), 0);", "std::fopen(p, m);",
           "::LoadLibraryW(name);", 'LoadSystemLibrary(L"C:\\\\a.dll")', "LoadSystemLibrary(path)", "#include <fstream>"]
    good = ["::MoveFileExW(a.ForSystem(), b.Child(F(x)).ForSystem(), 0);", "// CreateFileW(path)",
            '::LoadLibraryExW(name, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32)', 'LoadSystemLibrary(L"ole32.dll")', "file.Open(path, mode); FindFirstOf(x)"]
    return all(list(judge("src/win32/File.cpp", b)) for b in bad) and not any(
        list(judge("src/win32/File.cpp", g)) for g in good) and list(judge("src/log/X.cpp", good[0]))


def main():
    faults = [] if prove() else ["check_paths.py does not find its own examples"]
    for path in sorted((ROOT / "src").rglob("*")):
        if path.suffix in (".h", ".cpp"):
            faults += judge(path.relative_to(ROOT).as_posix(), path.read_text(encoding="utf-8"))
    if faults:
        print("\n".join(faults), file=sys.stderr)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
