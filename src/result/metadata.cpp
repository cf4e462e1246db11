// Column metadata. For a column out of range some calls return -1 and some -15; applications tell them apart,
// so it must stay that way.
#include <cstring>

#include "base/text.h"
#include "reply/result_set.h"

using namespace tarn;

static constexpr int32_t column_out_of_range = -1;

// The label, or the name when there is no label; null when there is neither.
static const char* shown_name(const ColumnDesc& column) noexcept {
    return column.label ? column.label : column.name;
}

static void copy_cleared(char* buffer, const char* text) noexcept {
    if (!buffer) return;
    std::memset(buffer, 0, 128);
    if (text) std::memcpy(buffer, text, std::strlen(text));
}

int32_t TRN_getResultColInfo(TRN_HANDLE* handle, int32_t column_number, char* table, char* name, char* label,
                             int32_t* type, int32_t* modifier, int32_t* flags) {
    const ResultSet* result = result_of(handle);
    if (!result) return TRN_ERR_ARGUMENT;
    const ColumnDesc* column = column_of(*result, column_number);
    if (!column) return column_out_of_range;
    copy_cleared(table, column->table);
    copy_cleared(name, column->name);
    copy_cleared(label, column->label);
    if (type) *type = column->api_type;
    if (modifier) *modifier = column->modifier;
    if (flags) *flags = column->flags;
    return TRN_OK;
}

int32_t TRN_getResultcolType(TRN_HANDLE* handle, int32_t column_number, int32_t* type) {
    const ResultSet* result = result_of(handle);
    if (!result || !type) return TRN_ERR_ARGUMENT;
    const ColumnDesc* column = column_of(*result, column_number);
    if (!column) return TRN_ERR_COLUMN;
    *type = column->api_type;
    return TRN_OK;
}

int32_t TRN_getResultcolmodi(TRN_HANDLE* handle, int32_t column_number, int32_t* modifier) {
    const ResultSet* result = result_of(handle);
    if (!result || !modifier) return TRN_ERR_ARGUMENT;
    const ColumnDesc* column = column_of(*result, column_number);
    if (!column) return TRN_ERR_COLUMN;
    *modifier = column->modifier;
    return TRN_OK;
}

int32_t TRN_getResultcolname(TRN_HANDLE* handle, int32_t column_number, char* name) {
    const ResultSet* result = result_of(handle);
    if (!result || !name) return TRN_ERR_ARGUMENT;
    const ColumnDesc* column = column_of(*result, column_number);
    if (!column) return column_out_of_range;
    if (const char* text = shown_name(*column)) std::memcpy(name, text, std::strlen(text));
    return TRN_OK;
}

int32_t TRN_getResultcolseq(TRN_HANDLE* handle, const char* name) {
    const ResultSet* result = result_of(handle);
    if (!result || !name) return TRN_ERR_ARGUMENT;
    for (int32_t i = 0; i < result->column_count; ++i) {
        const char* candidate = shown_name(result->descriptions[i]);
        if (candidate && equal_ignoring_case(candidate, name)) return i + 1;
    }
    return 0;
}
