/*
 * Null handles, null variables, handles of another kind and null pointers, for every exported call: the
 * stated status, no crash, and nothing sent to the server.
 */
#include "session_fixture.h"

#include <utility>

namespace {

/* Arguments that would do if the handle were right. */
struct Scratch {
    char text[1100] = {}, other[1100] = {}, third[1100] = {};
    std::int32_t a = 77, b = 77, c = 77, d = 77;
    std::int64_t wide = 77;
    std::uint32_t word = 77;
    TRN_HANDLE out = this, other_out = this;
};

enum Kinds {
    connection,
    result,
    either
};

struct ExportedCall {
    const char* name;
    Kinds takes;
    std::int32_t null_status, other_kind_status;
    std::int32_t (*run)(TRN_HANDLE*, Scratch&);
};

// clang-format off
const ExportedCall calls[] = {
    {"CloseConn", connection, -1, -3, [](auto h, auto&) { return TRN_CloseConn(h); }},
    {"GetLastInsertId", connection, -3, -3, [](auto h, auto& s) { return TRN_GetLastInsertId(h, s.text); }},
    {"GetFunReturnType", connection, -3, -3, [](auto h, auto& s) { return TRN_GetFunReturnType(h, &s.a); }},
    {"GetError", either, 0, 0, [](auto h, auto& s) { return TRN_GetError(h, s.text, &s.a); }},
    {"GetErrorLen", either, 0, 0, [](auto h, auto&) { return TRN_GetErrorLen(h); }},
    {"GetErrorInfo", either, 0, 0, [](auto h, auto& s) { return TRN_GetErrorInfo(h, s.text, s.other); }},
    {"Execute_no_query", connection, -3, -3, [](auto h, auto&) { return TRN_Execute_no_query(h, "x"); }},
    {"Execute_query_with_one", connection, -3, -3,
     [](auto h, auto& s) { return TRN_Execute_query_with_one(h, "x", s.text, &s.word); }},
    {"ExecwithDataReader", connection, -3, -3,
     [](auto h, auto& s) { return TRN_ExecwithDataReader(h, "x", &s.out, &s.a, &s.wide, &s.b); }},
    {"ReconnectConn", connection, -3, -3, [](auto h, auto&) { return TRN_ReconnectConn(h); }},
    {"GetAttr", either, -3, -3, [](auto h, auto& s) { return TRN_GetAttr(h, 3, s.text, 64, &s.a, &s.b); }},
    {"SetAttr", connection, -3, 0, [](auto h, auto& s) { return TRN_SetAttr(h, 11, s.text); }},
    {"Execute_procesure", connection, -3, -3, [](auto h, auto& s) { return TRN_Execute_procesure(h, "x", s.text); }},
    {"ExecwithServerCursorReader", connection, -3, -3,
     [](auto h, auto& s) { return TRN_ExecwithServerCursorReader(h, "x", "c", &s.out, &s.a); }},
    {"FetchServerCursorRowset", connection, -3, -3, [](auto h, auto& s) { return TRN_FetchServerCursorRowset(h, "c", &s.out); }},
    {"FetchServerCursorRowset_V2", connection, -3, -3,
     [](auto h, auto&) { TRN_HANDLE none = nullptr; return TRN_FetchServerCursorRowset_V2(h, "x", &none); }},
    {"FetchRefCursorHead", connection, -3, -3,
     [](auto h, auto& s) { return TRN_FetchRefCursorHead(h, "c", &s.out, &s.a, &s.wide, &s.b); }},
    {"CloseCursor", connection, -3, -3, [](auto h, auto&) { return TRN_CloseCursor(h, "c"); }},
    {"ReadNext", result, -1, -1, [](auto h, auto&) { return TRN_ReadNext(h); }},
    {"NextResult", result, 0, 0, [](auto h, auto&) { return TRN_NextResult(h); }},
    {"getResultColumnsnum", result, -3, -3, [](auto h, auto& s) { return TRN_getResultColumnsnum(h, &s.a); }},
    {"getResultRecordnum", result, -3, -3, [](auto h, auto& s) { return TRN_getResultRecordnum(h, &s.a); }},
    {"getResultRet", result, -3, -3, [](auto h, auto& s) { return TRN_getResultRet(h, &s.a, &s.b, &s.c, &s.d, s.text); }},
    {"getResultColInfo", result, -3, -3,
     [](auto h, auto& s) { return TRN_getResultColInfo(h, 1, s.text, s.other, s.third, &s.a, &s.b, &s.c); }},
    {"getResultcolType", result, -3, -3, [](auto h, auto& s) { return TRN_getResultcolType(h, 1, &s.a); }},
    {"getResultcolmodi", result, -3, -3, [](auto h, auto& s) { return TRN_getResultcolmodi(h, 1, &s.a); }},
    {"getResultcolname", result, -3, -3, [](auto h, auto& s) { return TRN_getResultcolname(h, 1, s.text); }},
    {"getResultcolseq", result, -3, -3, [](auto h, auto&) { return TRN_getResultcolseq(h, "c"); }},
    {"GetData", result, -3, -3, [](auto h, auto& s) { return TRN_GetData(h, 1, 2, s.text, 100, &s.a); }},
};
// clang-format on

struct BothKinds {
    Session session{{{"q", query({{"c", TRN_WIRE_CHAR}}, {row({wire_text("v")})}) + K}, {"last", U(42) + K}}};
    Reader reader{session.connection, "q"};
    std::int32_t unknown_kind = 99;

    /* The connection is still in step and the result still readable. */
    ~BothKinds() {
        EXPECT_EQ(reader.transcript(), "c: v\n");
        EXPECT_EQ(session.connection.run("last"), 42);
    }
};

TEST(bad_arguments, handles_that_are_null_or_of_another_kind) {
    BothKinds good;
    TRN_HANDLE null_handle = nullptr, unknown = &good.unknown_kind;
    const auto expect_refused = [](const ExportedCall& call, TRN_HANDLE* handle, std::int32_t status) {
        SCOPED_TRACE(call.name);
        const TRN_HANDLE before = handle == nullptr ? nullptr : *handle;
        Scratch s;
        EXPECT_EQ(call.run(handle, s), status);
        EXPECT_EQ(handle == nullptr ? nullptr : *handle, before);
        EXPECT_TRUE(s.a == 77 && s.b == 77 && s.word == 77 && s.out == &s && s.text[0] == 0);
    };
    for (const ExportedCall& call : calls) {
        expect_refused(call, nullptr, call.null_status);
        expect_refused(call, &null_handle, call.null_status);
        expect_refused(call, &unknown, call.other_kind_status);
        if (call.takes == connection) expect_refused(call, &good.reader.result, call.other_kind_status);
        if (call.takes == result) expect_refused(call, good.session.handle(), call.other_kind_status);
    }
}

TEST(bad_arguments, required_pointers_that_are_null) {
    BothKinds good;
    TRN_HANDLE* conn = good.session.handle();
    TRN_HANDLE* rows = &good.reader.result;
    Scratch s;
    TRN_HANDLE unknown = &good.unknown_kind;
    const std::string list = connection_string(test_refusing_port(), account + ";IPS=127.0.0.1");
    // clang-format off
    const std::pair<const char*, std::int32_t> statuses[] = {
        {"last insert id", TRN_GetLastInsertId(conn, nullptr)}, {"function type", TRN_GetFunReturnType(conn, nullptr)},
        {"no-query text", TRN_Execute_no_query(conn, nullptr)},
        {"single value text", TRN_Execute_query_with_one(conn, nullptr, s.text, &s.word)},
        {"single value area", TRN_Execute_query_with_one(conn, "x", nullptr, &s.word)},
        {"single value type", TRN_Execute_query_with_one(conn, "x", s.text, nullptr)},
        {"reader text", TRN_ExecwithDataReader(conn, nullptr, &s.out, &s.a, &s.wide, &s.b)},
        {"column count", TRN_getResultColumnsnum(rows, nullptr)}, {"row count", TRN_getResultRecordnum(rows, nullptr)},
        {"type", TRN_getResultcolType(rows, 1, nullptr)}, {"modifier", TRN_getResultcolmodi(rows, 1, nullptr)},
        {"name", TRN_getResultcolname(rows, 1, nullptr)}, {"sought name", TRN_getResultcolseq(rows, nullptr)},
        {"destination", TRN_GetData(rows, 1, 2, nullptr, 10, &s.a)}, {"statement", fun_sql_type(nullptr)},
        {"moment", dt2dtm_Api(0, nullptr)}, {"reset", TRN_Reset(nullptr)},
        {"attribute", TRN_GetAttr(conn, 3, nullptr, 64, &s.a, &s.b)}, {"row attribute", TRN_GetAttr(rows, 61, nullptr, 64, &s.a, &s.b)},
        {"auto-commit", TRN_SetAttr(conn, 11, nullptr)}, {"call text", TRN_Execute_procesure(conn, nullptr, s.text)},
        {"cursor text", TRN_ExecwithServerCursorReader(conn, nullptr, "c", &s.out, &s.a)},
        {"cursor", TRN_ExecwithServerCursorReader(conn, "x", nullptr, &s.out, &s.a)},
        {"fetched cursor", TRN_FetchServerCursorRowset(conn, nullptr, &s.out)}, {"fetch text", TRN_FetchServerCursorRowset_V2(conn, nullptr, rows)},
        {"rowset", TRN_FetchServerCursorRowset_V2(conn, "x", nullptr)}, {"kind of rowset", TRN_FetchServerCursorRowset_V2(conn, "x", conn)},
        {"no rowset", TRN_FetchServerCursorRowset_V2(conn, "x", &unknown)},
        {"ref cursor", TRN_FetchRefCursorHead(conn, nullptr, &s.out, &s.a, &s.wide, &s.b)},
        {"rows asked for", TRN_FetchRefCursorHead(conn, "c", &s.out, &s.a, &s.wide, nullptr)}, {"closed cursor", TRN_CloseCursor(conn, nullptr)},
        {"list text", TRN_OpenConn_Ips(nullptr, -1, &s.out, &s.other_out)}, {"record", TRN_OpenConn_Ips(list.c_str(), 0, nullptr, &s.out)},
        {"listed connection", TRN_OpenConn_Ips(list.c_str(), 0, &s.out, nullptr)},
    };
    // clang-format on
    for (const auto& [name, status] : statuses)
        EXPECT_EQ(status, TRN_ERR_ARGUMENT) << name;
    EXPECT_TRUE(s.a == 77 && s.b == 77 && s.word == 77 && s.text[0] == 0 && s.out == &s && s.other_out == &s);
}

TEST(bad_arguments, optional_pointers_may_be_null) {
    BothKinds good;
    TRN_HANDLE *conn = good.session.handle(), *rows = &good.reader.result;
    std::int32_t length = 77;
    void* nothing = nullptr;
    EXPECT_EQ(TRN_getResultRet(rows, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(TRN_getResultColInfo(rows, 1, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(TRN_GetError(conn, nullptr, &length), 0);
    EXPECT_EQ(TRN_GetErrorInfo(conn, nullptr, nullptr), 0);
    EXPECT_EQ(TRN_GetAttr(rows, 61, &length, 0, nullptr, nullptr), 0);
    EXPECT_EQ(std::exchange(length, 77), 1);
    EXPECT_EQ(Release_IpsAttrs(nullptr) + Release_IpsAttrs(&nothing), -2);
    EXPECT_EQ(TRN_FreePtr(nullptr) + TRN_FreePtr(&nothing) + TRN_FreeRowset(nullptr), 0);
    TRN_HANDLE null_handle = nullptr, unknown = &good.unknown_kind;
    for (TRN_HANDLE* handle : {static_cast<TRN_HANDLE*>(nullptr), &null_handle, &unknown})
        TRN_Drop(handle);
    EXPECT_EQ(unknown, &good.unknown_kind);
    EXPECT_EQ(TRN_Reset(&unknown), 0);
    EXPECT_EQ(TRN_Reset(&null_handle), TRN_ERR_ARGUMENT);
    EXPECT_EQ(length, 77);
}

TEST(bad_arguments, the_reserved_kind_is_accepted_without_effect) {
    std::int32_t record = TRN_KIND_RESERVED;
    TRN_HANDLE handle = &record;
    Scratch s;
    for (const ExportedCall& call : calls) {
        const std::string name = call.name;
        const bool accepted = name == "getResultColumnsnum" || name == "getResultRecordnum" ||
                              name == "GetData" || call.other_kind_status == 0;
        EXPECT_EQ(call.run(&handle, s), accepted ? 0 : call.other_kind_status) << name;
    }
    EXPECT_TRUE(s.a == 77 && s.text[0] == 0 && handle == &record);
}

} // namespace
