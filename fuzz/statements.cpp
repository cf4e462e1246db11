// The other reply loops: counts, single values, procedures with outputs, prepares, attributes; two calls in
// sequence, so that the second meets what the first left unread.
#include "peer.h"

#include <array>
#include <cstring>

using namespace fuzz;

static void single_value(TRN_HANDLE* conn) {
    std::array<char, 64> area{};
    uint32_t type = 0;
    const int32_t status = TRN_Execute_query_with_one(conn, "x", area.data(), &type);
    if (status != TRN_OK || type < TRN_HANDED_OVER) return;
    void* value;
    std::memcpy(&value, area.data() + 4, sizeof value);
    TRN_FreePtr(&value);
}

static void procedure(TRN_HANDLE* conn) {
    std::array<char, 24> buffers[6];
    std::array<int32_t, 6> lengths{};
    static constexpr int32_t types[] = {TRN_TYPE_TEXT,  TRN_TYPE_INTEGER, TRN_TYPE_TEXT,
                                        TRN_TYPE_BYTES, TRN_TYPE_DATE,    TRN_TYPE_TEXT};
    static constexpr int32_t directions[] = {TRN_DIRECTION_OUT,   TRN_DIRECTION_OUT, TRN_DIRECTION_INOUT,
                                             TRN_DIRECTION_INOUT, TRN_DIRECTION_IN,  TRN_DIRECTION_RETURN};
    for (int32_t i = 0; i < 6; ++i) {
        auto& buffer = buffers[static_cast<size_t>(i)];
        buffer.fill('1');
        TRN_BindParamByPos(conn, i + 1, directions[i], types[i], buffer.data(), i == 2 ? 1 : 24,
                           &lengths[static_cast<size_t>(i)]);
    }
    TRN_HANDLE lob = nullptr;
    TRN_Create_Lob(&lob);
    int32_t lob_length = 0;
    TRN_BindParamByPos(conn, 5, TRN_DIRECTION_OUT, TRN_TYPE_CLOB, &lob, 8, &lob_length);
    TRN_Execute_procesure(conn, "x", nullptr);
    TRN_Distroy_Lob(&lob);
    int32_t type;
    TRN_GetFunReturnType(conn, &type);
}

static void prepare(TRN_HANDLE* conn, bool named) {
    char name[20];
    TRN_HANDLE result = nullptr;
    TRN_Prepare2(conn, "x", named ? name : nullptr);
    int32_t number = 5, length = 4;
    TRN_BindParamByPos(conn, 1, TRN_DIRECTION_IN, TRN_TYPE_INTEGER, &number, 4, &length);
    char cursor[64];
    TRN_Execute2(conn, named ? name : nullptr, named ? cursor : nullptr, &result);
    read_all(&result, 4096);
    TRN_UnPrepare(conn, named ? name : nullptr);
}

static void call(TRN_HANDLE* conn, int choice) {
    char id[32];
    char version[64];
    int32_t type, length;
    switch (choice % 7) {
    case 0: TRN_Execute_no_query(conn, "x"); break;
    case 1: single_value(conn); break;
    case 2: procedure(conn); break;
    case 3: TRN_Execute_procesure(conn, "x", nullptr); break;
    case 4: prepare(conn, false); break;
    case 5: prepare(conn, true); break;
    default: TRN_GetAttr(conn, TRN_ATTR_CONN_VERSION, version, sizeof version, &type, &length);
    }
    TRN_GetLastInsertId(conn, id);
    read_error(conn);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    const uint8_t choice = input.byte();
    Session session;
    session.receive(input);
    call(session.handle(), choice);
    call(session.handle(), choice / 7);
    return 0;
}
