// What a client and its peer know about the rows: the kinds of their columns, and the checksum that the peer
// computes when it makes the rows and the client when it reads them. It depends on the order, and costs every
// reader the same.
#pragma once

#include <bit>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

namespace bench {

enum class Kind {
    integer,
    bigint,
    real,
    text,
    date,
    nullable_text,
    short_text
};

inline constexpr unsigned kind_count = 7;
inline constexpr size_t text_size = 20;
inline constexpr size_t short_text_size = 10;
inline constexpr size_t longest_text = 40; // of a nullable text

// The columns of a table are written as a letter each.
inline constexpr std::string_view kind_letters = "ibrtdns";
inline constexpr std::string_view six_columns = "ibrtdn";

// Empty for an unknown letter.
inline std::vector<Kind> kinds_of(std::string_view letters) {
    std::vector<Kind> kinds;
    for (const char letter : letters) {
        const size_t kind = kind_letters.find(letter);
        if (kind == std::string_view::npos) return {};
        kinds.push_back(static_cast<Kind>(kind));
    }
    return kinds;
}

struct Date {
    int year;
    unsigned month;
    unsigned day;
};

inline Date date_of(std::chrono::sys_days day) {
    const std::chrono::year_month_day date(day);
    return {static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
            static_cast<unsigned>(date.day())};
}

// Of a number of days since 1970-01-01.
inline Date date_of_day(int32_t day) {
    return date_of(std::chrono::sys_days(std::chrono::days(day)));
}

class Checksum {
  public:
    void add_null() { add_word(0x6E756C6C); }
    void add_integer(int64_t value) { add_word(static_cast<uint64_t>(value)); }
    void add_real(double value) { add_word(std::bit_cast<uint64_t>(value)); }

    void add_date(const Date& date) {
        add_word(static_cast<uint64_t>(date.year) << 16 | date.month << 8 | date.day);
    }

    // The length, then eight bytes at a time; the last eight overlap the ones before.
    void add_text(std::string_view text) {
        uint64_t folded = text.size();
        if (text.size() < word_size) {
            for (const char c : text)
                folded = folded << 8 | static_cast<uint8_t>(c);
            return add_word(folded);
        }
        const char* last = text.data() + text.size() - word_size;
        for (const char* at = text.data(); at < last; at += word_size)
            folded = std::rotl(folded, 9) ^ load_word(at);
        add_word(std::rotl(folded, 9) ^ load_word(last));
    }

    uint64_t value() const { return state_; }

  private:
    static constexpr size_t word_size = 8;

    static uint64_t load_word(const char* at) {
        uint64_t word;
        std::memcpy(&word, at, word_size);
        return word;
    }

    // One step of the chain is a rotation and an addition: a longer chain would slow down what is measured.
    void add_word(uint64_t word) { state_ = std::rotl(state_, 23) + word * 0x9E3779B97F4A7C15; }

    uint64_t state_ = 1;
};

} // namespace bench
