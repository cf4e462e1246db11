// The reply in the frontend/backend protocol 3.0, with the columns as texts (answering a simple query) or in
// binary (answering the messages of a query with parameters).
#include "peer.h"
#include "replay.h"

namespace bench {

namespace {

struct Type {
    uint32_t oid;
    uint32_t size;
};

constexpr uint32_t variable_size = UINT32_MAX;
constexpr Type types[kind_count] = {{23, 4},                // int4
                                    {20, 8},                // int8
                                    {701, 8},               // float8
                                    {1043, variable_size},  // varchar
                                    {1082, 4},              // date
                                    {1043, variable_size},  // varchar
                                    {1043, variable_size}}; // varchar

std::string message(char type, const std::string& body) {
    std::string bytes(1, type);
    put_big_endian(bytes, body.size() + 4, 4);
    return bytes + body;
}

std::string terminated(const std::string& text) {
    return text + '\0';
}

std::string parameter(const std::string& name, const std::string& value) {
    return message('S', terminated(name) + terminated(value));
}

const std::string ready = message('Z', "I");

std::string login_answer() {
    return message('R', std::string(4, '\0')) + // the client is who it says
           parameter("server_version", "15.0") + parameter("server_encoding", "UTF8") +
           parameter("client_encoding", "UTF8") + parameter("DateStyle", "ISO, MDY") +
           parameter("integer_datetimes", "on") + parameter("standard_conforming_strings", "on") +
           message('K', std::string(8, '\1')) + ready;
}

std::string row_description(const Table& table, uint64_t format) {
    std::string body;
    put_big_endian(body, table.columns(), 2);
    for (size_t column = 0; column < table.columns(); ++column) {
        const Type& type = types[static_cast<size_t>(table.kinds[column])];
        body += terminated("c" + std::to_string(column));
        put_big_endian(body, 0, 6); // of no table
        put_big_endian(body, type.oid, 4);
        put_big_endian(body, type.size, 2);
        put_big_endian(body, UINT32_MAX, 4); // no modifier
        put_big_endian(body, format, 2);
    }
    return message('T', body);
}

void put_end(Replay& replay, const Table& table) {
    replay.answers = {login_answer()};
    replay.tail = message('C', terminated("SELECT " + std::to_string(table.rows))) + ready;
}

void put_text_frame(Replay& replay, const Table& table) {
    replay.head = row_description(table, 0);
    put_end(replay, table);
}

void put_binary_frame(Replay& replay, const Table& table) {
    replay.head = message('1', "") + message('2', "") + row_description(table, 1);
    put_end(replay, table);
}

void put_text_row(std::string& to, std::span<const Cell> row, uint64_t) {
    std::string body;
    put_big_endian(body, row.size(), 2);
    for (const Cell& cell : row) {
        const std::optional<std::string> text = text_of(cell);
        if (text)
            put_counted(body, *text);
        else
            put_counted_cell(body, Null(), {});
    }
    to += message('D', body);
}

void put_binary_row(std::string& to, std::span<const Cell> row, uint64_t) {
    using namespace std::chrono;
    std::string body;
    put_big_endian(body, row.size(), 2);
    for (const Cell& cell : row)
        put_counted_cell(body, cell, 2000y / January / 1);
    to += message('D', body);
}

} // namespace

const Protocol libpq_text_protocol = {"libpq-text", put_text_frame, put_text_row};
const Protocol libpq_binary_protocol = {"libpq-binary", put_binary_frame, put_binary_row};

} // namespace bench
