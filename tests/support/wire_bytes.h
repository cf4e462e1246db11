/*
 * Builders for the bytes that travel between a client and the server: integers, texts, column descriptions,
 * rows, reply messages, command frames and the login text. Written down here a second time on purpose: nothing
 * of the library's own sources is used, so that a mistake there does not repeat itself in its tests.
 */
#ifndef TEST_SUPPORT_WIRE_BYTES_H
#define TEST_SUPPORT_WIRE_BYTES_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace test_support {

std::string be16(std::int64_t value);
std::string be32(std::int64_t value);
std::string be64(std::int64_t value);
std::string be_float(float value);
std::string be_double(double value);

/* The same integers in the order of the host, as the library hands them to the application. */
std::string host16(std::int64_t value);
std::string host32(std::int64_t value);
std::string host64(std::int64_t value);

/* A length of 32 bits and the bytes. Also the form of a column value in a row. */
std::string wire_text(std::string_view text);

/* Column values of a row. */
std::string null_value();
std::string integer(std::int64_t value);
std::string characters(std::string_view text);

struct Column {
    std::string name;
    std::int32_t type;
    std::int32_t modifier = 0;
    std::int32_t flags = 0;
};

std::string describe(const std::vector<Column>& columns);
std::string row(const std::vector<std::string>& values);
std::string row_with_identifier(std::string_view identifier, const std::vector<std::string>& values);

/* Reply messages. query() is the whole result set message: letter, descriptions and the rows given. */
std::string query(const std::vector<Column>& columns, const std::vector<std::string>& rows);
std::string update_count(std::int32_t count);
std::string delete_count(std::int32_t count);
std::string inserted(std::string_view identifier);
std::string server_error(std::string_view text);
std::string warning(std::string_view text);
std::string notice(std::string_view text);
std::string output_value(std::string_view bytes);
std::string output_block(std::string_view bytes);
inline const std::string end_of_reply = "K";

/* A command without parameters. */
std::string command(std::string_view text);

/* What a plain channel sends first; settings are the clauses between the password and the version. */
inline const std::string default_settings = " lock_timeout = 300 auto_commit = 'on' return_cursor_id  = 'on'";
std::string login_text(std::string_view database, std::string_view user, std::string_view password,
                       std::string_view settings = default_settings);

/* Lines of offset, hexadecimal and characters for both texts around their first difference. */
std::string hex_difference(std::string_view expected, std::string_view actual);

} // namespace test_support

#endif
