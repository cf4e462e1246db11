// What both programs of the whole road know about the rows: the kinds of their columns, in this order over and
// over, and the checksum that the peer computes when it makes the rows and the client when it reads them. It
// depends on the order; every reader pays the same for it.
#ifndef TARNSQL_BENCH_ROAD_VALUES_H
#define TARNSQL_BENCH_ROAD_VALUES_H

#include <bit>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace road {

enum class Kind {
    integer,
    bigint,
    real,
    text,
    date,
    nullable_text
};

inline constexpr unsigned kind_count = 6;
inline constexpr size_t text_size = 20;
inline constexpr size_t longest_text = 40;

inline Kind kind_of_column(unsigned column) {
    return static_cast<Kind>(column % kind_count);
}

struct Date {
    int year;
    unsigned month;
    unsigned day;
};

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

    // One step of the chain is a rotation and an addition: a longer chain would hold up what is measured.
    void add_word(uint64_t word) { state_ = std::rotl(state_, 23) + word * 0x9E3779B97F4A7C15; }

    uint64_t state_ = 1;
};

} // namespace road

#endif
