/*
 * Builders for the bytes that travel between a client and the server: integers, texts, column descriptions,
 * rows, reply messages, command frames and the login text. Written down here a second time on purpose:
 * nothing of the library's own sources is used, so that a mistake there does not repeat itself in its tests.
 */
#ifndef TEST_SUPPORT_WIRE_BYTES_H
#define TEST_SUPPORT_WIRE_BYTES_H

#include <bit>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace test_support {

/* The low bytes of a value, the most significant first. */
std::string big_endian(std::uint64_t value, unsigned width);

struct Column {
    std::string name;
    std::int32_t type;
    std::int32_t modifier = 0;
    std::int32_t flags = 0;
};

// clang-format off
inline std::string be16(std::int64_t value) { return big_endian(static_cast<std::uint64_t>(value), 2); }
inline std::string be32(std::int64_t value) { return big_endian(static_cast<std::uint64_t>(value), 4); }
inline std::string be64(std::int64_t value) { return big_endian(static_cast<std::uint64_t>(value), 8); }
inline std::string be_float(float value) { return be32(std::bit_cast<std::int32_t>(value)); }
inline std::string be_double(double value) { return be64(std::bit_cast<std::int64_t>(value)); }

/* Bytes in the order of the host, as the library hands numbers to the application. */
inline std::string reversed(std::string_view bytes) { return {bytes.rbegin(), bytes.rend()}; }

/* A length of 32 bits and the bytes. Also the form of a column value in a row. */
inline std::string wire_text(std::string_view text) { return be32(static_cast<std::int64_t>(text.size())).append(text); }
inline std::string null_value() { return be32(-1); }
inline std::string integer(std::int64_t value) { return wire_text(be32(value)); }

/* Reply messages; those of a query are query() and row(). */
inline std::string update_count(std::int32_t count) { return "U" + be32(count); }
inline std::string delete_count(std::int32_t count) { return "D" + be32(count); }
inline std::string inserted(std::string_view identifier) { return "I" + wire_text(identifier); }
inline std::string server_error(std::string_view text) { return "E" + wire_text(text); }
inline std::string fatal_error(std::string_view text) { return "F" + wire_text(text); }
inline std::string warning(std::string_view text) { return "W" + wire_text(text); }
inline std::string notice(std::string_view text) { return "M" + wire_text(text); }
inline std::string output_value(std::string_view bytes) { return "O" + be32(5) + wire_text(bytes); }
inline std::string output_block(std::string_view bytes) { return "P" + be32(1) + be32(5) + wire_text(bytes); }
inline const std::string end_of_reply = "K";
// clang-format on

std::string row(const std::vector<std::string>& values);
std::string row_with_identifier(std::string_view identifier, const std::vector<std::string>& values);
/* The whole result set message: letter, descriptions and the rows given. */
std::string query(const std::vector<Column>& columns, const std::vector<std::string>& rows);

/* Columns of all types: a row of values, one of nulls, one of both with an identifier; with texts. */
std::string rows_of_every_type();

/* A command without parameters. */
std::string command(std::string_view text);

/* The text of a login; settings are the clauses between the password and the version. */
inline const std::string default_settings = " lock_timeout = 300 auto_commit = 'on' return_cursor_id  = 'on'";
std::string login_text(std::string_view database, std::string_view user, std::string_view password,
                       std::string_view settings = default_settings);

/* Lines of offset, hexadecimal and characters for both texts around their first difference. */
std::string hex_difference(std::string_view expected, std::string_view actual);

} // namespace test_support

#endif
