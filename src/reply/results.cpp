// Receiving results: the items of one reply into a chain, or the rows of a cursor into one.
#include <utility>

#include "reply/reply.h"
#include "reply/rows.h"
#include "wire/receive.h"

namespace tarn {

namespace {

// A chain under construction; it is released unless handed out.
class Chain {
  public:
    ~Chain() { release_chain(head_); }
    // A new last item; null when memory is short.
    ResultSet* add(Conn& conn, int32_t kind) noexcept {
        ResultSet* item = create_result(conn, kind);
        if (item) (last_ ? last_->next : head_) = item;
        if (item) last_ = item;
        return item;
    }
    ResultSet* hand_out() noexcept { return std::exchange(head_, nullptr); }

  private:
    ResultSet* head_ = nullptr;
    ResultSet* last_ = nullptr;
};

} // namespace

static constexpr int32_t rows_per_batch = 20000;

static bool hands_out(const Reply& reply) noexcept {
    return reply.status != TRN_ERR_NETWORK && reply.status != TRN_ERR_MEMORY;
}

// Rows follow even a description that could not be read. The status becomes the rows of the last batch; at
// the row limit it is -1, and what was stored stays.
static void receive_query(Reply& reply, ResultSet& item, int32_t batch_limit) noexcept {
    Channel& channel = reply.conn.channel;
    if (read_columns(channel, item) == TRN_ERR_MEMORY) return end(reply, TRN_ERR_MEMORY);
    RowBatch batch;
    do {
        batch = read_rows(channel, item, batch_limit);
        reply.status = batch.stored;
    } while (batch.status == TRN_OK && batch.stored == batch_limit);
    end_rows(item);
    if (batch.status != TRN_OK) end(reply, batch.status);
}

static void receive_count(Reply& reply, ResultSet& item) noexcept {
    if (!read_i32(reply.conn.channel, item.affected)) end_broken(reply);
}

static void receive_insert(Reply& reply, ResultSet& item) noexcept {
    if (!read_insert_id(reply.conn, item.insert_id)) end_broken(reply);
}

static void receive_item(Reply& reply, Chain& chain, int32_t kind) noexcept {
    ResultSet* item = chain.add(reply.conn, kind);
    if (!item) return end_out_of_memory(reply);
    switch (kind) {
    case TRN_ITEM_QUERY: return receive_query(reply, *item, rows_per_batch);
    case TRN_ITEM_INSERT: return receive_insert(reply, *item);
    default: return receive_count(reply, *item);
    }
}

int32_t receive_results(Conn& conn, ResultSet*& head, ServerText* worst_text) noexcept {
    Chain chain;
    Reply reply{conn};
    while (next_item(reply)) {
        switch (reply.type) {
        case MessageType::query: receive_item(reply, chain, TRN_ITEM_QUERY); break;
        case MessageType::update_count: receive_item(reply, chain, TRN_ITEM_UPDATE); break;
        case MessageType::delete_count: receive_item(reply, chain, TRN_ITEM_DELETE); break;
        case MessageType::insert_id: receive_item(reply, chain, TRN_ITEM_INSERT); break;
        default: end_before(reply, reply.status);
        }
    }
    if (worst_text) *worst_text = reply.worst_text;
    head = hands_out(reply) ? chain.hand_out() : nullptr;
    return reply.status;
}

// The whole rowset is one batch. A second one in the same reply replaces the first.
static void receive_fetched_rows(Reply& reply, OwnedResult& rowset) noexcept {
    if (!rowset) rowset.reset(create_result(reply.conn, TRN_ITEM_QUERY));
    if (!rowset) return end_out_of_memory(reply);
    drop_rows(*rowset);
    receive_query(reply, *rowset, INT32_MAX);
}

int32_t receive_rowset(Conn& conn, OwnedResult& rowset) noexcept {
    Reply reply{conn};
    while (next_item(reply)) {
        switch (reply.type) {
        case MessageType::query: receive_fetched_rows(reply, rowset); break;
        default: end_before(reply, reply.status); // a cursor returns rows and nothing else
        }
    }
    if (rowset && !hands_out(reply)) {
        drop_rows(*rowset);
        drop_columns(*rowset);
    }
    return reply.status;
}

} // namespace tarn
