// Putting a replay together; see the header.
#include "replay.h"

#include <bit>
#include <stdexcept>

namespace road {

namespace {

struct PutSizedCell {
    std::string& to;
    std::chrono::sys_days day_zero;

    void put_number(uint64_t value, unsigned width) const {
        put_big_endian(to, width, 4);
        put_big_endian(to, value, width);
    }

    void operator()(Null) const { put_big_endian(to, UINT32_MAX, 4); }
    void operator()(int32_t value) const { put_number(static_cast<uint32_t>(value), 4); }
    void operator()(int64_t value) const { put_number(static_cast<uint64_t>(value), 8); }
    void operator()(double value) const { put_number(std::bit_cast<uint64_t>(value), 8); }
    void operator()(const std::string& value) const { put_sized_text(to, value); }
    void operator()(std::chrono::sys_days value) const {
        put_number(static_cast<uint64_t>((value - day_zero).count()), 4);
    }
};

} // namespace

static const Protocol& protocol_of(std::string_view form) {
    for (const Protocol* protocol : {&tarnsql_protocol, &libpq_text_protocol, &libpq_binary_protocol,
                                     &mariadb_text_protocol, &mariadb_prepared_protocol})
        if (protocol->form == form) return *protocol;
    throw std::invalid_argument("unknown form: " + std::string(form));
}

Replay make_replay(std::string_view form, const Table& table) {
    const Protocol& protocol = protocol_of(form);
    Replay replay;
    protocol.put_frame(replay, table);
    replay.whole_blocks = table.rows / table.block_rows;
    for (uint64_t row = 0; row < table.block_rows; ++row) {
        if (row == table.rows % table.block_rows) replay.part_of_block = replay.block.size();
        protocol.put_row(replay.block, table.row(row), row);
    }
    return replay;
}

void put_big_endian(std::string& to, uint64_t value, unsigned width) {
    while (width-- > 0)
        to += static_cast<char>(value >> width * 8);
}

void put_little_endian(std::string& to, uint64_t value, unsigned width) {
    for (unsigned i = 0; i < width; ++i)
        to += static_cast<char>(value >> i * 8);
}

void put_sized_text(std::string& to, std::string_view text) {
    put_big_endian(to, text.size(), 4);
    to += text;
}

void put_sized_cell(std::string& to, const Cell& cell, std::chrono::sys_days day_zero) {
    std::visit(PutSizedCell{to, day_zero}, cell);
}

} // namespace road
