// Making the rows, their checksum and their texts; see the header.
#include "rows.h"

#include <algorithm>
#include <charconv>
#include <cstdio>

namespace road {

namespace {

// Blocks have a multiple of 256 rows: numbers of packets, which count to 255, then agree from block to block.
constexpr uint64_t row_unit = 256;
constexpr uint64_t block_cells = 65536 * kind_count;

// splitmix64
class Random {
  public:
    uint64_t next() {
        uint64_t mixed = state_ += 0x9E3779B97F4A7C15;
        mixed = (mixed ^ mixed >> 30) * 0xBF58476D1CE4E5B9;
        mixed = (mixed ^ mixed >> 27) * 0x94D049BB133111EB;
        return mixed ^ mixed >> 31;
    }
    uint64_t below(uint64_t limit) { return next() % limit; }

  private:
    uint64_t state_ = 20240229;
};

std::string random_text(Random& random, size_t size) {
    std::string text(size, ' ');
    for (char& c : text)
        c = static_cast<char>('!' + random.below('~' - '!' + 1));
    return text;
}

// Integers are of every magnitude, reals have three decimals, days lie between 1900 and 2099. No text is
// empty: to one of the servers that would be a null.
Cell random_cell(Random& random, Kind kind) {
    using namespace std::chrono;
    constexpr sys_days first_day = 1900y / January / 1, day_behind = 2100y / January / 1;
    switch (kind) {
    case Kind::integer: return static_cast<int32_t>(random.next()) >> random.below(32);
    case Kind::bigint: return static_cast<int64_t>(random.next()) >> random.below(64);
    case Kind::real: return static_cast<double>(static_cast<int32_t>(random.next())) / 1000;
    case Kind::text: return random_text(random, text_size);
    case Kind::date:
        return first_day + days(random.below(static_cast<uint64_t>((day_behind - first_day) / days(1))));
    case Kind::nullable_text: break;
    }
    if (random.below(5) == 0) return Null();
    return random_text(random, 1 + random.below(longest_text));
}

struct AddCell {
    Checksum& sum;
    void operator()(Null) const { sum.add_null(); }
    void operator()(int32_t value) const { sum.add_integer(value); }
    void operator()(int64_t value) const { sum.add_integer(value); }
    void operator()(double value) const { sum.add_real(value); }
    void operator()(const std::string& value) const { sum.add_text(value); }
    void operator()(std::chrono::sys_days value) const { sum.add_date(date_of(value)); }
};

struct CellText {
    using Text = std::optional<std::string>;

    template <class Number> static Text text_of_number(Number value) {
        char digits[32];
        return std::string(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
    }

    Text operator()(Null) const { return std::nullopt; }
    Text operator()(int32_t value) const { return text_of_number(value); }
    Text operator()(int64_t value) const { return text_of_number(value); }
    Text operator()(double value) const { return text_of_number(value); }
    Text operator()(const std::string& value) const { return value; }
    Text operator()(std::chrono::sys_days value) const {
        const Date date = date_of(value);
        char text[40];
        std::snprintf(text, sizeof text, "%04d-%02u-%02u", date.year, date.month, date.day);
        return text;
    }
};

} // namespace

Table make_table(uint64_t rows, unsigned columns) {
    const uint64_t longest = std::max(block_cells / columns / row_unit * row_unit, row_unit);
    Table table{rows, columns, std::min(rows, longest), {}};
    Random random;
    for (uint64_t row = 0; row < table.block_rows; ++row)
        for (unsigned column = 0; column < columns; ++column)
            table.cells.push_back(random_cell(random, kind_of_column(column)));
    return table;
}

uint64_t checksum_of(const Table& table) {
    Checksum sum;
    for (uint64_t row = 0; row < table.rows; ++row)
        for (const Cell& cell : table.row(row))
            std::visit(AddCell{sum}, cell);
    return sum.value();
}

Date date_of(std::chrono::sys_days day) {
    const std::chrono::year_month_day date(day);
    return {static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
            static_cast<unsigned>(date.day())};
}

std::optional<std::string> text_of(const Cell& cell) {
    return std::visit(CellText(), cell);
}

} // namespace road
