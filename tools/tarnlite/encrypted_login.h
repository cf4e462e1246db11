// The server's side of an encrypted login. The public numbers of an RSA key made for this login are sent in
// the clear, exponent first; the client answers with blocks encrypted under it:
//
//   block 0      the session key
//   blocks 1..   30 characters of the login text and the bytes 0x07 0x07 each; the last one has fewer
//                characters, and a NUL after them
//
// Only the NUL marks the last block.
#pragma once

#include "login.h"
#include "transport.h"

#include <optional>

namespace tarnlite {

// After success every byte after the blocks is encrypted in both directions. Nothing when the blocks do not
// arrive in time or hold no login: there is then no session key with which to answer the client.
std::optional<Login> receive_encrypted_login(Transport& transport, Transport::Clock::time_point deadline);

} // namespace tarnlite
