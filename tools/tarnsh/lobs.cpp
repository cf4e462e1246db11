#include "lobs.h"

#include "output.h"
#include "text.h"

#include <fmt/format.h>

#include <cstdint>
#include <cstdio>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace tarnsh {

namespace {

constexpr std::size_t piece_size = 1 << 20;

std::size_t fill(Lob& lob, const std::string& path) {
    const File file = open_to_read(path);
    std::vector<char> piece(piece_size);
    std::size_t total = 0;
    while (const std::size_t got = std::fread(piece.data(), 1, piece.size(), file.get())) {
        total += got;
        if (total > std::numeric_limits<std::int32_t>::max())
            fail(exit_shell, path + " is too large: the limit is 2 GiB");
        if (TRN_Put_Lob_data(lob.handle(), piece.data(), static_cast<std::int32_t>(got)) != TRN_OK)
            fail(exit_shell, "out of memory");
    }
    if (std::ferror(file.get()) != 0) fail_to_read(path);
    TRN_Put_Lob_data(lob.handle(), nullptr, TRN_LOB_END);
    return total;
}

bool holds_text(Session& session, const std::string& table, const std::string& column) {
    const std::vector<Column> columns = describe(session, "SELECT " + column + " FROM " + table);
    return !columns.empty() && (columns[0].type == TRN_TYPE_CLOB || columns[0].type == TRN_TYPE_TEXT);
}

bool has_bytes(std::int32_t type) {
    return is_binary(type) || type == TRN_TYPE_TEXT || type == TRN_TYPE_CLOB;
}

// Writes the first column of the current row to the file.
void write_value(Session& session, Result& result, const std::vector<Column>& columns,
                 const std::string& path) {
    const std::int32_t type = columns[0].type;
    const bool by_lob = session.descriptors && (type == TRN_TYPE_CLOB || type == TRN_TYPE_BLOB);
    Lob lob;
    RowReader reader(result, {columns[0]}, false, {});
    const std::int32_t status =
        by_lob ? TRN_GetData(result.handle(), 1, type, lob.handle(), 0, nullptr) : reader.read();
    if (status == TRN_NULL_VALUE || reader.cells()[0].null) fail(exit_statement, "the value is null");
    check_call(session, status);
    Output output(path);
    LongValue value(result, 1, by_lob ? &lob : nullptr, LongValue::As::bytes);
    if (!has_bytes(type))
        output.write(reader.cells()[0].text);
    else
        for (std::string_view piece; !(piece = value.next()).empty();)
            output.write(piece);
    output.close();
}

} // namespace

bool import_lob(Session& session, std::string_view arguments) {
    const std::string place = take_name(arguments), path = take_word(arguments);
    const std::size_t dot = last_dot(place);
    const bool updates = first_word(arguments) == "WHERE";
    if (dot == place.npos || path.empty() || (!updates && !arguments.empty())) return false;
    const std::string table = place.substr(0, dot), column = place.substr(dot + 1);
    const std::int32_t type = holds_text(session, table, column) ? TRN_TYPE_CLOB : TRN_TYPE_BLOB;
    Lob lob;
    const std::size_t size = fill(lob, path);
    const std::string sql = updates ? fmt::format("UPDATE {} SET {} = ? {}", table, column, arguments)
                                    : fmt::format("INSERT INTO {} ({}) VALUES (?)", table, column);
    check_call(session,
               TRN_BindParamByPos(session.handle(), 1, TRN_DIRECTION_IN, type, lob.handle(), 0, nullptr));
    const std::int32_t rows = TRN_Execute_no_query(session.handle(), sql.c_str());
    check_call(session, rows);
    if (rows == 0) fail(exit_statement, "no row was found to take the value");
    note(session, fmt::format("{} stored in {}", counted(static_cast<std::int64_t>(size), "byte"),
                              counted(rows, "row")));
    return true;
}

bool export_lob(Session& session, std::string_view arguments) {
    const std::optional<std::string> query = take_brackets(arguments);
    const std::string path = take_word(arguments);
    if (!query || path.empty() || !arguments.empty()) return false;
    Result result;
    check_call(session, TRN_ExecwithDataReader(session.handle(), query->c_str(), result.handle(), nullptr,
                                               nullptr, nullptr));
    const std::vector<Column> columns = result.empty() ? std::vector<Column>{} : columns_of(result);
    if (columns.empty() || TRN_ReadNext(result.handle()) != TRN_OK)
        fail(exit_statement, "the query gives no row");
    write_value(session, result, columns, path);
    note(session, "written to " + path);
    return true;
}

} // namespace tarnsh
