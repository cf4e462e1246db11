#!/usr/bin/env python3
"""Compiles and runs the samples of the pages, and checks that no error is left out.

    check_samples.py BUILD-DIRECTORY

A fenced block is a sample: c, cpp, csharp, python or sh. A text block right behind one is what it prints. Each page has a tarnlite
of its own, whose port stands in for 5139, and its samples run there in order, in one directory. A C or C++ sample with a
main is a program and gets the connection string as its argument; one without is put into its language's frame, the program with
a line "/* the sample */" in the guide's first page, in that about C++. The python blocks of a page are one program, and so are
the csharp blocks, whose statements stand in a Main.
"""
import argparse
import importlib.util
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

SOURCE = pathlib.Path(__file__).resolve().parents[2]
PAGES = [SOURCE / "README.md", *sorted((SOURCE / "docs/guide").glob("*.md"))]
BLOCK = re.compile(r"^```(\w*)\n(.*?)^```\n(?:\n```text\n(.*?)^```\n)?", re.M | re.S)
PLACE = "/* the sample */"
WARNINGS = ["-Wall", "-Wextra", "-Wpedantic", "-Werror"]
COMPILERS = {"c": [os.environ.get("CC", "cc"), "-std=c99"], "cpp": [os.environ.get("CXX", "c++"), "-std=c++17", "-pthread"]}


def samples(page):
    """Every sample of a page: its language, its text, the line it begins on, what it should print or None."""
    text = page.read_text("utf-8")
    for block in BLOCK.finditer(text):
        line = text.count("\n", 0, block.start()) + 2
        if block[1] not in ("c", "cpp", "csharp", "python", "sh"):
            raise ValueError(f"{page}:{line}: a block of no known language: '{block[1]}'")
        yield block[1], block[2], line, block[3]


def frame(language):
    page = {"c": "README.md", "cpp": "cpp.md"}[language]
    return next(code for _, code, _, _ in samples(SOURCE / "docs/guide" / page) if PLACE in code)


def unlisted():
    """The error codes and statuses that do not have exactly one row in the tables of the page about errors."""
    page = (SOURCE / "docs/guide/errors.md").read_text("utf-8")
    listed = re.findall(r"\bEC\d+", " ".join(re.findall(r"^\| (EC[^|]*)", page, re.M)))
    listed += re.findall(r"^\|[^|]*\| `(TRN_[A-Z_]+)` \|", page, re.M)
    statuses = re.search(r"/\* Statuses\. \*/\n(.*?)\n\n", (SOURCE / "include/tarnsql.h").read_text("utf-8"), re.S)[1]
    texts = (SOURCE / "src/conn/messages.h").read_text("utf-8")
    expected = {"EC0100", *re.findall(r"\[(EC\d+)\]", texts), *re.findall(r"#define (\w+)", statuses)}
    return [name for name in sorted(expected.union(listed)) if listed.count(name) != (name in expected)]


def compiled(language, code, build):
    """The command that compiles a C or C++ sample to ./sample, after its text has been written."""
    pathlib.Path(f"sample.{language}").write_text(code, "utf-8")
    compiler = [*COMPILERS[language], *WARNINGS, f"-I{SOURCE / 'include'}"]
    headers = "".join(re.findall(r"^#include .*\n", code, re.M))
    if language == "cpp" and headers == "".join(re.findall(r"^#include .*\n", frame("cpp"), re.M)):  # most take longer than the code
        if not os.path.exists("frame.hpp"):
            pathlib.Path("frame.hpp").write_text(headers, "utf-8")
            subprocess.run([*compiler, "-x", "c++-header", "frame.hpp", "-o", "frame.hpp.gch"], check=True, timeout=60)
        compiler += ["-include", "frame.hpp"]
    return [*compiler, f"sample.{language}", "-o", "sample", f"-L{build / 'src'}", f"-Wl,-rpath,{build / 'src'}", "-ltarnsql"]


def compiled_csharp(code, build):
    """The command that compiles statements, with their using lines before them, to ./sample.exe."""
    using = "".join(re.findall(r"^using [\w.]+;\n", code, re.M))
    statements = re.sub(r"^using [\w.]+;\n", "", code, flags=re.M)
    pathlib.Path("sample.cs").write_text(f"{using}static class Sample {{ static void Main() {{\n{statements}}} }}\n", "utf-8")
    for file in ("Tarnsql.dll", "Tarnsql.dll.config"):
        shutil.copy(build / "bindings/csharp" / file, ".")
    return ["mcs", "-langversion:7", "-warnaserror", "-r:System.Data.dll", "-r:Tarnsql.dll", "-out:sample.exe", "sample.cs"]


def run(language, code, build, connection):
    """Runs a sample and gives what it printed; a failure is an exception with all that it said."""
    command = {"c": ["./sample", connection], "cpp": ["./sample", connection], "csharp": ["mono", "sample.exe"],
               "python": [sys.executable, "-c", code], "sh": ["bash", "-euo", "pipefail", "-c", code]}[language]
    if language in COMPILERS or language == "csharp":
        compile_it = compiled_csharp(code, build) if language == "csharp" else compiled(language, code, build)
        subprocess.run(compile_it, check=True, text=True, capture_output=True, timeout=60)
    return subprocess.run(command, check=True, text=True, capture_output=True, timeout=60).stdout


def missing_for(language, code, build):
    """What samples of a language need and is not here."""
    if language == "csharp":
        return "" if (build / "bindings/csharp/Tarnsql.dll").exists() else "C# provider in this build (it needs mono)"
    return "pandas" if "import pandas" in code and not importlib.util.find_spec("pandas") else ""


def run_page(page, build, connection):
    """Gives the number of samples that ran and of those that failed."""
    port = re.search(r"port=(\d+)", connection)[1]
    blocks = list(samples(page))
    for joined in ("python", "csharp"):  # one program each, behind the others
        parts = [block for block in blocks if block[0] == joined]
        blocks = [block for block in blocks if block[0] != joined]
        missing = parts and missing_for(joined, parts[0][1], build)
        if missing:
            print(f"{page.relative_to(SOURCE)}: skipped: no {missing}")
        elif parts:
            printed = "".join(block[3] or "" for block in parts)
            blocks.append((joined, "\n".join(block[1] for block in parts), parts[0][2], printed or None))
    failed = 0
    for language, code, line, expected in blocks:
        if language in COMPILERS and not re.search(r"\bmain\(", code):
            code = frame(language).replace(PLACE, code)
        code = re.sub(r"\b(port ?=? ?)5139\b", rf"\g<1>{port}", code)
        try:
            printed = run(language, code, build, connection)
        except subprocess.SubprocessError as error:
            printed = f"{error}\n{error.stdout or ''}{error.stderr or ''}"
            wrong = True
        else:
            wrong = expected is not None and printed.replace(f"port={port}", "port=5139") != expected
        if wrong:
            failed += 1
            print(f"{page.relative_to(SOURCE)}:{line}: sample failed:\n{printed}")
    return len(blocks), failed


def main():
    arguments = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    arguments.add_argument("build", type=pathlib.Path)
    arguments.add_argument("page", type=pathlib.Path, nargs="?", help=argparse.SUPPRESS)
    arguments.add_argument("connection", nargs="?", help=argparse.SUPPRESS)
    given = arguments.parse_args()
    build = given.build.resolve()

    if given.page:  # below, with a server for the page
        os.environ.update(TARNSQL_LIBRARY=str(build / "src/libtarnsql.so"), PYTHONDONTWRITEBYTECODE="1",
                          LD_LIBRARY_PATH=str(build / "src"),
                          PYTHONPATH=str(build / "bindings/python/module"),
                          PATH=f"{build}/tools/tarnlite:{build}/tools/tarnsh:{os.environ['PATH']}")
        with tempfile.TemporaryDirectory() as work:
            os.chdir(work)
            ran, failed = run_page(given.page, build, given.connection)
        print(f"{given.page.relative_to(SOURCE)}: {ran} samples ran, {failed} failed")
        return 1 if failed else 0

    wrong = [f"docs/guide/errors.md: not listed once: {name}" for name in unlisted()]
    print("\n".join(wrong), flush=True)
    pages = [page for page in PAGES if any(samples(page))]
    server = [SOURCE / "scripts/with_tarnlite.sh", build / "tools/tarnlite/tarnlite"]
    runs = [subprocess.run([*server, sys.executable, __file__, build, page, "{}"]).returncode for page in pages]
    return 1 if wrong or not pages or any(runs) else 0


if __name__ == "__main__":
    sys.exit(main())
