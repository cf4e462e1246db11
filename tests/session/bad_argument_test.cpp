/*
 * Null handles, null variables, handles of another kind and null pointers, for every exported call: the stated
 * status, no crash, and nothing sent to the server.
 */
#include "session_fixture.h"

#include <functional>

namespace {

/* Arguments that would do if the handle were right. */
struct Scratch {
    char text[1100] = {}, other[1100] = {}, third[1100] = {};
    std::int32_t a = 77, b = 77, c = 77, d = 77;
    std::int64_t wide = 77;
    std::uint32_t word = 77;
    TRN_HANDLE out = this;
};

struct Call {
    const char* name;
    std::function<std::int32_t(TRN_HANDLE*, Scratch&)> run;
    std::int32_t null_status, other_kind_status;
    bool takes_result = false, takes_connection = false;
};

const Call calls[] = {
    {"CloseConn", [](TRN_HANDLE* h, Scratch&) { return TRN_CloseConn(h); }, -1, -3, false, true},
    {"GetLastInsertId", [](TRN_HANDLE* h, Scratch& s) { return TRN_GetLastInsertId(h, s.text); }, -3, -3,
     false, true},
    {"GetFunReturnType", [](TRN_HANDLE* h, Scratch& s) { return TRN_GetFunReturnType(h, &s.a); }, -3, -3,
     false, true},
    {"GetError", [](TRN_HANDLE* h, Scratch& s) { return TRN_GetError(h, s.text, &s.a); }, 0, 0, true, true},
    {"GetErrorLen", [](TRN_HANDLE* h, Scratch&) { return TRN_GetErrorLen(h); }, 0, 0, true, true},
    {"GetErrorInfo", [](TRN_HANDLE* h, Scratch& s) { return TRN_GetErrorInfo(h, s.text, s.other); }, 0, 0,
     true, true},
    {"Execute_no_query", [](TRN_HANDLE* h, Scratch&) { return TRN_Execute_no_query(h, "x"); }, -3, -3, false,
     true},
    {"Execute_query_with_one",
     [](TRN_HANDLE* h, Scratch& s) { return TRN_Execute_query_with_one(h, "x", s.text, &s.word); }, -3, -3,
     false, true},
    {"ExecwithDataReader",
     [](TRN_HANDLE* h, Scratch& s) { return TRN_ExecwithDataReader(h, "x", &s.out, &s.a, &s.wide, &s.b); },
     -3, -3, false, true},
    {"ReadNext", [](TRN_HANDLE* h, Scratch&) { return TRN_ReadNext(h); }, -1, -1, true},
    {"NextResult", [](TRN_HANDLE* h, Scratch&) { return TRN_NextResult(h); }, 0, 0, true},
    {"getResultColumnsnum", [](TRN_HANDLE* h, Scratch& s) { return TRN_getResultColumnsnum(h, &s.a); }, -3,
     -3, true},
    {"getResultRecordnum", [](TRN_HANDLE* h, Scratch& s) { return TRN_getResultRecordnum(h, &s.a); }, -3, -3,
     true},
    {"getResultRet",
     [](TRN_HANDLE* h, Scratch& s) { return TRN_getResultRet(h, &s.a, &s.b, &s.c, &s.d, s.text); }, -3, -3,
     true},
    {"getResultColInfo",
     [](TRN_HANDLE* h, Scratch& s) {
         return TRN_getResultColInfo(h, 1, s.text, s.other, s.third, &s.a, &s.b, &s.c);
     },
     -3, -3, true},
    {"getResultcolType", [](TRN_HANDLE* h, Scratch& s) { return TRN_getResultcolType(h, 1, &s.a); }, -3, -3,
     true},
    {"getResultcolmodi", [](TRN_HANDLE* h, Scratch& s) { return TRN_getResultcolmodi(h, 1, &s.a); }, -3, -3,
     true},
    {"getResultcolname", [](TRN_HANDLE* h, Scratch& s) { return TRN_getResultcolname(h, 1, s.text); }, -3, -3,
     true},
    {"getResultcolseq", [](TRN_HANDLE* h, Scratch&) { return TRN_getResultcolseq(h, "c"); }, -3, -3, true},
    {"GetData", [](TRN_HANDLE* h, Scratch& s) { return TRN_GetData(h, 1, 2, s.text, 100, &s.a); }, -3, -3,
     true},
};

struct BothKinds {
    Session session{{{"q", query({{"c", TRN_WIRE_CHAR}}, {row({characters("v")})}) + end_of_reply},
                     {"last", update_count(42) + end_of_reply}}};
    Reader reader{session.handle(), "q"};
    std::int32_t unknown_kind = 99;

    /* The connection is still in step and the result still readable. */
    ~BothKinds() {
        EXPECT_EQ(TRN_ReadNext(&reader.result), 0);
        EXPECT_EQ(text_value(&reader.result, 1), "v");
        EXPECT_EQ(TRN_Execute_no_query(session.handle(), "last"), 42);
    }
};

TEST(bad_arguments, handles_that_are_null_or_of_another_kind) {
    BothKinds good;
    TRN_HANDLE null_handle = nullptr, unknown = &good.unknown_kind;
    const auto expect_refused = [](const Call& call, TRN_HANDLE* handle, std::int32_t status) {
        SCOPED_TRACE(call.name);
        const TRN_HANDLE before = handle == nullptr ? nullptr : *handle;
        Scratch scratch;
        EXPECT_EQ(call.run(handle, scratch), status);
        EXPECT_EQ(handle == nullptr ? nullptr : *handle, before);
        EXPECT_EQ(scratch.a, 77);
        EXPECT_EQ(scratch.b, 77);
        EXPECT_EQ(scratch.word, 77u);
        EXPECT_EQ(scratch.out, &scratch);
        EXPECT_STREQ(scratch.text, "");
    };
    for (const Call& call : calls) {
        expect_refused(call, nullptr, call.null_status);
        expect_refused(call, &null_handle, call.null_status);
        expect_refused(call, &unknown, call.other_kind_status);
        if (!call.takes_result) expect_refused(call, &good.reader.result, call.other_kind_status);
        if (!call.takes_connection) expect_refused(call, good.session.handle(), call.other_kind_status);
    }
}

TEST(bad_arguments, required_pointers_that_are_null) {
    BothKinds good;
    TRN_HANDLE* connection = good.session.handle();
    TRN_HANDLE* result = &good.reader.result;
    Scratch s;
    const std::pair<const char*, std::int32_t> statuses[] = {
        {"last insert id", TRN_GetLastInsertId(connection, nullptr)},
        {"function type", TRN_GetFunReturnType(connection, nullptr)},
        {"no-query text", TRN_Execute_no_query(connection, nullptr)},
        {"single value text", TRN_Execute_query_with_one(connection, nullptr, s.text, &s.word)},
        {"single value area", TRN_Execute_query_with_one(connection, "x", nullptr, &s.word)},
        {"single value type", TRN_Execute_query_with_one(connection, "x", s.text, nullptr)},
        {"reader text", TRN_ExecwithDataReader(connection, nullptr, &s.out, &s.a, &s.wide, &s.b)},
        {"column count", TRN_getResultColumnsnum(result, nullptr)},
        {"row count", TRN_getResultRecordnum(result, nullptr)},
        {"type", TRN_getResultcolType(result, 1, nullptr)},
        {"modifier", TRN_getResultcolmodi(result, 1, nullptr)},
        {"name", TRN_getResultcolname(result, 1, nullptr)},
        {"sought name", TRN_getResultcolseq(result, nullptr)},
        {"destination", TRN_GetData(result, 1, 2, nullptr, 10, &s.a)},
        {"statement", fun_sql_type(nullptr)},
        {"moment", dt2dtm_Api(0, nullptr)},
        {"reset", TRN_Reset(nullptr)},
    };
    for (const auto& [name, status] : statuses)
        EXPECT_EQ(status, TRN_ERR_ARGUMENT) << name;
    EXPECT_EQ(s.a, 77);
    EXPECT_EQ(s.word, 77u);
    EXPECT_STREQ(s.text, "");
}

TEST(bad_arguments, optional_pointers_may_be_null) {
    BothKinds good;
    TRN_HANDLE* result = &good.reader.result;
    std::int32_t length = 77;
    EXPECT_EQ(TRN_getResultRet(result, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(TRN_getResultColInfo(result, 1, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(TRN_GetError(good.session.handle(), nullptr, &length), 0);
    EXPECT_EQ(TRN_GetError(good.session.handle(), nullptr, nullptr), 0);
    EXPECT_EQ(length, 77);
    EXPECT_EQ(TRN_GetErrorInfo(good.session.handle(), nullptr, nullptr), 0);
    EXPECT_EQ(TRN_FreePtr(nullptr), 0);
    void* nothing = nullptr;
    EXPECT_EQ(TRN_FreePtr(&nothing), 0);
    TRN_HANDLE null_handle = nullptr, unknown = &good.unknown_kind;
    TRN_Drop(nullptr);
    TRN_Drop(&null_handle);
    TRN_Drop(&unknown);
    EXPECT_EQ(unknown, &good.unknown_kind);
    EXPECT_EQ(TRN_Reset(&unknown), 0);
    EXPECT_EQ(TRN_Reset(&null_handle), TRN_ERR_ARGUMENT);
}

TEST(bad_arguments, the_reserved_kind_is_accepted_without_effect) {
    std::int32_t record = TRN_KIND_RESERVED;
    TRN_HANDLE handle = &record;
    Scratch s;
    EXPECT_EQ(TRN_getResultColumnsnum(&handle, &s.a), 0);
    EXPECT_EQ(TRN_getResultRecordnum(&handle, &s.a), 0);
    EXPECT_EQ(TRN_GetData(&handle, 1, 2, s.text, 10, &s.a), 0);
    EXPECT_EQ(TRN_GetErrorInfo(&handle, s.text, s.other), 0);
    EXPECT_EQ(TRN_GetErrorLen(&handle), 0);
    EXPECT_EQ(TRN_NextResult(&handle), 0);
    EXPECT_EQ(TRN_ReadNext(&handle), -1);
    EXPECT_EQ(s.a, 77);
    EXPECT_STREQ(s.text, "");
}

} // namespace
