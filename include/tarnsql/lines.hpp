// Where the lines go that the library prints, and the trace of the protocol.
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
    printed = TRNX_LINE_PRINTED,  ///< what the library has to say, mostly texts of the server
    protocol = TRNX_LINE_PROTOCOL ///< the trace of the protocol
};

/// Takes a line, valid for the time of the call, from whatever thread runs a call of the library. What it throws is dropped. While
/// it runs it must not call set_line_handler, and with line_kind::protocol no connection.
using line_handler = std::function<void(line_kind, std::string_view)>;

namespace detail {

class line_sink {
  public:
    ~line_sink() { TRNX_SetTrace(nullptr, nullptr); }
    void set(line_handler handler) {
        std::unique_ptr<line_handler> next;
        if (handler) next = std::make_unique<line_handler>(std::move(handler));
        TRNX_SetTrace(next ? &take : nullptr, next.get()); // behind it no thread is in the one before
        current_ = std::move(next);
    }

  private:
    static void take(void* user, int32_t kind, const char* line) noexcept {
        try {
            (*static_cast<line_handler*>(user))(static_cast<line_kind>(kind), line);
        } catch (...) { // a line is not worth more
        }
    }
    std::unique_ptr<line_handler> current_;
};

} // namespace detail

/// Sends the lines that the library prints to a function, for the whole process: set_line_handler([](auto...) {}) drops them, an
/// empty function sends them where they went before, to the standard output unless TARNSQL_TRACE says otherwise. Exceptions
/// have the same texts, so programs mostly want none of them printed. One thread at a time.
inline void set_line_handler(line_handler handler) {
    static detail::line_sink sink;
    sink.set(std::move(handler));
}

} // namespace tarnsql
