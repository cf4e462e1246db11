// Column descriptions: a count, then for each column its name, wire type, modifier and flags.
#include <cstring>

#include "result/rows.h"
#include "result/type_codes.h"
#include "wire/receive.h"

namespace tarn {

// The wire name is "table.name%label": the label begins behind the first "%", the name behind the first "." before it.
static void cut_name(ColumnDesc& column, char* wire_name) noexcept {
    column.name = wire_name;
    if (char* percent = std::strchr(wire_name, '%')) {
        *percent = 0;
        column.label = percent + 1;
    }
    if (char* dot = std::strchr(wire_name, '.')) {
        *dot = 0;
        column.table = wire_name;
        column.name = dot + 1;
    }
}

static int32_t read_column(Conn& conn, ColumnDesc& column, Slot& slot) noexcept {
    int32_t length;
    if (!read_i32(conn, length) || length < 0 || length > column_name_limit) return TRN_ERR_SERVER;
    Owned<char> wire_name;
    const int32_t status = read_block(conn, static_cast<size_t>(length), wire_name);
    if (status != TRN_OK) return status == TRN_ERR_MEMORY ? TRN_ERR_MEMORY : TRN_ERR_SERVER;
    cut_name(column, wire_name.release());
    if (!read_i32(conn, slot.wire_type) || !read_i32(conn, column.modifier) || !read_i32(conn, column.flags))
        return TRN_ERR_SERVER;
    const WireType type = wire_type(slot.wire_type);
    column.api_type = type.api_code;
    slot.size = static_cast<uint8_t>(type.slot_size);
    return TRN_OK;
}

static void lay_out_row(ResultSet& result) noexcept {
    int32_t offset = static_cast<int32_t>(bitmap_size(result.column_count));
    for (int32_t i = 0; i < result.column_count; ++i) {
        Slot& slot = result.slots[i];
        slot.null_offset = i / 8;
        slot.null_bit = static_cast<uint8_t>(1 << i % 8);
        slot.offset = offset;
        offset += slot.size;
    }
    result.row_size = offset;
}

static int32_t read_all_columns(Conn& conn, ResultSet& result) noexcept {
    int32_t count;
    if (!read_i32(conn, count) || count < 0 || count > column_limit) return TRN_ERR_NETWORK;
    result.columns = allocate_array<ColumnDesc>(static_cast<size_t>(count)).release();
    result.slots = allocate_array<Slot>(static_cast<size_t>(count)).release();
    if (!result.columns || !result.slots) return TRN_ERR_MEMORY;
    result.column_count = count;
    for (int32_t i = 0; i < count; ++i)
        if (const int32_t status = read_column(conn, result.columns[i], result.slots[i])) return status;
    return TRN_OK;
}

int32_t read_columns(Conn& conn, ResultSet& result) noexcept {
    release_columns(result);
    const int32_t status = read_all_columns(conn, result);
    if (status != TRN_OK) release_columns(result);
    if (status == TRN_ERR_MEMORY) break_link(conn);
    lay_out_row(result);
    return status;
}

} // namespace tarn
