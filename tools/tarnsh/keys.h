// Splits input into characters, keys and whole pastes.
#pragma once

#include <cstddef>
#include <string>

namespace tarnsh {

enum class Key {
    text, // characters to insert as they are, pasted ones too
    enter,
    new_line, // Alt-Enter: a line feed, whatever is complete
    tab,
    backspace,
    erase,
    left,
    right,
    up,
    down,
    home,
    end,
    word_left,
    word_right,
    kill_to_end,
    kill_line,
    kill_word,
    kill_next_word,
    yank,
    undo,
    clear_screen,
    search,
    interrupt,
    end_of_input,
    suspend,
    unknown,
};

struct KeyPress {
    Key key;
    std::string text{};
    bool pasted = false;
};

class KeyReader {
  public:
    void add(const std::string& bytes) { bytes_ += bytes; }
    // False when more bytes are needed. timed_out: none came for a while, so that an escape is the key
    // itself.
    bool next(KeyPress& press, bool timed_out = false);
    bool empty() const { return bytes_.empty(); }

  private:
    bool next_escaped(KeyPress& press, bool timed_out);
    bool next_paste(KeyPress& press, std::size_t begin);
    bool take(KeyPress& press, std::size_t size, Key key);

    std::string bytes_;
};

} // namespace tarnsh
