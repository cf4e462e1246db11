// The exceptions of tarnsql.hpp. All of them derive from tarnsql::error.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include "../tarnsql_ext.h"

namespace tarnsql {

/// What every failure is thrown as, or as a class derived from it. what() is the whole text: of the library with its bracketed
/// code ("[EX002]cannot connect to ..."), of the server as it came, in the server's encoding.
class error : public std::runtime_error {
  public:
    /// Makes an error of a status (TRN_ERR_* and the like) and a text.
    error(int32_t status, const std::string& text) : std::runtime_error(text), status_(status) {}

    /// What the call of tarnsql.h returned, TRN_ERR_*; for a mistake that the header found by itself, the status that stands
    /// for its kind.
    int32_t status() const noexcept { return status_; }

    /// The code of a text of the library, such as "EX002"; empty for a text of the server. A view into the error.
    std::string_view code() const noexcept {
        const std::string_view whole = what();
        const size_t end = whole.find(']');
        return !whole.empty() && whole[0] == '[' && end < 8 ? whole.substr(1, end - 1) : std::string_view();
    }

    /// The text without that code. A view into the error.
    std::string_view text() const noexcept {
        const std::string_view whole = what();
        return code().empty() ? whole : whole.substr(code().size() + 2);
    }

  private:
    int32_t status_;
};

/// No connection, no login, or the link is lost. After a lost link connection::reconnect goes on; nobody knows whether the
/// statement that failed was carried out.
class connection_error : public error {
  public:
    using error::error;
};

/// The call was ended by connection::cancel or canceller::cancel. The link is gone, as after any connection_error.
class cancelled_error : public connection_error {
  public:
    using connection_error::connection_error;
};

/// The server refused a statement; what() is its text. The connection is fine. A warning that ends the reply of a query
/// cannot be told from an error and is thrown as one.
class server_error : public error {
  public:
    using error::error;
};

/// A value that cannot be had in the type wanted, or not be sent in the type given.
class value_error : public error {
  public:
    using error::error;
};

/// A null where the type wanted has no place for it: read std::optional.
class null_error : public value_error {
  public:
    using value_error::value_error;
};

/// A number, date or length outside of what the type wanted can hold. Nothing is cut silently.
class range_error : public value_error {
  public:
    using value_error::value_error;
};

/// A mistake of the program: a closed or moved-from object, a column that is not there, another number of columns than
/// asked for, a mistake in a connection string.
class usage_error : public error {
  public:
    using error::error;
};

} // namespace tarnsql
