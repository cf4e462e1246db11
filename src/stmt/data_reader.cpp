// TRN_ExecwithDataReader: runs any statement and returns its whole reply.
#include "conn/call.h"
#include "reply/reply.h"
#include "stmt/submit.h"

using namespace tarn;

int32_t TRN_ExecwithDataReader(TRN_HANDLE* handle, const char* sql, TRN_HANDLE* result_out,
                               int32_t* column_count, int64_t* row_count, int32_t* affected_count) {
    const RunningCall conn(handle, sql);
    if (!conn) return TRN_ERR_ARGUMENT;
    const BoundParams params(*conn);
    ResultSet* result = nullptr;
    int32_t status = submit(*conn, sql, params.get());
    if (status == TRN_OK) status = receive_results(*conn, result);
    if (result) {
        if (column_count) *column_count = result->column_count;
        if (row_count) *row_count = result->row_count;
        if (affected_count) *affected_count = result->affected;
    }
    hand_out(result, result_out);
    return status;
}
