// Exact decimal numbers as text, without binary floating point.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tarnlite {

// The number written plainly (sign, digits, point, digits) with exactly `scale` decimals, rounded half away
// from zero; without a scale the decimals are not changed. An exponent is resolved. Nothing when the text is
// not a number or its exponent is beyond ±400.
std::optional<std::string> plain_decimal(std::string_view number, std::optional<int> scale);

} // namespace tarnlite
