// Redirects the lines that the library prints, and its protocol trace.
#pragma once

#include <functional>
#include <memory>
#include <string_view>
#include <utility>

#include "../tarnsql_ext.h"
#include "error.hpp"

namespace tarnsql {

/// What a line is.
enum class line_kind {
    printed = TRNX_LINE_PRINTED,  ///< printed by the library, mostly texts of the server
    protocol = TRNX_LINE_PROTOCOL ///< the trace of the protocol
};

/// Receives a line, valid during the call, on whatever thread runs a call of the library. Its exceptions are
/// dropped. It must not call set_line_handler, nor use a connection for a line of line_kind::protocol.
using line_handler = std::function<void(line_kind, std::string_view)>;

namespace detail {

class line_sink {
  public:
    ~line_sink() { TRNX_SetTrace(nullptr, nullptr); }
    void set(line_handler handler) {
        std::unique_ptr<line_handler> next;
        if (handler) next = std::make_unique<line_handler>(std::move(handler));
        TRNX_SetTrace(next ? &take : nullptr, next.get()); // on return no thread is in the previous handler
        current_ = std::move(next);
    }

  private:
    static void take(void* user, int32_t kind, const char* line) noexcept {
        try {
            (*static_cast<line_handler*>(user))(static_cast<line_kind>(kind), line);
        } catch (...) { // a lost line is no reason to fail
        }
    }
    std::unique_ptr<line_handler> current_;
};

} // namespace detail

/// Sends the library's lines to a function, for the whole process. A lambda that does nothing drops them; an
/// empty function restores the default, standard output unless TARNSQL_TRACE says otherwise. Exceptions carry
/// the same texts, so most programs want none of them printed. One thread at a time.
inline void set_line_handler(line_handler handler) {
    static detail::line_sink sink;
    sink.set(std::move(handler));
}

} // namespace tarnsql
