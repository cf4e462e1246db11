// Connections: opening, running statements, cancelling.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <utility>

#include "batch.hpp"
#include "bytes.hpp"
#include "cursor.hpp"
#include "result.hpp"
#include "session.hpp"
#include "settings.hpp"
#include "statement.hpp"

namespace tarnsql {

/// Cancels the running call of a connection from another thread. Can be copied, and may outlive the
/// connection: it then does nothing.
class canceller {
  public:
    /// Ends the running call, whatever it is waiting for: the call throws cancelled_error and the link is
    /// closed. Returns false, with no effect, when no call was running. Safe from any thread, and on POSIX
    /// from a signal handler.
    bool cancel() const noexcept {
        if (!session_) return false;
        const bool untold = session_->cancelled.exchange(true);
        if (TRNX_Cancel(&session_->handle) == 1) return true;
        if (!untold) session_->cancelled = false;
        return false;
    }

  private:
    friend class connection;
    explicit canceller(detail::session_pointer of) noexcept : session_(std::move(of)) {}

    detail::session_pointer session_;
};

/// A connection to a server. Closes itself, can be moved, and is used by one thread at a time (a canceller by
/// any). Results and large objects outlive it; statements, cursors and transactions throw usage_error once it
/// is closed. A moved-from connection throws usage_error too.
///
/// Parameters follow the text of a statement, one for each "?" in order: numbers, texts, bytes, std::chrono
/// dates and so on, std::optional and nullptr for nulls; or all of them by name, with named(). Texts are sent
/// and received unchanged, in the session's character set. Every function that talks to the server throws
/// server_error when the server refuses and connection_error when the link is lost.
class connection {
  public:
    /// Opens a connection with a connection string, such as
    /// "server=127.0.0.1;port=5139;db=demo;user=me;password=secret". Throws connection_error when the server
    /// cannot be reached or refuses the login, usage_error for a mistake in the string, such as an unknown
    /// key, or a value with a quote, which would rewrite the login.
    explicit connection(c_text connection_string, const connect_options& options = {})
        : session_(std::make_shared<detail::session>()) {
        const TRNX_OPTIONS chosen = detail::options_of(options);
        const int32_t status = TRNX_OpenConn(connection_string.c_str(), &chosen, &session_->handle);
        if (status == TRN_ERR_ARGUMENT && session_->handle)
            throw usage_error(status, detail::text_of(&session_->handle));
        if (status == TRN_ERR_ARGUMENT) detail::misuse("the options are out of range");
        detail::check(*session_, status);
        session_->lobs_marked = number(TRN_ATTR_CONN_LOB_DESCRIPTORS) != 0;
        session_->begins_by_itself = number(TRN_ATTR_CONN_AUTO_COMMIT_OFF) != 0;
    }
    /// Opens a connection with settings. Throws as above, and as connection_settings::to_string does.
    explicit connection(const connection_settings& settings, const connect_options& options = {})
        : connection(settings.to_string(), options) {}
    /// Takes the connection over.
    connection(connection&&) noexcept = default;
    /// Closes its own connection and takes the other over.
    connection& operator=(connection&& other) noexcept {
        if (this != &other) {
            close();
            session_ = std::move(other.session_);
        }
        return *this;
    }
    ~connection() { close(); }

    /// Closes it now. Uncommitted work is lost. A closed connection throws usage_error when used.
    void close() noexcept {
        if (session_) TRN_CloseConn(&session_->handle);
    }
    /// False when closed or moved from. A lost link is noticed only when it is used.
    bool is_open() const noexcept { return session_ && session_->handle; }
    /// Connects and logs in again with the same settings, after a lost link. Statements, cursors and open
    /// transactions end. Throws connection_error; it may then be called again.
    void reconnect() {
        detail::session& of = live();
        ++of.logins;
        detail::check(of, TRN_ReconnectConn(&of.handle));
        of.cancelled = false;
    }

    /// Runs a statement. Returns the rows that the last update or delete changed, or the number of inserts
    /// reported (one for an INSERT, however many rows it has); 1 after a warning. Rows it produces are
    /// discarded.
    template <class... Args> int64_t execute(c_text sql, const Args&... values) {
        detail::session& of = live();
        detail::bind_all(of, values...);
        return detail::check(of, TRN_Execute_no_query(&of.handle, sql.c_str()));
    }

    /// Runs a query, or several statements, and receives the whole reply. Returns rows<Ts...>, to be read as
    /// tuples, when given a type for each column, else a result. Throws usage_error unless there are as many
    /// columns as types.
    template <class... Ts, class... Args>
    typename detail::query_reader<Ts...>::type query(c_text sql, const Args&... values) {
        detail::session& of = live();
        detail::bind_all(of, values...);
        result all;
        const int32_t status =
            TRN_ExecwithDataReader(&of.handle, sql.c_str(), &all.state().handle, nullptr, nullptr, nullptr);
        all.state().take(of, status);
        return detail::query_reader<Ts...>::read(std::move(all));
    }
    /// The first row of a query as a tuple; empty when there is no row.
    template <class... Ts, class... Args>
    std::optional<std::tuple<Ts...>> query_row(c_text sql, const Args&... values) {
        return detail::first_row(query<Ts...>(sql, values...));
    }
    /// The first value of a query with one column. Throws value_error when there is no row, null_error for a
    /// null; a std::optional is empty for both.
    template <class T, class... Args> T query_value(c_text sql, const Args&... values) {
        return detail::first_value<T>(query<T>(sql, values...));
    }

    /// Opens a cursor over a query: its rows stay on the server and come 20,000 at a time. Otherwise like
    /// query.
    template <class... Ts, class... Args> cursor<Ts...> stream(c_text sql, const Args&... values) {
        live();
        return cursor<Ts...>(std::make_unique<detail::cursor_state>(session_, &detail::check_columns<Ts...>,
                                                                    sql.c_str(), values...));
    }

    /// Prepares a statement on the server.
    statement prepare(c_text sql) {
        live();
        return {session_, sql.c_str()};
    }

    /// Runs an INSERT, UPDATE or DELETE once for each element of a range, in requests of up to 65,535 rows.
    /// An element is a tuple, pair or array with a value for each "?", or a single value; or what the
    /// projection makes of it, such as a std::tie of members. Returns the number of rows sent. A request that
    /// the server refuses throws server_error: those before it stand unless a transaction undoes them.
    template <class Range, class Projection>
    int64_t execute_batch(c_text sql, const Range& range, const Projection& projection) {
        return detail::execute_rows(live(), sql.c_str(), range, projection);
    }
    /// The same without a projection.
    template <class Range> int64_t execute_batch(c_text sql, const Range& range) {
        return execute_batch(
            sql, range, [](const auto& element) -> const auto& { return element; });
    }
    /// The same by columns: for each "?" a range of all its values, such as a std::vector<int64_t>, or of
    /// std::optional<std::string> where there are nulls. All must have the same size, else it throws
    /// usage_error. The header does not copy columns of signed integers, floats and doubles. Otherwise like
    /// execute_batch.
    template <class Column, class... Columns>
    int64_t execute_columns(c_text sql, const Column& first, const Columns&... others) {
        return detail::execute_columns(live(), sql.c_str(), first, others...);
    }

    /// Ends the running call, see canceller::cancel. The connection must not be moved or destroyed meanwhile;
    /// with a canceller it may be.
    bool cancel() const noexcept { return canceller(session_).cancel(); }
    /// An object that cancels this connection's calls from other threads.
    canceller get_canceller() const noexcept { return canceller(session_); }
    /// Sets how long a call waits for the next bytes of a reply, from now on and after each reconnect; 0
    /// means the library's own 30 minutes. A call that times out throws connection_error. Throws range_error
    /// for a negative time-out.
    void set_receive_timeout(std::chrono::milliseconds wait) {
        detail::session& of = live();
        detail::check(of, TRNX_SetReceiveTimeout(&of.handle, detail::timeout_of(wait)));
    }

    /// The server's version; asks the server.
    std::string server_version() {
        detail::session& of = live();
        char text[128] = "";
        int32_t length = 0;
        detail::check(of,
                      TRN_GetAttr(&of.handle, TRN_ATTR_CONN_VERSION, text, sizeof text, nullptr, &length));
        return {text, static_cast<size_t>(length)};
    }
    /// Whether the channel is encrypted. Throws usage_error when the connection is closed.
    bool is_encrypted() const { return live(), number(TRN_ATTR_CONN_ENCRYPTED) != 0; }
    /// The identifier of the row inserted last, as the server writes it; empty when there is none.
    std::string last_inserted_id() const {
        char text[64] = "";
        TRN_GetLastInsertId(&live().handle, text);
        return text;
    }

    /// The handle variable, for calls of tarnsql.h. Its address does not change, even when the connection is
    /// moved. Throws usage_error for a moved-from connection.
    TRN_HANDLE* native_handle() const { return &detail::required(session_).handle; }

  private:
    friend class transaction;
    friend class procedure_call;

    detail::session& live() const {
        detail::session& of = detail::required(session_);
        if (!of.handle) detail::misuse("the connection is closed");
        return of;
    }

    int32_t number(int32_t attribute) const noexcept {
        int32_t value = 0;
        TRN_GetAttr(&session_->handle, attribute, &value, sizeof value, nullptr, nullptr);
        return value;
    }

    detail::session_pointer session_;
};

} // namespace tarnsql
