// The interactive shell: prompts, and going on after failures, Ctrl-C and lost links.
#include "completion.h"
#include "editor.h"
#include "shell.h"
#include "terminal.h"
#include "text.h"

#include <chrono>
#include <cstdlib>
#include <mutex>
#include <string_view>
#include <thread>
#include <utility>

namespace tarnsh {

namespace {

// While rows come, the statement stops between two of them and the session stays; a call that still waits
// after this is cancelled.
constexpr std::chrono::milliseconds patience{60};

Session* watched = nullptr; // set before Ctrl-C is caught
std::mutex stopping;        // a cancel must not hit what follows the statement that it is for
bool link_is_cut = false;

void stop_statement() {
    std::this_thread::sleep_for(patience);
    const std::lock_guard lock(stopping);
    if (is_interrupted() && cancel_call(*watched)) link_is_cut = true;
}

// Whether Ctrl-C came while the statement ran; it does not stop what follows. The cancel may have come when
// the statement had ended, or during the close of its cursor: the link is gone in any case.
bool take_stop(Session& session) {
    const std::lock_guard lock(stopping);
    if (std::exchange(link_is_cut, false)) session.connected = false;
    const bool asked = is_interrupted();
    take_interrupt();
    return asked;
}

// Reconnects at once after a lost link. What was running is not repeated: nobody knows how far it came. False
// when Ctrl-C came.
bool run_and_go_on(Shell& shell, const Piece& piece) {
    Session& session = shell.session;
    if (needs_server(piece) && !session.connected && !reconnect(session)) return true;
    std::string error;
    bool lost = false;
    try {
        run_piece(shell, piece);
    } catch (const Failure& failure) {
        error = failure.text;
        lost = failure.code == exit_connection;
    } catch (const OutputClosed&) {
        error = "the reader of the rows has left";
        shell.redirected.reset();
    }
    const bool asked = take_stop(session);
    if (asked) say(""); // after the ^C
    if (asked && lost) error = "stopped";
    if (!error.empty()) say("error: " + error);
    if ((asked || lost) && !session.connected && reconnect(session) && !asked)
        say("the statement was not repeated");
    return !asked;
}

// Whether the input is complete: every statement has its end, or a command comes last.
bool is_complete(Splitter splitter, const std::string& text) {
    const std::string_view word = trim(text);
    if (!splitter.is_inside())
        for (const std::string_view known : {"EXIT", "QUIT", "HELP"})
            if (upper(word) == known) return true;
    splitter.add(text + '\n');
    Piece piece;
    bool by_command = false;
    while (splitter.next(piece))
        by_command = piece.is_command;
    const std::size_t line = word.rfind('\n') == word.npos ? 0 : word.rfind('\n') + 1;
    return !splitter.is_inside() || (by_command && word.find('\\', line) != word.npos);
}

// Adds the end mark to a word that needs none.
std::string with_end(const Splitter& splitter, const std::string& text) {
    if (!splitter.is_inside())
        for (const std::string_view known : {"EXIT", "QUIT", "HELP"})
            if (upper(trim(text)) == known) return text + ";";
    return text;
}

bool wants_colours() {
    const char* const kind = std::getenv("TERM");
    const char* const none = std::getenv("NO_COLOR");
    return !(none && *none) && !(kind && std::string_view(kind) == "dumb");
}

void run_all(Shell& shell, Splitter& splitter) {
    for (Piece piece; !shell.left && splitter.next(piece);)
        if (!run_and_go_on(shell, piece)) splitter = Splitter(); // what else was typed is dropped
    take_stop(shell.session);
}

} // namespace

void run_interactively(Shell& shell, const std::string& history_file) {
    watched = &shell.session;
    catch_interrupts(stop_statement);
    shell.session.is_stopped = is_interrupted;
    Splitter splitter;
    shell.input_text = &splitter;
    Editor editor;
    editor.history.open(history_file);
    editor.complete = [&shell](const std::string& text) { return complete(shell, text); };
    editor.is_ready = [&splitter](const std::string& text) { return is_complete(splitter, text); };
    const bool colours = wants_colours();
    note(shell.session, "\\? lists the commands, \\q leaves");
    while (!shell.left) {
        editor.coloured = colours && shell.coloured;
        editor.hinting = colours && shell.hinting;
        if (shell.next_text) editor.prefill(std::exchange(shell.next_text, std::nullopt).value());
        const std::string mark = shell.session.in_transaction ? "*> " : "> ",
                          further(shell.prompt.size() + mark.size() - 3, ' ');
        std::string text;
        switch (editor.read(splitter.is_inside() ? further + "-> " : shell.prompt + mark, further + "-> ",
                            text)) {
        case Line::end: shell.left = true; break;
        case Line::interrupted: splitter = Splitter(); break;
        case Line::read: splitter.add(with_end(splitter, text) + '\n'); run_all(shell, splitter);
        }
    }
}

} // namespace tarnsh
