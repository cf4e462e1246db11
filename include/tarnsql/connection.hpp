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

/// Ends the running call of a connection from another thread. Copies and outlives the connection, whose end makes it do nothing.
class canceller {
  public:
    /// Ends the call that runs now, whatever it waits for; it throws cancelled_error and the link is gone. False when none ran:
    /// then nothing has happened. Any thread; on POSIX systems a signal handler too.
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

/// A connection to a server. Closes itself, moves, and is used by one thread at a time (a canceller may be used by any). Results and
/// large objects outlive it; statements, cursors and transactions throw usage_error once it is closed. A moved-from connection
/// throws usage_error too.
///
/// Parameters are given behind the text of a statement, for "?" in their order: any number of numbers, texts, bytes, std::chrono
/// dates and so on, std::optional and nullptr for nulls; or by name, all of them, with named(). Texts travel and arrive as they
/// are, in the character set of the session. All functions that talk to the server throw server_error when it refuses and
/// connection_error when the link is lost.
class connection {
  public:
    /// Opens a connection with a connection string, such as "server=127.0.0.1;port=5139;db=demo;user=me;password=secret".
    /// Throws connection_error when the server is not reached or refuses the login, usage_error for a mistake in the string:
    /// an unknown key, a value with a quote, which would rewrite the login.
    explicit connection(c_text connection_string, const connect_options& options = {})
        : session_(std::make_shared<detail::session>()) {
        const TRNX_OPTIONS chosen = detail::options_of(options);
        const int32_t status = TRNX_OpenConn(connection_string.c_str(), &chosen, &session_->handle);
        if (status == TRN_ERR_ARGUMENT && session_->handle)
            throw usage_error(status, detail::text_of(&session_->handle));
        if (status == TRN_ERR_ARGUMENT) detail::misuse("the options are out of range");
        detail::check(*session_, status);
        session_->lobs_marked = number(9) != 0;
        session_->begins_by_itself = number(11) != 0;
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

    /// Closes it now. What was not committed is given up. A closed connection throws usage_error when it is used.
    void close() noexcept {
        if (session_) TRN_CloseConn(&session_->handle);
    }
    /// Whether it was neither closed nor moved from. A link that is lost shows when it is used.
    bool is_open() const noexcept { return session_ && session_->handle; }
    /// Connects and logs in again with the same settings, after a lost link. Statements, cursors and open transactions end.
    /// Throws connection_error; it can then be tried again.
    void reconnect() {
        detail::session& of = live();
        ++of.logins;
        detail::check(of, TRN_ReconnectConn(&of.handle));
        of.cancelled = false;
    }

    /// Runs a statement. Returns the rows that the last update or delete changed, or the number of inserts reported (one for
    /// an INSERT, however many rows it has); 1 after a warning. Rows that it gives are dropped.
    template <class... Args> int64_t execute(c_text sql, const Args&... values) {
        detail::session& of = live();
        detail::bind_all(of, values...);
        return detail::check(of, TRN_Execute_no_query(&of.handle, sql.c_str()));
    }

    /// Runs a query, or several statements, and receives everything: rows<Ts...> with a type for each column, to be read as
    /// tuples, or without types a result. Throws usage_error when there are more or fewer columns than types.
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
    /// The first row of a query as a tuple; none when there is no row.
    template <class... Ts, class... Args>
    std::optional<std::tuple<Ts...>> query_row(c_text sql, const Args&... values) {
        return detail::first_row(query<Ts...>(sql, values...));
    }
    /// The value of a query with one column, of its first row. Throws value_error when there is no row, null_error for a null;
    /// a std::optional is empty for both.
    template <class T, class... Args> T query_value(c_text sql, const Args&... values) {
        return detail::first_value<T>(query<T>(sql, values...));
    }

    /// Opens a cursor over a query: its rows stay on the server and come 20,000 at a time. Otherwise as query.
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

    /// Runs an INSERT, UPDATE or DELETE once for each element of a range, in requests of up to 65,535 rows. An element is a tuple,
    /// pair or array with a value for each "?", or a single value; or what the projection makes of it, such as a std::tie of
    /// members. Returns the number of rows sent. A request that the server refuses throws server_error: those before it stand
    /// unless a transaction undoes them.
    template <class Range, class Projection>
    int64_t execute_batch(c_text sql, const Range& range, const Projection& projection) {
        return detail::execute_rows(live(), sql.c_str(), range, projection);
    }
    /// The same for elements as they are.
    template <class Range> int64_t execute_batch(c_text sql, const Range& range) {
        return execute_batch(
            sql, range, [](const auto& element) -> const auto& { return element; });
    }
    /// The same by columns: for each "?" a range with all its values, such as a std::vector<int64_t>, of
    /// std::optional<std::string> where there are nulls. All have the same size. Columns of signed integers, floats and
    /// doubles are not copied by the header. Returns and throws as execute_batch does, and usage_error for different sizes.
    template <class Column, class... Columns>
    int64_t execute_columns(c_text sql, const Column& first, const Columns&... others) {
        return detail::execute_columns(live(), sql.c_str(), first, others...);
    }

    /// Ends the call that runs on the connection, see canceller::cancel. The connection must not be moved or destroyed meanwhile;
    /// a canceller does not mind.
    bool cancel() const noexcept { return canceller(session_).cancel(); }
    /// Something to cancel its calls with from other threads.
    canceller get_canceller() const noexcept { return canceller(session_); }
    /// How long a call waits for the next bytes of a reply, from now on and after each reconnect; 0 is the library's own 30
    /// minutes. A call that waits longer throws connection_error. Throws range_error for a negative one.
    void set_receive_timeout(std::chrono::milliseconds wait) {
        detail::session& of = live();
        detail::check(of, TRNX_SetReceiveTimeout(&of.handle, detail::timeout_of(wait)));
    }

    /// The server's version, which it is asked for.
    std::string server_version() {
        detail::session& of = live();
        char text[128] = "";
        int32_t length = 0;
        detail::check(of, TRN_GetAttr(&of.handle, 1, text, sizeof text, nullptr, &length));
        return {text, static_cast<size_t>(length)};
    }
    /// Whether the channel is encrypted. Throws usage_error when the connection is closed.
    bool is_encrypted() const { return live(), number(6) != 0; }
    /// The identifier of the row inserted last, as the server writes it; empty when there is none.
    std::string last_inserted_id() const {
        char text[64] = "";
        TRN_GetLastInsertId(&live().handle, text);
        return text;
    }

    /// The handle variable, for calls of tarnsql.h. It stays where it is, also when the connection is moved. Throws usage_error
    /// for a moved-from connection.
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
