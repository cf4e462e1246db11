// The connection record, one per open connection, reached through the application's handle variable. Each
// group of fields is written by the directory named with it.
#pragma once

#include <cstdint>

#include "conn/address_list.h"
#include "conn/handle.h"
#include "wire/channel.h"

namespace tarn {

struct ParamSet;

// The settings of the connection string, for every login of the connection.
struct Settings {
    char database[128];
    char server[32]; // dotted IPv4 address
    uint16_t port;   // host order
    char user[64];
    char password[64];
    char char_set[64];       // empty: not sent
    char iso_level[64];      // empty: not sent
    char current_schema[64]; // empty: not sent
    char keyword_filter[64]; // empty: not sent
    int32_t lock_timeout;    // seconds, for the server
    int32_t use_ssl;
    int32_t auto_commit_off;
    int32_t cursor_id_off;
    int32_t lob_descriptor;
    int32_t srv_cursor_off;
};

// What an earlier call left unread of its reply (reply/unread.h).
enum class UnreadReply : int32_t {
    none,
    messages,         // whole messages up to and including the end of reply
    message_then_end, // the message whose type was pushed back, then as below
    end,              // an optional end of reply: any other byte belongs to the next reply
};

// What the running call will print (conn/call.h).
struct SaidLine;
struct SaidLines {
    SaidLine* first;
    SaidLine* last;
    size_t kept;       // bytes
    uint32_t left_out; // lines
};

struct Conn {
    Handle head; // TRN_KIND_CONNECTION; any directory may replace its error text

    // Results stay usable after their connection is closed: the record lives until the last of them is
    // released.
    int32_t references;

    // conn
    Settings settings;         // attribute calls change some of them
    IpsAttrs* ips_attrs;       // owned; the address list of the connection string, null without one
    char protocol_version[64]; // "301" or "201", from the last login
    ChannelOptions options;
    platform::Lock* lock; // null: the open failed before it was made
    SaidLines said;

    // wire
    Channel channel;

    // reply
    UnreadReply unread_reply;
    char last_insert_id[32];

    // stmt
    int32_t statement_counter; // the number of the next generated statement name
    int32_t default_prepared;  // 1 while the default statement exists on the server
    char default_statement[20];
    ParamSet* bound_params;  // a reference; the next execution takes it
    int32_t fun_return_type; // wire type of the last function result; below 1: none
};

// The connection behind a handle variable, even if another thread's call is running on it; null when there is
// none or it is of another kind. For calls that take no lock on purpose: binding, accessors, attributes,
// closing. All others use RunningCall (conn/call.h).
inline Conn* unlocked_conn_of(const TRN_HANDLE* handle) noexcept {
    return kind_of(handle) == TRN_KIND_CONNECTION ? static_cast<Conn*>(*handle) : nullptr;
}

// Adds and removes a holder of the record; removing the last one releases it.
Conn* retain(Conn& conn) noexcept;
void drop_reference(Conn* conn) noexcept;

} // namespace tarn
