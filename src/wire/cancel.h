// Stopping the call that runs on a channel, from another thread or a signal handler.
//
// A call begins and ends here; in between another thread may mark it cancelled and abort the socket, which
// wakes every wait in it. No lock is taken: a canceller announces itself before it reads anything. To close a
// socket, or release a record that a canceller may have seen, first make it unreachable and then wait until
// no canceller is left. A cancel is a few instructions and one system call, so that wait is short.
#pragma once

#include "wire/channel.h"

namespace tarn {

// From here on the call can be cancelled.
void begin_call(Channel& channel) noexcept;

// True when the call was cancelled: the channel is then closed, so the next call finds a lost link and never
// the abort itself.
bool end_call(Channel& channel) noexcept;

// Whether the running call was cancelled.
bool is_cancelled(const Channel& channel) noexcept;

// Announces a canceller during its lifetime.
class Canceller {
  public:
    Canceller() noexcept;
    ~Canceller();
    Canceller(const Canceller&) = delete;
    Canceller& operator=(const Canceller&) = delete;

    // Cancels the running call. False when there was none: the channel is then left alone.
    bool cancel(Channel& channel) const noexcept;
};

// Waits until every canceller announced so far is gone.
void wait_for_cancellers() noexcept;

} // namespace tarn
