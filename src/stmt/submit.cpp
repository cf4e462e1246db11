#include "stmt/submit.h"

#include <cstdint>
#include <cstring>

#include "result/reply.h"
#include "wire/send.h"

namespace tarn {

bool fits_command(const char* sql) noexcept {
    return std::strlen(sql) < INT32_MAX;
}

bool submit(Conn& conn, const char* sql) noexcept {
    const size_t length = std::strlen(sql);
    if (!make_way(conn, length)) return false;
    put_command(conn, sql, length, 0);
    flush_send(conn);
    return true;
}

} // namespace tarn
