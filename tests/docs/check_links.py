#!/usr/bin/env python3
"""Whether every link of the Markdown pages below directories leads somewhere: a file, and a heading of it where one is named.

    check_links.py DIRECTORY...
"""
import pathlib
import re
import subprocess
import sys

LINK = re.compile(r"\[[^]]+\]\(([^()\s]+)\)")
FENCE = re.compile(r"^```.*?^```$", re.M | re.S)


def text_of(page):
    return FENCE.sub("", page.read_text("utf-8"))


def anchors(page):
    headings = re.findall(r"^#+ (.*)$", text_of(page), re.M)
    return {re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-") for heading in headings}


def pages_below(directory):
    """Those that git knows, in a working tree; else all."""
    tracked = subprocess.run(["git", "-C", directory, "ls-files", "*.md"], capture_output=True, text=True)
    if tracked.returncode == 0 and tracked.stdout:
        return [directory / name for name in tracked.stdout.splitlines() if (directory / name).exists()]
    return sorted(directory.rglob("*.md"))


def dead_links(page):
    for link in LINK.findall(text_of(page)):
        if "://" in link or link.startswith("mailto:"):
            continue
        target, _, anchor = link.partition("#")
        aim = page.parent / target if target else page
        if not aim.exists() or (anchor and aim.suffix == ".md" and anchor not in anchors(aim)):
            yield link


if __name__ == "__main__":
    pages = [page for directory in sys.argv[1:] for page in pages_below(pathlib.Path(directory))]
    dead = [f"{page}: {link}" for page in pages for link in dead_links(page)]
    if not pages:
        sys.exit("no pages")
    print(*dead, f"{len(pages)} pages, {len(dead)} dead links", sep="\n")
    sys.exit(bool(dead))
