// tarnsh, the SQL shell: puts the parts together and turns failures into exit codes.
#include "failure.h"
#include "options.h"
#include "output.h"
#include "session.h"
#include "shell.h"
#include "terminal.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <string>

namespace {

using namespace tarnsh;

int run_script(Shell& shell, const std::string& path) {
    return path == "-" ? run_file(shell, stdin, "standard input")
                       : run_file(shell, open_to_read(path).get(), path);
}

std::string history_file() {
    const char* const path = std::getenv("TARNSH_HISTORY");
    return path ? path : default_history_file();
}

int run(const Options& options, std::FILE* standard) {
    Session session;
    session.quiet = options.quiet;
    open_session(session, connection_string(options));
    const auto output = options.output.empty() ? std::make_unique<Output>(standard)
                                               : std::make_unique<Output>(options.output);
    Shell shell{session, *output, options.print, options.timing};
    int code = exit_done;
    if (options.commands) code = run_text(shell, *options.commands);
    if (!options.script.empty() && code == exit_done && !shell.left) code = run_script(shell, options.script);
    if (!options.commands && options.script.empty())
        code = is_terminal(stdin) ? run_interactively(shell, history_file()) : run_script(shell, "-");
    output->close();
    return code;
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    if (const auto code = read_options(command_line(argc, argv), options)) return *code;
    std::FILE* const standard = claim_standard_output();
    if (!standard) {
        std::fprintf(stderr, "tarnsh: cannot set standard output apart: %s\n", std::strerror(errno));
        return exit_shell;
    }
    try {
        return run(options, standard);
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
