#include "session.h"

#include "terminal.h"
#include "text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <optional>
#include <string_view>

namespace tarnsh {

namespace {

constexpr const char* cursor_name = "tarnsh_rows";
constexpr std::int32_t attribute_descriptors = 9, attribute_no_cursors = 12;

enum class LineKind {
    error,
    warning,
    message,
    network,
    none,
};

struct LineStart {
    std::string_view text;
    LineKind kind;
};

constexpr LineStart line_starts[] = {
    {"Server Error ", LineKind::error},     {"[EC031]Error in recv result :", LineKind::error},
    {"Server Warning ", LineKind::warning}, {"[EC032]Server Warning in recv result :", LineKind::warning},
    {"Server Message ", LineKind::message}, {"Net Error ", LineKind::network}};

LineStart start_of(std::string_view line) {
    for (const LineStart& start : line_starts)
        if (line.starts_with(start.text)) return start;
    return {"", LineKind::none};
}

// What the library printed during one call.
struct Printed {
    std::string error;
    bool warned = false;
    bool lost = false;
    std::string network; // the step at which the link broke
};

void finish_line(Session& session, LineKind kind, std::string_view text, Printed& printed) {
    text = trim(text);
    if (kind == LineKind::error) {
        if (!printed.error.empty()) printed.error += '\n';
        printed.error += text;
    } else if (kind == LineKind::network) {
        printed.lost = true;
        printed.network = text;
    } else if (!text.empty()) {
        printed.warned = printed.warned || kind != LineKind::none;
        if (!session.silent)
            say(fmt::format("{}: {}", kind == LineKind::warning ? "warning" : "notice", text));
    }
}

// A text of the server may hold line feeds: a line without a start of its own goes on with the one before.
Printed take_printed(Session& session) {
    Printed printed;
    const std::string all = take_library_output();
    std::string text;
    LineKind kind = LineKind::none;
    for (std::string_view rest = all; !rest.empty();) {
        const std::string_view line = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(std::min(rest.size(), line.size() + 1));
        const LineStart start = start_of(line);
        if (start.kind != LineKind::none) {
            finish_line(session, kind, text, printed);
            kind = start.kind;
            text.clear();
        } else {
            text += '\n';
        }
        text += line.substr(start.text.size());
    }
    finish_line(session, kind, text, printed);
    return printed;
}

std::string error_text(Session& session) {
    std::string text(static_cast<std::size_t>(TRN_GetErrorLen(&session.handle)), '\0');
    std::int32_t length = 0;
    if (!text.empty()) TRN_GetError(&session.handle, text.data(), &length);
    return std::string(trim(text));
}

bool is_lost(std::int32_t status, const Printed& printed) {
    return printed.lost || (status == TRN_ERR_NETWORK && printed.error.empty());
}

// Warnings give the status of an error.
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

std::int32_t number_attribute(Session& session, std::int32_t id) {
    std::int32_t value = 0;
    return TRN_GetAttr(&session.handle, id, &value, sizeof value, nullptr, nullptr) == TRN_OK ? value : 0;
}

bool may_be_query(const std::string& sql) {
    const std::string word = first_word(sql);
    return word == "SELECT" || word == "VALUES" || word == "WITH";
}

void pass_rows(Session& session, Result& result, const std::vector<Column>& columns, RowSink& sink) {
    RowReader reader(result, columns, session.descriptors);
    while (TRN_ReadNext(result.handle()) == TRN_OK) {
        if (session.is_stopped && session.is_stopped()) fail(exit_statement, "stopped");
        const std::int32_t status = reader.read();
        if (status != TRN_OK) check_call(session, status);
        sink.row(reader.cells());
    }
}

// Closes the cursor also when reading its rows has failed.
class CursorGuard {
  public:
    explicit CursorGuard(Session& session) : session_(session) {}
    CursorGuard(const CursorGuard&) = delete;
    CursorGuard& operator=(const CursorGuard&) = delete;
    ~CursorGuard() {
        if (closed_ || !session_.connected) return;
        TRN_CloseCursor(&session_.handle, cursor_name);
        take_library_output();
    }
    void close() {
        closed_ = true;
        check_call(session_, TRN_CloseCursor(&session_.handle, cursor_name));
    }

  private:
    Session& session_;
    bool closed_ = false;
};

// False when the server does not open a cursor over the statement, which has then not run.
bool run_by_cursor(Session& session, const std::string& sql, RowSink& sink) {
    Result head;
    const std::int32_t opened =
        TRN_ExecwithServerCursorReader(&session.handle, sql.c_str(), cursor_name, head.handle(), nullptr);
    const Printed printed = take_printed(session);
    if (opened == TRN_ERR_SERVER && !is_lost(opened, printed) && !has_only_warned(opened, printed))
        return false;
    judge(session, opened, printed);
    CursorGuard cursor(session);
    bool begun = false;
    for (std::int32_t rows = 1; rows > 0;) {
        Result rowset;
        const std::int32_t status =
            TRN_FetchServerCursorRowset(&session.handle, cursor_name, rowset.handle());
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
    // Types of expressions are known with the rows only.
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

Session::~Session() {
    if (handle) TRN_CloseConn(&handle);
}

void say(const std::string& text) {
    fmt::print(stderr, "{}\n", printable(text, true));
    std::fflush(stderr);
}

void note(const Session& session, const std::string& text) {
    if (!session.quiet) say(text);
}

bool has_address_list(std::string_view connection) {
    return connection.find("IPS=") != connection.npos || connection.find("ips=") != connection.npos;
}

void open_session(Session& session, const std::string& connection) {
    void* addresses = nullptr;
    const std::int32_t status = has_address_list(connection)
                                    ? TRN_OpenConn_Ips(connection.c_str(), 0, &addresses, &session.handle)
                                    : TRN_OpenConn(connection.c_str(), &session.handle);
    Release_IpsAttrs(&addresses);
    if (status < 0) {
        const std::string printed = take_printed(session).error;
        fail(exit_connection, "cannot connect: " + (printed.empty() ? error_text(session) : printed));
    }
    check_call(session, status);
    session.connected = true;
    session.cursors = number_attribute(session, attribute_no_cursors) == 0;
    session.descriptors = number_attribute(session, attribute_descriptors) == 1;
}

bool reconnect(Session& session) {
    session.connected = TRN_ReconnectConn(&session.handle) == TRN_RECONNECTED;
    take_library_output();
    if (session.connected)
        say("connected again; what was open in the session before (transaction, settings) is gone");
    else
        say("cannot connect again: " + error_text(session));
    return session.connected;
}

void check_call(Session& session, std::int32_t status) {
    judge(session, status, take_printed(session));
}

void run_statement(Session& session, const std::string& sql, RowSink& sink) {
    if (sql.find('\0') != std::string::npos) fail(exit_statement, "the statement holds a zero byte");
    if (session.cursors && may_be_query(sql) && run_by_cursor(session, sql, sink)) return;
    Result result;
    const std::int32_t status =
        TRN_ExecwithDataReader(&session.handle, sql.c_str(), result.handle(), nullptr, nullptr, nullptr);
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
