#!/usr/bin/env python3
"""check_debugger.py PROGRAM: the debugger views show the values of tests/debugger/values.cpp to the letter, and the
views for the other debugger are well-formed XML that names members which exist."""
import pathlib
import re
import subprocess
import sys
import xml.etree.ElementTree

ROOT = pathlib.Path(__file__).resolve().parent.parent

EXPECTED = {
    "emptyText": '""',
    "text": '"a \\"quoted\\" word, é, 😀"',
    "loneSurrogate": '"x\\ud800y"',
    "longText": '"' + 200 * "z" + '"...',
    "success": "Success",
    "failure": 'XCErrorString 42 Warning "no paper"',
    "pointer": 'XCErrorString 7 Error "shared" at 0x@, 2 owners',
    "nullPointer": "null",
    "noDate": "no date",
    "date": "2024/02/29",
    "noTime": "no time",
    "time": "23:05:09.007",
    "noInstant": "no date, no time",
    "instant": "2024/02/29 23:05:09.007 UTC",
    "duration": "-3 Hour",
    "noUnit": "5 of no unit",
    "oldDate": "2024/02/29",
    "oldInstant": "2024/02/29 23:05:09 UTC",
    "oldNull": "null",
    "price": "1.01",
    "guid": "{6F1D2C84-93B5-4E0A-A7C1-2B8E5D90F346}",
    "identity": '{6F1D2C84-93B5-4E0A-A7C1-2B8E5D90F346} "Greeter"',
}


def printed(program):
    """name -> what gdb prints for the variable."""
    commands = ["set charset UTF-8", f"source {ROOT / 'debug' / 'xelbrincore_gdb.py'}", "break Stop", "run", "up"]
    for name in EXPECTED:
        commands += [f"echo @@{name}:", f"output {name}", "echo \\n"]
    arguments = [part for command in commands for part in ("-ex", command)]
    run = subprocess.run(["gdb", "-nx", "-q", "-batch", *arguments, program], capture_output=True, text=True,
                         encoding="utf-8", timeout=300)
    shown = dict(re.findall(r"^@@(\w+):(.*)$", run.stdout, re.M))
    if len(shown) != len(EXPECTED):
        sys.exit(f"debugger: gdb showed {len(shown)} of {len(EXPECTED)} values\n{run.stdout}{run.stderr}")
    return {name: re.sub(r"0x[0-9a-f]+", "0x@", text) for name, text in shown.items()}


def natvis_faults():
    """Members that a view names and no public header declares."""
    views = xml.etree.ElementTree.parse(ROOT / "debug" / "XelbrinCore.natvis")
    headers = "\n".join(path.read_text(encoding="utf-8") for path in (ROOT / "include").rglob("*.h"))
    types = views.getroot().findall("{*}Type")
    faults = [] if types else ["XelbrinCore.natvis: no views"]
    for view in types:
        name = view.get("Name").split("<")[0]
        if not re.search(rf"\b(?:class|struct) (?:XC_API )?{name}\b", headers):
            faults.append(f"XelbrinCore.natvis: no class {name}")
        used = " ".join([text for text in view.itertext()] + [part.get("Condition", "") for part in view.iter()])
        for member in set(re.findall(r"\bm_\w+|(?<=->)\w+", used)):
            if not re.search(rf"\b{member}(?:\{{\}})?(?: =|;)", headers):
                faults.append(f"XelbrinCore.natvis: {name} has no member {member}")
    return faults


def main():
    faults = natvis_faults()
    shown = printed(sys.argv[1])
    faults += [f"{name}: expected {text}\n{' ' * len(name)}  but saw {shown[name]}"
               for name, text in EXPECTED.items() if shown[name] != text]
    print("\n".join(faults), file=sys.stderr) if faults else print(f"debugger views: {len(EXPECTED)} values right")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
