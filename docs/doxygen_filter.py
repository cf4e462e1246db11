#!/usr/bin/env python3
"""Converts the plain comments of the headers and the pages of the guide for Doxygen, which reads both through this filter.

In a header a comment's first sentence stays text; what follows, argument lists and tables, keeps its layout. The first
comment is a page of its own. A line of dashes with a title begins a group, and a comment right below describes it. A comment
above several #defines describes each that has none of its own.

The headers of C++ have comments that Doxygen knows; of their first comment the description of the file is made, in tarnsql.hpp that
of the namespace.

The guide's first page is the main page, with the groups of calls behind it. Links between pages become references, links out of
them plain text, and the names of calls lead to the calls. With --layout it prints Doxygen's layout instead: a menu of the pages
that the main page links, in its order, the remaining pages and the calls.
"""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[1]
HEADERS = [ROOT / "include/tarnsql.h", ROOT / "include/tarnsql_ext.h"]
CPP_HEADER = ROOT / "include/tarnsql.hpp"
ABOUT = {"tarnsql.h": "conventions Conventions of the headers", "tarnsql_ext.h": "extension What the second header adds"}
INPUT = re.search(r"^INPUT *=((?:.*\\\n)*.*)$", (ROOT / "docs/Doxyfile").read_text("utf-8"), re.M)[1]
PAGES = [ROOT / name for name in INPUT.replace("\\", " ").split() if not name.startswith("include/")]
MAIN_PAGE = ROOT / "docs/guide/README.md"
SECTION = re.compile(r"/\* -{20,} (.+) \*/$", re.M)
LINK = re.compile(r"\[([^]]+)\]\(([^)\s]+)\)")
DEFINE = re.compile(r"#define TRNX?_(?!API)")
DECLARED = re.compile(r"TRN_API .*?(\w+)\(")
CALLS = {call for each in HEADERS for call in DECLARED.findall(each.read_text("utf-8"))}


def safe(text):
    """Escapes characters that are special in Doxygen or HTML; a dash at the start of a line would begin a list."""
    return re.sub(r"^( *)-(?= )", r"\1&ndash;", re.sub(r'([\\@#%$&<>"])', r"\\\1", text))


def linked(text):
    """The same text with references where it names calls."""
    return re.sub(r"\b[A-Z]\w+", lambda word: f'@ref {word[0]} "{word[0]}"' if word[0] in CALLS else word[0], text)


def comment(lines, heading=""):
    """A comment for Doxygen, from the lines of a plain one."""
    first = next((i + 1 for i, line in enumerate(lines) if not line or line.endswith((".", ":"))), len(lines))
    sentence, rest = (list(map(safe, part)) for part in (lines[:first], lines[first:]))
    if rest:  # a blank line would end the paragraph
        sentence += ["<pre>", *(linked(line) or "&nbsp;" for line in rest[not rest[0]:]), "</pre>"]
    return f"/** {heading}" + "\n".join(sentence) + " */"


def block(line, lines):
    """The text of the plain comment that begins with a line."""
    while "*/" not in line:
        line += "\n" + next(lines)
    text = re.sub(r"^/\* ?\n?|\s*\*/$", "", line)
    return [re.sub(r"^ \* ?", "", each).rstrip() for each in text.split("\n")]


def group(title):
    return re.sub("[^a-z]+", "_", title), title[0].upper() + title[1:]


def header(path, source):
    lines = iter(source.split("\n"))
    yield comment(block(next(lines), lines), f"@page {ABOUT[path.name]}\n\n")
    yield "/** @file */"
    open_group = False
    for line in lines:
        if title := SECTION.match(line):
            if open_group:
                yield "/** @} */"
            open_group = True
            line = next(lines)
            about = block(line, lines) if line.startswith("/*") else [""]
            name, shown = group(title[1])
            yield comment(about, f"@defgroup {name} {shown}\n\n")
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
                yield line.replace("/*", "/**<")  # fields of a record
                line = next(lines)
        else:
            yield line
    yield "/** @} */"


def cpp_header(path, source):
    """The first comment as the file's description, the rest unchanged."""
    about, _, rest = source.partition("\n#pragma once\n")
    lines = [re.sub("^// ?", "", line) for line in about.split("\n")]
    yield comment(lines, "@namespace tarnsql\n" if path == CPP_HEADER else "@file\n")
    yield rest


def page_id(path):
    return "page_" + re.sub(r"\W", "_", path.relative_to(ROOT).with_suffix("").as_posix())


def slug(heading):
    return re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-")


def is_page(path):
    """Whether a path is that of a page of the site."""
    return path.suffix == ".md" and any(path == each or each in path.parents for each in PAGES)


def link(path):
    """The replacement of a link in a page."""
    def replace(match):
        text, (target, _, heading) = match[1], match[2].partition("#")
        aim = (path.parent / target).resolve() if target else path
        if aim in HEADERS or aim == CPP_HEADER:
            return f'@ref {aim.name} "{text}"'
        if not is_page(aim):
            return match[0] if "://" in match[2] else text
        anchor = f"{page_id(aim)}_{heading}" if heading else page_id(aim)
        return f'@ref {anchor} "{text}"'
    return replace


def code_span(code):
    """Doxygen takes a backslash as it is between back quotes only, and finds calls outside of them only. A bar of a table's
    cell has a backslash before it in both."""
    parts = code[2].strip().split("\\|")
    if any("\\" in part for part in parts):
        return code[0]
    return "<code>" + "\\|".join(linked(safe(part)).replace("--", "\\--") for part in parts) + "</code>"


def page(path, source):
    """A page of the guide; fenced code is not changed."""
    parts = re.split(r"(^```.*?^```\n)", source, flags=re.M | re.S)
    for i in range(0, len(parts), 2):
        text = LINK.sub(link(path), parts[i])
        text = re.sub(r"(`+)([^`]+|.+?)\1(?!`)", code_span, text)
        text = re.sub(r"\[(EC\d+)\]", r"\\[\1\\]", text)
        text = re.sub(r"^(##+) (.*)$", lambda line: f"{line[0]} {{#{page_id(path)}_{slug(line[2])}}}", text, flags=re.M)
        parts[i] = re.sub(r"^# (.*)$", rf"# \1 {{#{page_id(path)}}}", text, count=1, flags=re.M) if i == 0 else text
    yield "".join(parts)
    if path == MAIN_PAGE:
        yield "\n## The classes of C++\n\n@ref tarnsql \"Namespace tarnsql\" has them all.\n"
        yield "\n## The calls {#calls}\n\nWhat holds for all of them: @ref conventions. @ref extension.\n"
        for title in (title for each in HEADERS for title in SECTION.findall(each.read_text("utf-8"))):
            name, shown = group(title)
            yield f'- @ref {name} "{shown}"'


def layout():
    """The menu; pages that the main page does not link have their own titles."""
    linked_pages = {(MAIN_PAGE.parent / target).resolve(): text
                    for text, target in LINK.findall(MAIN_PAGE.read_text("utf-8")) if target.endswith(".md")}
    guide = {page: text for page, text in linked_pages.items() if is_page(page)}
    more = {page: re.match("# (.*)", page.read_text("utf-8"))[1] for page in PAGES if page.is_file() and page not in guide}

    def tabs(entries):
        return "\n".join(f'<tab type="user" url="@ref {page_id(page)}" title="{title}"/>' for page, title in entries.items())
    return f"""<doxygenlayout version="1.0">
<navindex>
<tab type="mainpage" title="Start"/>
<tab type="usergroup" url="@ref index" title="Guide">
{tabs(guide)}
</tab>
<tab type="usergroup" url="@ref index" title="Tools and more">
{tabs(more)}
</tab>
<tab type="modules" title="Calls"/>
<tab type="user" url="@ref tarnsql" title="C++"/>
<tab type="globals" title="Index"/>
</navindex>
</doxygenlayout>"""


if __name__ == "__main__":
    if sys.argv[1] == "--layout":
        print(layout())
        sys.exit()
    given = pathlib.Path(sys.argv[1]).resolve()
    text = given.read_text("utf-8")
    shown = {".h": header, ".hpp": cpp_header, ".md": page}[given.suffix]
    print("\n".join(shown(given, text)))
