// The reply as a TARNDBMS server sends it: "A" and column descriptions, "R" and each row, "K" at the end;
// every value is preceded by its length, -1 for a null. The peer encrypts it where the channel is encrypted.
#include "peer.h"
#include "replay.h"

namespace bench {

static void put_frame(Replay& replay, const Table& table) {
    replay.answers = {std::string(login_answer)};
    replay.head = tarnsql_head(table.kinds);
    replay.tail = "K";
}

static void put_row(std::string& to, std::span<const Cell> row, uint64_t) {
    put_tarnsql_row(to, row);
}

const Protocol tarnsql_protocol = {"tarnsql", put_frame, put_row};
const Protocol tarnsql_encrypted_protocol = {"tarnsql-encrypted", put_frame, put_row};

} // namespace bench
