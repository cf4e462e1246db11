// The connection record, one per open connection, reached through the application's handle variable. Any room may read it;
// each field is written by the room named with it.
#pragma once

#include <cstdint>

#include "conn/address_list.h"
#include "conn/handle.h"
#include "platform/platform.h"

namespace tarn {

struct TuringState;
struct ParamSet;
struct ResultSet;

inline constexpr int32_t transfer_buffer_size = 8192;

// What an earlier call left unread of its reply (see result/reply.h).
enum class ReplyRest : int32_t {
    none,
    messages, // whole messages up to and with the end of reply
    only_end, // at most the message whose type byte was given back, and an end of reply if the server sends one: any
        // other byte belongs to the next reply
};

struct Conn {
    Handle head; // TRN_KIND_CONNECTION; its error text is replaced by every room that fails

    // Results stay usable after their connection was closed: the record lives until the last of them is released.
    int32_t references;

    // conn: the settings of the connection string
    char database[128];
    char server[32]; // dotted IPv4 address
    uint16_t port;   // host order
    char user[64];
    char password[64];
    char char_set[64];         // empty: not sent
    char iso_level[64];        // empty: not sent
    char protocol_version[64]; // "301" or "201", as the last login left it
    char current_schema[64];   // empty: not sent
    char keyword_filter[64];   // empty: not sent
    int32_t recv_timeout_ms;
    int32_t lock_timeout; // seconds, for the server
    int32_t use_ssl;
    int32_t auto_commit_off;
    int32_t return_rowid;
    int32_t cursor_id_off;
    int32_t lob_descriptor;
    int32_t srv_cursor_off;
    int32_t multi_address; // 1 when ips_attrs came with the connection string
    IpsAttrs* ips_attrs;   // owned

    // conn: the session
    int32_t login_state; // 123 set up, 1 logged in
    uint32_t server_addr;
    platform::Socket sock; // 0: none open
    platform::Lock* lock;  // null: the open did not come so far

    // stmt
    int32_t statement_counter; // the number of the next generated statement name
    int32_t default_prepared;  // 1 while the default statement exists on the server
    char default_statement[20];
    ParamSet* bound_params;     // a reference; the next execution takes it
    ResultSet* prepared_result; // owned; the columns that the last prepare described
    ResultSet* kept_rowset;     // owned; what was fetched without a rowset of the application's

    // stmt and result: what replies told about the session
    char last_insert_id[32];
    int32_t fun_return_type; // the server's type code of the last function result; below 1: none

    // conn: the enciphered channel; null states on a plain one
    TuringState* recv_cipher; // owned
    TuringState* send_cipher; // owned
    uint8_t srv_exponent[32]; // the server's public numbers, little-endian, as received at the last login
    uint8_t srv_modulus[32];

    // wire
    uint8_t pushed_back_byte; // a type byte read and given back; 0: none
    ReplyRest reply_rest;
    int32_t send_fill;
    int32_t recv_fill; // bytes received into recv_buf
    int32_t recv_pos;  // the next unread one; equal to recv_fill when the buffer is empty
    uint8_t send_buf[transfer_buffer_size];
    uint8_t recv_buf[transfer_buffer_size];
};

// The connection behind a handle variable; null when there is none or it is of another kind.
inline Conn* conn_of(const TRN_HANDLE* handle) noexcept {
    return kind_of(handle) == TRN_KIND_CONNECTION ? static_cast<Conn*>(*handle) : nullptr;
}

// One more holder of the record, and one less: the last one releases it.
Conn* retain(Conn& conn) noexcept;
void drop_reference(Conn* conn) noexcept;

// Holds a connection's lock from construction to the end of the scope. A connection whose open failed may have no lock:
// its calls fail at the socket without waiting.
class ConnLock {
  public:
    explicit ConnLock(Conn& conn) noexcept : lock_(conn.lock) {
        if (lock_) platform::acquire(lock_);
    }
    ~ConnLock() {
        if (lock_) platform::give_back(lock_);
    }
    ConnLock(const ConnLock&) = delete;
    ConnLock& operator=(const ConnLock&) = delete;

  private:
    platform::Lock* lock_;
};

} // namespace tarn
