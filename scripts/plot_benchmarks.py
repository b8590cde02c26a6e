#!/usr/bin/env python3
"""plot_benchmarks.py [RESULTS...]: writes docs/benchmarks.md and docs/benchmarks/ratios.svg from benchmark results.

RESULTS are the JSON files of a run, that of the target first and that of the native suite after it; what the page needs
of them is kept in docs/benchmarks/results.json. Without them page and plot are made anew from there, always the same
from the same results.
"""
import collections
import html
import json
import math
import pathlib
import re
import statistics
import sys
import textwrap

ROOT = pathlib.Path(__file__).resolve().parent.parent
PAGE = ROOT / "docs" / "benchmarks.md"
FOLDER = ROOT / "docs" / "benchmarks"

# family, our rows, the peer's row of the same run, the peer's name
PEERS = [(family, re.compile(ours), theirs, peer) for family, ours, theirs, peer in (
    ("Text", r"(Copy|AppendUnit|AppendSixteen|FindUnitAbsent|FindAnyOfAbsent|EqualUnits)<XCString>(.*)",
     r"\1<std::wstring>\2", "std::wstring"),
    ("Text", r"FindText_XCString(.*)", r"FindText_wstring\1", "std::wstring"),
    ("Text", r"EqualUnits<XCString>(.*)", r"EqualUnits_wmemcmp\1", "wmemcmp"),
    ("Text", r"Hash(/.*)", r"Hash_std\1", "std::hash"),
    ("Text", r"UpperCase", r"UpperCase_towupper", "towupper"),
    ("Text", r"ToInt", r"ToInt_wcstol", "wcstol"),
    ("Text", r"FromInt", r"FromInt_to_wstring", "std::to_wstring"),
    ("Text", r"FormatNumberAndText", r"FormatNumberAndText_swprintf", "swprintf"),
    ("Text", r"NumberToText(?:InOneStream)?", r"NumberToTextByWideStream", "std::wostringstream"),
    ("Text", r"CategoryOfAUnit", r"CategoryOfAUnitBySystem", "GetStringTypeW"),
    ("Text", r"CategoryOfAUnit", r"CategoryOfAUnitByIswalpha", "iswalpha"),
    ("Binary data", r"(Write|Read)Record512_XCBinary\w+/.*", r"\1Record512_memcpy", "memcpy"),
    ("Patterns", r"Match(/.*)", r"Match_stdwregex\1", "std::wregex"),
    ("Patterns", r"Match(/.*)", r"Match_boost\1", "Boost.Regex"),
    ("Patterns, natively", r"NativeMatch_XCRegEx(/.*)", r"NativeMatch_pcre2\1", "PCRE2 with JIT"),
    ("Patterns, natively", r"NativeMatch_XCRegEx(/.*)", r"NativeMatch_re2\1", "RE2"),
    ("Patterns, natively", r"NativeMatch_XCRegEx(/.*)", r"NativeMatch_hyperscan\1", "Hyperscan"),
    ("Construction of patterns, natively", r"NativeConstruct_XCRegEx(/.*)", r"NativeConstruct_pcre2\1", "PCRE2 with JIT"),
    ("Construction of patterns, natively", r"NativeConstruct_XCRegEx(/.*)", r"NativeConstruct_re2\1", "RE2"),
    ("Construction of patterns, natively", r"NativeConstruct_XCRegEx(/.*)", r"NativeConstruct_hyperscan\1", "Hyperscan"),
    ("Patterns built and matched once, natively", r"NativeOnce_XCRegEx(/.*)", r"NativeOnce_pcre2\1", "PCRE2 with JIT"),
    ("Patterns built and matched once, natively", r"NativeOnce_XCRegEx(/.*)", r"NativeOnce_re2\1", "RE2"),
    ("Patterns built and matched once, natively", r"NativeOnce_XCRegEx(/.*)", r"NativeOnce_hyperscan\1", "Hyperscan"),
    ("Text, natively", r"NativeText_(.*)_XCString(.*)", r"NativeText_\1_icu\2", "ICU"),
    ("Text, natively", r"NativeText_(.*)_XCString(.*)", r"NativeText_\1_std\2", "the standard library"),
    ("Text, natively", r"NativeText_(.*)_XC(?:String|ToText|Printf)", r"NativeText_\1_fmt", "fmt"),
    ("Text, natively", r"NativeText_ToInt_XCString", r"NativeText_ToInt_from_chars", "std::from_chars"),
    ("Text, natively", r"NativeText_Equal1024_XCString", r"NativeText_Equal1024_memcmp", "memcmp"),
    ("Conditions", r"ThousandRules_XCConditionSet", r"ThousandRules_OneAfterTheOther", "one after the other"),
    ("Conditions", r"ConditionMillion_Bound", r"ConditionMillion_CompiledByHand", "compiled by hand"),
    ("Dates", r"FormatUtc_XCDateTimeEx", r"FormatUtc_wcsftime", "wcsftime"),
    ("Dates", r"FormatUtc_XCDateTimeEx", r"FormatUtc_strftime", "strftime"),
    ("Dates", r"ParseUtc_XCDateTimeEx", r"ParseUtc_swscanf", "swscanf"),
    ("Dates", r"NativeDate_WeekDay_XCDateTimeEx", r"NativeDate_WeekDay_chrono", "std::chrono"),
    ("Configuration", r"NativeConfig_LookUp1000_XCConfigFile", r"NativeConfig_LookUp1000_unordered_map",
     "std::unordered_map"),
    ("Configuration", r"ConfigLookup_SectionOf/1000", r"ConfigLookup_unordered_map", "std::unordered_map"),
    ("Log", r"Unwanted_(?:Write|Record|LogStream)", r"Unwanted_wostream", "std::wostream"),
    ("Log", r"ToFile_Async(/.*)", r"ToFile_fwprintf/0\1", "fwprintf"),
    ("Log", r"NativeLog_(.*)_XCLogChannel(.*)", r"NativeLog_\1_spdlog\2", "spdlog"),
    ("Log", r"(ToFile|Block16)_(?:Channel|LogFile|LogArgs|Stream)((?:/.*)?)", r"\1_fwprintf\2", "fwprintf"),
    ("Threads", r"LockUnlock_XC\w+", r"LockUnlock_rawSection", "CRITICAL_SECTION"),
    ("Threads", r"LockUnlock_XC\w+", r"LockUnlock_recursive_mutex", "std::recursive_mutex"),
    ("Threads", r"UpDown_XCSafeCounter", r"UpDown_atomic", "std::atomic"),
    ("Threads", r"RoundTrip_XCMutex", r"RoundTrip_rawMutex", "system mutex"),
    ("Threads", r"StartJoin_XCThread(.*)", r"StartJoin_std_thread\1", "std::thread"),
    ("Threads", r"StartJoin_XCThread(.*)", r"StartJoin_rawThread\1", "_beginthreadex"),
    ("Tasks and timers", r"TasksPerSecond_XCThreadPool(.*)", r"TasksPerSecond_systemPool\1", "the system's pool"),
    ("Tasks and timers", r"TasksPerSecond_XCThreadPool/(.*)", r"TasksPerSecond_asio/iterations:1/\1", "Asio"),
    ("Tasks and timers", r"TasksPerSecond_XCThreadPool(.*)", r"TasksPerSecond_libuv\1", "libuv"),
    ("Tasks and timers", r"SubmitToDone_XCThreadPool(.*)", r"SubmitToDone_systemPool\1", "the system's pool"),
    ("Tasks and timers", r"SubmitToDone_XCThreadPool(.*)", r"SubmitToDone_async\1", "std::async"),
    ("Tasks and timers", r"StartCancelPending_XCTimer(.*)", r"StartCancelPending_multimap\1", "std::multimap"),
    ("Tasks and timers", r"StartCancelPending_XCTimer(.*)", r"StartCancelPending_libuv\1", "libuv"),
    ("Networking", r"EchoRoundTrips_XCSocketServer(.*)", r"EchoRoundTrips_libuv\1", "libuv"),
    ("Networking", r"EchoRoundTrips_XCSocketServer(.*)", r"EchoRoundTrips_bare\1", "the bare calls"),
    ("Networking", r"EchoRoundTrips_XCSocketServer(.*)", r"EchoRoundTrips_asio\1", "Asio"),
    ("Hosts and modules", r"ProgramStart/XelbrinCore(.*)", r"ProgramStart/plain\1", "a program without the library"),
    ("Files", r"Walk_20000Files_XCDirectoryWalker/(.*)", r"Walk_20000Files_std/\1", "std::filesystem"),
    ("Files", r"(Read|Write)64K_XCFile", r"\g<1>64K_\1File", "the raw call"),
    ("Files", r"ReadLines20000_XCFileStream", r"ReadLines20000_wifstream", "std::wifstream"),
    ("Files", r"WriteLines20000_XCFileStream", r"WriteLines20000_wofstream", "std::wofstream"),
    ("Files", r"Normalise_XCPath", r"Normalise_filesystem", "std::filesystem"),
    ("Message libraries", r"OpenMessageFile", r"ReadMessageFileByStream", "std::ifstream and std::map"),
    ("Collation", r"CompareOtherCaseByTable", r"CompareOtherCaseByWcsicmp", "_wcsicmp"),
    ("Collation", r"SortMillionByKeysOf(Table|Levels)", r"SortMillionByComparing\1", "by comparing"),
    ("Collation", r"CompareOtherCaseBy(?:Table|Levels)", r"CompareOtherCaseBySystem", "CompareStringW"),
)]
# The subject of a row without a peer, by the source that holds it.
SUBJECTS = {"string": "Text", "text": "Text", "match": "Patterns", "condition": "Conditions", "date": "Dates",
            "config": "Configuration", "log": "Log", "sync": "Threads", "work": "Tasks and timers", "data": "Binary data",
            "error": "Errors", "host": "Hosts and modules", "commandline": "Command line", "net": "Networking",
            "file": "Files", "files": "Files", "message": "Message libraries", "collation": "Collation"}
UNITS = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}
Pair = collections.namedtuple("Pair", "family row other peer ours theirs")


def ratio_of(pair):
    return pair.ours / pair.theirs


def kept(raw):
    """Of a run: the machine without its name and paths, and each row once: the median of its measurements, and all of
    them in their order of size when it was measured more than once."""
    context = raw["context"]
    rows, measured = {}, collections.defaultdict(list)
    # A row of one thread that computes should not take longer than its processor time, but for the coarse steps of it.
    own = [row for row in raw["benchmarks"] if row.get("run_type") == "iteration" and row.get("threads", 1) == 1
           and "real_time" not in row["name"] and row["cpu_time"] * row["iterations"] * UNITS[row["time_unit"]] > 2e7]
    waited = sum(row["real_time"] > 1.5 * row["cpu_time"] for row in own) / max(len(own), 1)
    for row in raw["benchmarks"]:
        if row.get("error_occurred") or row.get("run_type") == "aggregate":
            continue
        name = row["run_name"] if "run_name" in row else row["name"]
        # By the clock: the system counts processor time in steps of ten milliseconds.
        measured[name].append(float(f"{row['real_time'] * UNITS[row['time_unit']]:.4g}"))
    for name, times in measured.items():
        rows[name] = {"name": name, "ns": float(f"{statistics.median(times):.4g}")}
        if len(times) > 1:
            rows[name]["all"] = sorted(times)
    return {"date": context["date"][:10], "processors": context["num_cpus"], "mhz": context["mhz_per_cpu"],
            "repetitions": max((row.get("repetitions", 1) for row in raw["benchmarks"]), default=1),
            "waited": round(waited, 2), "rows": list(rows.values())}


def pairs_of(times):
    found = []
    for family, ours, theirs, peer in PEERS:
        for name in times:
            match = ours.fullmatch(name)
            other = match and match.expand(theirs)
            if other and times.get(other, 0) > 0 and times[name] > 0:
                found.append(Pair(family, name, other, peer, times[name], times[other]))
    order = list(dict.fromkeys(family for family, _, _, _ in PEERS))
    return sorted(found, key=lambda pair: (order.index(pair.family), pair.row, pair.peer))


def shown_time(ns):
    for unit, size in (("s", 1e9), ("ms", 1e6), ("µs", 1e3)):
        if ns >= size:
            return f"{ns / size:.3g} {unit}"
    return f"{ns:.3g} ns"


def shown_row(row):
    """The time that counts and, where there are more, the shortest and the longest."""
    times = row.get("all")
    return shown_time(row["ns"]) + (f" ({shown_time(times[0])} to {shown_time(times[-1])})" if times else "")


def subject_of():
    """The subject of a row: by the name that it begins with, registered in a source of bench/."""
    found = {}
    for path in sorted((ROOT / "bench").glob("*_bench.cpp")):
        for match in re.finditer(r'\bBENCHMARK\w*\((\w+)|RegisterBenchmark\(\(?(?:std::string\()?"(\w+)',
                                 path.read_text(encoding="utf-8")):
            found[match.group(1) or match.group(2)] = SUBJECTS[path.stem.removesuffix("_bench")]
    longest = sorted(found, key=len, reverse=True)
    return lambda row: next((found[name] for name in longest if row.startswith(name)), "Others")


def verdict(pairs):
    """The comparisons of a subject in a sentence or two, those that we lose first and the worst of them first."""
    lost = sorted((pair for pair in pairs if ratio_of(pair) > 1), key=ratio_of, reverse=True)
    named = ", ".join(f"`{pair.row}` ({ratio_of(pair):.3g} times {pair.peer})" for pair in lost)
    middle = math.exp(statistics.median(math.log(ratio_of(pair)) for pair in pairs))
    return (f"**Slower than the peer:** {named}. " if lost else "Slower than no peer. ") + (
        f"Ours takes no longer in {len(pairs) - len(lost)} of {len(pairs)}; the median of the ratios is {middle:.2g}.")


def section(subject, pairs, alone, rows):
    """A subject: the verdict, then the rows with peers, then those without."""
    lines = ["", f"## {subject}", ""]
    if pairs:
        lines += [textwrap.fill(verdict(pairs), 120, break_long_words=False, break_on_hyphens=False), "",
                  "| row | ours | peer | its time | ratio |", "|---|---|---|---|---|"]
    lines += [f"| `{pair.row}` | {shown_row(rows[pair.row])} | {pair.peer} | {shown_row(rows[pair.other])} "
              f"| {ratio_of(pair):.3g} |" for pair in pairs]
    if alone:
        lines += ["", "Without a peer:", "", "| row | time |", "|---|---|"]
        lines += [f"| `{name}` | {shown_row(rows[name])} |" for name in sorted(alone)]
    return lines


def plot(pairs):
    """Bars from 1 to the ratio on a logarithmic axis: to the left ours is faster, to the right the peer."""
    left, width, line, top = 380, 420, 16, 46
    low, high = -3, 2  # powers of ten; what lies beyond ends in a point, its figure stands beside it

    def x_of(ratio):
        return left + width * (min(max(math.log10(ratio), low), high) - low) / (high - low)

    out, y, family = [], top, None
    for pair in pairs:
        if pair.family != family:
            family = pair.family
            y += line
            out.append(f'<text x="8" y="{y + 12}" class="family">{family}</text>')
            y += line + 4
        ratio = pair.ours / pair.theirs
        start, end = sorted((x_of(1), x_of(ratio)))
        label = html.escape(f"{pair.row}  :  {pair.peer}")
        out.append(f'<text x="{left - 10}" y="{y + 12}" class="row">{label}</text>')
        out.append(f'<rect x="{start:.1f}" y="{y + 3}" width="{max(end - start, 1):.1f}" height="{line - 5}" '
                   f'class="{"faster" if ratio <= 1 else "slower"}"/>')
        if not low <= math.log10(ratio) <= high:
            tip, back = (left - 5, left + 3) if ratio < 1 else (left + width + 5, left + width - 3)
            out.append(f'<path d="M{tip} {y + 8.5} L{back} {y + 1} L{back} {y + 16} Z" '
                       f'class="{"faster" if ratio <= 1 else "slower"}"/>')
        out.append(f'<text x="{left + width + 10}" y="{y + 12}">{ratio:.3g}</text>')
        y += line
    axis = []
    for power in range(low, high + 1):
        x = x_of(10.0 ** power)
        axis.append(f'<line x1="{x:.1f}" y1="{top}" x2="{x:.1f}" y2="{y}" class="{"one" if power == 0 else "grid"}"/>')
        axis.append(f'<text x="{x:.1f}" y="{top - 6}" class="tick">{10.0 ** power:g}</text>')
    return "\n".join((
        f'<svg xmlns="http://www.w3.org/2000/svg" width="{left + width + 80}" height="{y + 12}" font-family="sans-serif" '
        'font-size="11">',
        "<style>.row{text-anchor:end}.family{font-weight:bold;font-size:13px}.tick{text-anchor:middle}.grid{stroke:#ddd}"
        ".one{stroke:#444}.faster{fill:#3a7d44}.slower{fill:#c1666b}</style>",
        '<rect width="100%" height="100%" fill="#fff"/>',
        f'<text x="{left}" y="16">time of ours : time of the peer, same run; left of 1 ours is faster</text>',
        *axis, *out, "</svg>", ""))


def page(results, pairs, rows):
    paired = {pair.row for pair in pairs} | {pair.other for pair in pairs}
    often = results["repetitions"]
    measured = (f"Measured on {results['date']} under Wine (rows that begin with Native: without it) on a machine with {results['processors']} processors of "
                f"{results['mhz']} MHz; {often} measurement{'s' if often > 1 else ''} of each row"
                f"{', of which the median counts (shortest and longest in brackets)' if often > 1 else ''}. Times "
                "depend on machine and load; ratios of one run hold better. Rows of files and threads measure Wine as "
                "much as us. Real Windows has not been measured. The peers are built by the same compiler with the same "
                "options.")
    if results["waited"] > 0.05:
        measured += (f" The machine was busy: {100 * results['waited']:.0f} % of the rows waited for a processor longer "
                     "than half their time, so that single figures of this run, and single ratios, mean nothing.")
    if often < 5:
        measured += " The next run of `make bench-page` measures each row five times."
    lost = collections.Counter(pair.family for pair in pairs if ratio_of(pair) > 1)
    summary = (f"Ours takes longer than the peer in {sum(lost.values())} of {len(pairs)} comparisons "
               f"({', '.join(f'{family} {count}' for family, count in lost.items())}). Each section names them first."
               if pairs else "No row has its peer in these results.")
    lines = ["# Benchmarks", "", textwrap.fill(measured, 120), "",
             "    make bench-page    # runs the suite and writes this page, the plot and the results anew", "",
             textwrap.fill(summary, 120), "",
             "![Ratios of our times to those of the peers](benchmarks/ratios.svg)", "",
             "The raw figures are in [results.json](benchmarks/results.json), the sources in `bench/`.", ""]
    subject = subject_of()
    order = list(dict.fromkeys([family for family, _, _, _ in PEERS] + list(SUBJECTS.values()) + ["Others"]))
    for name in order:
        own = sorted((pair for pair in pairs if pair.family == name), key=lambda pair: (pair.row, pair.peer))
        alone = [row for row in rows if row not in paired and subject(row) == name]
        if own or alone:
            lines += section(name, own, alone, rows)
    return re.sub(r"\n{3,}", "\n\n", "\n".join(lines)) + "\n"


def main():
    store = FOLDER / "results.json"
    if len(sys.argv) > 1:
        FOLDER.mkdir(exist_ok=True)
        runs = [kept(json.loads(pathlib.Path(path).read_text(encoding="utf-8", errors="replace")))
                for path in sys.argv[1:]]
        for run in runs[1:]:
            runs[0]["rows"] += run["rows"]
        store.write_text(json.dumps(runs[0], indent=1) + "\n", encoding="utf-8")
    results = json.loads(store.read_text(encoding="utf-8"))
    times = {row["name"]: row["ns"] for row in results["rows"]}
    pairs = pairs_of(times)
    (FOLDER / "ratios.svg").write_text(plot(pairs), encoding="utf-8")
    PAGE.write_text(page(results, pairs, {row["name"]: row for row in results["rows"]}), encoding="utf-8")
    print(f"benchmarks: {len(times)} rows, {len(pairs)} comparisons")


if __name__ == "__main__":
    main()
