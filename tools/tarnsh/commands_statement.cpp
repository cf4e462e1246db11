// Commands about the statement that is being typed, and about scripts of them.
#include "commands.h"
#include "terminal.h"
#include "text.h"

#include <fmt/format.h>

#include <cstdlib>
#include <filesystem>

namespace tarnsh {

namespace {

// The statement in front of the command, which is consumed, or the last one.
std::string take_statement(Shell& shell, const Call& call) {
    std::string sql = call.before.empty() ? shell.last_statement : std::string(call.before);
    if (sql.empty()) fail(exit_shell, "there is no statement yet");
    drop_statement(shell, call);
    return sql;
}

bool go_with(Shell& shell, const Call& call, PrintJob job) {
    job.target = call.arguments;
    std::string_view words = call.arguments;
    if (!call.arguments.starts_with('|') && !words.empty()) {
        job.target = take_word(words);
        if (!words.empty()) return false;
    }
    run_user_sql(shell, take_statement(shell, call), job);
    return true;
}

std::string editor_command() {
    for (const char* const name : {"TARNSH_EDITOR", "VISUAL", "EDITOR"})
        if (const char* const command = std::getenv(name); command && *command) return command;
    return "vi";
}

std::string read_all(const std::string& path) {
    const File file = open_to_read(path);
    std::string text;
    for (int c; (c = std::getc(file.get())) != EOF;)
        if (c != '\r') text += static_cast<char>(c);
    return std::string(trim(text));
}

void write_all(const std::string& path, const std::string& text) {
    Output file(path);
    file.write(text + '\n');
    file.close();
}

bool is_absolute(const std::string& path) {
    return std::filesystem::path(std::u8string(path.begin(), path.end())).is_absolute();
}

} // namespace

bool edit_statement(Shell& shell, const Call& call) {
    std::string_view words = call.arguments;
    const std::string named = take_word(words), path = named.empty() ? make_temporary_file() : named;
    if (!words.empty()) return false;
    if (path.empty()) fail(exit_shell, "cannot make a temporary file");
    if (named.empty()) write_all(path, call.before.empty() ? shell.last_statement : std::string(call.before));
    const int code = run_program(fmt::format("{} '{}'", editor_command(), path));
    const std::string text = code == 0 ? read_all(path) : "";
    std::error_code none;
    if (named.empty()) std::filesystem::remove(std::u8string(path.begin(), path.end()), none);
    if (code != 0) fail(exit_shell, fmt::format("the editor ended with {}", code));
    drop_statement(shell, call);
    if (shell.interactive)
        shell.next_text = text;
    else if (shell.input_text)
        shell.input_text->add(text);
    return true;
}

bool go(Shell& shell, const Call& call) {
    return go_with(shell, call, usual_job(shell));
}

bool go_vertically(Shell& shell, const Call& call) {
    PrintJob job = usual_job(shell);
    job.settings.format = Format::vertical;
    return go_with(shell, call, job);
}

bool show_statement(Shell& shell, const Call& call) {
    std::string sql = call.before.empty() ? shell.last_statement : std::string(call.before);
    shell.rows().write(sql.empty() ? "" : sql + "\n");
    shell.rows().flush();
    return call.arguments.empty();
}

bool drop_statement(Shell& shell, const Call& call) {
    if (!call.before.empty() && shell.input_text) shell.input_text->drop();
    return true;
}

bool include(Shell& shell, const Call& call) {
    std::string_view words = call.arguments;
    const std::string path = take_word(words);
    if (path.empty() || !words.empty()) return false;
    run_script(shell, path);
    return true;
}

bool include_relative(Shell& shell, const Call& call) {
    std::string_view words = call.arguments;
    const std::string path = take_word(words);
    if (path.empty() || !words.empty()) return false;
    run_script(shell, is_absolute(path) ? path : shell.folder + path);
    return true;
}

} // namespace tarnsh
