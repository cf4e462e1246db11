#include "session.h"

#include "library_lines.h"
#include "text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

namespace tarnsh {

namespace {

constexpr const char* cursor_name = "tarnsh_rows";

bool is_lost(std::int32_t status, const Printed& printed) {
    return printed.lost || (status == TRN_ERR_NETWORK && printed.error.empty());
}

// Warnings have the status of an error.
bool has_only_warned(std::int32_t status, const Printed& printed) {
    return status == TRN_ERR_SERVER && printed.error.empty() && printed.warned;
}

void judge(Session& session, std::int32_t status, const Printed& printed) {
    if (is_lost(status, printed)) {
        session.connected = false;
        fail(exit_connection,
             "the connection is lost" + (printed.network.empty() ? "" : ": " + printed.network));
    }
    if (!printed.error.empty()) fail(exit_statement, printed.error);
    if (status >= 0 || has_only_warned(status, printed)) return;
    if (status == TRN_ERR_MEMORY) fail(exit_shell, "out of memory");
    // Other statuses come without a text, and one of an earlier failure may still be there.
    const std::string text = status == TRN_ERR_SERVER ? error_text(session) : "";
    fail(exit_statement,
         text.empty() ? fmt::format("the library refuses this with status {}", status) : text);
}

bool may_be_query(const std::string& sql) {
    const std::string word = first_word(sql);
    return word == "SELECT" || word == "VALUES" || word == "WITH";
}

void pass_rows(Session& session, Result& result, const std::vector<Column>& columns, RowSink& sink) {
    RowReader reader(result, columns, session.descriptors, sink.marks());
    while (TRN_ReadNext(result.handle()) == TRN_OK) {
        if (session.is_stopped && session.is_stopped()) fail(exit_statement, "stopped");
        const std::int32_t status = reader.read();
        if (status != TRN_OK) check_call(session, status);
        sink.row(reader.cells());
    }
}

// Closes the cursor, also when reading its rows has failed.
class CursorGuard {
  public:
    explicit CursorGuard(Session& session) : session_(session) {}
    CursorGuard(const CursorGuard&) = delete;
    CursorGuard& operator=(const CursorGuard&) = delete;
    ~CursorGuard() {
        if (closed_ || !session_.connected) return;
        TRN_CloseCursor(session_.handle(), cursor_name);
        drop_library_lines();
    }
    void close() {
        closed_ = true;
        check_call(session_, TRN_CloseCursor(session_.handle(), cursor_name));
    }

  private:
    Session& session_;
    bool closed_ = false;
};

// False when the server refuses a cursor for the statement, which has then not run.
bool run_by_cursor(Session& session, const std::string& sql, RowSink& sink) {
    Result head;
    const std::int32_t opened =
        TRN_ExecwithServerCursorReader(session.handle(), sql.c_str(), cursor_name, head.handle(), nullptr);
    const Printed printed = take_printed(session);
    if (opened == TRN_ERR_SERVER && !is_lost(opened, printed) && !has_only_warned(opened, printed))
        return false;
    judge(session, opened, printed);
    CursorGuard cursor(session);
    bool begun = false;
    for (std::int32_t rows = 1; rows > 0;) {
        Result rowset;
        const std::int32_t status =
            TRN_FetchServerCursorRowset(session.handle(), cursor_name, rowset.handle());
        rows = 0;
        if (!rowset.empty()) {
            TRN_getResultRecordnum(rowset.handle(), &rows);
            const std::vector<Column> columns = columns_of(rowset);
            if (!begun) sink.begin(columns);
            begun = true;
            pass_rows(session, rowset, columns, sink);
        }
        check_call(session, status);
    }
    // The types of expressions are only known with the rows.
    if (!begun && !head.empty()) sink.begin(columns_of(head));
    if (begun || !head.empty()) sink.end();
    cursor.close();
    return true;
}

void note_item(Session& session, Result& result) {
    std::int32_t kind = 0, affected = 0;
    std::array<char, 33> identifier{};
    TRN_getResultRet(result.handle(), &kind, nullptr, nullptr, &affected, identifier.data());
    if (kind == TRN_ITEM_INSERT) note(session, fmt::format("inserted, last row id {}", identifier.data()));
    if (kind == TRN_ITEM_UPDATE) note(session, counted(affected, "row") + " updated");
    if (kind == TRN_ITEM_DELETE) note(session, counted(affected, "row") + " deleted");
}

void pass_items(Session& session, Result& result, RowSink& sink) {
    if (result.empty()) return;
    do {
        const std::vector<Column> columns = columns_of(result);
        if (columns.empty()) {
            note_item(session, result);
            continue;
        }
        sink.begin(columns);
        pass_rows(session, result, columns, sink);
        sink.end();
    } while (result.next_item());
}

class ColumnSink final : public RowSink {
  public:
    void begin(const std::vector<Column>& given) override { columns = given; }
    void row(const std::vector<Cell>&) override {}
    void end() override {}

    std::vector<Column> columns;
};

} // namespace

void check_call(Session& session, std::int32_t status) {
    judge(session, status, take_printed(session));
}

void run_statement(Session& session, const std::string& sql, RowSink& sink) {
    if (sql.find('\0') != std::string::npos) fail(exit_statement, "the statement holds a zero byte");
    if (session.cursors && may_be_query(sql) && run_by_cursor(session, sql, sink)) return;
    Result result;
    const std::int32_t status =
        TRN_ExecwithDataReader(session.handle(), sql.c_str(), result.handle(), nullptr, nullptr, nullptr);
    const bool nothing = result.empty();
    pass_items(session, result, sink);
    check_call(session, status);
    if (nothing) note(session, "done");
}

std::vector<Column> describe(Session& session, const std::string& query) {
    ColumnSink sink;
    run_statement(session, query + " WHERE 1 = 0", sink);
    return sink.columns;
}

} // namespace tarnsh
