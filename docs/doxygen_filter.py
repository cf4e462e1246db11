#!/usr/bin/env python3
"""Shows the plain comments of tarnsql.h to Doxygen, which reads the header through this filter.

A comment's first sentence stays text; what follows, argument lists and tables, keeps its layout. The first comment is the
main page. A line of dashes with a title begins a group, and a comment right below describes it. A comment above several
#defines describes each that has none of its own.
"""
import re
import sys

SECTION = re.compile(r"/\* -{20,} (.+) \*/$")
DEFINE = re.compile(r"#define TRN_(?!API)")
DECLARED = re.compile(r"TRN_API .*?(\w+)\(")


def safe(text):
    """Takes their meaning from the characters that have one in Doxygen or HTML; a dash first in a line begins a list."""
    return re.sub(r"^( *)-(?= )", r"\1&ndash;", re.sub(r'([\\@#%$&<>"])', r"\\\1", text))


def comment(lines, heading=""):
    """A comment for Doxygen, from the lines of a plain one."""
    first = next((i + 1 for i, line in enumerate(lines) if not line or line.endswith((".", ":"))), len(lines))
    sentence, rest = (list(map(safe, part)) for part in (lines[:first], lines[first:]))
    if rest:  # a blank line would end it
        sentence += ["<pre>", *(line or "&nbsp;" for line in rest[not rest[0]:]), "</pre>"]
    return f"/** {heading}" + "\n".join(sentence) + " */"


def block(line, lines):
    """The text of the plain comment that begins with a line."""
    while "*/" not in line:
        line += "\n" + next(lines)
    text = re.sub(r"^/\* ?\n?|\s*\*/$", "", line)
    return [re.sub(r"^ \* ?", "", each).rstrip() for each in text.split("\n")]


def filtered(source):
    lines = iter(source.split("\n"))
    yield comment(block(next(lines), lines), "@mainpage tarnsql\n\n")
    yield "/** @file */"
    open_group = False
    for line in lines:
        if title := SECTION.match(line):
            if open_group:
                yield "/** @} */"
            open_group = True
            line = next(lines)
            about = block(line, lines) if line.startswith("/*") else [""]
            name = re.sub("[^a-z]+", "_", title[1])
            yield comment(about, f"@defgroup {name} {title[1][0].upper()}{title[1][1:]}\n\n")
            yield "/** @{ */"
        elif line.startswith("/*"):
            about = block(line, lines)
            line = next(lines)
            if DEFINE.match(line):
                while line:
                    code, _, note = line.partition("/*")
                    yield f"{code} /**< {safe(note[:-2].strip() or ' '.join(about))} */"
                    line = next(lines)
                continue
            yield comment(about)
            before = None
            while line:  # declarations that share the comment
                name = DECLARED.match(line)
                if name and before:
                    yield f"/** As {before}. */"
                before = name[1] if name else None
                yield line
                line = next(lines)
        else:
            yield line
    yield "/** @} */"


if __name__ == "__main__":
    with open(sys.argv[1], encoding="utf-8") as header:
        print("\n".join(filtered(header.read())))
