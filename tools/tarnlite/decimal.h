// Decimal numbers as text, exactly: no value passes through binary floating point here.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tarnlite {

// The number written plainly (sign, digits, point, digits) with exactly `scale` decimals, rounded half away
// from zero; without a scale the decimals stay as they are. An exponent is resolved. Nothing when the text is
// no number or its exponent goes beyond 400 either way.
std::optional<std::string> plain_decimal(std::string_view number, std::optional<int> scale);

} // namespace tarnlite
