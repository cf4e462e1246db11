// Shared by the objects of one connection: its handle, and the translation of failures into exceptions.
// Nothing here is for programs.
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "error.hpp"

namespace tarnsql::detail {

// The handle variable keeps its address while anyone refers to it, so that a cancel may come at any time.
struct session {
    session() = default;
    ~session() { TRN_CloseConn(&handle); }
    session(const session&) = delete;
    session& operator=(const session&) = delete;

    TRN_HANDLE handle = nullptr;        // null: closed
    std::atomic<bool> cancelled{false}; // a cancel hit a call that has not reported it yet
    unsigned logins = 0;                // prepared statements and cursors end with their login
    unsigned cursors = 0;               // opened so far, for their names
    bool lobs_marked = false;           // lob_ret: large objects come marked or as descriptors
    bool begins_by_itself = false;      // auto-commit is off: the server begins transactions
};

using session_pointer = std::shared_ptr<session>;

inline std::string text_of(TRN_HANDLE* handle) {
    const int32_t size = TRN_GetErrorLen(handle);
    std::string text(size > 0 ? static_cast<size_t>(size) : 0, '\0');
    if (size > 0) TRN_GetError(handle, text.data(), nullptr);
    return text;
}

[[noreturn]] inline void misuse(const char* what) {
    throw usage_error(TRN_ERR_ARGUMENT, what);
}

// An error text stays on the handle until the next one, so it is used only for statuses that always set one.
[[noreturn]] inline void fail_with(int32_t status, const std::string& text, session& of) {
    switch (status) {
    case TRN_ERR_NETWORK:
        if (of.cancelled.exchange(false)) throw cancelled_error(status, "[EX001]the call was cancelled");
        throw connection_error(status, "the link to the server is lost");
    case TRN_ERR_CONNECT:
    case TRN_ERR_LOGIN:
        if (of.cancelled.exchange(false)) throw cancelled_error(status, text);
        throw connection_error(status, text);
    case TRN_ERR_SERVER: throw server_error(status, text.empty() ? "the server refused" : text);
    case TRN_ERR_MEMORY: throw error(status, "out of memory");
    case TRN_ERR_ARGUMENT:
        misuse(of.handle ? "the parameters do not fit a request" : "the connection is closed");
    default: throw usage_error(status, text.empty() ? "the call failed" : text);
    }
}

[[noreturn]] inline void fail(session& of, int32_t status) {
    fail_with(status, text_of(&of.handle), of);
}

inline int32_t check(session& of, int32_t status) {
    if (status < 0) fail(of, status);
    return status;
}

// The session of an object; throws for a moved-from one.
inline session& required(const session_pointer& of) {
    if (!of) misuse("the object was moved from");
    return *of;
}

} // namespace tarnsql::detail
