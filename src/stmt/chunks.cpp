#include "stmt/chunks.h"

#include "reply/rows.h"
#include "wire/receive.h"
#include "wire/send.h"

namespace tarn {

static constexpr int32_t rows_per_chunk = 200;

OwnedResult read_chunk_columns(Reply& reply) noexcept {
    OwnedResult result(create_result(reply.conn, TRN_ITEM_QUERY));
    if (result && read_columns(reply.conn.channel, *result) != TRN_ERR_MEMORY) return result;
    end_out_of_memory(reply);
    return nullptr;
}

// True when the chunk is full.
static bool read_chunk(Reply& reply, ResultSet& result) noexcept {
    const RowBatch chunk = read_rows(reply.conn.channel, result, rows_per_chunk);
    if (chunk.status == TRN_OK)
        reply.status = chunk.stored;
    else if (chunk.status == TRN_ERR_NETWORK)
        end_broken(reply);
    else
        end(reply, chunk.status);
    return chunk.status == TRN_OK && chunk.stored == rows_per_chunk;
}

void read_chunks(Reply& reply, ResultSet& result, Chunks chunks) noexcept {
    if (read_chunk(reply, result)) {
        if (ends_here(reply) || reply.ended) return;
        put_more_rows(reply.conn.channel);
        while (read_chunk(reply, result) && chunks == Chunks::all) {
        }
    }
    if (!reply.ended) ends_here(reply);
}

} // namespace tarn
