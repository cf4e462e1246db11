#include "editor.h"

#include "terminal.h"
#include "text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <utility>

namespace tarnsh {

namespace {

constexpr int escape_wait_ms = 60;
constexpr std::size_t most_listed = 200;

bool is_dumb() {
    const char* const kind = std::getenv("TERM");
    return kind && std::string_view(kind) == "dumb";
}

std::string common_beginning(const std::vector<std::string>& texts) {
    std::string common = texts.front();
    for (const std::string& text : texts) {
        std::size_t same = 0;
        while (same < common.size() && same < text.size() && common[same] == text[same])
            ++same;
        common.resize(whole_characters({common.data(), same}));
    }
    return common;
}

// In columns, from the top down.
std::string in_columns(const std::vector<std::string>& texts, std::size_t width) {
    std::size_t widest = 1;
    for (const std::string& text : texts)
        widest = std::max(widest, text_width(text) + 2);
    const std::size_t columns = std::max<std::size_t>(width / widest, 1),
                      rows = (texts.size() + columns - 1) / columns;
    std::string out;
    for (std::size_t row = 0; row < rows; ++row) {
        for (std::size_t i = row; i < texts.size(); i += rows)
            out +=
                texts[i] + (i + rows < texts.size() ? std::string(widest - text_width(texts[i]), ' ') : "");
        out += '\n';
    }
    return out;
}

} // namespace

Line Editor::read(const std::string& first_prompt, const std::string& next_prompt, std::string& text) {
    if (is_dumb() || !start_keys()) return read_plainly(first_prompt, text);
    write_terminal("\x1b[?2004h"); // pastes come between marks
    first_prompt_ = first_prompt;
    next_prompt_ = next_prompt;
    buffer_ = EditBuffer();
    buffer_.insert(std::exchange(prefilled_, ""));
    entry_ = history.size();
    screen_.forget();
    draw();
    Step step = Step::more;
    while (step == Step::more) {
        KeyPress press;
        step = read_press(press);
        if (step == Step::more) step = apply(press);
        if (step == Step::more && keys_.empty()) draw();
    }
    buffer_.to_end();
    screen_.draw({first_prompt_, next_prompt_, buffer_.text(), buffer_.cursor(), "", coloured});
    screen_.finish();
    write_terminal("\x1b[?2004l");
    stop_keys();
    text = buffer_.text();
    if (step == Step::done) history.add(text);
    return step == Step::done ? Line::read : step == Step::end ? Line::end : Line::interrupted;
}

// For terminals that know only lines.
Line Editor::read_plainly(const std::string& prompt, std::string& text) {
    text.clear();
    std::fputs(prompt.c_str(), stderr);
    std::fflush(stderr);
    int c;
    while ((c = std::getc(stdin)) != EOF && c != '\n')
        text += static_cast<char>(c);
    if (c != EOF || !text.empty()) return Line::read;
    if (!is_interrupted()) return Line::end;
    std::clearerr(stdin);
    take_interrupt();
    return Line::interrupted;
}

Editor::Step Editor::read_press(KeyPress& press) {
    bool timed_out = false;
    while (!keys_.next(press, timed_out)) {
        std::string bytes;
        switch (read_keys(bytes, keys_.empty() ? -1 : escape_wait_ms)) {
        case Keys::read: keys_.add(bytes); break;
        case Keys::none: timed_out = true; break;
        case Keys::end: return Step::end;
        case Keys::resized:
            screen_.forget();
            write_terminal("\r\x1b[J");
            draw();
        }
    }
    return Step::more;
}

Editor::Step Editor::apply(const KeyPress& press) {
    const bool again = std::exchange(after_tab_, false);
    switch (press.key) {
    case Key::text: buffer_.insert(press.text); break;
    case Key::enter: return enter();
    case Key::new_line: buffer_.insert("\n"); break;
    case Key::tab:
        complete_word(again);
        after_tab_ = true;
        break;
    case Key::up:
        if (!buffer_.up()) to_history(true);
        break;
    case Key::down:
        if (!buffer_.down()) to_history(false);
        break;
    case Key::right:
    case Key::end:
        if (buffer_.at_end()) buffer_.insert(hint());
        edit(press.key);
        break;
    case Key::interrupt: return Step::interrupted;
    case Key::end_of_input:
        if (buffer_.text().empty()) return Step::end;
        buffer_.erase();
        break;
    case Key::search: {
        KeyPress last;
        const Step step = search(last);
        return step == Step::more && last.key != Key::unknown ? apply(last) : step;
    }
    case Key::suspend: pause(); break;
    case Key::clear_screen:
        write_terminal("\x1b[H\x1b[2J");
        screen_.forget();
        break;
    default: edit(press.key);
    }
    return Step::more;
}

void Editor::edit(Key key) {
    switch (key) {
    case Key::backspace: buffer_.backspace(); break;
    case Key::erase: buffer_.erase(); break;
    case Key::left: buffer_.left(); break;
    case Key::right: buffer_.right(); break;
    case Key::home: buffer_.home(); break;
    case Key::end: buffer_.end(); break;
    case Key::word_left: buffer_.word_left(); break;
    case Key::word_right: buffer_.word_right(); break;
    case Key::kill_to_end: buffer_.kill_to_end(); break;
    case Key::kill_line: buffer_.kill_line(); break;
    case Key::kill_word: buffer_.kill_word(); break;
    case Key::kill_next_word: buffer_.kill_next_word(); break;
    case Key::yank: buffer_.yank(); break;
    case Key::undo: buffer_.undo(); break;
    default: break;
    }
}

// Enter inside a complete text accepts it, too.
Editor::Step Editor::enter() {
    if (!is_ready || is_ready(buffer_.text())) return Step::done;
    buffer_.insert("\n");
    return Step::more;
}

void Editor::to_history(bool back) {
    if (back ? entry_ == 0 : entry_ >= history.size()) return;
    if (entry_ == history.size()) draft_ = buffer_.text();
    entry_ = back ? entry_ - 1 : entry_ + 1;
    buffer_.set(entry_ == history.size() ? draft_ : history.at(entry_));
}

// Inserts a single candidate, or what all of them begin with; a second Tab lists them.
void Editor::complete_word(bool again) {
    if (!complete) return;
    const Completion found = complete(buffer_.text().substr(0, buffer_.cursor()));
    if (found.candidates.empty()) return;
    if (found.candidates.size() == 1) {
        const std::string& only = found.candidates.front();
        buffer_.replace_from(found.place, only.ends_with('/') ? only : only + ' ');
        return;
    }
    const std::string common = common_beginning(found.candidates);
    if (common.size() > buffer_.cursor() - found.place)
        buffer_.replace_from(found.place, common);
    else if (again)
        list(found.candidates);
}

void Editor::list(const std::vector<std::string>& candidates) {
    screen_.finish();
    if (candidates.size() > most_listed)
        write_terminal(fmt::format("({} possibilities)\n", candidates.size()));
    else
        write_terminal(in_columns(candidates, terminal_size().columns));
}

// Searches the history backwards for what is typed. Enter accepts the entry found, Ctrl-C gives up; any other
// key edits the entry, and is left in press.
Editor::Step Editor::search(KeyPress& press) {
    const std::string before = buffer_.text();
    std::string wanted;
    std::size_t entry = history.size();
    for (;;) {
        const std::string prompt = fmt::format("(search \"{}\") ", wanted);
        screen_.draw({prompt, next_prompt_, buffer_.text(), buffer_.cursor(), "", coloured});
        const Step step = read_press(press);
        if (step != Step::more) return step;
        if (press.key == Key::interrupt) {
            buffer_.set(before);
            press.key = Key::unknown;
            return Step::more;
        }
        std::size_t from = history.size();
        if (press.key == Key::text)
            wanted += press.text;
        else if (press.key == Key::backspace)
            wanted.resize(wanted.size() - std::min<std::size_t>(wanted.size(), 1));
        else if (press.key == Key::search)
            from = entry;
        else
            return Step::more;
        if (const auto found = history.find(wanted, from)) {
            entry = *found;
            buffer_.set(history.at(entry));
        }
    }
}

// The rest of the last entry that begins like the text.
std::string Editor::hint() const {
    const std::string& text = buffer_.text();
    if (!hinting || text.size() < 2 || !buffer_.at_end()) return "";
    const auto found = history.find_beginning(text, history.size());
    return found ? history.at(*found).substr(text.size()) : "";
}

void Editor::draw() {
    const std::string shown = hint();
    screen_.draw({first_prompt_, next_prompt_, buffer_.text(), buffer_.cursor(), shown, coloured});
}

void Editor::pause() {
    screen_.finish();
    write_terminal("\x1b[?2004l");
    stop_keys();
    tarnsh::suspend();
    start_keys();
    write_terminal("\x1b[?2004h");
}

} // namespace tarnsh
