// The exceptions of tarnsql.hpp. All of them derive from tarnsql::error.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include "../tarnsql_ext.h"

namespace tarnsql {

/// The base of all exceptions. what() is the whole text: a text of the library with its bracketed code
/// ("[EX002]cannot connect to ..."), a text of the server unchanged, in the server's encoding.
class error : public std::runtime_error {
  public:
    /// An error with a status (TRN_ERR_* and the like) and a text.
    error(int32_t status, const std::string& text) : std::runtime_error(text), status_(status) {}

    /// The status of the call of tarnsql.h, TRN_ERR_*; for a mistake found by the header, the status nearest
    /// to it.
    int32_t status() const noexcept { return status_; }

    /// The code of a library text, such as "EX002"; empty for a server text. A view into the error.
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

/// No connection, no login, or a lost link. After a lost link call connection::reconnect; whether the failed
/// statement was carried out is unknown.
class connection_error : public error {
  public:
    using error::error;
};

/// The call was ended by connection::cancel or canceller::cancel. The link is closed, as after any
/// connection_error.
class cancelled_error : public connection_error {
  public:
    using connection_error::connection_error;
};

/// The server refused a statement; what() is its text. The connection stays usable. A warning that ends the
/// reply of a query cannot be told from an error and is thrown as one.
class server_error : public error {
  public:
    using error::error;
};

/// A value that cannot be read as the requested type, or sent as the given one.
class value_error : public error {
  public:
    using error::error;
};

/// A null read into a type that has no null: read a std::optional.
class null_error : public value_error {
  public:
    using value_error::value_error;
};

/// A number, date or length out of the type's range. Nothing is truncated silently.
class range_error : public value_error {
  public:
    using value_error::value_error;
};

/// A mistake in the program: a closed or moved-from object, a column that does not exist, the wrong number of
/// columns, a mistake in a connection string.
class usage_error : public error {
  public:
    using error::error;
};

} // namespace tarnsql
