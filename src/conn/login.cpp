// Connecting and logging in. The login is one text of clauses, sent without frame or terminator and answered by one status
// byte.
#include "conn/login.h"

#include <charconv>
#include <cstring>
#include <string_view>

#include "conn/messages.h"
#include "wire/receive.h"

namespace tarn {

bool connect_server(Conn& conn) noexcept {
    break_link(conn);
    conn.server_addr = platform::parse_address(conn.server);
    if (conn.server_addr == platform::no_address) return false;
    conn.sock = platform::connect_stream(conn.server_addr, conn.port, conn.recv_timeout_ms);
    return conn.sock != 0;
}

namespace {

// A text in a fixed area; whatever does not fit marks it as overflown.
class ClauseText {
  public:
    void add(std::string_view piece) noexcept {
        if (piece.size() > sizeof area_ - length_) {
            overflown_ = true;
            return;
        }
        std::memcpy(area_ + length_, piece.data(), piece.size());
        length_ += piece.size();
    }
    void add_number(int32_t number) noexcept {
        char digits[16];
        const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
        add({digits, static_cast<size_t>(end - digits)});
    }
    void add_quoted(std::string_view opening, const char* value) noexcept {
        add(opening);
        add(value);
        add("'");
    }
    bool overflown() const noexcept { return overflown_; }
    std::string_view text() const noexcept { return {area_, length_}; }

  private:
    char area_[511];
    size_t length_ = 0;
    bool overflown_ = false;
};

} // namespace

// The clauses of a login on a plain channel. The blanks inside the pieces are what the server expects.
static void build_login_text(const Conn& conn, ClauseText& text) noexcept {
    text.add("login database = ");
    text.add(conn.database);
    text.add_quoted(" user='", conn.user);
    text.add_quoted(" password='", conn.password);
    if (conn.char_set[0]) text.add_quoted(" char_set = '", conn.char_set);
    if (conn.iso_level[0]) text.add_quoted(" iso_level = '", conn.iso_level);
    if (conn.current_schema[0]) text.add_quoted(" current_schema = '", conn.current_schema);
    if (conn.keyword_filter[0]) text.add_quoted(" keyword_filter='", conn.keyword_filter);
    if (conn.lock_timeout != 0) {
        text.add(" lock_timeout = ");
        text.add_number(conn.lock_timeout);
    }
    text.add(conn.auto_commit_off == 1 ? " auto_commit = 'off'" : " auto_commit = 'on'");
    if (conn.cursor_id_off != 1) text.add(" return_cursor_id  = 'on'");
    if (conn.lob_descriptor != 0) text.add(" lob_ret  =descriptor");
    text.add_quoted(" version = '", conn.protocol_version);
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

bool login(Conn& conn) noexcept {
    ClauseText text;
    build_login_text(conn, text);
    if (text.overflown()) return refuse(conn, message::login_refused);
    platform::send_some(conn.sock, text.text().data(), text.text().size());
    uint8_t status;
    if (!read_u8(conn, status)) return refuse(conn, message::login_unanswered);
    return judge_answer(conn, status);
}

} // namespace tarn
