// TRN_ExecBatch: one statement for every row of an array-bound set.
#include "stmt/batch.h"

#include "base/text.h"
#include "conn/call.h"
#include "conn/messages.h"
#include "stmt/encode.h"

namespace tarn {

static constexpr size_t error_area = 200;

BatchOutcome receive_batch_reply(Conn& conn) noexcept {
    ResultSet* result;
    ServerText worst_text = ServerText::none;
    const int32_t status = receive_results(conn, result, &worst_text);
    // The status does not change: a query has run, and its rows are dropped.
    if (result && result->kind == TRN_ITEM_QUERY) set_error_message(conn.head, message::batch_of_query);
    release_chain(result);
    // A warning gives a negative status too, but the server accepted the rows.
    const bool warned = status == TRN_ERR_SERVER && worst_text == ServerText::warning;
    return {status, worst_text != ServerText::error && (status >= 0 || warned)};
}

static int32_t execute_bound(Conn& conn, const char* sql, const ParamSet& set) noexcept {
    if (const int32_t refused = check_rows(set)) return refused;
    BatchEncoder encoder(conn, set);
    if (!encoder.ready()) return TRN_ERR_MEMORY;
    return execute_batch(conn, sql, entry_count(set), set.array_size, encoder);
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
    const int32_t status = execute_bound(*conn, sql, *set);
    // The set stays bound, empty.
    release_params_content(*set);
    return status;
}
