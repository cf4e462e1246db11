// tarnsh, the SQL shell: puts the parts together and turns failures into exit codes.
#include "failure.h"
#include "options.h"
#include "output.h"
#include "session.h"
#include "shell.h"
#include "terminal.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

namespace {

using namespace tarnsh;

std::string home_file(const char* variable, const char* name) {
    if (const char* const path = std::getenv(variable)) return path;
    const std::string home = home_directory();
    return home.empty() ? "" : home + "/" + name;
}

bool exists(const std::string& path) {
    return !path.empty() && File(open_file(path, "rb"));
}

// A start-up file may fail: the session goes on.
void run_at_start(Shell& shell, const std::string& path) {
    if (!exists(path)) return;
    try {
        run_script(shell, path);
    } catch (const Failure& failure) {
        say("error: " + failure.text);
    }
}

void run_scripts(Shell& shell, const Options& options) {
    if (options.single_transaction) run_text(shell, "BEGIN");
    if (options.commands) run_text(shell, *options.commands);
    if (!options.script.empty() && !shell.left) run_script(shell, options.script);
    if (!options.commands && options.script.empty()) run_script(shell, "-");
    if (options.single_transaction && shell.session.in_transaction) run_text(shell, "COMMIT");
}

void be_interactive(Shell& shell, const Options& options) {
    shell.interactive = true;
    if (!options.no_rc) {
        const bool quiet = std::exchange(shell.session.quiet, true);
        const std::string state = home_file("TARNSH_STATE", ".tarnsh_state");
        run_at_start(shell, state);
        shell.state_file = state;
        run_at_start(shell, home_file("TARNSHRC", ".tarnshrc"));
        shell.session.quiet = quiet;
    }
    if (options.timing) shell.timing = true;
    run_interactively(shell, home_file("TARNSH_HISTORY", ".tarnsh_history"));
}

int run(const Options& options) {
    Session session;
    session.quiet = options.quiet;
    catch_library_lines();
    open_session(session, connection_string(options.connection), options.connection.timeout_seconds);
    Output standard(stdout);
    Shell shell(session, standard);
    shell.print = options.print;
    shell.timing = options.timing;
    shell.echo = options.echo;
    shell.continue_on_error = options.continue_on_error;
    shell.connect_timeout = options.connection.timeout_seconds;
    shell.pager = !options.no_pager;
    for (const auto& [name, value] : options.variables)
        shell.variables[name] = value;
    if (!options.log.empty()) standard.copy_to(options.log);
    if (!options.output.empty()) shell.redirected = std::make_unique<Output>(options.output);
    if (!options.commands && options.script.empty() && is_terminal(stdin))
        be_interactive(shell, options);
    else
        run_scripts(shell, options);
    if (shell.redirected) shell.redirected->close();
    standard.close();
    return shell.first_failure;
}

void hide_passwords(int argc, char** argv) {
    for (int i = 1; i < argc; ++i)
        if (const auto password = find_password(argv[i])) hide_argument(argv[i], *password);
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    if (const auto code = read_options(command_line(argc, argv), options)) return *code;
    hide_passwords(argc, argv);
    prepare_process();
    try {
        return run(options);
    } catch (const Failure& failure) {
        say("tarnsh: " + failure.text);
        return failure.code;
    } catch (const OutputClosed&) {
        return exit_done;
    } catch (const std::exception& error) {
        say(std::string("tarnsh: ") + error.what());
        return exit_shell;
    }
}
