// The bytes that the peer sends a client: the login exchange and the reply to its one query, in the protocol
// of the client's library.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "rows.h"

namespace bench {

struct Replay {
    std::string greeting;             // sent before the client speaks
    std::vector<std::string> answers; // one to each request before the query
    // The reply to the query: the head, so many whole blocks of rows, the first bytes of one more, the tail.
    std::string head;
    std::string block;
    uint64_t whole_blocks = 0;
    size_t part_of_block = 0;
    std::string tail;

    uint64_t reply_size() const {
        return head.size() + whole_blocks * block.size() + part_of_block + tail.size();
    }
};

// How one form of the reply is written.
struct Protocol {
    std::string_view form;
    void (*put_frame)(Replay& replay, const Table& table); // everything but the rows
    void (*put_row)(std::string& to, std::span<const Cell> row, uint64_t index);
};

extern const Protocol tarnsql_protocol;
extern const Protocol tarnsql_encrypted_protocol;
extern const Protocol libpq_text_protocol;
extern const Protocol libpq_binary_protocol;
extern const Protocol mariadb_text_protocol;
extern const Protocol mariadb_prepared_protocol;

// Throws std::invalid_argument for a form that no protocol has.
Replay make_replay(std::string_view form, const Table& table);

// The low bytes of a value, the most significant last.
void put_little_endian(std::string& to, uint64_t value, unsigned width);

} // namespace bench
