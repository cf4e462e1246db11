#include "commands.h"

#include "copy.h"
#include "lobs.h"
#include "text.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

namespace tarnsh {

namespace {

struct Command {
    std::string_view group, name, arguments, meaning;
    bool (*run)(Shell&, const Call&); // null in a further line about a command
    bool needs_server = false;
};

bool help(Shell&, const Call&);

bool leave(Shell& shell, const Call&) {
    return shell.left = true;
}

bool run_copy(Shell& shell, const Call& call) {
    return copy(shell.session, call.arguments, shell.print, shell.rows(), shell.input);
}

bool run_export(Shell& shell, const Call& call) {
    return export_lob(shell.session, call.arguments);
}

bool run_import(Shell& shell, const Call& call) {
    return import_lob(shell.session, call.arguments);
}

constexpr Command commands[] = {
    {"General", "?", "", "this list; also \\help", help},
    {"General", "help", "", "", help},
    {"General", "q", "", "leave; also exit, quit", leave},
    {"General", "c", "[DB [USER [SERVER [PORT]]]]", "connect to another database; - for what stays", connect},
    {"General", "c", "STRING", "the same with a connection string", nullptr},
    {"General", "conninfo", "", "show the connection", connection_info, true},
    {"General", "timing", "[on|off]", "print the time of every statement", set_timing},
    {"General", "watch", "SECONDS [TIMES]", "repeat the statement, until Ctrl-C", watch, true},
    {"General", "!", "[COMMAND]", "run a command of the system, or its shell", run_shell_command},
    {"General", "cd", "[FOLDER]", "go to another folder", change_folder},

    {"Statements", "e", "[FILE]", "edit the statement, or a file, with $EDITOR", edit_statement},
    {"Statements", "g", "[FILE]", "run the statement; rows to a file or |COMMAND", go, true},
    {"Statements", "gx", "[FILE]", "the same, a line for each value", go_vertically, true},
    {"Statements", "p", "", "show the statement", show_statement},
    {"Statements", "r", "", "forget what was typed of a statement", drop_statement},
    {"Statements", "set", "[NAME [VALUE]]", "set a variable, for :NAME, :'NAME' and :\"NAME\"", set_variable},
    {"Statements", "unset", "NAME", "forget a variable", unset_variable},

    {"Files", "i", "FILE", "run a script", include},
    {"Files", "ir", "FILE", "the same, beside the script that runs", include_relative},
    {"Files", "o", "[FILE]", "rows to a file or |COMMAND, or back again", redirect},
    {"Files", "tee", "[FILE]", "add statements and rows to a file, too", tee},
    {"Files", "copy", "TABLE [(COLUMN, ...)] FROM FILE", "CSV into a table", run_copy, true},
    {"Files", "copy", "TABLE [(COLUMN, ...)] TO FILE", "a table as CSV", nullptr},
    {"Files", "copy", "(QUERY) TO FILE", "rows as CSV", nullptr},
    {"Files", "lob_export", "(QUERY) FILE", "the first column of the first row into a file", run_export,
     true},
    {"Files", "lob_import", "TABLE.COLUMN FILE [WHERE ...]", "a file into the rows found, or into a new row",
     run_import, true},

    {"Output", "format", "NAME", "table, box, csv, tsv, list, json, html, markdown, vertical", set_format},
    {"Output", "x", "[on|off|auto]", "a line for each value", set_expanded},
    {"Output", "pset", "[NAME [VALUE]]", "show or change how rows are shown", set_print},
    {"Output", "echo", "TEXT", "write a text where rows go", echo},

    {"Catalogue", "d", "[TABLE]", "tables and views; columns, indexes and statement of one", describe_table,
     true},
    {"Catalogue", "di", "", "indexes", list_indexes, true},
    {"Catalogue", "dt", "", "tables", list_tables, true},
    {"Catalogue", "dv", "", "views", list_views, true},
    {"Catalogue", "l", "", "databases", list_databases, true},
};

// The lines about the commands of this name, or about all, in groups.
std::string lines_about(std::string_view name) {
    std::string text;
    std::string_view group;
    for (const Command& command : commands) {
        if (name.empty() ? command.meaning.empty() : command.name != name) continue;
        if (name.empty() && command.group != group) text += fmt::format("\n{}", command.group);
        group = command.group;
        text += fmt::format("\n  {:<42}{}", fmt::format("\\{} {}", command.name, command.arguments),
                            command.meaning);
    }
    return text;
}

bool help(Shell&, const Call&) {
    say("A statement ends at \";\". Commands end with their line:" + lines_about(""));
    return true;
}

// Takes the name off the text. Null when there is no such command. "!" needs no blank behind it.
const Command* find_command(std::string_view& text, std::string& name) {
    if (text.starts_with('!')) {
        name = "!";
        text = trim(text.substr(1));
    } else {
        while (text.ends_with(';')) // typed out of habit
            text = trim(text.substr(0, text.size() - 1));
        name = take_word(text);
    }
    const auto* const found = std::ranges::find_if(
        commands, [&](const Command& command) { return command.name == name && command.run; });
    return found == std::end(commands) ? nullptr : found;
}

} // namespace

bool command_needs_server(const Piece& piece) {
    std::string_view text = piece.text;
    std::string name;
    const Command* const command = find_command(text, name);
    return command && command->needs_server;
}

void run_command(Shell& shell, const Piece& piece) {
    std::string_view text = piece.text;
    std::string name;
    const Command* const command = find_command(text, name);
    if (!command) fail(exit_shell, "there is no command \\" + name + "; \\? lists them");
    const std::string arguments = name == "!" ? std::string(text) : substituted(text, shell.variables);
    if (!command->run(shell, {trim(arguments), piece.before})) fail(exit_shell, "usage:" + lines_about(name));
}

std::vector<std::string> command_names() {
    std::vector<std::string> names;
    for (const Command& command : commands)
        if (command.run) names.emplace_back(command.name);
    return names;
}

} // namespace tarnsh
