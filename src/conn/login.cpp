// Connecting and logging in. The login is one text of clauses, sent without frame or terminator, or inside the enciphered blocks
// of the key agreement, and answered by one status byte.
#include "conn/login.h"

#include <cstring>

#include "base/wipe.h"
#include "conn/login_text.h"
#include "conn/messages.h"
#include "crypto/key_agreement.h"
#include "wire/receive.h"

namespace tarn {

bool connect_server(Conn& conn) noexcept {
    break_link(conn);
    conn.server_addr = platform::parse_address(conn.server);
    if (conn.server_addr == platform::no_address) return false;
    conn.sock = platform::connect_stream(conn.server_addr, conn.port, conn.recv_timeout_ms);
    return conn.sock != 0;
}

static bool refuse(Conn& conn, const char* error) noexcept {
    set_error_message(conn.head, error);
    break_link(conn);
    return false;
}

// "K" is the older protocol; "N", four bytes that mean nothing here and "K" the newer one. Anything else is a refusal,
// followed by the server's reason.
static bool judge_answer(Conn& conn, uint8_t status) noexcept {
    if (status == 'K') {
        std::strcpy(conn.protocol_version, "201");
        conn.login_state = 1;
        return true;
    }
    if (status == 'N') {
        std::strcpy(conn.protocol_version, "301");
        uint8_t rest[5] = {};
        if (read_bytes(conn, rest, sizeof rest) && rest[4] == 'K') {
            conn.login_state = 1;
            return true;
        }
    }
    Owned<char> reason;
    read_string(conn, reason);
    return refuse(conn, message::login_refused);
}

static bool login_plain(Conn& conn) noexcept {
    char text[plain_login_limit + 1];
    const WipeOnExit wiped(text);
    if (!build_login_text(conn, text, plain_login_limit)) return refuse(conn, message::login_refused);
    platform::send_some(conn.sock, text, std::strlen(text));
    uint8_t status;
    if (!read_u8(conn, status)) return refuse(conn, message::login_unanswered);
    return judge_answer(conn, status);
}

// One of the server's public numbers. What does not arrive stays as it was: the server then cannot read the login, and refuses
// it.
static void receive_number(Conn& conn, uint8_t (&number)[32]) noexcept {
    for (size_t filled = 0; filled < sizeof number;) {
        const ptrdiff_t received = platform::receive_some(conn.sock, number + filled, sizeof number - filled);
        if (received <= 0) return;
        filled += static_cast<size_t>(received);
    }
}

static bool set_up_channel(Conn& conn, const uint8_t (&key)[32]) noexcept {
    conn.recv_cipher = allocate_record<TuringState>();
    conn.send_cipher = allocate_record<TuringState>();
    if (!conn.recv_cipher || !conn.send_cipher) return false;
    // One key and one keystream for both directions, each with its own position.
    set_up_keystream(*conn.recv_cipher, key);
    set_up_keystream(*conn.send_cipher, key);
    return true;
}

// The session key and the login text travel in one run of blocks, enciphered with the server's public numbers; from the
// answer's first byte on everything is enciphered with the keystream of that key.
static bool login_enciphered(Conn& conn) noexcept {
    uint8_t area[login_area_size] = {};
    uint8_t key[session_key_size];
    const WipeOnExit area_wiped(area);
    const WipeOnExit key_wiped(key);
    char* text = reinterpret_cast<char*>(area + session_key_size);
    if (!build_login_text(conn, text, max_enciphered_login_text) || !make_session_key(conn.password, key))
        return refuse(conn, message::login_refused);
    platform::send_some(conn.sock, "~ssl~", 5);
    receive_number(conn, conn.srv_exponent);
    receive_number(conn, conn.srv_modulus);

    std::memcpy(area, key, sizeof key);
    const size_t length = pad_login_text(text);
    rsa_encrypt_blocks(conn.srv_exponent, conn.srv_modulus, area, session_key_size + length + 1);
    platform::send_some(conn.sock, area, login_bytes_to_send(length));
    if (!set_up_channel(conn, key)) return refuse(conn, message::login_refused);
    // A read that fails leaves a status that no server sends.
    uint8_t status = 0;
    read_u8(conn, status);
    return judge_answer(conn, status);
}

bool login(Conn& conn) noexcept {
    return conn.use_ssl ? login_enciphered(conn) : login_plain(conn);
}

} // namespace tarn
