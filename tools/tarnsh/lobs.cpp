#include "lobs.h"

#include "output.h"
#include "terminal.h"
#include "text.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

namespace tarnsh {

namespace {

constexpr std::size_t piece_size = 1 << 20;

class Lob {
  public:
    Lob() {
        if (TRN_Create_Lob(&handle_) != TRN_OK) fail(exit_shell, "out of memory");
    }
    Lob(const Lob&) = delete;
    Lob& operator=(const Lob&) = delete;
    ~Lob() { TRN_Distroy_Lob(&handle_); }
    TRN_HANDLE* handle() { return &handle_; }

  private:
    TRN_HANDLE handle_ = nullptr;
};

std::size_t fill(Lob& lob, const std::string& path) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(open_file(path, "rb"), std::fclose);
    if (!file) fail(exit_shell, "cannot read " + path + ": " + std::strerror(errno));
    std::vector<char> piece(piece_size);
    std::size_t total = 0;
    while (const std::size_t got = std::fread(piece.data(), 1, piece.size(), file.get())) {
        total += got;
        if (total > std::numeric_limits<std::int32_t>::max())
            fail(exit_shell, path + " is too large: 2 GiB are not possible");
        if (TRN_Put_Lob_data(lob.handle(), piece.data(), static_cast<std::int32_t>(got)) != TRN_OK)
            fail(exit_shell, "out of memory");
    }
    if (std::ferror(file.get()) != 0) fail(exit_shell, "cannot read " + path + " to its end");
    TRN_Put_Lob_data(lob.handle(), nullptr, TRN_LOB_END);
    return total;
}

// The last dot outside of double quotes.
std::size_t column_dot(std::string_view name) {
    std::size_t dot = name.npos;
    bool quoted = false;
    for (std::size_t i = 0; i < name.size(); ++i) {
        if (name[i] == '"') quoted = !quoted;
        if (name[i] == '.' && !quoted) dot = i;
    }
    return dot;
}

bool holds_text(Session& session, const std::string& table, const std::string& column) {
    const std::vector<Column> columns = describe(session, "SELECT " + column + " FROM " + table);
    return !columns.empty() && (columns[0].type == TRN_TYPE_CLOB || columns[0].type == TRN_TYPE_TEXT);
}

void write_lob(Lob& lob, Output& output) {
    std::vector<char> piece(piece_size);
    TRN_LobRead_SetPos(lob.handle(), 0);
    for (std::int32_t got; (got = TRN_Get_Lob_data(lob.handle(), piece.data(), piece_size)) > 0;)
        output.write({piece.data(), static_cast<std::size_t>(got)});
}

// The value of the current row's first column goes into the file.
void write_value(Session& session, Result& result, std::int32_t type, const std::string& path) {
    if (is_lob(type)) {
        Lob lob;
        const std::int32_t status = TRN_GetData(result.handle(), 1, type, lob.handle(), 0, nullptr);
        if (status == TRN_NULL_VALUE) fail(exit_statement, "the value is null");
        check_call(session, status);
        Output output(path);
        write_lob(lob, output);
        return output.close();
    }
    Cell cell;
    check_call(session, read_cell(result, 1, type, nullptr, cell));
    if (cell.null) fail(exit_statement, "the value is null");
    std::string bytes;
    Output output(path);
    output.write(is_binary(type) && bytes_of_hex(cell.text, bytes) ? bytes : cell.text);
    output.close();
}

} // namespace

void import_lob(Session& session, std::string_view arguments) {
    const std::string place = take_word(arguments);
    const std::string path = take_word(arguments);
    const std::size_t dot = column_dot(place);
    const bool updates = first_word(arguments) == "WHERE";
    if (dot == place.npos || path.empty() || (!updates && !arguments.empty()))
        fail(exit_shell, "usage: \\lob_import TABLE.COLUMN FILE [WHERE CONDITION]");
    const std::string table = place.substr(0, dot), column = place.substr(dot + 1);
    const std::int32_t type = holds_text(session, table, column) ? TRN_TYPE_CLOB : TRN_TYPE_BLOB;
    Lob lob;
    const std::size_t size = fill(lob, path);
    const std::string sql = updates ? fmt::format("UPDATE {} SET {} = ? {}", table, column, arguments)
                                    : fmt::format("INSERT INTO {} ({}) VALUES (?)", table, column);
    check_call(session,
               TRN_BindParamByPos(&session.handle, 1, TRN_DIRECTION_IN, type, lob.handle(), 0, nullptr));
    const std::int32_t rows = TRN_Execute_no_query(&session.handle, sql.c_str());
    check_call(session, rows);
    if (rows == 0) fail(exit_statement, "no row was found to take the value");
    note(session, fmt::format("{} bytes stored in {} row{}", size, rows, rows == 1 ? "" : "s"));
}

void export_lob(Session& session, std::string_view arguments) {
    const std::size_t close = arguments.rfind(')');
    if (!arguments.starts_with('(') || close == arguments.npos)
        fail(exit_shell, "usage: \\lob_export (QUERY) FILE");
    const std::string query(trim(arguments.substr(1, close - 1)));
    std::string_view rest = arguments.substr(close + 1);
    const std::string path = take_word(rest);
    if (path.empty() || !rest.empty()) fail(exit_shell, "usage: \\lob_export (QUERY) FILE");
    Result result;
    check_call(session, TRN_ExecwithDataReader(&session.handle, query.c_str(), result.handle(), nullptr,
                                               nullptr, nullptr));
    const std::vector<Column> columns = result.empty() ? std::vector<Column>{} : columns_of(result);
    if (columns.empty() || TRN_ReadNext(result.handle()) != TRN_OK)
        fail(exit_statement, "the query gives no row");
    write_value(session, result, columns[0].type, path);
    note(session, "written to " + path);
}

} // namespace tarnsh
