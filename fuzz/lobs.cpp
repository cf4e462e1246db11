// Large objects by descriptor: a result with one descriptor, then any answer to its fetch.
#include "peer.h"

using namespace fuzz;

// One row with one BLOB or CLOB column, whose value is the start of the input.
static std::string result_of(std::string_view value, char type) {
    std::string bytes("A\0\0\0\1\0\0\0\1c\0\0\0", 13);
    bytes += type;
    bytes.append("\0\0\0\0\0\0\0\0R\0\0\0", 12);
    bytes += static_cast<char>(value.size());
    bytes += value;
    return bytes + "K";
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    const uint8_t choice = input.byte();
    const std::string answer = result_of(input.text(choice % 64), choice & 0x40 ? 34 : 32);
    Session session("lob_ret=1");
    TRN_HANDLE result = nullptr, lob = nullptr;
    serve(answer, 8192);
    TRN_ExecwithDataReader(session.handle(), "x", &result, nullptr, nullptr, nullptr);
    session.receive(input);
    TRN_Create_Lob(&lob);
    for (int i = 0; i < 2 && TRN_ReadNext(&result) == TRN_OK; ++i) {
        int32_t length = 0;
        TRN_GetData(&result, 1, choice & 0x40 ? TRN_TYPE_BLOB : TRN_TYPE_CLOB, &lob, 0, &length);
        char piece[1000];
        TRN_LobRead_SetPos(&lob, choice);
        while (TRN_Get_Lob_data(&lob, piece, sizeof piece) > 0) {
        }
    }
    read_error(&lob);
    TRN_FreeRowset(&result);
    TRN_Execute_no_query(session.handle(), "x");
    TRN_Distroy_Lob(&lob);
    return 0;
}
