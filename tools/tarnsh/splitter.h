// Cuts a script, which may arrive in pieces of any size, into statements and backslash commands. A statement
// ends at a ";" outside of quotes and comments, a command ("\" outside of them and of bodies) at the end of
// its line; a statement begun before it goes on after it. The body of a trigger, procedure, function or
// package ends at the ";" after its last END, or before a line with "/" alone.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tarnsh {

struct Piece {
    std::string text; // a statement without its ";" (a body keeps it), a command without its "\"
    bool is_command = false;
    std::size_t line = 0; // where it begins, from 1
    std::string before{}; // of a command: the statement that has begun before it on its line
};

class Splitter {
  public:
    void add(std::string_view text);
    // There is no more text: next() then also returns what has no end mark.
    void end() { ended_ = true; }
    // False when no piece is complete.
    bool next(Piece& piece);
    // Drops the unfinished statement.
    void drop();
    // Whether a statement or comment is unfinished.
    bool is_inside() const { return begun_ || state_ != State::plain; }

  private:
    enum class State {
        plain,
        quoted,
        line_comment,
        block_comment,
    };
    enum class Body {
        unknown, // CREATE has been read, but not what it creates
        none,
        block,   // its BEGIN opens it
        package, // its IS or AS opens it
    };

    bool needs_more(std::size_t ahead) const { return at_ + ahead >= text_.size() && !ended_; }
    bool step(Piece& piece);
    bool step_plain(Piece& piece);
    bool step_slash(Piece& piece);
    bool step_dash();
    bool is_inside_body() const;
    bool take_command(Piece& piece);
    bool take_statement(Piece& piece, std::size_t end);
    void begin_statement();
    void end_word();
    void weigh_body_word();
    void skip(std::size_t count);

    std::string text_;
    std::size_t start_ = 0; // of the statement
    std::size_t at_ = 0;
    std::size_t line_ = 1, start_line_ = 1;
    bool starts_line_ = true; // nothing of the line has been passed
    State state_ = State::plain;
    char quote_ = 0;
    bool begun_ = false;
    bool ended_ = false;
    bool waiting_ = false; // for the character after one that can begin a mark of two

    std::string word_, last_word_; // in upper case
    std::size_t words_ = 0;
    Body body_ = Body::none;
    bool opened_ = false;
    int depth_ = 0;
};

} // namespace tarnsh
