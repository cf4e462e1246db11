// The text of a value for the application: at most 63 characters, the rest is cut. Numbers are formatted as
// by printf in the "C" locale, whatever the process's locale.
#pragma once

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "result/calendar.h"

namespace tarn {

class WorkingText {
  public:
    std::string_view text() const noexcept { return {area_, length_}; }
    bool empty() const noexcept { return length_ == 0; }

    void add(std::string_view piece) noexcept {
        const size_t kept = std::min(piece.size(), capacity - length_);
        std::memcpy(area_ + length_, piece.data(), kept);
        length_ += kept;
    }
    void add(char c) noexcept {
        if (length_ < capacity) area_[length_++] = c;
    }

    // "%d", "%lld"
    void add_integer(int64_t value) noexcept {
        constexpr size_t most_digits = 20;
        if (capacity - length_ >= most_digits) {
            length_ =
                static_cast<size_t>(std::to_chars(area_ + length_, area_ + capacity, value).ptr - area_);
            return;
        }
        char digits[most_digits];
        add({digits, static_cast<size_t>(std::to_chars(digits, digits + sizeof digits, value).ptr - digits)});
    }

    // "%0<width>d", "%0<width>lld": the sign counts as one of the width.
    void add_padded(int64_t value, int width) noexcept;

    // "%+d"
    void add_signed(int64_t value) noexcept {
        if (value >= 0) add('+');
        add_integer(value);
    }

    // "%.<decimals>f" and "%.<digits>g"
    void add_fixed(double value, int decimals) noexcept {
        add_number(value, std::chars_format::fixed, decimals);
    }
    void add_general(double value, int digits) noexcept {
        add_number(value, std::chars_format::general, digits);
    }

    // About sixteen significant digits, trailing zeros kept: a value whose rounded whole part has d digits, 1
    // to 15, gets 16 - d decimals; any other value six.
    void add_double(double value) noexcept;

    void add_date(const Date& date) noexcept;          // "%04d-%02d-%02d"
    void add_time(const TimeOfDay& time) noexcept;     // "%02d:%02d:%02d"
    void add_date_time(const DateTime& when) noexcept; // both, a blank between

  private:
    static constexpr size_t capacity = 63;

    // Adds size characters for the caller to write; null when they do not fit.
    char* add_room(size_t size) noexcept {
        if (size > capacity - length_) return nullptr;
        length_ += size;
        return area_ + length_ - size;
    }
    void add_number(double value, std::chars_format format, int precision) noexcept;

    char area_[capacity];
    size_t length_ = 0;
};

} // namespace tarn
