#include "edit_buffer.h"

#include "text.h"

#include <algorithm>
#include <cctype>
#include <utility>

namespace tarnsh {

namespace {

constexpr std::size_t most_undone = 200;

bool is_word_character(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' ||
           static_cast<unsigned char>(c) >= 0x80;
}

bool is_continued(char c) {
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

} // namespace

void EditBuffer::remember() {
    if (!past_.empty() && past_.back().first == text_) return;
    if (past_.size() == most_undone) past_.erase(past_.begin());
    past_.emplace_back(text_, cursor_);
}

void EditBuffer::set(std::string text) {
    remember();
    text_ = std::move(text);
    cursor_ = text_.size();
}

void EditBuffer::insert(std::string_view text) {
    remember();
    text_.insert(cursor_, text);
    cursor_ += text.size();
}

void EditBuffer::replace_from(std::size_t place, std::string_view text) {
    remember();
    text_.replace(place, cursor_ - place, text);
    cursor_ = place + text.size();
}

void EditBuffer::left() {
    while (cursor_ > 0 && is_continued(text_[--cursor_])) {
    }
}

void EditBuffer::right() {
    if (cursor_ < text_.size()) cursor_ += first_character(std::string_view(text_).substr(cursor_)).size;
}

std::size_t EditBuffer::line_begin() const {
    const std::size_t feed = cursor_ > 0 ? text_.rfind('\n', cursor_ - 1) : text_.npos;
    return feed == text_.npos ? 0 : feed + 1;
}

std::size_t EditBuffer::line_end() const {
    return std::min(text_.find('\n', cursor_), text_.size());
}

std::size_t EditBuffer::word_before() const {
    std::size_t place = cursor_;
    while (place > 0 && !is_word_character(text_[place - 1]))
        --place;
    while (place > 0 && is_word_character(text_[place - 1]))
        --place;
    return place;
}

std::size_t EditBuffer::word_behind() const {
    std::size_t place = cursor_;
    while (place < text_.size() && !is_word_character(text_[place]))
        ++place;
    while (place < text_.size() && is_word_character(text_[place]))
        ++place;
    return place;
}

void EditBuffer::move_to_column(std::size_t begin, std::size_t column) {
    cursor_ = begin;
    const std::size_t end = line_end();
    while (cursor_ < end && text_width(std::string_view(text_).substr(begin, cursor_ - begin)) < column)
        right();
}

bool EditBuffer::up() {
    const std::size_t begin = line_begin();
    if (begin == 0) return false;
    const std::size_t column = text_width(std::string_view(text_).substr(begin, cursor_ - begin));
    cursor_ = begin - 1;
    move_to_column(line_begin(), column);
    return true;
}

bool EditBuffer::down() {
    const std::size_t begin = line_begin(), end = line_end();
    if (end == text_.size()) return false;
    move_to_column(end + 1, text_width(std::string_view(text_).substr(begin, cursor_ - begin)));
    return true;
}

void EditBuffer::remove(std::size_t begin, std::size_t end) {
    remember();
    text_.erase(begin, end - begin);
    cursor_ = begin;
}

void EditBuffer::backspace() {
    const std::size_t end = cursor_;
    left();
    const std::size_t begin = std::exchange(cursor_, end);
    if (begin < end) remove(begin, end);
}

void EditBuffer::erase() {
    const std::size_t begin = cursor_;
    right();
    const std::size_t end = std::exchange(cursor_, begin);
    if (begin < end) remove(begin, end);
}

void EditBuffer::kill(std::size_t begin, std::size_t end) {
    if (begin == end) return;
    killed_ = text_.substr(begin, end - begin);
    remove(begin, end);
}

// The line feed itself when the cursor stands before it.
void EditBuffer::kill_to_end() {
    const std::size_t end = line_end();
    kill(cursor_, end == cursor_ && end < text_.size() ? end + 1 : end);
}

void EditBuffer::kill_line() {
    kill(line_begin(), cursor_);
}

void EditBuffer::undo() {
    if (past_.empty()) return;
    text_ = past_.back().first;
    cursor_ = past_.back().second;
    past_.pop_back();
}

} // namespace tarnsh
