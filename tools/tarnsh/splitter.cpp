#include "splitter.h"

#include "text.h"

#include <algorithm>
#include <array>
#include <cctype>

namespace tarnsh {

namespace {

template <std::size_t size>
bool is_one_of(const std::string& word, const std::array<std::string_view, size>& words) {
    return std::ranges::find(words, word) != words.end();
}

constexpr std::array<std::string_view, 6> modifiers{"OR",        "REPLACE",     "TEMP",
                                                    "TEMPORARY", "EDITIONABLE", "NONEDITIONABLE"};
constexpr std::array<std::string_view, 3> block_objects{"TRIGGER", "PROCEDURE", "FUNCTION"};
constexpr std::array<std::string_view, 5> ended_otherwise{"IF", "LOOP", "WHILE", "FOR", "REPEAT"};

bool is_word_character(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' ||
           static_cast<unsigned char>(c) >= 0x80;
}

} // namespace

void Splitter::add(std::string_view text) {
    text_.erase(0, start_);
    at_ -= start_;
    start_ = 0;
    text_ += text;
}

bool Splitter::next(Piece& piece) {
    waiting_ = false;
    while (at_ < text_.size() && !waiting_)
        if (step(piece)) return true;
    if (waiting_ || !ended_) return false;
    return begun_ && take_statement(piece, text_.size());
}

void Splitter::skip(std::size_t count) {
    line_ +=
        static_cast<std::size_t>(std::count(text_.begin() + static_cast<std::ptrdiff_t>(at_),
                                            text_.begin() + static_cast<std::ptrdiff_t>(at_ + count), '\n'));
    at_ += count;
    if (count > 0) starts_line_ = text_[at_ - 1] == '\n';
    if (!begun_) start_ = at_;
}

void Splitter::begin_statement() {
    if (begun_) return;
    begun_ = true;
    start_ = at_;
    start_line_ = line_;
    words_ = 0;
    last_word_.clear();
    body_ = Body::none;
    opened_ = false;
    depth_ = 0;
}

// One step of the scan: a character, or a mark of two. True when it completes a piece.
bool Splitter::step(Piece& piece) {
    const char c = text_[at_];
    switch (state_) {
    case State::plain: return step_plain(piece);
    case State::quoted:
        if (c == quote_) state_ = State::plain; // a doubled quote reads as two quoted pieces in a row
        skip(1);
        return false;
    case State::line_comment:
        if (c == '\n') state_ = State::plain;
        skip(1);
        return false;
    case State::block_comment:
        if (c != '*') {
            skip(1);
        } else if (needs_more(1)) {
            waiting_ = true;
        } else {
            const bool closes = text_.compare(at_, 2, "*/") == 0;
            if (closes) state_ = State::plain;
            skip(closes ? 2 : 1);
        }
        return false;
    }
    return false;
}

bool Splitter::step_plain(Piece& piece) {
    const char c = text_[at_];
    if (is_word_character(c)) {
        begin_statement();
        word_ += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        skip(1);
        return false;
    }
    end_word();
    if (c == '\\' && !is_inside_body()) return take_command(piece);
    if (c == '/') return step_slash(piece);
    if (c == '-') return step_dash();
    if (c == ';' && begun_ && !is_inside_body()) return take_statement(piece, at_);
    if (c != ';' && !is_blank(c)) begin_statement();
    if (c == '\'' || c == '"' || c == '`') {
        state_ = State::quoted;
        quote_ = c;
    }
    skip(1);
    return false;
}

bool Splitter::is_inside_body() const {
    return (body_ == Body::block || body_ == Body::package) && (!opened_ || depth_ > 0);
}

bool Splitter::step_dash() {
    waiting_ = needs_more(1);
    if (waiting_) return false;
    const bool comments = text_.compare(at_, 2, "--") == 0;
    if (comments)
        state_ = State::line_comment;
    else
        begin_statement();
    skip(comments ? 2 : 1);
    return false;
}

// A "/" alone on its line ends a body; after a body that has ended it has no meaning.
bool Splitter::step_slash(Piece& piece) {
    waiting_ = needs_more(1);
    if (waiting_) return false;
    if (text_.compare(at_, 2, "/*") == 0) {
        state_ = State::block_comment;
        skip(2);
        return false;
    }
    if (starts_line_ && (!begun_ || body_ == Body::block || body_ == Body::package)) {
        const std::size_t end = std::min(text_.find('\n', at_), text_.size());
        if (end == text_.size() && !ended_) {
            waiting_ = true;
            return false;
        }
        if (trim(std::string_view(text_).substr(at_, end - at_)) == "/") {
            if (begun_) return take_statement(piece, at_);
            skip(end - at_);
            return false;
        }
    }
    begin_statement();
    skip(1);
    return false;
}

bool Splitter::take_command(Piece& piece) {
    const std::size_t end = std::min(text_.find('\n', at_), text_.size());
    if (end == text_.size() && !ended_) {
        waiting_ = true;
        return false;
    }
    const std::string_view text = text_;
    piece = {std::string(trim(text.substr(at_ + 1, end - at_ - 1))), true, line_,
             begun_ ? std::string(trim(text.substr(start_, at_ - start_))) : ""};
    if (begun_)
        text_.erase(at_, end - at_);
    else
        skip(end - at_);
    return true;
}

void Splitter::drop() {
    begun_ = false;
    state_ = State::plain;
    word_.clear();
    body_ = Body::none;
    start_ = at_;
}

// A body keeps its ";"; the rest of its line follows.
bool Splitter::take_statement(Piece& piece, std::size_t end) {
    const bool at_mark = end < text_.size() && text_[end] == ';';
    const bool keeps_mark = at_mark && body_ != Body::none && body_ != Body::unknown;
    const std::string_view text = std::string_view(text_).substr(start_, end + (keeps_mark ? 1 : 0) - start_);
    piece = {std::string(trim(text)), false, start_line_, ""};
    const std::size_t mark = end < text_.size() ? 1 : 0; // ";" or "/"
    begun_ = false;
    state_ = State::plain;
    word_.clear();
    body_ = Body::none;
    skip(end + mark - at_);
    return true;
}

void Splitter::end_word() {
    if (word_.empty()) return;
    if (words_ == 0)
        body_ = word_ == "CREATE" ? Body::unknown : Body::none;
    else if (body_ == Body::unknown && !is_one_of(word_, modifiers))
        body_ = is_one_of(word_, block_objects) ? Body::block
                : word_ == "PACKAGE"            ? Body::package
                                                : Body::none;
    else
        weigh_body_word();
    ++words_;
    last_word_ = std::move(word_);
    word_.clear();
}

void Splitter::weigh_body_word() {
    const bool opens = body_ == Body::package && !opened_ && (word_ == "IS" || word_ == "AS");
    if (opens || word_ == "BEGIN") {
        ++depth_;
        opened_ = true;
    } else if (word_ == "CASE") {
        if (last_word_ != "END") ++depth_;
    } else if (word_ == "END") {
        --depth_;
    } else if (last_word_ == "END" && is_one_of(word_, ended_otherwise)) {
        ++depth_; // END IF and the like close what was not counted
    }
}

} // namespace tarnsh
