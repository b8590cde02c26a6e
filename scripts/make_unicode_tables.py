#!/usr/bin/env python3
"""Writes src/text/UnicodeTables.cpp from the Unicode tables of the Python that runs it; --check compares only, and ends
with 77 when that Python has another version of Unicode, so that nothing could be compared.

The basic plane is two-stage: blocks of 64 units that are alike are stored once. The planes above are runs of equal
records. A digit's value is no part of a record: the digits of a script stand in a row, so the record holds where its row
begins modulo 16. Every fact that this form relies on is asserted here."""
import pathlib
import sys
import unicodedata

TARGET = pathlib.Path(__file__).resolve().parent.parent / "src/text/UnicodeTables.cpp"
CATEGORIES = "Lu Ll Lt Lm Lo Mn Mc Me Nd Nl No Pc Pd Ps Pe Pi Pf Po Sm Sc Sk So Zs Zl Zp Cc Cf Cs Co Cn".split()
BLOCK = 64
SKIPPED = 77  # as ctest is told
CONTROL_SPACES = {9, 10, 11, 12, 13, 0x85}
MATH_DIGITS = range(0x1D7CE, 0x1D800)  # five rows of ten, which stand nowhere near a multiple of 16


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


def array(kind, name, values):
    lines, line = [], "   "
    for value in values:
        if len(line) + len(value) + 2 > 120:
            lines.append(line)
            line = "   "
        line += f" {value},"
    return f"{kind} const {name}[] = {{\n" + "\n".join(lines + [line]) + "\n};\n"


def source():
    records, first, second, runs = properties()
    starts, categories = category_stages()
    points, basic, supplementary, offsets, texts = decompositions()
    number = lambda values: [str(value) for value in values]
    parts = [
        "// The facts of Unicode as tables. Made by scripts/make_unicode_tables.py: change that, not this.\n",
        "#include <XelbrinCore/XCUnicode.h>\n",
        '#include "text/UnicodeTables.h"\n',
        "// clang-format off",
        "namespace xc::text {\n",
        f'wchar_t const kUnicodeVersion[] = L"{unicodedata.unidata_version}";\n',
        array("UnicodeRecord", "kUnicodeRecords", ["{%d, %d, %d, %d, %d}" % record for record in records]),
        array("std::uint8_t", "kUnicodeBlocks", number(first)),
        array("std::uint8_t", "kUnicodeUnits", number(second)),
        array("std::uint32_t", "kUnicodeRuns", number(runs)),
        f"std::size_t const kUnicodeRunCount = {len(runs)};\n",
        array("std::uint32_t", "kCombiningRuns", number(combining_runs())),
        f"std::size_t const kCombiningRunCount = {len(combining_runs())};\n",
        array("std::uint16_t", "kDecomposed", number(points)),
        f"std::size_t const kDecomposedPlanes[] = {{0, {basic}, {supplementary}, {len(points)}}};\n",
        array("std::uint16_t", "kDecompositionPlaces", number(offsets)),
        array("wchar_t", "kDecompositionUnits", number(texts)),
        "} // namespace xc::text\n",
        array("std::uint16_t", "XCUnicode::kCategoryBlocks", number(starts)),
        array("std::uint8_t", "XCUnicode::kUnitCategories", number(categories)),
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
