#!/usr/bin/env python3
"""terminal_picture.py PICTURE COMMAND: draws what standard input holds as a terminal in which COMMAND printed it (SVG).

The folder of this checkout is written as "Z:\\...": the picture is the same wherever it was made. `make picture` draws
what `make run` prints.
"""
import html
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
WIDTH, LINE, LEFT, TOP, UNIT = 100, 17, 16, 46, 7.83
COLOURS = ((r">>>>.*|RUN>.*|Retrieving.*|Exiting.*", "quiet"), (r"ERR>.*", "bad"), (r"[A-Z].*\bremoved", "title"))


def line_class(line):
    return next((name for pattern, name in COLOURS if re.fullmatch(pattern, line)), "plain")


def spans(line):
    """The line with its bars apart, which have a colour of their own."""
    return "".join(f'<tspan class="bar">{html.escape(part)}</tspan>' if re.fullmatch("#+", part) else html.escape(part)
                   for part in re.split("(#{2,})", line))


def draw(command, lines):
    height = TOP + LINE * (len(lines) + 1) + 14
    out = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH * UNIT + 2 * LEFT:.0f}" height="{height}" '
           f'role="img" aria-label="A terminal: {html.escape(command)} and what it prints">',
           "<style>text{font:13px 'DejaVu Sans Mono',Consolas,Menlo,monospace;white-space:pre;fill:#d8dee9}.quiet{fill:#8a93a5}"
           ".title{fill:#fff;font-weight:bold}.bar{fill:#7fb069}.bad{fill:#e06c75}.prompt{fill:#7fb069}</style>",
           '<rect width="100%" height="100%" rx="8" fill="#1f2430"/>',
           *(f'<circle cx="{20 + 18 * i}" cy="18" r="5" fill="{colour}"/>'
             for i, colour in enumerate(("#e06c75", "#e5c07b", "#7fb069"))),
           f'<text x="{LEFT}" y="{TOP}" xml:space="preserve"><tspan class="prompt">$ </tspan>{html.escape(command)}</text>']
    for number, line in enumerate(lines, 1):
        if line:
            out.append(f'<text x="{LEFT}" y="{TOP + LINE * number}" class="{line_class(line)}" xml:space="preserve">'
                       f"{spans(line)}</text>")
    return "\n".join([*out, "</svg>", ""])


def main():
    picture, command = sys.argv[1:]
    here = "Z:" + str(ROOT).replace("/", "\\")
    said = sys.stdin.read().replace(here, "Z:\\...").rstrip("\n").split("\n")
    if len(said) < 2:
        sys.exit("terminal_picture: nothing was printed")
    pathlib.Path(picture).write_text(draw(command, [line[:WIDTH] for line in said]), encoding="utf-8")


if __name__ == "__main__":
    main()
