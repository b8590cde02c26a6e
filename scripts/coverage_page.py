#!/usr/bin/env python3
"""coverage_page.py JSON: writes docs/coverage.md from what gcovr has found (scripts/coverage.sh)."""
import collections
import datetime
import json
import pathlib
import sys
import textwrap

ROOT = pathlib.Path(__file__).resolve().parent.parent
SHOWN_GAPS = 30

Gap = collections.namedtuple("Gap", "size file first last")


def room_of(name):
    parts = pathlib.PurePosixPath(name).parts
    if parts[0] == "include":
        return "public headers"
    return "match/condition" if parts[1:3] == ("match", "condition") else parts[1]


def gaps_of(name, lines):
    """Runs of lines with code that no test reached, not interrupted by a line that one did."""
    gaps, run = [], []
    for line in sorted((line for line in lines if not line.get("gcovr/noncode")), key=lambda line: line["line_number"]):
        if line["count"] == 0:
            run.append(line["line_number"])
            continue
        if run:
            gaps.append(Gap(len(run), name, run[0], run[-1]))
        run = []
    return gaps + ([Gap(len(run), name, run[0], run[-1])] if run else [])


def share(part, whole):
    return f"{part} of {whole} | {100 * part / whole:.1f} %" if whole else "– | –"


def main():
    files = json.loads(pathlib.Path(sys.argv[1]).read_text(encoding="utf-8"))["files"]
    rooms = collections.defaultdict(lambda: [0, 0, 0, 0])
    gaps = []
    for entry in files:
        lines = [line for line in entry["lines"] if not line.get("gcovr/noncode")]
        branches = [branch for line in lines for branch in line["branches"]]
        found = (sum(line["count"] > 0 for line in lines), len(lines),
                 sum(branch["count"] > 0 for branch in branches), len(branches))
        for room in (room_of(entry["file"]), "all"):
            rooms[room] = [a + b for a, b in zip(rooms[room], found)]
        gaps += gaps_of(entry["file"], entry["lines"])
    if not rooms["all"][0]:
        sys.exit("coverage: nothing was reached; did the tests write their counters?")
    table = [f"| {room} | {share(*rooms[room][:2])} | {share(*rooms[room][2:])} |"
             for room in sorted(rooms, key=lambda room: (room == "all", room))]
    source = {name: (ROOT / name).read_text(encoding="utf-8").splitlines() for name in {gap.file for gap in gaps}}
    largest = sorted(gaps, key=lambda gap: (-gap.size, gap.file, gap.first))[:SHOWN_GAPS]
    listed = [f"| {gap.size} | `{gap.file}` | {gap.first}–{gap.last} | "
              f"`{source[gap.file][gap.first - 1].strip()[:80].replace('|', chr(92) + '|')}` |" for gap in largest]
    about = (f"What the tests of the Windows build reach, measured on {datetime.date.today()} by `make coverage` (some "
             "minutes). Branches that only exceptions take are not counted, and neither is what a process reaches "
             "that another one ends by force, or whose heap is held or damaged at its end.")
    page = ["# Coverage", "", textwrap.fill(about, 120), "",
            "| room | lines reached | | branches reached | |", "|---|---|---|---|---|", *table, "",
            "## The largest stretches that no test reaches", "",
            f"Together {sum(gap.size for gap in gaps)} lines in {len(gaps)} places; the {len(largest)} longest are",
            "", "| lines | file | at | begins with |", "|---|---|---|---|", *listed, ""]
    (ROOT / "docs" / "coverage.md").write_text("\n".join(page), encoding="utf-8")
    reached, whole = rooms["all"][:2]
    print(f"coverage: {100 * reached / whole:.1f} % of {whole} lines")


if __name__ == "__main__":
    main()
