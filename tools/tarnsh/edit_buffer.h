// The text being edited, with a cursor between its characters. It may have several lines.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tarnsh {

class EditBuffer {
  public:
    const std::string& text() const { return text_; }
    std::size_t cursor() const { return cursor_; }
    bool at_end() const { return cursor_ == text_.size(); }

    // Replaces the whole text and puts the cursor at its end.
    void set(std::string text);
    void insert(std::string_view text);
    // Replaces what is between the position and the cursor.
    void replace_from(std::size_t place, std::string_view text);

    void left();
    void right();
    void word_left() { cursor_ = word_before(); }
    void word_right() { cursor_ = word_behind(); }
    void home() { cursor_ = line_begin(); }
    void end() { cursor_ = line_end(); }
    void to_end() { cursor_ = text_.size(); }
    // Moves a line up or down, to about the same column; false when there is none.
    bool up();
    bool down();

    void backspace();
    void erase();
    void kill_to_end();
    void kill_line();
    void kill_word() { kill(word_before(), cursor_); }
    void kill_next_word() { kill(cursor_, word_behind()); }
    void yank() { insert(std::string(killed_)); }
    void undo();

  private:
    std::size_t line_begin() const;
    std::size_t line_end() const;
    std::size_t word_before() const;
    std::size_t word_behind() const;
    void remember();
    void kill(std::size_t begin, std::size_t end);
    void remove(std::size_t begin, std::size_t end);
    void move_to_column(std::size_t begin, std::size_t column);

    std::string text_, killed_;
    std::size_t cursor_ = 0;
    std::vector<std::pair<std::string, std::size_t>> past_;
};

} // namespace tarnsh
