#include "wire/cancel.h"

#include <atomic>

namespace tarn {

static std::atomic<uint32_t> cancellers;

static std::atomic_ref<CallState> state_of(Channel& channel) noexcept {
    return std::atomic_ref(channel.call_state);
}

void begin_call(Channel& channel) noexcept {
    state_of(channel) = CallState::running;
}

bool end_call(Channel& channel) noexcept {
    if (state_of(channel).exchange(CallState::none) != CallState::cancelled) return false;
    close_channel(channel);
    return true;
}

bool is_cancelled(const Channel& channel) noexcept {
    return std::atomic_ref(const_cast<CallState&>(channel.call_state)).load(std::memory_order_relaxed) ==
           CallState::cancelled;
}

Canceller::Canceller() noexcept {
    cancellers.fetch_add(1);
}

Canceller::~Canceller() {
    cancellers.fetch_sub(1);
}

bool Canceller::cancel(Channel& channel) const noexcept {
    CallState state = CallState::running;
    if (!state_of(channel).compare_exchange_strong(state, CallState::cancelled))
        return state == CallState::cancelled;
    if (const platform::Socket sock = std::atomic_ref(channel.sock).load()) platform::abort_stream(sock);
    return true;
}

void wait_for_cancellers() noexcept {
    while (cancellers.load() != 0)
        platform::yield_thread();
}

} // namespace tarn
