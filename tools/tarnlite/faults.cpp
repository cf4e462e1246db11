#include "faults.h"

#include <fmt/format.h>

#include <charconv>
#include <limits>
#include <stdexcept>
#include <system_error>

namespace tarnlite {

namespace {

constexpr std::uint64_t longest_delay = 3'600'000;

std::uint64_t number_up_to(std::uint64_t most, std::string_view fault, std::string_view text) {
    std::uint64_t number = 0;
    const auto [stopped, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (failure != std::errc() || stopped != text.data() + text.size() || number > most) {
        throw std::runtime_error(
            fmt::format("fault '{}': its value must be a number from 0 to {}", fault, most));
    }
    return number;
}

} // namespace

void add_fault(Faults& faults, std::string_view text) {
    const std::size_t sign = text.find('=');
    const std::string_view name = text.substr(0, sign);
    const bool has_value = sign != std::string_view::npos;
    const std::string_view value = has_value ? text.substr(sign + 1) : std::string_view();
    if (name == "refuse-login" && !has_value) {
        faults.refuse_login = true;
    } else if (name == "drop-after" && has_value) {
        faults.drop_after = number_up_to(std::numeric_limits<std::uint64_t>::max(), text, value);
    } else if (name == "delay" && has_value) {
        faults.delay = std::chrono::milliseconds(number_up_to(longest_delay, text, value));
    } else if (name == "error") {
        faults.error = has_value ? value : "every command is answered with an error";
    } else {
        throw std::runtime_error(fmt::format(
            "unknown fault '{}': use refuse-login, drop-after=N, delay=MS or error[=TEXT]", text));
    }
}

} // namespace tarnlite
