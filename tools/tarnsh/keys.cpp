#include "keys.h"

#include "text.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace tarnsh {

namespace {

constexpr std::string_view paste_end = "\x1b[201~";

struct Sequence {
    std::string_view bytes; // behind the escape
    Key key;
};

constexpr Sequence sequences[] = {{"[A", Key::up},           {"[B", Key::down},
                                  {"[C", Key::right},        {"[D", Key::left},
                                  {"OA", Key::up},           {"OB", Key::down},
                                  {"OC", Key::right},        {"OD", Key::left},
                                  {"[H", Key::home},         {"[F", Key::end},
                                  {"OH", Key::home},         {"OF", Key::end},
                                  {"[1~", Key::home},        {"[4~", Key::end},
                                  {"[7~", Key::home},        {"[8~", Key::end},
                                  {"[3~", Key::erase},       {"[1;5C", Key::word_right},
                                  {"[1;5D", Key::word_left}, {"[1;3C", Key::word_right},
                                  {"[1;3D", Key::word_left}, {"[5C", Key::word_right},
                                  {"[5D", Key::word_left}};

Key key_of_control(char c) {
    switch (c) {
    case '\r':
    case '\n': return Key::enter;
    case '\t': return Key::tab;
    case 1: return Key::home;
    case 2: return Key::left;
    case 3: return Key::interrupt;
    case 4: return Key::end_of_input;
    case 5: return Key::end;
    case 6: return Key::right;
    case 8:
    case 127: return Key::backspace;
    case 11: return Key::kill_to_end;
    case 12: return Key::clear_screen;
    case 14: return Key::down;
    case 16: return Key::up;
    case 18: return Key::search;
    case 21: return Key::kill_line;
    case 23: return Key::kill_word;
    case 25: return Key::yank;
    case 26: return Key::suspend;
    case 31: return Key::undo;
    default: return Key::unknown;
    }
}

Key key_of_alt(char c) {
    switch (c) {
    case 'b': return Key::word_left;
    case 'f': return Key::word_right;
    case 'd': return Key::kill_next_word;
    case '\r':
    case '\n': return Key::new_line;
    case 127: return Key::kill_word;
    default: return Key::unknown;
    }
}

bool is_control(char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == 127;
}

// Terminals send the end of a line as they send the Enter key.
std::string with_line_feeds(std::string_view pasted) {
    std::string text;
    for (std::size_t i = 0; i < pasted.size(); ++i) {
        if (pasted[i] == '\r' && i + 1 < pasted.size() && pasted[i + 1] == '\n') continue;
        text += pasted[i] == '\r' ? '\n' : pasted[i];
    }
    return text;
}

} // namespace

bool KeyReader::take(KeyPress& press, std::size_t size, Key key) {
    press = {key, key == Key::text ? bytes_.substr(0, size) : ""};
    bytes_.erase(0, size);
    return true;
}

bool KeyReader::next(KeyPress& press, bool timed_out) {
    if (bytes_.empty()) return false;
    if (bytes_[0] == '\x1b') return next_escaped(press, timed_out);
    if (is_control(bytes_[0])) return take(press, 1, key_of_control(bytes_[0]));
    const std::size_t run =
        static_cast<std::size_t>(std::ranges::find_if(bytes_, is_control) - bytes_.begin());
    const std::size_t whole = timed_out || run < bytes_.size() ? run : whole_characters({bytes_.data(), run});
    return whole > 0 && take(press, whole, Key::text);
}

bool KeyReader::next_escaped(KeyPress& press, bool timed_out) {
    if (bytes_.size() == 1) return timed_out && take(press, 1, Key::unknown);
    if (bytes_[1] != '[' && bytes_[1] != 'O') return take(press, 2, key_of_alt(bytes_[1]));
    // A sequence ends with a character from "@" on, after its first.
    std::size_t end = 2;
    while (end < bytes_.size() && static_cast<unsigned char>(bytes_[end]) < 0x40)
        ++end;
    if (end == bytes_.size()) return timed_out && take(press, bytes_.size(), Key::unknown);
    const std::string_view sequence = std::string_view(bytes_).substr(1, end);
    if (sequence == "[200~") return next_paste(press, end + 1);
    const auto* const found = std::ranges::find(sequences, sequence, &Sequence::bytes);
    return take(press, end + 1, found == std::end(sequences) ? Key::unknown : found->key);
}

// Everything up to the end mark, tabs included.
bool KeyReader::next_paste(KeyPress& press, std::size_t begin) {
    const std::size_t end = bytes_.find(paste_end, begin);
    if (end == bytes_.npos) return false;
    press = {Key::text, with_line_feeds(std::string_view(bytes_).substr(begin, end - begin)), true};
    bytes_.erase(0, end + paste_end.size());
    return true;
}

} // namespace tarnsh
