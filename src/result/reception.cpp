// Result reception: the items of one reply into a chain of results.
#include <utility>

#include "conn/messages.h"
#include "result/reply.h"
#include "result/rows.h"
#include "wire/receive.h"

namespace tarn {

namespace {

// A chain under construction; whatever is not handed out is released.
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

// Where the reception of a reply stands after an item: go on, or end with that outcome.
struct Step {
    int32_t status;  // TRN_OK, or the failure that ends the reception without any item
    int32_t outcome; // what the call returns if this was the last item
};

} // namespace

static constexpr int32_t rows_per_batch = 20000;

static Step out_of_memory(Conn& conn) noexcept {
    break_link(conn);
    return {TRN_ERR_MEMORY, 0};
}

// Whatever the column reader thought of the description, rows follow it.
static Step receive_query(Conn& conn, Chain& chain) noexcept {
    ResultSet* item = chain.add(conn, TRN_ITEM_QUERY);
    if (!item) return out_of_memory(conn);
    if (read_columns(conn, *item) == TRN_ERR_MEMORY) return {TRN_ERR_MEMORY, 0};
    for (;;) {
        const RowBatch batch = read_rows(conn, *item, rows_per_batch);
        if (batch.status != TRN_OK) return {batch.status, batch.status};
        if (batch.stored < rows_per_batch) return {TRN_OK, batch.stored};
    }
}

static Step receive_count(Conn& conn, Chain& chain, uint8_t type, int32_t outcome) noexcept {
    int32_t count;
    if (!read_i32(conn, count)) return {TRN_ERR_NETWORK, outcome};
    ResultSet* item = chain.add(conn, type == 'U' ? TRN_ITEM_UPDATE : TRN_ITEM_DELETE);
    if (!item) return out_of_memory(conn);
    item->affected = count;
    return {TRN_OK, outcome};
}

static Step receive_insert(Conn& conn, Chain& chain, int32_t outcome) noexcept {
    ResultSet* item = chain.add(conn, TRN_ITEM_INSERT);
    if (!item) return out_of_memory(conn);
    return {read_insert_id(conn, item->insert_id) ? TRN_OK : TRN_ERR_NETWORK, outcome};
}

static Step receive_text(Conn& conn, const char* print_form) noexcept {
    return {take_server_text(conn, print_form), TRN_ERR_SERVER};
}

int32_t receive_results(Conn& conn, ResultSet*& head) noexcept {
    head = nullptr;
    Chain chain;
    Step step{};
    uint8_t type;
    for (bool read = begin_reply(conn, type);; read = next_item(conn, type)) {
        if (!read) return TRN_ERR_NETWORK;
        switch (type) {
        case 'A': step = receive_query(conn, chain); break;
        case 'U':
        case 'D': step = receive_count(conn, chain, type, step.outcome); break;
        case 'I': step = receive_insert(conn, chain, step.outcome); break;
        case 'E':
        case 'F': step = receive_text(conn, message::print_error_in_result); break;
        case 'M':
        case 'W': step = receive_text(conn, message::print_warning_in_result); break;
        default:
            leave_reply(conn, type);
            head = chain.hand_out();
            return step.outcome;
        }
        if (step.status == TRN_ERR_SERVER) { // the row limit: what was stored stays
            head = chain.hand_out();
            return TRN_ERR_SERVER;
        }
        if (step.status != TRN_OK) return step.status;
    }
}

} // namespace tarn
