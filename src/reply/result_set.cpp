#include "reply/result_set.h"

namespace tarn {

ResultSet* create_result(Conn& conn, int32_t kind) noexcept {
    ResultSet* result = allocate_record<ResultSet>();
    if (!result) return nullptr;
    result->head.kind = TRN_KIND_RESULT;
    result->kind = kind;
    result->conn = retain(conn);
    result->lob_descriptor = conn.settings.lob_descriptor;
    return result;
}

void drop_columns(ResultSet& result) noexcept {
    for (int32_t i = 0; i < result.column_count; ++i) {
        const ColumnDesc& column = result.descriptions[i];
        release(column.table ? column.table : column.name);
    }
    release(result.descriptions);
    release(result.columns);
    result.descriptions = nullptr;
    result.columns = nullptr;
    result.column_count = 0;
}

void drop_rows(ResultSet& result) noexcept {
    release_rows(result.rows);
    result.row_count = 0;
    result.upcoming = {};
    result.last_located = nullptr;
}

void release_result(ResultSet* result) noexcept {
    if (!result) return;
    drop_rows(*result);
    drop_columns(*result);
    release(result->head.error_text);
    drop_reference(result->conn);
    release(result);
}

void release_chain(ResultSet* head) noexcept {
    while (head) {
        ResultSet* next = head->next;
        release_result(head);
        head = next;
    }
}

void hand_out(ResultSet* head, TRN_HANDLE* out) noexcept {
    if (out)
        *out = head;
    else
        release_chain(head);
}

} // namespace tarn
