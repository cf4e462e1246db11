// Cursors: results of any size, with one fetch in memory at a time.
#pragma once

#include <memory>
#include <string>
#include <tuple>
#include <utility>

#include "parameter.hpp"
#include "result.hpp"
#include "session.hpp"

namespace tarnsql {

namespace detail {

class cursor_state {
  public:
    // Reads the columns, which arrive with the open or with the first rows.
    using column_check = void (*)(result_state& rows);

    template <class... Args>
    cursor_state(const session_pointer& of, column_check check_columns, const char* sql,
                 const Args&... values)
        : session_(of), login_(of->logins), check_columns_(check_columns),
          name_("TARNSQL_CURSOR_" + std::to_string(++of->cursors)) {
        bind_all(*of, values...);
        const int32_t status =
            TRN_ExecwithServerCursorReader(&of->handle, sql, name_.c_str(), &rows_.handle, nullptr);
        TRN_ResetParams(&of->handle); // empties the set, which stays attached
        check(*of, status);
        open_ = true;
        try {
            take(TRN_OK);
        } catch (...) {
            close();
            throw;
        }
    }
    ~cursor_state() {
        if (is_live()) TRN_CloseCursor(&session_->handle, name_.c_str());
    }
    cursor_state(const cursor_state&) = delete;
    cursor_state& operator=(const cursor_state&) = delete;

    result_state& current() noexcept { return rows_; }

    bool next() {
        if (rows_.next()) return true;
        while (open_ && fetch() > 0)
            if (rows_.next()) return true;
        close();
        return false;
    }

    // The server's answer does not matter: the rows have been read.
    void close() noexcept {
        if (is_live()) TRN_CloseCursor(&session_->handle, name_.c_str());
        open_ = false;
    }

    int32_t rows_at_a_time = 20000;

  private:
    bool is_live() const noexcept { return open_ && session_->handle && session_->logins == login_; }

    int32_t fetch() {
        if (!is_live())
            misuse(session_->handle ? "the cursor ended with its session" : "the connection is closed");
        int32_t status;
        if (rows_.handle) {
            const std::string text = "FETCH " + std::to_string(rows_at_a_time) + " FROM " + name_;
            status = TRN_FetchServerCursorRowset_V2(&session_->handle, text.c_str(), &rows_.handle);
        } else {
            status = TRN_FetchServerCursorRowset(&session_->handle, name_.c_str(), &rows_.handle);
        }
        take(status);
        return status < 0 ? 1 : status; // the rows that arrived come first, then the error is thrown
    }

    void take(int32_t status) {
        rows_.take(*session_, status);
        if (rows_.kind == TRN_ITEM_QUERY) check_columns_(rows_);
    }

    session_pointer session_;
    unsigned login_;
    column_check check_columns_;
    std::string name_;
    bool open_ = false;
    result_state rows_;
};

} // namespace detail

/// The rows of a query, kept on the server until they are read: a single-pass range of rows or, with types
/// for the columns, of tuples. Memory does not grow with the result. Made by connection::stream. Other
/// statements may run on the connection meanwhile. The cursor is closed on the server after the last row, or
/// by the destructor (a round trip, if the connection still lives). Using it after its connection was closed
/// or reconnected, or after a move, throws usage_error.
template <class... Ts> class cursor {
  public:
    /// The element: row, or a tuple.
    using value = std::conditional_t<sizeof...(Ts) == 0, row, std::tuple<Ts...>>;
    /// Iterates over the rows.
    using iterator = row_iterator<detail::cursor_state, value>;

    /// At the next row. Throws as row_iterator does.
    iterator begin() { return iterator(state()); }
    /// Past the last row.
    iterator end() noexcept { return {}; }
    /// Sets how many rows each further fetch asks for, 20,000 by default. Throws usage_error for a number
    /// below 1.
    void rows_at_a_time(int32_t count) {
        if (count < 1) detail::misuse("a fetch must ask for at least one row");
        state().rows_at_a_time = count;
    }
    /// Closes it before the last row.
    void close() { state().close(); }

  private:
    friend class connection;
    explicit cursor(std::unique_ptr<detail::cursor_state> state) noexcept : state_(std::move(state)) {}

    detail::cursor_state& state() const {
        if (!state_) detail::misuse("the cursor was moved from");
        return *state_;
    }

    std::unique_ptr<detail::cursor_state> state_;
};

} // namespace tarnsql
