// Connecting and logging in. The login is one text of clauses, sent without frame or terminator, or inside
// the encrypted blocks of the key agreement, and answered by one status byte.
#include "conn/login.h"

#include <cstdio>
#include <cstring>

#include "base/wipe.h"
#include "conn/login_text.h"
#include "conn/messages.h"
#include "crypto/key_agreement.h"
#include "wire/protocol_trace.h"
#include "wire/receive.h"

namespace tarn {

bool connect_server(Conn& conn) noexcept {
    conn.unread_reply = UnreadReply::none;
    close_channel(conn.channel);
    const uint32_t address = platform::parse_address(conn.settings.server);
    return address != platform::no_address &&
           open_channel(conn.channel, address, conn.settings.port, conn.options);
}

static bool refuse(Conn& conn, const char* error) noexcept {
    set_error_message(conn.head, error);
    close_channel(conn.channel);
    return false;
}

// "K" is the older protocol; "N", four bytes without meaning here and "K" the newer one. Anything else is a
// refusal, followed by the server's reason.
static bool judge_answer(Conn& conn, MessageType answer, Owned<char>& reason) noexcept {
    if (answer == MessageType::accepted_201) {
        std::strcpy(conn.protocol_version, "201");
        return true;
    }
    if (answer == MessageType::accepted_301) {
        std::strcpy(conn.protocol_version, "301");
        uint8_t rest[5];
        if (read_bytes(conn.channel, rest, sizeof rest) &&
            rest[4] == static_cast<uint8_t>(MessageType::accepted_201))
            return true;
    }
    read_string(conn.channel, reason);
    return refuse(conn, message::login_refused);
}

static bool login_plain(Conn& conn, Owned<char>& reason) noexcept {
    char text[plain_login_limit + 1];
    const WipeOnExit wiped(text);
    if (!build_login_text(conn, text, plain_login_limit)) return refuse(conn, message::login_refused);
    platform::send_some(conn.channel.sock, text, std::strlen(text));
    MessageType answer;
    if (!read_type(conn.channel, answer)) return refuse(conn, message::login_unanswered);
    return judge_answer(conn, answer, reason);
}

// One of the server's public numbers, which are sent in the clear: not through the buffer, because what
// follows is encrypted.
static bool receive_number(platform::Socket sock, uint8_t (&number)[32]) noexcept {
    for (size_t filled = 0; filled < sizeof number;) {
        const ptrdiff_t received = platform::receive_some(sock, number + filled, sizeof number - filled);
        if (received <= 0) return false;
        filled += static_cast<size_t>(received);
    }
    return true;
}

// The session key and the login text are sent in one run of blocks, encrypted with the server's public key;
// from the first byte of the answer everything is encrypted with the keystream of that session key.
static bool login_encrypted(Conn& conn, Owned<char>& reason) noexcept {
    uint8_t area[login_area_size] = {};
    uint8_t key[session_key_size];
    const WipeOnExit area_wiped(area);
    const WipeOnExit key_wiped(key);
    char* text = reinterpret_cast<char*>(area + session_key_size);
    if (!build_login_text(conn, text, max_encrypted_login_text) ||
        !make_session_key(conn.settings.password, key))
        return refuse(conn, message::login_refused);
    const platform::Socket sock = conn.channel.sock;
    uint8_t srv_exponent[32], srv_modulus[32];
    platform::send_some(sock, "~ssl~", 5);
    if (!receive_number(sock, srv_exponent) || !receive_number(sock, srv_modulus))
        return refuse(conn, message::login_refused);

    std::memcpy(area, key, sizeof key);
    const size_t length = pad_login_text(text);
    rsa_encrypt_blocks(srv_exponent, srv_modulus, area, session_key_size + length + 1);
    platform::send_some(sock, area, login_bytes_to_send(length));
    if (!encrypt_channel(conn.channel, key)) return refuse(conn, message::login_refused);
    // An unreadable answer counts as a refusal.
    MessageType answer = MessageType::none;
    read_type(conn.channel, answer);
    return judge_answer(conn, answer, reason);
}

static void trace_login(const Conn& conn) noexcept {
    char line[200];
    std::snprintf(line, sizeof line, "> login to %s port %u as \"%s\", %s channel", conn.settings.server,
                  static_cast<unsigned>(conn.settings.port), conn.settings.user,
                  conn.settings.use_ssl ? "encrypted" : "plain");
    trace_event(conn.channel, line);
}

bool login(Conn& conn, Owned<char>& reason) noexcept {
    if (tracing()) [[unlikely]]
        trace_login(conn);
    const bool accepted = conn.settings.use_ssl ? login_encrypted(conn, reason) : login_plain(conn, reason);
    if (accepted && conn.options.connect_timeout_ms > 0) set_waits(conn.channel, conn.options);
    return accepted;
}

} // namespace tarn
