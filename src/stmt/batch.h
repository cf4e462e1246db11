// Running one statement for many rows, in as few requests as possible.
#pragma once

#include <algorithm>
#include <cstring>

#include "conn/conn.h"
#include "reply/reply.h"
#include "wire/send.h"

namespace tarn {

struct BatchOutcome {
    int32_t status;
    bool taken; // the server accepted the rows
};

// Receives the reply to one request of a batch.
BatchOutcome receive_batch_reply(Conn& conn) noexcept;

// Sends rows in requests, until one is refused. encoder.encode(n) writes the next n rows.
template <class Encoder>
int32_t execute_batch(Conn& conn, const char* sql, uint32_t entries, int32_t rows,
                      Encoder& encoder) noexcept {
    constexpr int32_t rows_per_request = 65535; // the command's parameter word has 16 bits for them
    int32_t status = TRN_OK;
    while (rows > 0) {
        const int32_t sent = std::min(rows, rows_per_request);
        rows -= sent;
        BatchOutcome outcome{TRN_ERR_NETWORK, false};
        if (finish_last_reply(conn, SIZE_MAX)) {
            put_command(conn.channel, sql, std::strlen(sql), static_cast<uint32_t>(sent) << 16 | entries);
            encoder.encode(sent);
            flush_send(conn.channel);
            outcome = receive_batch_reply(conn);
        }
        if (outcome.status < 0 || status >= 0) status = outcome.status;
        // Rows not sent are no success, whatever followed the error.
        if (!outcome.taken) return rows > 0 ? std::min(status, TRN_ERR_SERVER) : status;
    }
    return status;
}

} // namespace tarn
