#include "stmt/submit.h"

#include <cstdint>
#include <cstring>

#include "wire/send.h"

namespace tarn {

bool fits_command(const char* sql) noexcept {
    return std::strlen(sql) < INT32_MAX;
}

void submit(Conn& conn, const char* sql) noexcept {
    put_command(conn, sql, std::strlen(sql), 0);
    flush_send(conn);
}

} // namespace tarn
