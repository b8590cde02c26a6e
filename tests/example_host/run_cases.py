#!/usr/bin/env python3
"""run_cases.py BIN [LAUNCHER...]: runs record_host on small inputs and compares all it says with what is expected.

The launcher starts Windows programs where the machine itself does not.

Folders are written as @bin (the programs), @here (this folder) and @work (a folder of the run).
"""
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time

HERE = pathlib.Path(__file__).resolve().parent
BIN, LAUNCHER = pathlib.Path(sys.argv[1]).resolve(), sys.argv[2:]
ON_WINDOWS = os.name == "nt"
WORK = pathlib.Path(tempfile.mkdtemp(prefix="record_host_"))
FOLDERS = {"@bin": BIN, "@here": HERE, "@work": WORK}
PATIENCE = 120  # seconds; machines may be busy

SAMPLE = "/input:@here\\sample.log"
# name, options, exit code; expected/<name>.txt holds the output to the letter
WHOLE_OUTPUT = [
    ("sample", [SAMPLE], 0),
    ("narrow", [SAMPLE, "/trace:0", "/condition:Kind = install OR Text % \".*nano.*\"", "/since:2026/03/03",
                "/width:10", "/days:1", "/kinds:1"], 0),
    ("nothing_kept", [SAMPLE, "/trace:0", "/condition:Kind = no-such-kind"], 0),
    ("help", ["/?", "/input:@work\\missing.log"], 0),
    ("missing_english", ["/input:@work\\missing.log", "/language:enu"], 2),
    ("missing_french", ["/input:@work\\missing.log", "/language:fra"], 2),
    ("broken_config", ["/config:@here\\broken.ini"], 2),
    ("help_french", ["/?", "/language:fra"], 0),
    ("sample_french", [SAMPLE, "/language:fra"], 0),
    ("log_and_trace", [SAMPLE, "/trace:0", "/config:@here\\detailed.ini", "/log:@work\\sample.txt"], 0),
]
INCOMPLETE = "Nothing is run: a module of the chain is missing."
NO_FILTER = "<Reader> depends on Filter, which is not loaded"
# options, the errors that are told, in their order, the exit code
FAULTS = [
    (["/condition:Kind == install"],
     ["<Filter>: The condition \"Kind == install\" cannot be used: Position 5: an operator was expected, not \"==\".",
      NO_FILTER, INCOMPLETE], 2),
    (["/condition:Kind % \"(install\"", "/language:fra"],
     ["<Filter>: La condition « Kind % \"(install\" » est inutilisable : Position 7 : « \"(install\" » n'est pas une "
      "expression régulière valide.", NO_FILTER, "Rien n'est exécuté : il manque un module de la chaîne."], 2),
    (["/condition:Colour = red"],
     ["<Filter>: The condition \"Colour = red\" cannot be used: The records have no field \"Colour\".",
      NO_FILTER, INCOMPLETE], 2),
    (["/since:tomorrow"],
     ["<Filter>: The setting Since is no date (year/month/day): \"tomorrow\".", NO_FILTER, INCOMPLETE], 2),
    (["/follow:soon", "/language:fra"],
     ["<Reader>: follow : « soon » n'est pas un nombre entier de 0 à 60000.",
      "Rien n'est exécuté : il manque un module de la chaîne."], 2),
    (["/osxpath:@bin\\record_host\\no_filter.lst"], [NO_FILTER, INCOMPLETE], 2),
    (["/widht:30", "other.log", "-days:3", "/config:@here\\mistyped.ini"],
     ["The option /widht is not known; /? lists the options.",
      "The argument \"other.log\" has no meaning here; /? lists the options.",
      "The configuration file sets Colour in [Report], which nobody knows.",
      "The configuration file sets Printer in [Levels], which nobody knows.",
      "The configuration file has a section [Repotr], which nobody knows."], 1),
    (["/widht:30", "/language:fra"], ["L'option /widht est inconnue ; /? donne la liste des options."], 1),
    # The report comes first: without it nothing is loaded at all.
    (["/width:9"],
     ["<Report>: width: \"9\" is not a whole number from 10 to 200.", NO_FILTER,
      "<Filter> depends on Report, which is not loaded",
      "no plug-in could be loaded from /osxpath; the current directory is searched instead"], 1),
]


def windows(path):
    return str(path) if ON_WINDOWS else "Z:" + str(path).replace("/", "\\")


def start(options, **environment):
    if not any(option.startswith("/osxpath") for option in options):
        options = ["/osxpath:@bin\\record_host"] + options
    for name, path in FOLDERS.items():
        options = [option.replace(name, windows(path)) for option in options]
    if ON_WINDOWS:  # a group of its own, so that a break reaches it alone
        how = {"creationflags": subprocess.CREATE_NEW_PROCESS_GROUP}
    else:
        how = {"preexec_fn": lambda: signal.signal(signal.SIGINT, signal.SIG_DFL)}
    return subprocess.Popen(
        [*LAUNCHER, str(BIN / "record_host.exe"), *options], cwd=WORK, env={**os.environ, **environment},
        stdin=subprocess.DEVNULL, stdout=(WORK / "said").open("wb"), **how)


def finish(process):
    process.wait(PATIENCE)
    said = (WORK / "said").read_text(encoding="utf-8")  # no pipe: a service that the program starts would keep it open
    for name, path in FOLDERS.items():
        said = said.replace(windows(path), name)
    return said.replace("\r", ""), process.returncode


def log_lines(name):
    """The lines of a log file without their times; those of one module stay in their order."""
    path = WORK / name
    lines = path.read_text(encoding="utf-8").splitlines() if path.exists() else []
    return sorted((line[len("20261121 024000> "):] for line in lines), key=lambda line: line.split(":")[0])


def trace_lines():
    """Origin, level, subject and message of each trace record."""
    return ["\t".join(line.split("\t")[2:])
            for path in sorted(WORK.glob("record_host__*.log")) for line in path.read_text(encoding="utf-8").splitlines()]


def wait_for(log, text):
    end = time.monotonic() + PATIENCE
    while text not in "\n".join(log_lines(log)):
        if time.monotonic() > end:
            raise TimeoutError(f"{text!r} never appeared in {log}")
        time.sleep(0.05)


def quit_in_the_middle():
    """A log that grows while it is followed, until Ctrl-C."""
    log = WORK / "growing.log"
    log.write_bytes((HERE / "sample.log").read_bytes())
    process = start(["/input:@work\\growing.log", "/config:@here\\detailed.ini", "/follow:20", "/log:@work\\quit.txt"])
    wait_for("quit.txt", "Report: 8 records so far")  # the last line has no end yet
    with log.open("a", newline="\n") as more:
        more.write("\n2026-03-12 08:00:00 install late:amd64 <none> 1\n")
    wait_for("quit.txt", "Report: 10 records so far")
    process.send_signal(signal.CTRL_BREAK_EVENT if ON_WINDOWS else signal.SIGINT)
    return finish(process)


def a_module_that_hangs():
    """Ctrl-C for a host with a deadline and a module that never looks at the request."""
    folder = WORK / "hang"
    shutil.copytree(BIN / "record_host", folder)
    shutil.copy(BIN / "modules" / "hostile.osx", folder / "hostile_hang_thread.osx")
    (folder / "osx.lst").write_text("reader.osx\nfilter.osx\nreport.osx\nhostile_hang_thread.osx\n")
    process = start([SAMPLE, "/osxpath:@work\\hang", "/stopDeadline:500"])
    end = time.monotonic() + PATIENCE
    while b"last record" not in (WORK / "said").read_bytes() and time.monotonic() < end:
        time.sleep(0.05)
    process.send_signal(signal.CTRL_BREAK_EVENT if ON_WINDOWS else signal.SIGINT)
    said, code = finish(process)
    named = "ERR> ***<Hostile> has not answered: in Run (@work\\hang\\hostile_hang_thread.osx), for "
    if code != 124 or named not in said or ">>>> Unloading <Reader>..." not in said:
        yield f"hang: exit code {code}, output:\n{said}"


def differences():
    def compare(name, said, code, wanted_code):
        wanted = (HERE / "expected" / f"{name}.txt").read_text(encoding="utf-8")
        if (said, code) != (wanted, wanted_code):
            yield f"{name}: exit code {code} (wanted {wanted_code}), output:\n{said}"

    for name, options, wanted_code in WHOLE_OUTPUT:
        traced = {"XC_TRACE": "USER", "XC_TRACE_LEVEL": "4", "XC_TRACE_FOLDER": windows(WORK)}
        said, code = finish(start(options, **(traced if name == "log_and_trace" else {})))
        if name == "log_and_trace":
            said += "\n".join(["--- log", *log_lines("sample.txt"), "--- trace", *trace_lines(), ""])
        yield from compare(name, said, code, wanted_code)
    yield from compare("quit", *quit_in_the_middle(), 0)
    yield from a_module_that_hangs()

    (BIN / "record_host" / "no_filter.lst").write_text("reader.osx\nreport.osx\n")
    for options, wanted, wanted_code in FAULTS:
        said, code = finish(start([SAMPLE, *options]))
        errors = [line[len("ERR> ***"):] for line in said.splitlines() if line.startswith("ERR> ***")]
        if (errors, code) != (wanted, wanted_code):
            yield f"{options}: exit code {code}, output:\n{said}"


FAILED = list(differences())
print("\n".join(FAILED))
shutil.rmtree(WORK, ignore_errors=True)
sys.exit(1 if FAILED else 0)
