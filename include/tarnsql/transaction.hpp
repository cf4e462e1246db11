// Transactions that roll back unless they are committed.
#pragma once

#include <utility>

#include "connection.hpp"

namespace tarnsql {

/// A transaction: the constructor begins it and the destructor rolls it back unless commit() was called. With
/// auto_commit=off the server begins by itself, so nothing is sent. If the connection was closed or
/// reconnected meanwhile the transaction is lost, and commit() throws usage_error. A moved-from transaction
/// does nothing when destroyed.
class transaction {
  public:
    /// Begins a transaction. Throws server_error, connection_error.
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

    /// Commits. Throws server_error when the server refuses (the destructor then rolls back), and
    /// connection_error, after which it is unknown whether the commit took effect.
    void commit() { finish("COMMIT"); }
    /// Rolls back now. Throws server_error, connection_error.
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
