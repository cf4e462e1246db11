// Transactions that roll back unless they are committed.
#pragma once

#include <utility>

#include "connection.hpp"

namespace tarnsql {

/// A transaction: begins when it is made and is rolled back when it ends, unless commit() was called. With auto_commit=off the server
/// begins by itself, so nothing is sent at the beginning. It must not outlive its use: a connection that was closed or
/// reconnected meanwhile has given it up, and commit() throws usage_error. A moved-from transaction does nothing at its end.
class transaction {
  public:
    /// Begins one. Throws server_error when the server refuses, connection_error.
    explicit transaction(connection& on) : session_(on.session_) {
        detail::session& of = on.live();
        login_ = of.logins;
        if (!of.begins_by_itself) run("BEGIN");
    }
    /// Takes the transaction over.
    transaction(transaction&& other) noexcept : session_(std::move(other.session_)), login_(other.login_) {}
    transaction& operator=(transaction&&) = delete;
    ~transaction() {
        if (is_live()) TRN_Execute_no_query(&session_->handle, "ROLLBACK");
    }

    /// Keeps what was done. Throws server_error when the server refuses: it is then rolled back at the end; connection_error:
    /// nobody knows whether it was committed.
    void commit() { finish("COMMIT"); }
    /// Undoes what was done, now. Throws server_error, connection_error.
    void rollback() { finish("ROLLBACK"); }

  private:
    bool is_live() const noexcept { return session_ && session_->handle && session_->logins == login_; }

    void run(const char* sql) { detail::check(*session_, TRN_Execute_no_query(&session_->handle, sql)); }

    void finish(const char* sql) {
        if (!session_) detail::misuse("the transaction has ended");
        if (!is_live()) detail::misuse("the transaction ended with its session");
        run(sql);
        session_.reset();
    }

    detail::session_pointer session_;
    unsigned login_ = 0;
};

} // namespace tarnsql
