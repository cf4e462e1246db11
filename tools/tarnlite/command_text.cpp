#include "command_text.h"

#include "scanner.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <initializer_list>

namespace tarnlite {

namespace {

using Kind = CommandText::Kind;

bool next_words_are(Scanner& scanner, std::initializer_list<std::string_view> words) {
    Token token;
    for (const std::string_view word : words) {
        if (!scanner.next(token) || token.word != word) return false;
    }
    return true;
}

bool next_name(Scanner& scanner, std::string& name) {
    Token token;
    if (!scanner.next(token) || !token.is_word()) return false;
    name = token.word;
    return true;
}

bool next_number(Scanner& scanner, std::uint64_t& number) {
    Token token;
    if (!scanner.next(token)) return false;
    const char* const end = token.word.data() + token.word.size();
    const auto [stopped, failure] = std::from_chars(token.word.data(), end, number);
    return failure == std::errc() && stopped == end;
}

bool ends(Scanner& scanner) {
    Token token;
    while (scanner.next(token)) {
        if (token.word != ";") return false;
    }
    return true;
}

bool read_prepare(Scanner& scanner, CommandText& command) {
    if (!next_name(scanner, command.name) || !next_words_are(scanner, {"AS"})) return false;
    command.sql = scanner.rest();
    return true;
}

// A query is never a single word.
bool read_declare(Scanner& scanner, CommandText& command) {
    if (!next_name(scanner, command.name) || !next_words_are(scanner, {"CURSOR", "FOR"})) return false;
    command.sql = scanner.rest();
    if (!next_name(scanner, command.prepared) || !ends(scanner)) command.prepared.clear();
    return true;
}

bool read_fetch(Scanner& scanner, CommandText& command) {
    return next_number(scanner, command.limit) && next_words_are(scanner, {"FROM"}) &&
           next_name(scanner, command.name) && ends(scanner);
}

// The arguments up to and including the closing parenthesis; commas in nested parentheses belong to their
// argument.
bool read_arguments(Scanner& scanner, std::string_view text, CommandText& command) {
    Token token;
    std::size_t start = 0; // of the first token of an argument; 0 before it
    for (int depth = 0; scanner.next(token);) {
        const bool last = token.word == ")" && depth == 0;
        if (last || (token.word == "," && depth == 0)) {
            if (start == 0) return last && command.arguments.empty();
            command.arguments.push_back(text.substr(start, token.start - start));
            start = 0;
            if (last) return true;
            continue;
        }
        if (token.word == "(") ++depth;
        if (token.word == ")") --depth;
        if (start == 0) start = token.start;
    }
    return false;
}

bool read_call(Scanner& scanner, std::string_view text, CommandText& command) {
    if (!next_name(scanner, command.name)) return false;
    Scanner ahead = scanner;
    Token token;
    if (!ahead.next(token) || token.word == ";") return ends(scanner);
    scanner = ahead;
    return token.word == "(" && read_arguments(scanner, text, command) && ends(scanner);
}

bool read_get_lob(Scanner& scanner, std::string_view text, CommandText& command) {
    Token name;
    if (!next_words_are(scanner, {"LOB"}) || !scanner.next(name) || name.word != "'" || name.length < 2) {
        return false;
    }
    command.name = text.substr(name.start + 1, name.length - 2);
    return next_words_are(scanner, {"OFFSET"}) && next_number(scanner, command.offset) &&
           next_words_are(scanner, {"LIMIT"}) && next_number(scanner, command.limit) && ends(scanner);
}

struct ControlText {
    std::string_view opening;
    Kind kind;
};

constexpr std::array control_texts{
    ControlText{"SHOW", Kind::show_version}, ControlText{"PREPARE", Kind::prepare},
    ControlText{"?", Kind::execute},         ControlText{"DEALLOCATE", Kind::deallocate},
    ControlText{"DECLARE", Kind::declare},   ControlText{"OPEN", Kind::open},
    ControlText{"FETCH", Kind::fetch},       ControlText{"CLOSE", Kind::close},
    ControlText{"EXEC", Kind::call},         ControlText{"EXECUTE", Kind::call},
    ControlText{"GET", Kind::get_lob},
};

bool read_control_text(std::string_view text, CommandText& command) {
    Scanner scanner(text);
    Token opening;
    scanner.next(opening);
    const auto found = std::ranges::find(control_texts, opening.word, &ControlText::opening);
    if (found == control_texts.end()) return false;
    command.kind = found->kind;
    switch (command.kind) {
    case Kind::sql: return false;
    case Kind::show_version: return next_words_are(scanner, {"VERSION"}) && ends(scanner);
    case Kind::prepare: return read_prepare(scanner, command);
    case Kind::declare: return read_declare(scanner, command);
    case Kind::fetch: return read_fetch(scanner, command);
    case Kind::call: return read_call(scanner, text, command);
    case Kind::get_lob: return read_get_lob(scanner, text, command);
    case Kind::execute:
    case Kind::deallocate:
    case Kind::open:
    case Kind::close: break;
    }
    return next_name(scanner, command.name) && ends(scanner);
}

} // namespace

CommandText read_command_text(std::string_view text) {
    CommandText command;
    if (read_control_text(text, command)) return command;
    command = CommandText{};
    command.sql = text;
    return command;
}

} // namespace tarnlite
