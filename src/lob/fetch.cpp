#include "lob/fetch.h"

#include <algorithm>
#include <cstring>

#include "base/text.h"
#include "conn/call.h"
#include "conn/messages.h"
#include "reply/reply.h"
#include "reply/rows.h"
#include "wire/receive.h"
#include "wire/send.h"

namespace tarn {

// A descriptor is a name of 13 characters, including the marker, then one character, then the length in
// decimal.
static constexpr int name_length = 13;
static constexpr size_t length_position = 14;

static bool send_request(Conn& conn, const char* descriptor) noexcept {
    const size_t area = sizeof message::get_lob + std::strlen(descriptor);
    const Owned<char> command =
        format_text(area, message::get_lob, name_length, descriptor, descriptor + length_position);
    if (!command || !finish_last_reply(conn, area)) return false;
    put_command(conn.channel, command.get(), std::strlen(command.get()), 0);
    flush_send(conn.channel);
    return true;
}

// A piece goes straight into the chain. Pieces are at most 1 MiB.
static int32_t receive_piece(Channel& channel, Lob& lob) noexcept {
    int32_t length;
    if (!read_i32(channel, length)) return TRN_ERR_NETWORK;
    if (length < 0 || static_cast<size_t>(length) > lob_chunk_size) {
        close_channel(channel);
        return TRN_ERR_NETWORK;
    }
    for (size_t left = static_cast<size_t>(length); left;) {
        size_t room;
        uint8_t* tail = lob_tail(lob, room);
        if (!tail) {
            close_channel(channel);
            return TRN_ERR_ARGUMENT;
        }
        const size_t step = std::min(left, room);
        if (!read_bytes(channel, tail, step)) return TRN_ERR_NETWORK;
        lob.total_len += static_cast<int64_t>(step);
        left -= step;
    }
    return TRN_OK;
}

static int32_t receive_pieces(Channel& channel, Lob& lob) noexcept {
    for (;;) {
        uint32_t continues;
        if (!read_u32(channel, continues)) return TRN_ERR_NETWORK;
        if (!continues) return TRN_OK;
        if (const int32_t status = receive_piece(channel, lob)) return status;
    }
}

static int32_t receive_content(Conn& conn, Lob& lob) noexcept {
    MessageType type;
    if (!begin_reply(conn, type)) return TRN_ERR_NETWORK;
    if (type != MessageType::query) {
        leave_reply_before_end(conn, type);
        return TRN_OK;
    }
    if (const int32_t status = skip_columns(conn))
        return status == TRN_ERR_MEMORY ? TRN_ERR_ARGUMENT : TRN_ERR_NETWORK;
    if (!read_type(conn.channel, type)) return TRN_ERR_NETWORK;
    if (type != MessageType::row) {
        leave_reply(conn, type);
        return TRN_OK;
    }
    const int32_t status = receive_pieces(conn.channel, lob);
    // What follows the last piece is left to the next request: an end of reply, or nothing.
    if (status == TRN_OK) leave_reply_before_end(conn);
    return status;
}

static int32_t fetch_content(Conn& conn, Lob& lob) noexcept {
    if (std::strlen(lob.descriptor) <= length_position) return TRN_OK;
    const RunningCall call(conn);
    if (!send_request(conn, lob.descriptor)) return TRN_ERR_ARGUMENT;
    return receive_content(conn, lob);
}

int32_t fetch_lob(Conn& conn, Lob& lob, std::string_view descriptor) noexcept {
    reset_lob(lob);
    lob.state = LobState::empty;
    lob.descriptor = copy_text(descriptor.data(), descriptor.size()).release();
    const int32_t status = lob.descriptor ? fetch_content(conn, lob) : TRN_ERR_ARGUMENT;
    if (status == TRN_OK) lob.state = LobState::complete;
    return status;
}

} // namespace tarn
