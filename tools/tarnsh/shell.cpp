#include "shell.h"

#include "commands.h"
#include "pager.h"
#include "terminal.h"
#include "text.h"

#include <fmt/format.h>

#include <chrono>
#include <memory>

namespace tarnsh {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int deepest_script = 100;

void tell_time(const Shell& shell, Clock::time_point start) {
    if (!shell.timing) return;
    const std::chrono::duration<double, std::milli> passed = Clock::now() - start;
    say(fmt::format("time: {:.1f} ms", passed.count()));
}

// Interactive rows fit the screen or go to a pager.
std::unique_ptr<Output> open_target(Shell& shell, PrintJob& job) {
    if (!job.target.empty()) return std::make_unique<Output>(job.target);
    if (!shell.interactive || shell.redirected || !is_terminal(stdout)) return nullptr;
    job.settings.width = shell.width.value_or(terminal_size().columns);
    job.settings.vertical_when_wide = job.settings.vertical_when_wide || shell.expanded == Switch::automatic;
    const std::string pager = shell.pager ? pager_command() : "";
    return pager.empty() ? nullptr : std::make_unique<Pager>(pager, shell.standard);
}

void run_sql(Shell& shell, const std::string& sql, PrintJob job) {
    const auto start = Clock::now();
    const std::unique_ptr<Output> target = open_target(shell, job);
    Output& output = target ? *target : shell.rows();
    const std::unique_ptr<Printer> printer = make_printer(job.settings, output);
    try {
        run_statement(shell.session, sql, *printer);
        if (target) target->close();
    } catch (const OutputClosed&) {
        if (!shell.interactive || shell.redirected) throw; // otherwise the user has left the pager
        if (is_interrupted()) fail(exit_statement, "stopped");
    } catch (const Failure&) {
        output.flush(); // the rows before the failure
        if (target) target->close();
        throw;
    }
    note_transaction(shell.session, sql);
    if (printer->used()) note(shell.session, fmt::format("({})", counted(printer->rows(), "row")));
    tell_time(shell, start);
}

// Words that people try and that no server knows.
bool run_word(Shell& shell, std::string_view sql) {
    const std::string word = upper(sql);
    if (word == "EXIT" || word == "QUIT") return shell.left = true;
    return word == "HELP" && (run_command(shell, {"?", true, 0, ""}), true);
}

// Up to the end of a line, so that input from a pipe runs as it arrives.
bool read_some(std::FILE* file, std::string& text) {
    constexpr std::size_t enough = 1 << 16;
    text.clear();
    for (int c; text.size() < enough && (c = std::getc(file)) != EOF;) {
        text += static_cast<char>(c);
        if (c == '\n') break;
    }
    return !text.empty();
}

// Runs the pieces that are complete.
void run_complete(Shell& shell, Splitter& splitter, const std::string& name) {
    for (Piece piece; !shell.left && splitter.next(piece);) {
        try {
            run_piece(shell, piece);
        } catch (Failure& failure) {
            if (!name.empty()) failure.text = fmt::format("{}:{}: {}", name, piece.line, failure.text);
            if (!shell.continue_on_error || failure.code == exit_connection) throw;
            say("tarnsh: " + failure.text);
            if (shell.first_failure == 0) shell.first_failure = failure.code;
        }
    }
}

// Sets what belongs to the script that runs, and restores it afterwards.
class ScriptGuard {
  public:
    ScriptGuard(Shell& shell, Splitter& splitter)
        : shell_(shell), text_(shell.input_text), input_(shell.input) {
        if (shell.depth >= deepest_script) fail(exit_shell, "scripts include each other without end");
        shell.input_text = &splitter;
        ++shell.depth;
    }
    ScriptGuard(const ScriptGuard&) = delete;
    ScriptGuard& operator=(const ScriptGuard&) = delete;
    ~ScriptGuard() {
        shell_.input_text = text_;
        shell_.input = input_;
        --shell_.depth;
    }

  private:
    Shell& shell_;
    Splitter* text_;
    std::FILE* input_;
};

} // namespace

PrintJob usual_job(const Shell& shell) {
    PrintJob job{shell.print};
    if (shell.expanded == Switch::on) job.settings.format = Format::vertical;
    return job;
}

bool needs_server(const Piece& piece) {
    return !piece.is_command || command_needs_server(piece);
}

void run_user_sql(Shell& shell, const std::string& text, const PrintJob& job) {
    if (run_word(shell, text)) return;
    const std::string sql = substituted(text, shell.variables);
    shell.last_statement = sql;
    const std::string word = first_word(sql);
    if (word == "CREATE" || word == "ALTER" || word == "DROP" || word == "ROLLBACK")
        shell.names_known = false;
    if (shell.echo) say(sql + ";");
    shell.standard.log(sql + ";\n");
    run_sql(shell, sql, job);
}

void run_query(Shell& shell, const std::string& sql) {
    run_sql(shell, sql, usual_job(shell));
}

void run_piece(Shell& shell, const Piece& piece) {
    if (piece.is_command)
        run_command(shell, piece);
    else
        run_user_sql(shell, piece.text, usual_job(shell));
}

void run_text(Shell& shell, std::string_view text) {
    Splitter splitter;
    const ScriptGuard guard(shell, splitter);
    splitter.add(text);
    splitter.end();
    run_complete(shell, splitter, "");
}

void run_file(Shell& shell, std::FILE* file, const std::string& name) {
    Splitter splitter;
    const ScriptGuard guard(shell, splitter);
    shell.input = file;
    bool first = true;
    for (std::string text; !shell.left && read_some(file, text); first = false) {
        std::string_view added = text;
        if (first && added.starts_with("\xEF\xBB\xBF")) added.remove_prefix(3); // a byte order mark
        splitter.add(added);
        run_complete(shell, splitter, name);
    }
    if (std::ferror(file) != 0) fail_to_read(name);
    splitter.end();
    run_complete(shell, splitter, name);
}

void run_script(Shell& shell, const std::string& path) {
    if (path == "-") return run_file(shell, stdin, "standard input");
    const File file = open_to_read(path);
    const std::string before = shell.folder;
    const std::size_t slash = path.find_last_of("/\\");
    shell.folder = slash == path.npos ? "" : path.substr(0, slash + 1);
    try {
        run_file(shell, file.get(), path);
    } catch (...) {
        shell.folder = before;
        throw;
    }
    shell.folder = before;
}

} // namespace tarnsh
