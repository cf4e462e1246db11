// Stepping through rows and result items, counts, and the release of results.
#include <cstring>

#include "reply/result_set.h"

using namespace tarn;

int32_t TRN_ReadNext(TRN_HANDLE* handle) {
    ResultSet* result = result_of(handle);
    if (!result) return -1;
    return go_to_next_row(*result) ? TRN_OK : TRN_END;
}

int32_t TRN_NextResult(TRN_HANDLE* handle) {
    ResultSet* result = result_of(handle);
    if (!result) return TRN_OK;
    if (!result->next) return TRN_END;
    *handle = result->next;
    release_result(result);
    return TRN_OK;
}

int32_t TRN_FreeRowset(TRN_HANDLE* handle) {
    if (!handle) return TRN_OK;
    release_result(result_of(handle));
    *handle = nullptr;
    return TRN_OK;
}

int32_t TRN_FreePtr(void** pointer) {
    if (!pointer) return TRN_OK;
    release(*pointer);
    *pointer = nullptr;
    return TRN_OK;
}

// The reserved kind is accepted, without content.
static int32_t refusal(const TRN_HANDLE* handle) noexcept {
    return kind_of(handle) == TRN_KIND_RESERVED ? TRN_OK : TRN_ERR_ARGUMENT;
}

int32_t TRN_getResultColumnsnum(TRN_HANDLE* handle, int32_t* count) {
    const ResultSet* result = result_of(handle);
    if (!result) return refusal(handle);
    if (!count) return TRN_ERR_ARGUMENT;
    *count = result->column_count;
    return TRN_OK;
}

int32_t TRN_getResultRecordnum(TRN_HANDLE* handle, int32_t* count) {
    const ResultSet* result = result_of(handle);
    if (!result) return refusal(handle);
    if (!count) return TRN_ERR_ARGUMENT;
    *count = static_cast<int32_t>(result->row_count);
    return TRN_OK;
}

int32_t TRN_getResultRet(TRN_HANDLE* handle, int32_t* kind, int32_t* column_count, int32_t* row_count,
                         int32_t* affected_count, char* identifier) {
    const ResultSet* result = result_of(handle);
    if (!result) return TRN_ERR_ARGUMENT;
    if (kind) *kind = result->kind;
    switch (result->kind) {
    case TRN_ITEM_INSERT:
        if (!identifier) break;
        std::memset(identifier, 0, 25);
        std::memcpy(identifier, result->insert_id, std::strlen(result->insert_id));
        break;
    case TRN_ITEM_UPDATE:
    case TRN_ITEM_DELETE:
        if (affected_count) *affected_count = result->affected;
        break;
    case TRN_ITEM_QUERY:
        if (column_count) *column_count = result->column_count;
        if (row_count) *row_count = static_cast<int32_t>(result->row_count);
        break;
    default: break;
    }
    return TRN_OK;
}
