#include "shell.h"

#include "copy.h"
#include "lobs.h"
#include "terminal.h"
#include "text.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <optional>

namespace tarnsh {

namespace {

using Clock = std::chrono::steady_clock;

constexpr double longest_wait = 86400;

void tell_time(const Shell& shell, Clock::time_point start) {
    if (!shell.timing) return;
    const std::chrono::duration<double, std::milli> passed = Clock::now() - start;
    say(fmt::format("time: {:.1f} ms", passed.count()));
}

void run_sql(Shell& shell, const std::string& sql) {
    const auto start = Clock::now();
    const std::unique_ptr<Printer> printer = make_printer(shell.print, shell.output);
    try {
        run_statement(shell.session, sql, *printer);
    } catch (const Failure&) {
        shell.output.flush(); // the rows before the failure
        throw;
    }
    if (printer->used()) note(shell.session, fmt::format("({})", counted(printer->rows(), "row")));
    tell_time(shell, start);
}

void run_user_sql(Shell& shell, const std::string& sql) {
    shell.last_statement = sql;
    const std::string word = first_word(sql);
    if (word == "CREATE" || word == "ALTER" || word == "DROP" || word == "ROLLBACK")
        shell.names_known = false;
    run_sql(shell, sql);
}

// Commands give false for arguments that they do not understand.
bool describe_tables(Shell& shell, std::string_view arguments) {
    const std::string table(arguments);
    const std::unique_ptr<Printer> printer = make_printer(shell.print, shell.output);
    if (!table.empty())
        describe(shell.session, "SELECT * FROM " + table); // refused when there is no such table
    run_statement(shell.session, table.empty() ? tables_query() : columns_query(table), *printer);
    return true;
}

bool set_timing(Shell& shell, std::string_view arguments) {
    if (arguments != "on" && arguments != "off" && !arguments.empty()) return false;
    shell.timing = arguments.empty() ? !shell.timing : arguments == "on";
    note(shell.session, shell.timing ? "timing is on" : "timing is off");
    return true;
}

bool set_format(Shell& shell, std::string_view arguments) {
    const std::optional<Format> format = format_of(arguments);
    shell.print.format = format.value_or(shell.print.format);
    return format.has_value();
}

// A number above 0 that is all of the text; otherwise 0.
double positive_number(const std::string& text) {
    char* end = nullptr;
    const double number = std::strtod(text.c_str(), &end);
    return *end == '\0' && number > 0 ? number : 0;
}

bool watch(Shell& shell, std::string_view arguments) {
    const double seconds = positive_number(take_word(arguments)),
                 times = positive_number(std::string(arguments));
    if (seconds == 0 || seconds > longest_wait || (times == 0 && !arguments.empty())) return false;
    if (shell.last_statement.empty()) fail(exit_shell, "there is no statement to repeat");
    for (double run = 1;; ++run) {
        run_sql(shell, shell.last_statement);
        if (times > 0 && run >= times) return true;
        wait_seconds(seconds);
        if (is_interrupted()) return true;
    }
}

struct Command {
    std::string_view name, arguments, meaning;
    bool (*run)(Shell&, std::string_view); // null in a further line about a command
    bool needs_server = false;
};

bool help(Shell&, std::string_view);

constexpr Command commands[] = {
    {"?", "", "this list", help},
    {"copy", "TABLE [(COLUMN, ...)] FROM FILE", "a CSV file into a table",
     [](Shell& shell, std::string_view text) {
         return copy(shell.session, text, shell.print, shell.output, shell.input);
     },
     true},
    {"copy", "TABLE [(COLUMN, ...)] TO FILE", "a table into a CSV file", nullptr},
    {"copy", "(QUERY) TO FILE", "rows into a CSV file", nullptr},
    {"d", "[TABLE]", "tables, or the columns of one", describe_tables, true},
    {"format", "NAME", "table, csv, json, markdown or vertical", set_format},
    {"help", "", "this list", help},
    {"lob_export", "(QUERY) FILE", "the first column of the first row into a file",
     [](Shell& shell, std::string_view text) { return export_lob(shell.session, text); }, true},
    {"lob_import", "TABLE.COLUMN FILE [WHERE ...]", "a file into the rows found, or into a new row",
     [](Shell& shell, std::string_view text) { return import_lob(shell.session, text); }, true},
    {"q", "", "leave", [](Shell& shell, std::string_view) { return shell.left = true; }},
    {"timing", "[on|off]", "tell the time of every statement", set_timing},
    {"watch", "SECONDS [TIMES]", "repeat the last statement, until Ctrl-C", watch, true},
};

// The lines about the commands of this name, or about all.
std::string lines_about(std::string_view name) {
    std::string text;
    for (const Command& command : commands)
        if (name.empty() || command.name == name)
            text += fmt::format("\n  {:<42}{}", fmt::format("\\{} {}", command.name, command.arguments),
                                command.meaning);
    return text;
}

bool help(Shell&, std::string_view) {
    say("A statement ends at \";\". Commands end with their line:" + lines_about(""));
    return true;
}

// Takes the name off the text. Null when there is no such command.
const Command* find_command(std::string_view& text, std::string& name) {
    while (text.ends_with(';')) // typed out of habit
        text = trim(text.substr(0, text.size() - 1));
    name = take_word(text);
    const auto* const found = std::ranges::find_if(
        commands, [&](const Command& command) { return command.name == name && command.run; });
    return found == std::end(commands) ? nullptr : found;
}

void run_command(Shell& shell, std::string_view text) {
    std::string name;
    const Command* const command = find_command(text, name);
    if (!command) fail(exit_shell, "there is no command \\" + name + "; \\? lists them");
    if (!command->run(shell, text)) fail(exit_shell, "usage:" + lines_about(name));
}

// The first failure ends a script.
int tell_failure(const Failure& failure, const std::string& name, std::size_t line) {
    say(name.empty() ? fmt::format("tarnsh: {}", failure.text)
                     : fmt::format("tarnsh: {}:{}: {}", name, line, failure.text));
    return failure.code;
}

// Runs the pieces that are complete.
int run_complete(Shell& shell, Splitter& splitter, const std::string& name) {
    for (Piece piece; !shell.left && splitter.next(piece);) {
        try {
            run_piece(shell, piece);
        } catch (const Failure& failure) {
            return tell_failure(failure, name, piece.line);
        }
    }
    return exit_done;
}

// Up to the end of a line, so that what a pipe delivers runs as it comes.
bool read_some(std::FILE* file, std::string& text) {
    constexpr std::size_t enough = 1 << 16;
    text.clear();
    for (int c; text.size() < enough && (c = std::getc(file)) != EOF;) {
        text += static_cast<char>(c);
        if (c == '\n') break;
    }
    return !text.empty();
}

} // namespace

bool needs_server(const Piece& piece) {
    if (!piece.is_command) return true;
    std::string_view text = piece.text;
    std::string name;
    const Command* const command = find_command(text, name);
    return command && command->needs_server;
}

void run_piece(Shell& shell, const Piece& piece) {
    if (piece.is_command)
        run_command(shell, piece.text);
    else
        run_user_sql(shell, piece.text);
}

int run_text(Shell& shell, std::string_view text) {
    Splitter splitter;
    splitter.add(text);
    splitter.end();
    return run_complete(shell, splitter, "");
}

int run_file(Shell& shell, std::FILE* file, const std::string& name) {
    Splitter splitter;
    bool first = true;
    for (std::string text; !shell.left && read_some(file, text); first = false) {
        std::string_view added = text;
        if (first && added.starts_with("\xEF\xBB\xBF")) added.remove_prefix(3); // a byte order mark
        splitter.add(added);
        if (const int code = run_complete(shell, splitter, name)) return code;
    }
    if (std::ferror(file) != 0) fail_to_read(name);
    splitter.end();
    return run_complete(shell, splitter, name);
}

std::vector<std::string> command_names() {
    std::vector<std::string> names;
    for (const Command& command : commands)
        if (command.run) names.emplace_back(command.name);
    return names;
}

} // namespace tarnsh
