// Column descriptions: a count, then for each column its name, wire type, modifier and flags.
#include <cstring>

#include "reply/rows.h"
#include "reply/type_codes.h"
#include "wire/receive.h"

namespace tarn {

// The wire name is "table.name%label": the label follows the first "%", the name the first "." before it.
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

static int32_t read_column(Channel& channel, ColumnDesc& description, Column& column) noexcept {
    int32_t length;
    if (!read_i32(channel, length) || length < 0 || length > column_name_limit) return TRN_ERR_SERVER;
    Owned<char> wire_name;
    const int32_t status = read_block(channel, static_cast<size_t>(length), wire_name);
    if (status != TRN_OK) return status == TRN_ERR_MEMORY ? TRN_ERR_MEMORY : TRN_ERR_SERVER;
    cut_name(description, wire_name.release());
    if (!read_i32(channel, column.wire_type) || !read_i32(channel, description.modifier) ||
        !read_i32(channel, description.flags))
        return TRN_ERR_SERVER;
    const WireType type = wire_type(column.wire_type);
    description.api_type = type.api_code;
    column.width = type.width;
    return TRN_OK;
}

static bool make_columns(ResultSet& result, int32_t count) noexcept {
    result.descriptions = allocate_array<ColumnDesc>(static_cast<size_t>(count)).release();
    result.columns = allocate_array<Column>(static_cast<size_t>(count) + 1).release();
    result.column_count = result.descriptions && result.columns ? count : 0;
    return result.descriptions && result.columns;
}

static int32_t read_all_columns(Channel& channel, ResultSet& result) noexcept {
    int32_t count;
    if (!read_i32(channel, count) || count < 0 || count > column_limit) return TRN_ERR_NETWORK;
    if (!make_columns(result, count)) return TRN_ERR_MEMORY;
    for (int32_t i = 0; i < count; ++i)
        if (const int32_t status = read_column(channel, result.descriptions[i], result.columns[i]))
            return status;
    return TRN_OK;
}

int32_t read_columns(Channel& channel, ResultSet& result) noexcept {
    drop_columns(result);
    int32_t status = read_all_columns(channel, result);
    if (status != TRN_OK) {
        drop_columns(result);
        if (!make_columns(result, 0)) status = TRN_ERR_MEMORY;
    }
    if (status == TRN_ERR_MEMORY) close_channel(channel);
    return status;
}

int32_t skip_columns(Conn& conn) noexcept {
    const OwnedResult unasked(create_result(conn, TRN_ITEM_QUERY));
    const int32_t status = unasked ? read_columns(conn.channel, *unasked) : TRN_ERR_MEMORY;
    if (status == TRN_OK) return TRN_OK;
    close_channel(conn.channel);
    return status == TRN_ERR_MEMORY ? TRN_ERR_MEMORY : TRN_ERR_NETWORK;
}

} // namespace tarn
