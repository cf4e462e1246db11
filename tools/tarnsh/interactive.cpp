// The shell before a person: prompts, completion, and going on after failures and lost links.
#include "shell.h"

#include "terminal.h"
#include "text.h"

#include <algorithm>
#include <cctype>
#include <string_view>

namespace tarnsh {

namespace {

constexpr std::string_view keywords[] = {
    "ALTER",  "AND",     "AS",        "ASC",        "BEGIN",     "BETWEEN", "BY",       "CASE",     "CAST",
    "COMMIT", "CREATE",  "CROSS",     "CURRENT",    "DEFAULT",   "DELETE",  "DESC",     "DISTINCT", "DROP",
    "ELSE",   "END",     "EXCEPT",    "EXEC",       "EXISTS",    "FROM",    "FUNCTION", "GROUP",    "HAVING",
    "IN",     "INDEX",   "INNER",     "INSERT",     "INTERSECT", "INTO",    "IS",       "JOIN",     "KEY",
    "LEFT",   "LIKE",    "LIMIT",     "NOT",        "NULL",      "OFFSET",  "ON",       "OR",       "ORDER",
    "OUTER",  "PRIMARY", "PROCEDURE", "REFERENCES", "REPLACE",   "RIGHT",   "ROLLBACK", "SELECT",   "SET",
    "TABLE",  "THEN",    "TRIGGER",   "UNION",      "UNIQUE",    "UPDATE",  "VALUES",   "VIEW",     "WHEN",
    "WHERE",  "WITH"};

bool begins_alike(std::string_view candidate, std::string_view word) {
    return candidate.size() >= word.size() && upper(candidate.substr(0, word.size())) == upper(word);
}

std::string in_case_of(std::string_view word, std::string_view keyword) {
    std::string text(keyword);
    if (!word.empty() && std::islower(static_cast<unsigned char>(word.back())))
        std::ranges::transform(text, text.begin(), [](char c) {
            return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        });
    return text;
}

void add_names(const Shell& shell, const std::string& word, std::vector<std::string>& found) {
    const std::size_t dot = word.find('.');
    for (const TableNames& table : shell.names) {
        const bool is_chosen = dot != word.npos && upper(table.name) == upper(word.substr(0, dot));
        if (dot == word.npos && begins_alike(table.name, word)) found.push_back(table.name);
        for (const std::string& column : table.columns) {
            if (is_chosen && begins_alike(column, word.substr(dot + 1)))
                found.push_back(word.substr(0, dot + 1) + column);
            if (dot == word.npos && begins_alike(column, word)) found.push_back(column);
        }
    }
}

std::vector<std::string> complete(Shell& shell, const std::string& word, const std::string& before) {
    std::vector<std::string> found;
    if (before.empty() && word.starts_with('\\')) {
        for (const std::string& name : command_names())
            if (name.starts_with(word.substr(1))) found.push_back('\\' + name);
        return found;
    }
    if (!shell.names_known && shell.session.connected) {
        shell.names = read_names(shell.session);
        shell.names_known = true;
    }
    add_names(shell, word, found);
    if (!word.empty() && !before.starts_with('\\'))
        for (const std::string_view keyword : keywords)
            if (begins_alike(keyword, word)) found.push_back(in_case_of(word, keyword));
    std::ranges::sort(found);
    found.erase(std::ranges::unique(found).begin(), found.end());
    return found;
}

// A lost link is made anew at once; what was running is not repeated, for nobody knows how far it came.
void run_and_go_on(Shell& shell, const Piece& piece) {
    if (needs_server(piece) && !shell.session.connected && !reconnect(shell.session)) return;
    try {
        run_piece(shell, piece);
    } catch (const Failure& failure) {
        say("error: " + failure.text);
        if (failure.code == exit_connection && reconnect(shell.session))
            say("the statement was not repeated");
    }
}

} // namespace

int run_interactively(Shell& shell, const std::string& history_file) {
    catch_interrupts();
    shell.session.is_stopped = is_interrupted;
    start_line_input(history_file, [&shell](const std::string& word, const std::string& before) {
        return complete(shell, word, before);
    });
    note(shell.session, "\\? lists the commands, \\q leaves");
    Splitter splitter;
    while (!shell.left) {
        std::string line;
        const Line what = read_line(splitter.is_inside() ? "   -> " : "tarn> ", line);
        if (what == Line::end) {
            say("");
            break;
        }
        if (what == Line::interrupted) {
            say("");
            splitter = Splitter();
            continue;
        }
        if (!trim(line).empty() && !line.starts_with(' ')) keep_in_history(line);
        splitter.add(line + '\n');
        for (Piece piece; !shell.left && !is_interrupted() && splitter.next(piece);)
            run_and_go_on(shell, piece);
        if (is_interrupted()) {
            say(""); // behind the ^C; what else was typed on the line is dropped
            take_interrupt();
            splitter = Splitter();
        }
    }
    return exit_done;
}

} // namespace tarnsh
