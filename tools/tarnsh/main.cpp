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

std::unique_ptr<Output> open_output(const Options& options, std::FILE* standard) {
    auto output = std::make_unique<Output>(standard);
    return options.output.empty() ? std::move(output) : std::make_unique<Output>(options.output);
}

int run_script(Shell& shell, const std::string& path) {
    if (path == "-") return run_file(shell, stdin, "standard input");
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(open_file(path, "rb"), std::fclose);
    if (!file) fail(exit_shell, "cannot read " + path + ": " + std::strerror(errno));
    return run_file(shell, file.get(), path);
}

std::string history_file() {
    const char* const path = std::getenv("TARNSH_HISTORY");
    return path ? path : default_history_file();
}

int run(const Options& options, std::FILE* standard) {
    Session session;
    session.quiet = options.quiet;
    open_session(session, connection_string(options));
    const std::unique_ptr<Output> output = open_output(options, standard);
    Shell shell{session, *output, options.print, options.timing, false, {}, false, {}};
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
