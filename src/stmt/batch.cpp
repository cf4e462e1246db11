// TRN_ExecBatch: one statement for every row of an array-bound set, in as few requests as possible.
#include <algorithm>
#include <cstring>

#include "base/text.h"
#include "conn/call.h"
#include "conn/messages.h"
#include "reply/reply.h"
#include "stmt/encode.h"
#include "stmt/submit.h"
#include "wire/send.h"

namespace tarn {

static constexpr size_t error_area = 200;

// The command's parameter word has 16 bits each for rows and parameters.
static constexpr int32_t rows_per_request = 65535;

namespace {

// The outcome of one request.
struct Outcome {
    int32_t status;
    ServerText worst_text;

    // A warning gives a negative status too, but the server accepted the rows.
    bool taken() const noexcept {
        const bool warned = status == TRN_ERR_SERVER && worst_text == ServerText::warning;
        return worst_text != ServerText::error && (status >= 0 || warned);
    }
};

} // namespace

static Outcome execute_rows(Conn& conn, const char* sql, const ParamSet& set, BatchEncoder& encoder,
                            int32_t rows) noexcept {
    if (!finish_last_reply(conn, SIZE_MAX)) return {TRN_ERR_NETWORK, ServerText::none};
    put_command(conn.channel, sql, std::strlen(sql), static_cast<uint32_t>(rows) << 16 | entry_count(set));
    encoder.encode(rows);
    flush_send(conn.channel);
    ResultSet* result;
    Outcome outcome;
    outcome.status = receive_results(conn, result, &outcome.worst_text);
    // The status does not change: a query has run, and its rows are dropped.
    if (result && result->kind == TRN_ITEM_QUERY) set_error_message(conn.head, message::batch_of_query);
    release_chain(result);
    return outcome;
}

static int32_t execute_batch(Conn& conn, const char* sql, const ParamSet& set) noexcept {
    if (const int32_t refused = check_rows(set)) return refused;
    BatchEncoder encoder(conn, set);
    if (!encoder.ready()) return TRN_ERR_MEMORY;
    int32_t status = TRN_OK;
    for (int32_t left = set.array_size; left > 0;) {
        const int32_t rows = std::min(left, rows_per_request);
        const Outcome outcome = execute_rows(conn, sql, set, encoder, rows);
        left -= rows;
        if (outcome.status < 0 || status >= 0) status = outcome.status;
        // Rows not sent are no success, whatever followed the error.
        if (!outcome.taken()) return left > 0 ? std::min(status, TRN_ERR_SERVER) : status;
    }
    return status;
}

} // namespace tarn

using namespace tarn;

int32_t TRN_ExecBatch(TRN_HANDLE* handle, const char* sql, int32_t array_count) {
    const RunningCall conn(handle, sql);
    if (!conn) return TRN_ERR_ARGUMENT;
    ParamSet* set = conn->bound_params;
    if (!set) {
        set_error_message(conn->head, message::batch_without_parameters);
        return -1;
    }
    if (set->array_size != array_count || array_count < 1) {
        set_error_text(conn->head,
                       format_text(error_area, message::batch_size_differs, set->array_size, array_count));
        return -1;
    }
    const int32_t status = execute_batch(*conn, sql, *set);
    // The set stays bound, empty.
    release_params_content(*set);
    return status;
}
