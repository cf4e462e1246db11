// Stopping the call that runs on a channel, from another thread or a signal handler.
//
// A call begins and ends here; in between another thread may mark it cancelled and abort the socket, which
// wakes every wait in it. No lock is taken: a canceller announces itself before it looks at anything, and
// whoever closes a socket, or releases a record that a canceller may know, first makes it unreachable and
// then waits until no canceller is left. A cancel is a few instructions and one system call, so that wait is
// short.
#pragma once

#include "wire/channel.h"

namespace tarn {

// From here on the call can be cancelled.
void begin_call(Channel& channel) noexcept;

// True when the call was cancelled: the channel is closed then, and the next call finds a lost link, never
// the abort itself.
bool end_call(Channel& channel) noexcept;

// Whether the running call is to end.
bool is_cancelled(const Channel& channel) noexcept;

// Announces a canceller for as long as it lives.
class Canceller {
  public:
    Canceller() noexcept;
    ~Canceller();
    Canceller(const Canceller&) = delete;
    Canceller& operator=(const Canceller&) = delete;

    // True when a call was running, which then ends. A channel without a call is left alone.
    bool cancel(Channel& channel) const noexcept;
};

// Waits until every canceller that is announced now has gone.
void wait_for_cancellers() noexcept;

} // namespace tarn
