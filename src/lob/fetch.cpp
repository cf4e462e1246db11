#include "lob/fetch.h"

#include <algorithm>
#include <cstring>

#include "base/text.h"
#include "conn/messages.h"
#include "result/reply.h"
#include "result/rows.h"
#include "wire/receive.h"
#include "wire/send.h"

namespace tarn {

// A descriptor is a name of 13 characters, the marker included, one character between, and the length in decimal.
static constexpr int name_length = 13;
static constexpr size_t length_position = 14;

static bool send_request(Conn& conn, const char* descriptor) noexcept {
    const size_t area = sizeof message::get_lob + std::strlen(descriptor);
    const Owned<char> command =
        format_text(area, message::get_lob, name_length, descriptor, descriptor + length_position);
    if (!command || !make_way(conn, area)) return false;
    put_command(conn, command.get(), std::strlen(command.get()), 0);
    flush_send(conn);
    return true;
}

// A piece goes straight into the chain. Pieces are at most 1 MiB.
static int32_t receive_piece(Conn& conn, Lob& lob) noexcept {
    int32_t length;
    if (!read_i32(conn, length)) return TRN_ERR_NETWORK;
    if (length < 0 || static_cast<size_t>(length) > lob_chunk_size) {
        break_link(conn);
        return TRN_ERR_NETWORK;
    }
    for (size_t left = static_cast<size_t>(length); left;) {
        size_t room;
        uint8_t* tail = lob_tail(lob, room);
        if (!tail) {
            break_link(conn);
            return TRN_ERR_ARGUMENT;
        }
        const size_t step = std::min(left, room);
        if (!read_bytes(conn, tail, step)) return TRN_ERR_NETWORK;
        lob.total_len += static_cast<int64_t>(step);
        left -= step;
    }
    return TRN_OK;
}

static int32_t receive_pieces(Conn& conn, Lob& lob) noexcept {
    for (;;) {
        uint32_t continues;
        if (!read_u32(conn, continues)) return TRN_ERR_NETWORK;
        if (!continues) return TRN_OK;
        if (const int32_t status = receive_piece(conn, lob)) return status;
    }
}

static int32_t receive_content(Conn& conn, Lob& lob) noexcept {
    uint8_t type;
    if (!begin_reply(conn, type)) return TRN_ERR_NETWORK;
    if (type != 'A') {
        leave_reply(conn, type, ReplyRest::only_end);
        return TRN_OK;
    }
    const OwnedResult description(create_result(conn, TRN_ITEM_QUERY));
    if (!description) break_link(conn);
    const int32_t described = description ? read_columns(conn, *description) : TRN_ERR_MEMORY;
    if (described == TRN_ERR_MEMORY) return TRN_ERR_ARGUMENT;
    if (described != TRN_OK) break_link(conn);
    if (described != TRN_OK || !read_u8(conn, type)) return TRN_ERR_NETWORK;
    if (type != 'R') {
        leave_reply(conn, type);
        return TRN_OK;
    }
    const int32_t status = receive_pieces(conn, lob);
    // What the server sends behind the last piece is left to the next request: an end of reply, if anything.
    if (status == TRN_OK) leave_reply(conn, 0, ReplyRest::only_end);
    return status;
}

int32_t fetch_lob(Conn& conn, Lob& lob) noexcept {
    if (std::strlen(lob.descriptor) <= length_position) return TRN_OK;
    const ConnLock lock(conn);
    if (!send_request(conn, lob.descriptor)) return TRN_ERR_ARGUMENT;
    return receive_content(conn, lob);
}

} // namespace tarn
