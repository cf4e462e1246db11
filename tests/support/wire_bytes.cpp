/*
 * Builders of wire bytes; see the header.
 */
#include "wire_bytes.h"

#include <algorithm>
#include <bit>
#include <cstdio>

namespace test_support {

namespace {

std::string big_endian(std::uint64_t value, unsigned width) {
    std::string bytes;
    for (unsigned shift = width * 8; shift > 0; shift -= 8)
        bytes += static_cast<char>(value >> (shift - 8) & 0xff);
    return bytes;
}

std::string reversed(std::string bytes) {
    std::reverse(bytes.begin(), bytes.end());
    return bytes;
}

std::string values_of_row(const std::vector<std::string>& values) {
    std::string bytes;
    for (const std::string& value : values)
        bytes += value;
    return bytes;
}

std::string hex_lines(std::string_view title, std::string_view bytes, std::size_t from) {
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

} // namespace

std::string be16(std::int64_t value) {
    return big_endian(static_cast<std::uint64_t>(value), 2);
}
std::string be32(std::int64_t value) {
    return big_endian(static_cast<std::uint64_t>(value), 4);
}
std::string be64(std::int64_t value) {
    return big_endian(static_cast<std::uint64_t>(value), 8);
}
std::string be_float(float value) {
    return big_endian(std::bit_cast<std::uint32_t>(value), 4);
}
std::string be_double(double value) {
    return big_endian(std::bit_cast<std::uint64_t>(value), 8);
}

std::string host16(std::int64_t value) {
    return reversed(be16(value));
}
std::string host32(std::int64_t value) {
    return reversed(be32(value));
}
std::string host64(std::int64_t value) {
    return reversed(be64(value));
}

std::string wire_text(std::string_view text) {
    return be32(static_cast<std::int64_t>(text.size())) + std::string(text);
}

std::string null_value() {
    return be32(-1);
}
std::string integer(std::int64_t value) {
    return wire_text(be32(value));
}
std::string characters(std::string_view text) {
    return wire_text(text);
}

std::string describe(const std::vector<Column>& columns) {
    std::string bytes = be32(static_cast<std::int64_t>(columns.size()));
    for (const Column& column : columns)
        bytes += wire_text(column.name) + be32(column.type) + be32(column.modifier) + be32(column.flags);
    return bytes;
}

std::string row(const std::vector<std::string>& values) {
    return "R" + values_of_row(values);
}

std::string row_with_identifier(std::string_view identifier, const std::vector<std::string>& values) {
    return "*" + wire_text(identifier) + values_of_row(values);
}

std::string query(const std::vector<Column>& columns, const std::vector<std::string>& rows) {
    return "A" + describe(columns) + values_of_row(rows);
}

std::string update_count(std::int32_t count) {
    return "U" + be32(count);
}
std::string delete_count(std::int32_t count) {
    return "D" + be32(count);
}
std::string inserted(std::string_view identifier) {
    return "I" + wire_text(identifier);
}
std::string server_error(std::string_view text) {
    return "E" + wire_text(text);
}
std::string warning(std::string_view text) {
    return "W" + wire_text(text);
}
std::string notice(std::string_view text) {
    return "M" + wire_text(text);
}
std::string output_value(std::string_view bytes) {
    return "O" + be32(5) + wire_text(bytes);
}
std::string output_block(std::string_view bytes) {
    return "P" + be32(1) + be32(5) + wire_text(bytes);
}

std::string command(std::string_view text) {
    return "?" + wire_text(text) + std::string(1, '\0') + be32(0);
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
