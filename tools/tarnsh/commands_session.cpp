// Commands about the session: its connection, times, the system's shell, variables.
#include "commands.h"
#include "connection.h"
#include "tarnsql_ext.h"
#include "terminal.h"
#include "text.h"

#include <fmt/format.h>

#include <cstdlib>
#include <filesystem>

namespace tarnsh {

namespace {

constexpr double longest_wait = 86400;

// A number above 0 that is all of the text; otherwise 0.
double positive_number(const std::string& text) {
    char* end = nullptr;
    const double number = std::strtod(text.c_str(), &end);
    return *end == '\0' && number > 0 ? number : 0;
}

void remember_timing(const Shell& shell) {
    if (shell.state_file.empty()) return;
    std::error_code none;
    std::filesystem::remove(std::u8string(shell.state_file.begin(), shell.state_file.end()), none);
    const File file(open_private_file(shell.state_file));
    if (file) fmt::print(file.get(), "\\timing {}\n", shell.timing ? "on" : "off");
}

} // namespace

bool connect(Shell& shell, const Call& call) {
    Session& session = shell.session;
    open_session(session, changed_connection(session.connection, call.arguments), shell.connect_timeout);
    shell.names_known = false;
    note(session, fmt::format("connected to {} as {}",
                              value_of(session.connection, Part::database).value_or("the database"),
                              value_of(session.connection, Part::user).value_or("nobody")));
    return true;
}

bool connection_info(Shell& shell, const Call&) {
    Session& session = shell.session;
    const auto part = [&session](Part what) { return value_of(session.connection, what).value_or("-"); };
    const bool encrypted = number_attribute(session, TRN_ATTR_CONN_ENCRYPTED) == 1;
    shell.rows().write(
        fmt::format("server       {}, port {}\ndatabase     {}\nuser         {}\nchannel      {}\n"
                    "transaction  {}\nserver is    {}\nlibrary is   tarnsql {}\n",
                    part(Part::server), part(Part::port), part(Part::database), part(Part::user),
                    encrypted ? "encrypted" : "plain",
                    session.in_transaction ? "open"
                    : session.auto_commit  ? "none"
                                           : "none, auto-commit off",
                    trim(text_attribute(session, TRN_ATTR_CONN_VERSION)), TRNX_Version()));
    shell.rows().flush();
    return true;
}

bool set_timing(Shell& shell, const Call& call) {
    const std::string_view text = call.arguments;
    if (text != "on" && text != "off" && !text.empty()) return false;
    shell.timing = text.empty() ? !shell.timing : text == "on";
    if (shell.interactive) remember_timing(shell);
    note(shell.session, shell.timing ? "timing is on" : "timing is off");
    return true;
}

bool watch(Shell& shell, const Call& call) {
    std::string_view text = call.arguments;
    const std::string word = take_word(text);
    const double seconds = word.empty() ? 2 : positive_number(word),
                 times = positive_number(std::string(text));
    if (seconds == 0 || seconds > longest_wait || (times == 0 && !text.empty())) return false;
    if (!call.before.empty()) {
        shell.last_statement = substituted(call.before, shell.variables);
        drop_statement(shell, call);
    }
    if (shell.last_statement.empty()) fail(exit_shell, "there is no statement to repeat");
    const bool pager = std::exchange(shell.pager, false);
    try {
        for (double run = 1;; ++run) {
            run_query(shell, shell.last_statement);
            if (times > 0 && run >= times) break;
            wait_seconds(seconds);
            if (is_interrupted()) break;
        }
    } catch (...) {
        shell.pager = pager;
        throw;
    }
    shell.pager = pager;
    return true;
}

bool run_shell_command(Shell& shell, const Call& call) {
    shell.rows().flush();
    const int code = run_program(std::string(call.arguments));
    if (code != 0)
        fail(exit_shell,
             code < 0 ? "the command could not be run" : fmt::format("the command ended with {}", code));
    return true;
}

bool change_folder(Shell&, const Call& call) {
    std::string_view text = call.arguments;
    const std::string folder = text.empty() ? home_directory() : take_word(text);
    std::error_code failed;
    std::filesystem::current_path(std::u8string(folder.begin(), folder.end()), failed);
    if (failed) fail(exit_shell, fmt::format("cannot go to {}: {}", folder, failed.message()));
    return text.empty() || folder.empty();
}

bool set_variable(Shell& shell, const Call& call) {
    std::string_view text = call.arguments;
    if (text.empty()) {
        for (const auto& [name, value] : shell.variables)
            shell.rows().write(fmt::format("{} = '{}'\n", name, value));
        shell.rows().flush();
        return true;
    }
    const std::string name = take_word(text);
    std::string value;
    while (!text.empty())
        value += take_word(text);
    if (!is_variable_name(name)) return false;
    shell.variables[name] = value;
    return true;
}

bool unset_variable(Shell& shell, const Call& call) {
    return is_variable_name(call.arguments) && (shell.variables.erase(std::string(call.arguments)), true);
}

} // namespace tarnsh
