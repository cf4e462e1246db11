// The reply in the client/server protocol of MariaDB: a text result set (answering COM_QUERY) or a binary one
// (answering COM_STMT_EXECUTE). Everything is sent in packets of a length, a sequence number within the
// exchange, and a body.
#include <bit>

#include "replay.h"

namespace bench {

namespace {

struct Type {
    uint8_t code;
    uint8_t charset;
    uint8_t width; // in characters
};

constexpr uint8_t utf8mb4 = 45, binary = 63;
constexpr Type types[kind_count] = {{3, binary, 11},                  // LONG
                                    {8, binary, 20},                  // LONGLONG
                                    {5, binary, 22},                  // DOUBLE
                                    {253, utf8mb4, text_size},        // VAR_STRING
                                    {10, binary, 10},                 // DATE
                                    {253, utf8mb4, longest_text},     // VAR_STRING
                                    {253, utf8mb4, short_text_size}}; // VAR_STRING

constexpr uint64_t status_autocommit = 2;

std::string packet(uint64_t number, const std::string& body) {
    std::string bytes;
    put_little_endian(bytes, body.size(), 3);
    put_little_endian(bytes, number, 1);
    return bytes + body;
}

// Everything here is shorter than 251 bytes, so a length fits one byte.
void put_text(std::string& to, const std::string& text) {
    to += static_cast<char>(text.size());
    to += text;
}

std::string greeting() {
    // LONG_PASSWORD, LONG_FLAG, CONNECT_WITH_DB, PROTOCOL_41, TRANSACTIONS, SECURE_CONNECTION, PLUGIN_AUTH
    constexpr uint64_t capabilities = 1 | 4 | 8 | 0x200 | 0x2000 | 0x8000 | 0x80000;
    const std::string scramble = "abcdefghijklmnopqrst";
    std::string body = "\x0A"
                       "10.11.0";
    body += '\0';
    put_little_endian(body, 1, 4); // the connection's number
    body += scramble.substr(0, 8) + '\0';
    put_little_endian(body, capabilities, 2);
    put_little_endian(body, utf8mb4, 1);
    put_little_endian(body, status_autocommit, 2);
    put_little_endian(body, capabilities >> 16, 2);
    put_little_endian(body, scramble.size() + 1, 1);
    body += std::string(10, '\0') + scramble.substr(8) + '\0' + "mysql_native_password" + '\0';
    return packet(0, body);
}

std::string success() {
    std::string body(3, '\0'); // no rows touched, nothing inserted
    put_little_endian(body, status_autocommit, 2);
    put_little_endian(body, 0, 2); // warnings
    return body;
}

std::string end_of_packets() {
    std::string body = "\xFE";
    put_little_endian(body, 0, 2); // warnings
    put_little_endian(body, status_autocommit, 2);
    return body;
}

std::string definition(const Table& table, size_t column) {
    const Type& type = types[static_cast<size_t>(table.kinds[column])];
    const std::string name = "c" + std::to_string(column);
    std::string body;
    for (const std::string& text :
         {std::string("def"), std::string(), std::string(), std::string(), name, name})
        put_text(body, text); // catalogue, schema, tables, names
    body += "\x0C";
    put_little_endian(body, type.charset, 2);
    put_little_endian(body, type.width * (type.charset == utf8mb4 ? 4u : 1u), 4);
    put_little_endian(body, type.code, 1);
    put_little_endian(body, 0, 5); // flags, decimals, filler
    return body;
}

// The definitions of all columns and their end, in packets behind the first of an exchange.
std::string definitions(const Table& table) {
    std::string bytes;
    for (size_t column = 0; column < table.columns(); ++column)
        bytes += packet(2 + column, definition(table, column));
    return bytes + packet(2 + table.columns(), end_of_packets());
}

void put_text_frame(Replay& replay, const Table& table) {
    replay.greeting = greeting();
    replay.answers = {packet(2, success())};
    std::string count;
    if (table.columns() >= 251) count = "\xFC";
    put_little_endian(count, table.columns(), table.columns() >= 251 ? 2 : 1);
    replay.head = packet(1, count) + definitions(table);
    replay.tail = packet(3 + table.columns() + table.rows, end_of_packets());
}

void put_prepared_frame(Replay& replay, const Table& table) {
    put_text_frame(replay, table);
    std::string prepared(1, '\0');
    put_little_endian(prepared, 1, 4); // the statement's number
    put_little_endian(prepared, table.columns(), 2);
    put_little_endian(prepared, 0, 5); // parameters, filler, warnings
    replay.answers.push_back(packet(1, prepared) + definitions(table));
}

struct PutBinaryCell {
    std::string& to;
    void operator()(Null) const {} // told by its bit
    void operator()(int32_t value) const { put_little_endian(to, static_cast<uint32_t>(value), 4); }
    void operator()(int64_t value) const { put_little_endian(to, static_cast<uint64_t>(value), 8); }
    void operator()(double value) const { put_little_endian(to, std::bit_cast<uint64_t>(value), 8); }
    void operator()(const std::string& value) const { put_text(to, value); }
    void operator()(std::chrono::sys_days value) const {
        const Date date = date_of(value);
        put_little_endian(to, 4, 1); // a date without a time
        put_little_endian(to, static_cast<unsigned>(date.year), 2);
        put_little_endian(to, date.month, 1);
        put_little_endian(to, date.day, 1);
    }
};

void put_text_row(std::string& to, std::span<const Cell> row, uint64_t index) {
    std::string body;
    for (const Cell& cell : row) {
        const std::optional<std::string> text = text_of(cell);
        if (text)
            put_text(body, *text);
        else
            body += "\xFB";
    }
    to += packet(3 + row.size() + index, body);
}

void put_binary_row(std::string& to, std::span<const Cell> row, uint64_t index) {
    std::string body(1 + (row.size() + 9) / 8,
                     '\0'); // a zero, and a bit for each column from the third bit on
    for (size_t column = 0; column < row.size(); ++column) {
        if (std::holds_alternative<Null>(row[column]))
            body[1 + (column + 2) / 8] |= static_cast<char>(1 << (column + 2) % 8);
        std::visit(PutBinaryCell{body}, row[column]);
    }
    to += packet(3 + row.size() + index, body);
}

} // namespace

const Protocol mariadb_text_protocol = {"mariadb-text", put_text_frame, put_text_row};
const Protocol mariadb_prepared_protocol = {"mariadb-prepared", put_prepared_frame, put_binary_row};

} // namespace bench
