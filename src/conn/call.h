// One call of the application on a connection.
//
// Every exported call that reads state which another thread's call may change gets its connection through a
// RunningCall, which holds the lock for the whole request and reply. During its lifetime the call can be
// cancelled (wire/cancel.h), and the lines to print are collected: they are printed after the lock is
// released, before the call returns.
#pragma once

#include "base/text.h"
#include "conn/conn.h"

namespace tarn {

class RunningCall {
  public:
    // The connection behind a handle variable; no call if there is none.
    explicit RunningCall(const TRN_HANDLE* handle) noexcept
        : RunningCall(unlocked_conn_of(handle), Locking::taken) {}

    // The same with a text to be sent; also no call when the text is null or too long for a command frame,
    // whose length field is a signed 32-bit count.
    RunningCall(const TRN_HANDLE* handle, const char* text) noexcept;

    explicit RunningCall(Conn& conn) noexcept : RunningCall(&conn, Locking::taken) {}

    // Without the lock, for calls that must not run at the same time as another one: opening, reconnecting,
    // the attribute that asks the server.
    static RunningCall without_lock(Conn* conn) noexcept { return RunningCall(conn, Locking::left_alone); }

    ~RunningCall();
    RunningCall(const RunningCall&) = delete;
    RunningCall& operator=(const RunningCall&) = delete;

    explicit operator bool() const noexcept { return conn_ != nullptr; }
    Conn& operator*() const noexcept { return *conn_; }
    Conn* operator->() const noexcept { return conn_; }

  private:
    enum class Locking {
        taken,
        left_alone
    };
    RunningCall(Conn* conn, Locking locking) noexcept;

    Conn* conn_;
    platform::Lock* lock_; // null: not taken, or not made yet by an open that failed early
};

// Prints a line at the end of the call.
void say(Conn& conn, const char* format, ...) noexcept TARN_PRINTF(2, 3);

} // namespace tarn
