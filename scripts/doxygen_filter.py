#!/usr/bin/env python3
"""doxygen_filter.py HEADER: prints the header as the reference shows it, with the same line numbers.

- Defaulted and deleted members are left out: the compiler writes them or forbids them, nobody describes them.
- Members that mean the same in every class get the same words: copies, comparisons, steps, the ends of a range loop.
- Overloads that follow each other share the comment of the first one, as they do for a reader of the header.
- What only calls another operation says which one it is.
"""
import pathlib
import re
import sys

COMMENT = re.compile(r"\s*///(?!<)")
NAME = re.compile(r"\b(operator\s*(?:\(\)|[^\s(]+)|~?\w+)\s*\(|\b(?:using \w*iterator\w* |kIUID )(=)")
DECLARATION = re.compile(r"(?!(?:#|//|/\*|template|requires|friend class|class|struct|[{}:]))\S.*[;({,)]")
CLASS = re.compile(r"(?:class|struct) (?:XC_API )?(\w+)[^;]*\{?$")
CONCEPTS = re.compile(r"requires (?:[\w:]+<[\w:, ]+>(?: (?:\|\||&&))? )+(?=\S.*\()")
CLOSED = re.compile(r"[;}]\s*(//.*)?$")
DROPPED = re.compile(r"\) *(const)? *(noexcept)? *= *(default|delete);")

CONVENTIONAL = [(re.compile(pattern), text) for pattern, text in (
    (r"^(explicit )?(constexpr )?(\w+)\((constexpr )?\3 const& ?\w*\)", "A copy."),
    (r"^(constexpr )?(\w+)\(\2&& ?\w*\)", "Takes over what the other holds."),
    (r"^(constexpr )?(\w+)& operator=\(\2 const& ?\w*\)", "Becomes a copy of the other."),
    (r"^(constexpr )?(\w+)& operator=\(\2&& ?\w*\)", "Takes over what the other holds."),
    (r"^(virtual )?~\w+\(", "Releases what the object holds."),
    (r"\boperator(==|!=|<|<=|>|>=|<=>)\(.*,", "Compares the values."),
    (r"\boperator(\+\+|--)\(\)", "One step; gives the new value."),
    (r"\boperator(\+\+|--)\(int\)", "One step; gives the value before it."),
    (r"\b(begin|Get\w*Begin)\(\)", "The first element; with the end, for range loops and algorithms."),
    (r"\b(end|Get\w*End)\(\)", "Behind the last element."),
    (r"^using \w*iterator\w* =", "Walks over the elements in their order."),
    (r"\bkIUID = ", "The number that GetIUID returns and IsKindOf knows."),
)]
SECOND_NAME = re.compile(r"\b(\w+)\([^{]*\)[^{]*\{ (?:return )?(\w+)\([\w, ]*\); \}$")


def conventional(line):
    code = line.strip().removeprefix("[[nodiscard]] ").removeprefix("friend ")
    again = SECOND_NAME.search(code)
    if again and again.group(1) != again.group(2):
        return f"See {again.group(2)}."
    return next((text for pattern, text in CONVENTIONAL if pattern.search(code)), None)


def without_parameters(comment):
    """What an overload with other parameters shares of a comment."""
    return re.sub(r"@param \w+ .*?(?=@(?!p )|$)", "", " ".join(text.removeprefix("///").strip() for text in comment))


def filtered(lines):
    comment, of, fresh, at_start, body, classes = [], None, False, True, None, set()
    for line in lines:
        text, indent = CONCEPTS.sub("", line.strip()), len(line) - len(line.lstrip())
        if body is not None or text == "{":  # a function's body; those of classes begin on the line of the name
            body = indent if body is None else None if text.startswith("}") and indent == body else body
            fresh, at_start = False, True
            yield line
            continue
        if COMMENT.match(line):
            comment = comment + [text] if fresh else [text]
            of, fresh = None, True
            yield line
            continue
        if CLASS.match(text):
            classes.add(CLASS.match(text).group(1))
        name = NAME.search(re.sub(r"operator[-+*/]=", "operator+=", text))
        declares = at_start and name and DECLARATION.match(text) and "///<" not in text
        if declares and DROPPED.search(text):
            line = ""
        elif declares and fresh:
            of = name.group(1)
        elif declares and " override" not in text:  # an override is told of in its base
            shared = without_parameters(comment) if name.group(1) == of and of not in classes else None
            words = conventional(line) or shared
            line = f"/** {words} */ {line}" if words else line
        fresh = fresh and text.startswith("template")
        at_start = not text or bool(CLOSED.search(text)) or text.startswith(("template", "//", "#")) \
            or text.endswith(("{", "public:", "protected:", "private:"))
        yield line


if __name__ == "__main__":
    text = pathlib.Path(sys.argv[1]).read_text(encoding="utf-8")
    print("\n".join(filtered(text.splitlines())))
