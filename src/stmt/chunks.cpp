#include "stmt/chunks.h"

#include "result/rows.h"
#include "wire/receive.h"
#include "wire/send.h"

namespace tarn {

static constexpr int32_t rows_per_chunk = 200;

OwnedResult read_chunk_columns(Reply& reply) noexcept {
    OwnedResult result(create_result(reply.conn, TRN_ITEM_QUERY));
    if (!result) break_link(reply.conn);
    if (result && read_columns(reply.conn, *result) != TRN_ERR_MEMORY) return result;
    end(reply, TRN_ERR_MEMORY);
    return nullptr;
}

// True when the chunk is full.
static bool read_chunk(Reply& reply, ResultSet& result) noexcept {
    const RowBatch chunk = read_rows(reply.conn, result, rows_per_chunk);
    if (chunk.status == TRN_OK)
        reply.status = chunk.stored;
    else if (chunk.status == TRN_ERR_NETWORK)
        end_broken(reply);
    else
        end(reply, chunk.status);
    return chunk.status == TRN_OK && chunk.stored == rows_per_chunk;
}

static void ask_for_more(Conn& conn) noexcept {
    put_bytes(conn, ".", 1);
    flush_send(conn);
}

void read_chunks(Reply& reply, ResultSet& result, Chunks chunks) noexcept {
    if (read_chunk(reply, result)) {
        if (ends_here(reply) || reply.ended) return;
        ask_for_more(reply.conn);
        while (read_chunk(reply, result) && chunks == Chunks::all) {
        }
    }
    if (!reply.ended) ends_here(reply);
}

} // namespace tarn
