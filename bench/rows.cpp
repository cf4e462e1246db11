#include "rows.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <utility>

#include "measure.h"
#include "peer.h"

namespace bench {

namespace {

// Blocks have a multiple of 256 rows: numbers of packets, which count to 255, then agree from block to block.
constexpr uint64_t row_unit = 256;
constexpr uint64_t block_cells = 65536 * six_columns.size();

std::string random_text(Random& random, size_t size) {
    std::string text(size, ' ');
    for (char& c : text)
        c = static_cast<char>(random.between('!', '~'));
    return text;
}

// Integers are of every magnitude, reals have three decimals, days lie between 1900 and 2099. No text is
// empty: to one of the servers that would be a null.
Cell random_cell(Random& random, Kind kind) {
    using namespace std::chrono;
    constexpr sys_days first_day = 1900y / January / 1, day_behind = 2100y / January / 1;
    switch (kind) {
    case Kind::integer: return static_cast<int32_t>(random.next()) >> random.between(0, 31);
    case Kind::bigint: return static_cast<int64_t>(random.next()) >> random.between(0, 63);
    case Kind::real: return static_cast<double>(static_cast<int32_t>(random.next())) / 1000;
    case Kind::text: return random_text(random, text_size);
    case Kind::short_text: return random_text(random, short_text_size);
    case Kind::date: return first_day + days(random.between(0, (day_behind - first_day) / days(1) - 1));
    case Kind::nullable_text: break;
    }
    if (random.between(1, 5) == 1) return Null();
    return random_text(random, static_cast<size_t>(random.between(1, longest_text)));
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

struct PutCountedCell {
    std::string& to;
    std::chrono::sys_days day_zero;

    void operator()(Null) const { put_u32(to, UINT32_MAX); }
    void operator()(int32_t value) const {
        put_u32(to, 4);
        put_u32(to, static_cast<uint32_t>(value));
    }
    void operator()(int64_t value) const {
        put_u32(to, 8);
        put_u64(to, static_cast<uint64_t>(value));
    }
    void operator()(double value) const { (*this)(std::bit_cast<int64_t>(value)); }
    void operator()(const std::string& value) const { put_counted(to, value); }
    void operator()(std::chrono::sys_days value) const {
        (*this)(static_cast<int32_t>((value - day_zero).count()));
    }
};

constexpr int32_t wire_types[kind_count] = {TRN_WIRE_INTEGER, TRN_WIRE_BIGINT, TRN_WIRE_DOUBLE, TRN_WIRE_CHAR,
                                            TRN_WIRE_DATE,    TRN_WIRE_CHAR,   TRN_WIRE_CHAR};

} // namespace

Table make_table(uint64_t rows, std::vector<Kind> kinds) {
    const uint64_t longest = std::max(block_cells / kinds.size() / row_unit * row_unit, row_unit);
    Table table{rows, std::move(kinds), std::min(rows, longest), {}};
    Random random;
    for (uint64_t row = 0; row < table.block_rows; ++row)
        for (const Kind kind : table.kinds)
            table.cells.push_back(random_cell(random, kind));
    return table;
}

void add_cell(Checksum& sum, const Cell& cell) {
    std::visit(AddCell{sum}, cell);
}

uint64_t checksum_of(const Table& table) {
    Checksum sum;
    for (uint64_t row = 0; row < table.rows; ++row)
        for (const Cell& cell : table.row(row))
            add_cell(sum, cell);
    return sum.value();
}

std::optional<std::string> text_of(const Cell& cell) {
    return std::visit(CellText(), cell);
}

void put_counted_cell(std::string& to, const Cell& cell, std::chrono::sys_days day_zero) {
    std::visit(PutCountedCell{to, day_zero}, cell);
}

std::string tarnsql_head(const std::vector<Kind>& kinds) {
    std::vector<int32_t> types;
    for (const Kind kind : kinds)
        types.push_back(wire_types[static_cast<size_t>(kind)]);
    return result_head(types);
}

void put_tarnsql_row(std::string& to, std::span<const Cell> row) {
    to += 'R';
    for (const Cell& cell : row)
        put_counted_cell(to, cell, std::chrono::sys_days());
}

std::string tarnsql_reply(const Table& table) {
    std::string reply = tarnsql_head(table.kinds);
    for (uint64_t row = 0; row < table.rows; ++row)
        put_tarnsql_row(reply, table.row(row));
    return reply + 'K';
}

} // namespace bench
