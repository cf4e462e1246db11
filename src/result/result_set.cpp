#include "result/result_set.h"

#include "base/text.h"
#include "conn/messages.h"

namespace tarn {

ResultSet* create_result(Conn& conn, int32_t kind) noexcept {
    ResultSet* result = allocate_record<ResultSet>();
    if (!result) return nullptr;
    result->head.kind = TRN_KIND_RESULT;
    result->kind = kind;
    result->conn = retain(conn);
    result->lob_descriptor = conn.lob_descriptor;
    return result;
}

void release_columns(ResultSet& result) noexcept {
    for (int32_t i = 0; result.columns && i < result.column_count; ++i) {
        const ColumnDesc& column = result.columns[i];
        release(column.table ? column.table : column.name);
    }
    release(result.columns);
    release(result.slots);
    result.columns = nullptr;
    result.slots = nullptr;
    result.column_count = 0;
}

void release_rows(ResultSet& result) noexcept {
    release_directory(result.directory);
    release_pool(result.pool);
    result.directory = nullptr;
    result.pool = nullptr;
    result.row_count = result.current = 0;
    result.upcoming = {};
    result.current_row = nullptr;
}

void release_result(ResultSet* result) noexcept {
    if (!result) return;
    release_rows(*result);
    release_columns(*result);
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

int32_t append_row_to_new_block(ResultSet& result, uint8_t* row) noexcept {
    if (!result.directory) result.directory = allocate_record<RowDirectory>();
    if (!result.directory) return TRN_ERR_MEMORY;
    switch (add_block(*result.directory)) {
    case DirectoryOutcome::ready: return append_row(result, row);
    case DirectoryOutcome::full:
        print_line("%s\n", message::result_too_large);
        set_error_message(result.head, message::result_too_large);
        return TRN_ERR_SERVER;
    case DirectoryOutcome::out_of_memory: break;
    }
    return TRN_ERR_MEMORY;
}

} // namespace tarn
