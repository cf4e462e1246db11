// Results, received in every way, and every call on what arrived.
#include "peer.h"

using namespace fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    const uint8_t choice = input.byte();
    Session session(choice & 0x80 ? "lob_ret=1" : "");
    session.receive(input);
    TRN_HANDLE* conn = session.handle();
    TRN_HANDLE result = nullptr;
    int32_t columns, affected, rows_wanted = choice;
    int64_t rows;
    switch (choice % 4) {
    case 0: TRN_ExecwithDataReader(conn, "x", &result, &columns, &rows, &affected); break;
    case 1: TRN_FetchRefCursorHead(conn, "c", &result, &columns, &rows, &rows_wanted); break;
    case 2:
        TRN_ExecwithServerCursorReader(conn, "x", "c", &result, &columns);
        read_all(&result, size);
        TRN_FetchServerCursorRowset(conn, "c", &result);
        break;
    default:
        TRN_FetchServerCursorRowset(conn, "c", &result);
        TRN_FetchServerCursorRowset_V2(conn, "FETCH", &result);
    }
    read_all(&result, size);
    TRN_CloseCursor(conn, "c");
    read_error(conn);
    return 0;
}
