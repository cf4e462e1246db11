#include "command_text.h"

#include "scanner.h"

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
    if (!scanner.next(token)) return false;
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

bool read_get_lob(Scanner& scanner, std::string_view text, CommandText& command) {
    Token name;
    if (!next_words_are(scanner, {"LOB"}) || !scanner.next(name) || name.word != "'" || name.length < 2) {
        return false;
    }
    command.name = text.substr(name.start + 1, name.length - 2);
    return next_words_are(scanner, {"OFFSET"}) && next_number(scanner, command.offset) &&
           next_words_are(scanner, {"LIMIT"}) && next_number(scanner, command.limit) && ends(scanner);
}

bool read_control_text(std::string_view text, CommandText& command) {
    Scanner scanner(text);
    Token opening;
    if (!scanner.next(opening)) return false;
    if (opening.word == "SHOW") {
        command.kind = Kind::show_version;
        return next_words_are(scanner, {"VERSION"}) && ends(scanner);
    }
    if (opening.word == "PREPARE") {
        command.kind = Kind::prepare;
        if (!next_name(scanner, command.name) || !next_words_are(scanner, {"AS"})) return false;
        command.sql = scanner.rest();
        return true;
    }
    if (opening.word == "?" || opening.word == "DEALLOCATE") {
        command.kind = opening.word == "?" ? Kind::execute : Kind::deallocate;
        return next_name(scanner, command.name) && ends(scanner);
    }
    command.kind = Kind::get_lob;
    return opening.word == "GET" && read_get_lob(scanner, text, command);
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
