#include "stmt/submit.h"

#include <cstdint>
#include <cstring>

#include "conn/call.h"
#include "conn/messages.h"
#include "reply/reply.h"
#include "stmt/encode.h"
#include "wire/send.h"

namespace tarn {

int32_t submit(Conn& conn, const char* sql, const ParamSet* params, const char* step) noexcept {
    const size_t length = std::strlen(sql);
    if (params && check_entries(*params) != TRN_OK) return TRN_ERR_ARGUMENT;
    if (!finish_last_reply(conn, params ? SIZE_MAX : length)) {
        if (step) say(conn, message::print_network_error, step);
        return TRN_ERR_NETWORK;
    }
    put_command(conn.channel, sql, length, params ? entry_count(*params) : 0);
    // A large object that cannot be sent ends the entries; the reply shows how the server took it.
    if (params && encode_params(conn.channel, *params) == -1) say(conn, "%s", message::print_lob_unsent);
    flush_send(conn.channel);
    return TRN_OK;
}

} // namespace tarn
