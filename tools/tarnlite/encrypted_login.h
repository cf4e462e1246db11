// The server's side of an encrypted login. The numbers of an RSA key made for this login go out in the clear,
// exponent first; the client's blocks come back encrypted under it:
//
//   block 0      the session key
//   blocks 1..   30 characters of the login text and the bytes 0x07 0x07 each; the last one has fewer
//   characters
//                and a NUL behind them
//
// Nothing tells the number of blocks but the NUL.
#pragma once

#include "login.h"
#include "transport.h"

#include <optional>

namespace tarnlite {

// After success every byte behind the blocks is encrypted in both directions. Nothing when the blocks do not
// come in time or hold no login: whatever key they seem to hold is then no key under which the client could
// be answered.
std::optional<Login> receive_encrypted_login(Transport& transport, Transport::Clock::time_point deadline);

} // namespace tarnlite
