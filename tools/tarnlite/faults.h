// Deliberate failures of the server, to test how applications cope.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarnlite {

struct Faults {
    bool refuse_login = false;
    // Every connection ends when that many bytes have been sent on it, including the login's answer but not
    // the keys of an encrypted login.
    std::optional<std::uint64_t> drop_after;
    std::chrono::milliseconds delay{0}; // before every reply, the login's answer included
    std::optional<std::string> error;   // the answer to every command
};

// Parses and adds "refuse-login", "drop-after=N", "delay=MS", "error" or "error=TEXT". Throws
// std::runtime_error for any other text.
void add_fault(Faults& faults, std::string_view text);

} // namespace tarnlite
