// Faults that the server commits on purpose, for applications that try how they bear them.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarnlite {

struct Faults {
    bool refuse_login = false;
    // Every connection ends when so many bytes have been sent on it, the login's answer included, but not the
    // keys of an encrypted login.
    std::optional<std::uint64_t> drop_after;
    std::chrono::milliseconds delay{0}; // before every reply, the login's answer included
    std::optional<std::string> error;   // the answer to every command
};

// Adds what "refuse-login", "drop-after=N", "delay=MS", "error" or "error=TEXT" says. Throws
// std::runtime_error for any other text.
void add_fault(Faults& faults, std::string_view text);

} // namespace tarnlite
