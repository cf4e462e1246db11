// What replies told about the session: the last insert identifier, the type of the last function's return value.
#include <cstring>

#include "conn/conn.h"
#include "reply/type_codes.h"

using namespace tarn;

int32_t TRN_GetLastInsertId(TRN_HANDLE* handle, char* out_text) {
    const Conn* conn = unlocked_conn_of(handle);
    if (!conn || !out_text) return TRN_ERR_ARGUMENT;
    std::strcpy(out_text, conn->last_insert_id);
    return TRN_OK;
}

int32_t TRN_GetFunReturnType(TRN_HANDLE* handle, int32_t* out_type) {
    const Conn* conn = unlocked_conn_of(handle);
    if (!conn || !out_type) return TRN_ERR_ARGUMENT;
    if (conn->fun_return_type < 1) return -1;
    *out_type = wire_type(conn->fun_return_type).api_code;
    return TRN_OK;
}
