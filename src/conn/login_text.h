// The login text: clauses in a fixed order, with exactly the blanks that the server expects.
#pragma once

#include <cstddef>

#include "conn/conn.h"

namespace tarn {

inline constexpr size_t plain_login_limit = 511;

// Writes the login text of the connection's channel into area, which has room for limit bytes and a
// terminator. False when the text is longer than limit.
bool build_login_text(const Conn& conn, char* area, size_t limit) noexcept;

} // namespace tarn
