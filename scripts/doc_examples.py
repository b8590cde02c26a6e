#!/usr/bin/env python3
"""Turns the C++ blocks of the pages into tests, so that what readers copy compiles and does what the page says.

doc_examples.py OUTPUT PAGE...: each ```cpp block becomes one test. A block that begins at file level is marked
"```cpp top"; the blocks after it in the same page see it. A ```text block directly behind a ```cpp block is what
std::wcout must receive; without one the block is compiled but not run. "```cpp member" is a part of a plug-in's class.
Blocks that quote a whole file are left to check_docs.py.
"""
import re
import sys

BLOCK = re.compile(r"(?<!-->\n)^```cpp( top| member)?\n(.*?)^```\n(?:\n?```text\n(.*?)^```\n)?", re.MULTILINE | re.DOTALL)


def tests_of(page: str) -> str:
    with open(page, encoding="utf-8") as file:
        text = file.read()
    name = re.sub(r"\W", "_", re.sub(r".*/", "", page))
    parts = [f"namespace {name} {{\n"]
    for match in BLOCK.finditer(text):
        kind, code, expected = match.groups()
        line = text.count("\n", 0, match.start()) + 2
        place = f'#line {line} "{page}"\n'
        if kind == " top":
            parts.append(place + code)
        elif kind == " member":
            parts.append(f"struct Line{line} : xc_test::PlugInOfAPage\n{{\n{place}{code}}};\n")
        elif expected is None:
            parts.append(f"[[maybe_unused]] void Line{line}()\n{{\n{place}{code}}}\n")
        else:
            parts.append(f"TEST({name}, Line{line})\n{{\nxc_test::Console console;\n{place}{code}"
                         f'EXPECT_EQ(console.Text(), std::string(R"~({expected})~"));\n}}\n')
    parts.append("}\n")
    return "".join(parts)


def main() -> None:
    output, pages = sys.argv[1], sys.argv[2:]
    with open(output, "w", encoding="utf-8") as file:
        file.write('#include "docs/page_tests.h"\n')
        for page in pages:
            file.write(tests_of(page))


main()
