#!/usr/bin/env python3
"""Writes src/text/UnicodeTables.cpp from the Unicode tables of the Python that runs it; --check compares only, and ends
with 77 when that Python has another version of Unicode, so that nothing could be compared.

The basic plane is two-stage: blocks of 64 units that are alike are stored once. The planes above are runs of equal
records. A digit's value is no part of a record: the digits of a script stand in a row, so the record holds where its row
begins modulo 16. Every fact that this form relies on is asserted here."""
import pathlib
import sys
import textwrap
import unicodedata

TARGET = pathlib.Path(__file__).resolve().parent.parent / "src/text/UnicodeTables.cpp"
CATEGORIES = "Lu Ll Lt Lm Lo Mn Mc Me Nd Nl No Pc Pd Ps Pe Pi Pf Po Sm Sc Sk So Zs Zl Zp Cc Cf Cs Co Cn".split()
BLOCK = 64
SKIPPED = 77  # as ctest is told
CONTROL_SPACES = {9, 10, 11, 12, 13, 0x85}
MATH_DIGITS = range(0x1D7CE, 0x1D800)  # five rows of ten, which stand nowhere near a multiple of 16

HEAD = """\
// The facts of Unicode as tables. Made by scripts/make_unicode_tables.py: change that, not this.
//
// The tables are constant data: they are shared by all processes and cost a start nothing, while asking the system for
// each unit would cost a call, and give another answer on each release of it. Their form keeps what usual texts touch
// within the first cache; XCUnicode.cpp tells how they are read. Everything that the readers rely on (256 records and
// blocks at most, digits in rows, marks alone with a combining class) is asserted by the script while it writes.
"""
WHY = {
    "records": "Facts that many code points have in common; the columns are those of UnicodeRecord. There are fewer than 257, so "
    "that a byte names one in the tables below. Case is a difference and not a target: whole alphabets share one.",
    "blocks": "First stage of the basic plane: the upper ten bits of a unit choose the number of its block. Of blocks of "
    "32 units there are more than a byte can name, and blocks of 128 take more room.",
    "units": "Second stage: the records of the 64 units of each block. Blocks that are alike, as those of Han and of the "
    "areas for private use, are stored once.",
    "runs": "The planes above, as start << 8 | record. Long stretches share a record there, so that a search in sorted "
    "starts takes less room than stages do, and texts ask seldom.",
    "combining": "Start << 8 | combining class, from U+0000 on. Kept out of the records: some fifty classes would "
    "multiply them, while only marks are ever asked.",
    "decomposed": "The low 16 bits of each code point that has a decomposition, sorted within its plane. Hangul is left out: "
    "its 11,172 syllables follow from their numbers and would be five times all others.",
    "places": "For each of those code points its text, as offset << 4 | length in units: 12 bits reach all of the texts, "
    "and no text has more than 15 units.",
    "texts": "The texts, decomposed to the end and in canonical order, so that one look-up replaces a walk step by step.",
    "category blocks": "Categories alone, for the readers that programs compile into themselves: offsets of blocks and not "
    "their numbers, which saves a shift for each unit of a text.",
    "categories": "The categories of the units of each block. One byte a unit is read without a call into the library and "
    "without the record.",
}


def upper(point):
    """The one code point that the simple mapping gives: texts of several are what the full mapping adds."""
    for mapped in (chr(point).upper(), chr(point).title()):
        if len(mapped) == 1:
            return ord(mapped)
    return point


def lower(point):
    return ord(chr(point).lower()[0])  # U+0130 alone has two: a letter and a mark


def digit_row(point):
    value = unicodedata.decimal(chr(point), -1)
    if value < 0:
        return 0
    if point in MATH_DIGITS:
        assert value == (point - MATH_DIGITS.start) % 10
        return 0
    row = (point - value) & 15
    assert (point - row) & 15 == value
    return row


def record_of(point):
    name = unicodedata.category(chr(point))
    assert (name == "Nd") == (unicodedata.decimal(chr(point), -1) >= 0)
    space = name in ("Zs", "Zl", "Zp") or point in CONTROL_SPACES
    assert space == (chr(point).isspace() and not 0x1C <= point <= 0x1F)
    return (CATEGORIES.index(name), int(space), digit_row(point), upper(point) - point, lower(point) - point)


def units(text):
    data = text.encode("utf-16-le", "surrogatepass")
    return [data[i] | data[i + 1] << 8 for i in range(0, len(data), 2)]


def properties():
    """Records, first and second stage of the basic plane, runs of the planes above as start << 8 | record."""
    records, blocks, first, runs = {}, {}, [], []
    index = [records.setdefault(record_of(point), len(records)) for point in range(0x110000)]
    assert len(records) <= 256
    for start in range(0, 0x10000, BLOCK):
        first.append(blocks.setdefault(tuple(index[start:start + BLOCK]), len(blocks)))
    assert len(blocks) <= 256
    for point in range(0x10000, 0x110000):
        if point == 0x10000 or index[point] != index[point - 1]:
            runs.append(point << 8 | index[point])
    return list(records), first, [entry for block in blocks for entry in block], runs


def category_stages():
    """Where each block of units begins in the list of their categories, and that list."""
    starts, blocks = [], {}
    for start in range(0, 0x10000, BLOCK):
        block = tuple(unicodedata.category(chr(point)) for point in range(start, start + BLOCK))
        starts.append(BLOCK * blocks.setdefault(block, len(blocks)))
    return starts, [CATEGORIES.index(name) for block in blocks for name in block]


def combining_runs():
    """Where the combining class changes, as start << 8 | class."""
    classes = [unicodedata.combining(chr(point)) for point in range(0x110000)]
    assert all(not c or unicodedata.category(chr(point))[0] == "M" for point, c in enumerate(classes))
    return [point << 8 | classes[point] for point in range(0x110000) if point == 0 or classes[point] != classes[point - 1]]


def decompositions():
    """Code points with a canonical decomposition but the syllables of Hangul, which are computed: the low 16 bits, how
    many stand in the basic plane, the offset of each text (four bits more hold its length), the texts themselves."""
    points, offsets, texts = [], [], []
    for point in range(0x110000):
        text = unicodedata.normalize("NFD", chr(point)) if not 0xD800 <= point < 0xE000 else chr(point)
        if text == chr(point) or 0xAC00 <= point < 0xD7A4:
            continue
        points.append(point)
        offsets.append(len(texts) << 4 | len(units(text)))
        texts += units(text)
    basic = sum(point < 0x10000 for point in points)
    assert len(texts) < 1 << 12
    assert all(point >> 16 in (0, 1, 2) for point in points)
    return [point & 0xFFFF for point in points], basic, sum(point < 0x20000 for point in points), offsets, texts


def array(kind, name, why, values):
    """A table after the reason of its form, which is cut into lines as comments are."""
    comment = textwrap.fill(why, 120, initial_indent="// ", subsequent_indent="// ", break_on_hyphens=False)
    lines, line = [], "   "
    for value in values:
        if len(line) + len(value) + 2 > 120:
            lines.append(line)
            line = "   "
        line += f" {value},"
    return f"{comment}\n{kind} const {name}[] = {{\n" + "\n".join(lines + [line]) + "\n};\n"


def source():
    records, first, second, runs = properties()
    starts, categories = category_stages()
    points, basic, supplementary, offsets, texts = decompositions()
    number = lambda values: [str(value) for value in values]
    parts = [
        HEAD,
        "#include <XelbrinCore/XCUnicode.h>\n",
        '#include "text/UnicodeTables.h"\n',
        "// clang-format off",
        "namespace xc::text {\n",
        "// The version of the standard that all of this comes from: answers about letters differ from one to the next.",
        f'wchar_t const kUnicodeVersion[] = L"{unicodedata.unidata_version}";\n',
        array("UnicodeRecord", "kUnicodeRecords", WHY["records"], ["{%d, %d, %d, %d, %d}" % record for record in records]),
        array("std::uint8_t", "kUnicodeBlocks", WHY["blocks"], number(first)),
        array("std::uint8_t", "kUnicodeUnits", WHY["units"], number(second)),
        array("std::uint32_t", "kUnicodeRuns", WHY["runs"], number(runs)),
        f"std::size_t const kUnicodeRunCount = {len(runs)};\n",
        array("std::uint32_t", "kCombiningRuns", WHY["combining"], number(combining_runs())),
        f"std::size_t const kCombiningRunCount = {len(combining_runs())};\n",
        array("std::uint16_t", "kDecomposed", WHY["decomposed"], number(points)),
        "// Where planes 0, 1 and 2 begin in that list, and its end: the search looks at one plane alone.",
        f"std::size_t const kDecomposedPlanes[] = {{0, {basic}, {supplementary}, {len(points)}}};\n",
        array("std::uint16_t", "kDecompositionPlaces", WHY["places"], number(offsets)),
        array("wchar_t", "kDecompositionUnits", WHY["texts"], number(texts)),
        "} // namespace xc::text\n",
        array("std::uint16_t", "XCUnicode::kCategoryBlocks", WHY["category blocks"], number(starts)),
        array("std::uint8_t", "XCUnicode::kUnitCategories", WHY["categories"], number(categories)),
    ]
    sizes = {"properties": 12 * len(records) + len(first) + len(second) + 4 * len(runs) + 4 * len(combining_runs()),
             "categories of units": 2 * len(starts) + len(categories),
             "decompositions": 4 * len(points) + 2 * len(texts)}
    return "\n".join(parts), sizes


def main():
    text, sizes = source()
    if "--check" in sys.argv:
        committed = TARGET.read_text(encoding="utf-8") if TARGET.exists() else ""
        if f'L"{unicodedata.unidata_version}"' not in committed:
            print(f"Unicode {unicodedata.unidata_version} is not the version of the tables: not compared")
            return SKIPPED
        if committed != text:
            print(f"{TARGET.name} is not what {pathlib.Path(__file__).name} makes", file=sys.stderr)
        return 0 if committed == text else 1
    TARGET.write_text(text, encoding="utf-8", newline="\n")
    print(", ".join(f"{name}: {size} bytes" for name, size in sizes.items()))
    return 0


if __name__ == "__main__":
    sys.exit(main())
