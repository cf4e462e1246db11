// Prepared statements.
#pragma once

#include <string>
#include <utility>

#include "parameter.hpp"
#include "result.hpp"
#include "session.hpp"

namespace tarnsql {

/// A statement prepared on the server, to be executed many times. Made by connection::prepare. The destructor
/// ends it on the server (a round trip, if the connection still lives); it also ends with the session: after
/// a reconnect or a close every use throws. A moved-from statement throws usage_error. One thread at a time,
/// like its connection.
class statement {
  public:
    /// Takes the statement over.
    statement(statement&& other) noexcept
        : session_(std::move(other.session_)), name_(std::move(other.name_)), login_(other.login_),
          gives_rows_(other.gives_rows_), values_(std::exchange(other.values_, nullptr)) {}
    /// Takes the statement over; the other object ends the previous one.
    statement& operator=(statement&& other) noexcept {
        std::swap(session_, other.session_);
        std::swap(name_, other.name_);
        std::swap(login_, other.login_);
        std::swap(gives_rows_, other.gives_rows_);
        std::swap(values_, other.values_);
        return *this;
    }
    ~statement() {
        TRN_Drop(&values_);
        if (session_ && session_->logins == login_) TRN_UnPrepare(&session_->handle, name_.c_str());
    }

    /// Binds a value at a position, from 1, for the next execution that is given no values. The value is
    /// copied; a large_object must live until the execution. Throws value_error or usage_error.
    template <class T> statement& bind(int32_t position, const T& value) {
        return checked_bind(detail::bind_value(detail::place{values(), position, nullptr}, value), position);
    }
    /// Binds a value by parameter name, without its prefix. Bind by position or by name, not both.
    template <class T> statement& bind(const char* name, const T& value) {
        return checked_bind(detail::bind_value(detail::place{values(), 0, name}, value), 1);
    }

    /// Runs the statement with these values (or named() ones); without any, with those that were bound, which
    /// are then cleared. Returns the rows that the last update or delete changed, or the number of inserts
    /// reported. Throws server_error, connection_error.
    template <class... Args> int64_t execute(const Args&... values) {
        detail::result_state state;
        run(state, values...);
        int64_t count = 0;
        do {
            int32_t affected = 0;
            if (state.kind == TRN_ITEM_INSERT) ++count;
            if (state.kind != TRN_ITEM_UPDATE && state.kind != TRN_ITEM_DELETE) continue;
            TRN_getResultRet(&state.handle, nullptr, nullptr, nullptr, &affected, nullptr);
            count = affected;
        } while (state.next_item());
        return count;
    }

    /// Like execute, but returns the rows: rows<Ts...> when given a type for each column, else a result.
    template <class... Ts, class... Args>
    typename detail::query_reader<Ts...>::type query(const Args&... values) {
        result all;
        run(all.state(), values...);
        return detail::query_reader<Ts...>::read(std::move(all));
    }

    /// Whether it returns rows.
    bool gives_rows() const noexcept { return gives_rows_; }
    /// Its name on the server.
    const std::string& name() const noexcept { return name_; }

  private:
    friend class connection;

    statement(const detail::session_pointer& of, const char* sql) : session_(of), login_(of->logins) {
        char name[32] = "";
        gives_rows_ = detail::check(*of, TRN_Prepare2(&of->handle, sql, name)) == TRN_PREPARED_QUERY;
        TRN_ResetParams(&of->handle); // else the described set would be sent with whatever is executed next
        name_ = name;
    }

    detail::session& live() const {
        detail::session& of = detail::required(session_);
        if (!of.handle) detail::misuse("the connection is closed");
        if (of.logins != login_) detail::misuse("the statement ended with its session");
        return of;
    }

    // Values bound one by one are kept in the statement's own set: other statements may run meanwhile.
    TRN_HANDLE* values() {
        live();
        if (!values_ && TRN_CreateParams(&values_) != TRN_OK) throw error(TRN_ERR_MEMORY, "out of memory");
        return &values_;
    }

    statement& checked_bind(int32_t status, int32_t position) {
        if (status == TRN_ERR_MEMORY) throw error(status, "out of memory");
        if (status < 0)
            throw usage_error(status, "no parameter can be bound at position " + std::to_string(position));
        return *this;
    }

    template <class... Args> void run(detail::result_state& into, const Args&... values) {
        detail::session& of = live();
        detail::bind_all(of, values...);
        const bool bound_before = sizeof...(Args) == 0 && values_;
        if (bound_before) TRN_BindParams2Conn(&of.handle, &values_);
        const int32_t status = TRN_Execute2(&of.handle, name_.c_str(), nullptr, &into.handle);
        if (bound_before) TRN_ResetParams(&values_);
        if (status < 0) detail::fail_with(status, own_words(detail::text_of(&of.handle)), of);
        into.take(of, status);
    }

    // The library wraps the server's text in the command and cuts the whole at 199 bytes.
    std::string own_words(std::string text) const {
        const std::string head = "sql:? " + name_ + "  errinfo: ";
        if (text.compare(0, head.size(), head) != 0) return text;
        const size_t end =
            text.size() >= 2 && text.compare(text.size() - 2, 2, " \n") == 0 ? text.size() - 2 : text.size();
        return text.substr(head.size(), end - head.size());
    }

    detail::session_pointer session_;
    std::string name_;
    unsigned login_ = 0;
    bool gives_rows_ = false;
    TRN_HANDLE values_ = nullptr;
};

} // namespace tarnsql
