/*
 * Builders of wire bytes; see the header.
 */
#include "wire_bytes.h"

#include "tarnsql.h"

#include <algorithm>
#include <cstdio>
#include <numeric>

namespace test_support {

static std::string joined(const std::vector<std::string>& texts) {
    return std::accumulate(texts.begin(), texts.end(), std::string());
}

static std::string hex_lines(std::string_view title, std::string_view bytes, std::size_t from) {
    std::string lines = std::string(title) + ", " + std::to_string(bytes.size()) + " bytes:\n";
    const std::size_t until = std::min(bytes.size(), from + 64);
    for (std::size_t start = from; start < until; start += 16) {
        char cell[24];
        std::snprintf(cell, sizeof cell, "  %08zx ", start);
        lines += cell;
        std::string shown;
        for (std::size_t i = start; i < std::min(until, start + 16); ++i) {
            const auto byte = static_cast<unsigned char>(bytes[i]);
            std::snprintf(cell, sizeof cell, " %02x", byte);
            lines += cell;
            shown += byte >= 32 && byte < 127 ? bytes[i] : '.';
        }
        lines += "  " + shown + "\n";
    }
    return lines;
}

std::string big_endian(std::uint64_t value, unsigned width) {
    std::string bytes;
    for (unsigned shift = width * 8; shift > 0; shift -= 8)
        bytes += static_cast<char>(value >> (shift - 8) & 0xff);
    return bytes;
}

std::string row(const std::vector<std::string>& values) {
    return "R" + joined(values);
}

std::string row_with_identifier(std::string_view identifier, const std::vector<std::string>& values) {
    return "*" + wire_text(identifier) + joined(values);
}

std::string query(const std::vector<Column>& columns, const std::vector<std::string>& rows) {
    std::string bytes = "A" + be32(static_cast<std::int64_t>(columns.size()));
    for (const Column& column : columns)
        bytes += wire_text(column.name) + be32(column.type) + be32(column.modifier) + be32(column.flags);
    return bytes + joined(rows);
}

std::string rows_of_every_type() {
    using namespace std::string_literals;
    // clang-format off
    std::vector<std::pair<std::int32_t, std::string>> cells{
        {TRN_WIRE_BOOLEAN, "T"}, {TRN_WIRE_TINYINT, "\5"}, {TRN_WIRE_SMALLINT, be16(-6)}, {TRN_WIRE_INTEGER, be32(7)},
        {TRN_WIRE_BIGINT, be64(-8)}, {TRN_WIRE_NUMERIC, "12.50"}, {TRN_WIRE_FLOAT, be_float(1.5)},
        {TRN_WIRE_DOUBLE, be_double(-2.25)}, {TRN_WIRE_DATE, be32(11016)}, {TRN_WIRE_TIME, be32(37230005)},
        {TRN_WIRE_TIME_TZ, be32(37230005) + be16(60)}, {TRN_WIRE_DATETIME, be64(951827400999)},
        {TRN_WIRE_DATETIME_TZ, be64(951827400999) + be16(-60)}, {TRN_WIRE_OPAQUE, "o"}, {TRN_WIRE_CHAR, "KRAU*"},
        {TRN_WIRE_CLOB, "clob"}, {TRN_WIRE_BINARY, "\0R\xff"s}, {TRN_WIRE_BLOB, "blob"}, {45, "x"}, {999, "?"}};
    // clang-format on
    for (std::int32_t type = TRN_WIRE_INTERVAL_YEAR; type <= TRN_WIRE_INTERVAL_SECOND; ++type)
        cells.emplace_back(type, type < TRN_WIRE_INTERVAL_DAY_TO_SECOND ? be32(-100) : be64(93784000000));
    std::vector<Column> columns;
    std::vector<std::string> values, nulls, mixed;
    for (const auto& [type, value] : cells) {
        columns.push_back({"t.c" + std::to_string(type) + "%l", type});
        values.push_back(wire_text(value));
        nulls.push_back(be32(-std::int64_t(nulls.size())));
        mixed.push_back(mixed.size() % 3 ? values.back() : nulls.back());
    }
    return query(columns, {row(values), notice("in between"), row(nulls), row_with_identifier("row 3", mixed),
                           warning("joined")});
}

std::string command(std::string_view text) {
    return "?" + wire_text(text) + std::string(5, '\0');
}

std::string login_text(std::string_view database, std::string_view user, std::string_view password,
                       std::string_view settings) {
    std::string text = "login database = ";
    text.append(database).append(" user='").append(user).append("' password='").append(password);
    return text.append("'").append(settings).append(" version = '301'");
}

std::string hex_difference(std::string_view expected, std::string_view actual) {
    const auto different =
        std::mismatch(expected.begin(), expected.end(), actual.begin(), actual.end()).first;
    const auto offset = static_cast<std::size_t>(different - expected.begin());
    const std::size_t from = offset < 16 ? 0 : (offset - 16) / 16 * 16;
    return "first difference at byte " + std::to_string(offset) + "\n" +
           hex_lines("expected", expected, from) + hex_lines("received", actual, from);
}

} // namespace test_support
