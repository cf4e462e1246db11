"""Rules of the sources that no compiler checks. Usage: check_sources.py SOURCE_DIRECTORY

A room includes its own headers and those of the rooms below it. Systems are known to src/platform alone. The letters of the messages
stand in wire/message_type.h alone. Prints every breach with its place; the exit status is 1 when there was one.
"""
import pathlib
import re
import sys

ROOMS = ["base", "platform", "crypto", "wire", "conn", "reply", "lob", "result", "stmt", "ext"]

STANDARD_HEADERS = set("""
algorithm array atomic bit cassert cerrno charconv climits cmath compare concepts cstdarg cstddef cstdint cstdio cstdlib cstring ctime
chrono functional initializer_list iterator limits memory mutex new numeric optional random shared_mutex span string string_view thread
tuple type_traits utility variant vector version
""".split())

SYSTEM_MACRO = re.compile(r"\b(_WIN32|_WIN64|WIN32|__MINGW\w*__|__CYGWIN__|_MSC_VER|__linux__|__linux|linux|__unix__|__unix|__APPLE__"
                          r"|__FreeBSD__|__ANDROID__|_POSIX\w*)\b")
# MinGW-w64 has two kinds of printf formats, and the warnings must know the right one.
SYSTEM_EXCEPTIONS = {("base/text.h", "__MINGW32__")}

LETTERS_HEADER = "wire/message_type.h"
# Letters of texts, which happen to be letters of messages too: the alphabet, the stored form of a boolean.
LETTER_EXCEPTIONS = {("base/text.cpp", "A"), ("result/value_text.cpp", "F")}


def without_comments(text):
    """Comments become blanks; line numbers and literals stay."""
    token = re.compile(r'"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])*\'|//[^\n]*|/\*.*?\*/', re.S)

    def blank(match):
        found = match.group()
        return re.sub(r"[^\n]", " ", found) if found[0] == "/" else found

    return token.sub(blank, text)


def message_letters(header):
    """Punctuation is left out: it stands in texts of every kind."""
    letters = set(re.findall(r"=\s*'([A-Z])'", header))
    if len(letters) < 10:
        sys.exit(f"{LETTERS_HEADER}: the letters of the messages are not where they were")
    return letters


def include_faults(room, line):
    include = re.match(r'\s*#\s*include\s*([<"])([^>"]+)[>"]', line)
    if not include:
        return
    bracket, header = include.groups()
    if bracket == "<":
        if room != "platform" and header not in STANDARD_HEADERS:
            yield f"<{header}> is no header of the standard library"
    elif "/" in header:
        other = header.split("/")[0]
        if other not in ROOMS:
            yield f'"{header}" is in no room'
        elif ROOMS.index(other) > ROOMS.index(room):
            yield f'"{header}" is above {room}'
    elif header not in ("tarnsql.h", "tarnsql_ext.h"):
        yield f'"{header}" names no room'


def system_faults(room, name, line):
    if room == "platform" or not re.match(r"\s*#\s*(if|elif|ifdef|ifndef|elifdef|elifndef)\b", line):
        return
    for macro in SYSTEM_MACRO.findall(line):
        if (name, macro) not in SYSTEM_EXCEPTIONS:
            yield f"{macro} outside src/platform"


def letter_faults(name, line, letters):
    if name == LETTERS_HEADER:
        return
    for letter in re.findall(r"'(.)'", line):
        if letter in letters and (name, letter) not in LETTER_EXCEPTIONS:
            yield f"'{letter}' outside {LETTERS_HEADER}"


def faults(source):
    letters = message_letters((source / LETTERS_HEADER).read_text())
    files = sorted(path for path in source.rglob("*") if path.suffix in (".cpp", ".h"))
    if len(files) < 50:
        sys.exit(f"{source}: only {len(files)} sources")
    for path in files:
        name = path.relative_to(source).as_posix()
        room = name.split("/")[0]
        if room not in ROOMS:
            yield name, 1, "in no room"
            continue
        for number, line in enumerate(without_comments(path.read_text()).split("\n"), 1):
            for fault in (*include_faults(room, line), *system_faults(room, name, line), *letter_faults(name, line, letters)):
                yield name, number, fault


found = [f"src/{name}:{number}: {fault}" for name, number, fault in faults(pathlib.Path(sys.argv[1]))]
print("\n".join(found))
sys.exit(bool(found))
