#!/usr/bin/env python3
"""check_docs.py [apply]: the pages tell what the sources say; `apply` rewrites what a page takes from them.

- The code block after a line "<!-- quoted: FILE -->" is that file, to the letter.
- docs/error-codes.md lists the library's own errors as XCCoreError.h and core.mc have them.
- XelbrinCore.h includes every public header.
- A link of a page to a file leads to one.
- The table of rooms in docs/architecture.md is the one that check_rooms.py judges by, and the picture of the includes
  shows those that stand in the files.
"""
import pathlib
import re
import sys

import check_rooms

ROOT = pathlib.Path(__file__).resolve().parent.parent
HEADERS = ROOT / "include" / "XelbrinCore"
ROOMS = re.compile(r"^\| room \|.*?\n(?=\n)", re.M | re.S)
PICTURE = re.compile(r"(?<=<!-- picture of the includes -->\n```text\n).*?(?=^```$)", re.M | re.S)
QUOTE = re.compile(r"(<!-- quoted: (?P<file>[^ ]+) -->\n```\w*\n)(?P<text>.*?)(?=^```$)", re.M | re.S)
LINK = re.compile(r"\]\((?!https?:|#)([^)#]+)")

ERROR_PAGE = """# Error codes

The library's own errors. `XCErrorID` converts to the code; the names are those of `XCCoreError` in `XCCoreError.h`. A code
never changes its meaning. The texts stand in the message table of the DLL, in English and French; `{1}`, `{2}` are the
error's parameters in their order. Errors of the operating system (`XCWinLastError`) carry the system's code and text.

A dash for the text means that the error brings its own, made where it happened.

| code | name | severity | meaning | text |
|---|---|---|---|---|
"""


def error_names():
    """(code, name, meaning) of each enumerator of XCCoreError."""
    text = (HEADERS / "XCCoreError.h").read_text(encoding="utf-8")
    body = re.search(r"enum XCCoreError : long \{(.*?)\n\};", text, re.S).group(1)
    found = re.findall(r"(XCErr\w+) = (\d+),(?:[ \t]*///< (.*))?", body)
    return [(int(code), name, meaning) for name, code, meaning in found]


def english_texts():
    """code -> English text of the message table."""
    table = (ROOT / "src" / "errors" / "core.mc").read_text(encoding="utf-8")
    return {int(code): text for code, text in
            re.findall(r"^MessageId=(\d+)$.*?^Language=English\n(.*?)(?:%0)?\n\.$", table, re.M | re.S)}


def severities():
    """name -> severities that the sources make it with; an error made without one is of severity Error."""
    found = {}
    for path in (ROOT / "src").rglob("*.cpp"):
        for name, rest in re.findall(r"\b(XCErr[A-Z]\w+)\b([^;]*);", path.read_text(encoding="utf-8")):
            given = re.search(r"\bSeverity(Information|Error|Warning|Fatal)\b", rest)
            found.setdefault(name, set()).add(given.group(1) if given else "Error")
    return found


def numbered(text):
    """The text with {1}, {2} for its printf conversions."""
    numbers = iter(range(1, 100))
    return re.sub(r"%(?:ld|[sdg])", lambda _: f"{{{next(numbers)}}}", text).replace("|", "\\|")


def error_page(faults):
    names, texts, used = error_names(), english_texts(), severities()
    codes = [code for code, _, _ in names]
    faults += [f"core.mc: message {code} belongs to no name of XCCoreError" for code in texts if code not in codes]
    faults += [f"XCCoreError.h: {name} has no meaning beside it" for _, name, meaning in names if not meaning]
    faults += [f"core.mc: {name} has no text" for code, name, _ in names if code not in texts]
    rows = [f"| {code} | `{name}` | {', '.join(sorted(used.get(name, {'Error'})))} | {meaning} "
            f"| {numbered(texts[code]) if code in texts else '–'} |" for code, name, meaning in names]
    return ERROR_PAGE + "\n".join(rows) + "\n"


def with_quotes(page, text, faults):
    def quote(found):
        source = ROOT / found.group("file")
        if not source.is_file():
            faults.append(f"{page}: quotes {found.group('file')}, which does not exist")
            return found.group(0)
        return found.group(1) + source.read_text(encoding="utf-8")
    return QUOTE.sub(quote, text)


def check_page(path, apply, faults):
    page = path.relative_to(ROOT)
    text = path.read_text(encoding="utf-8") if path.exists() else ""
    wanted = error_page(faults) if path.name == "error-codes.md" else with_quotes(page, text, faults)
    if path.name == "architecture.md":
        wanted = ROOMS.sub(lambda _: check_rooms.table() + "\n", wanted)
        wanted = PICTURE.sub(lambda _: check_rooms.picture() + "\n", wanted)
    if wanted != text and apply:
        path.write_text(wanted, encoding="utf-8")
    elif wanted != text:
        faults.append(f"{page}: differs from the sources; run 'make format'")
    for link in LINK.findall(re.sub(r"```.*?```|`[^`\n]*`", "", wanted, flags=re.S)):
        if not (path.parent / link).exists():
            faults.append(f"{page}: link to {link}, which does not exist")


def main():
    faults = []
    pages = {*ROOT.glob("*.md"), *(ROOT / "docs").glob("*.md"), ROOT / "docs" / "error-codes.md"}
    for path in sorted(pages):
        check_page(path, sys.argv[1:] == ["apply"], faults)
    umbrella = (HEADERS / "XelbrinCore.h").read_text(encoding="utf-8")
    faults += [f"XelbrinCore.h: does not include {path.name}" for path in sorted(HEADERS.glob("*.h"))
               if path.name != "XelbrinCore.h" and f"#include <XelbrinCore/{path.name}>" not in umbrella]
    for fault in faults:
        print(fault, file=sys.stderr)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
