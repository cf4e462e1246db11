// Sending statements. All exchanges run under the connection's lock.
#pragma once

#include "conn/conn.h"
#include "stmt/param_set.h"

namespace tarn {

// Whether a text fits a command frame, whose length field is a signed 32-bit count.
bool fits_command(const char* sql) noexcept;

// Sends a statement with the parameters of a set, if there is one, as one flushed command. False when the rest of an earlier
// reply could not be passed over; a failed send shows itself when the reply cannot be read.
bool submit(Conn& conn, const char* sql, const ParamSet* params = nullptr) noexcept;

} // namespace tarn
