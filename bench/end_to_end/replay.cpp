#include "replay.h"

#include <stdexcept>

namespace bench {

static const Protocol& protocol_of(std::string_view form) {
    for (const Protocol* protocol :
         {&tarnsql_protocol, &tarnsql_encrypted_protocol, &libpq_text_protocol, &libpq_binary_protocol,
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

void put_little_endian(std::string& to, uint64_t value, unsigned width) {
    for (unsigned i = 0; i < width; ++i)
        to += static_cast<char>(value >> i * 8);
}

} // namespace bench
