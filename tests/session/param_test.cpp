/*
 * Parameter sets: the checks of the binding calls, how sets grow and keep values, and whose they are. What a
 * set holds is seen in the request that sends it.
 */
#include "parameter_wire.h"

#include <cstring>

namespace {

/* Binds on a connection and on a set of the application's; two executions show that one takes it all. */
void expect_sent(const std::string& entries, std::size_t count,
                 const std::function<void(Session&, TRN_HANDLE*)>& bind) {
    const auto word = static_cast<std::int64_t>(count);
    for (const bool explicit_set : {false, true}) {
        SCOPED_TRACE(explicit_set ? "a set of its own" : "the connection's set");
        Session session(asked({{request("q", word, entries), K}, {command("q"), K}}));
        ParamSet set;
        bind(session, explicit_set ? &set.handle : session.handle());
        if (explicit_set) set.attach(session);
        EXPECT_EQ(session.connection.run("q"), 0);
        EXPECT_EQ(session.connection.run("q"), 0);
    }
}

constexpr std::int32_t by_name = -7;
// clang-format off
const struct { std::int32_t position, direction, status; const char* text; } refusals[] = {
    {4001, 9, -51, "[EC051]Error invalid param NO 4001 out of range paramnum"},
    {INT32_MAX, 1, -51, "[EC051]Error invalid param NO 2147483647 out of range paramnum"},
    {0, 4, -52, "[EC052]Error invalid param type 4"}, {4000, 0, -52, "[EC052]Error invalid param type 0"},
    {1, INT32_MIN, -52, "[EC052]Error invalid param type -2147483648"},
    {0, 6, -54, "[EC054]Error param_no  param seq 0 invalid"}, {-1, 1, -54, "[EC054]Error param_no  param seq -1 invalid"},
    {257, 1, -55, "[EC055]Error bindparam jump long -55 invalid"}, {4000, 2, -55, "[EC055]Error bindparam jump long -55 invalid"},
    {by_name, 4, -52, "[EC052]Error invalis param type 4"}, {by_name, -1, -52, "[EC052]Error invalis param type -1"},
};
// clang-format on

TEST(binding, is_refused_by_the_first_check_that_fails_and_leaves_the_set_as_it_was) {
    expect_sent(text_entry("kept"), 1, [](Session& session, TRN_HANDLE* handle) {
        EXPECT_EQ(bind_text(handle, 1, "kept"), 0);
        std::string before;
        for (const auto& [position, direction, status, text] : refusals) {
            SCOPED_TRACE(text);
            Bytes value = exact("lost");
            EXPECT_EQ(position == by_name
                          ? TRN_BindParamByName(handle, "n", direction, 2, value.data(), 4, nullptr, nullptr)
                          : TRN_BindParamByPos(handle, position, direction, 2, value.data(), 4, nullptr),
                      status);
            if (handle == session.handle()) before = text;
            EXPECT_EQ(error_text(session.connection.handle), before);
        }
        EXPECT_EQ(TRN_GetErrorLen(handle), static_cast<std::int32_t>(before.size()));
    });
}

/* Of the calls that take parameters, prepared statements and large objects; nothing is sent. */
TEST(arguments, that_are_null_or_of_another_kind_are_refused) {
    Session session(asked({{command("q"), query({{"n", TRN_WIRE_INTEGER}}, {}) + K}, {command("q"), K}}));
    Reader reader(session.connection, "q");
    ParamSet set;
    TRN_HANDLE null = nullptr, lob = nullptr, *conn = session.handle();
    EXPECT_EQ(TRN_Create_Lob(&lob), 0);
    std::int32_t length = 1;
    char byte[32] = "x";
    // clang-format off
    const std::function<std::int32_t(TRN_HANDLE*)> calls[] = {
        [&](TRN_HANDLE* h) { return TRN_BindParamByPos(h, 1, 1, 3, byte, 1, nullptr); },
        [&](TRN_HANDLE* h) { return TRN_BindParamByName(h, "n", 1, 3, byte, 1, nullptr, nullptr); },
        [&](TRN_HANDLE* h) { return TRN_BindParamArrayByPos(h, 1, 1, 1, 3, 1, byte, 1, &length); },
        [&](TRN_HANDLE* h) { return TRN_BindParamArrayByName(h, "n", 1, 1, 3, 1, byte, 1, &length); },
        [&](TRN_HANDLE* h) { return TRN_BindParams2Conn(h, &set.handle); }, [&](TRN_HANDLE* h) { return TRN_BindParams2Conn(conn, h); },
        [](TRN_HANDLE* h) { return TRN_ResetParams(h); }, [](TRN_HANDLE* h) { return TRN_UnPrepare(h, "S"); },
        [&](TRN_HANDLE* h) { return TRN_Prepare2(h, "q", byte); }, [](TRN_HANDLE* h) { return TRN_Prepare2(h, "q", nullptr); },
        [](TRN_HANDLE* h) { return TRN_Execute2(h, "S", nullptr, nullptr); }, [](TRN_HANDLE* h) { return TRN_ExecBatch(h, "q", 1); },
        [&](TRN_HANDLE* h) { return TRN_Put_Lob_data(h, byte, 1); }, [](TRN_HANDLE* h) { return TRN_Put_Lob_data(h, nullptr, -1); },
        [&](TRN_HANDLE* h) { return TRN_Get_Lob_data(h, byte, 1); }, [](TRN_HANDLE* h) { return TRN_LobRead_SetPos(h, 0); },
        [&](TRN_HANDLE* h) { return h == &reader.result ? -3 : TRN_Reset(h); },
        [&](TRN_HANDLE* h) { return h == &reader.result ? TRN_Reset_Lob(h) : TRN_Reset_Lob(h) - 3; },
        [&](TRN_HANDLE* h) { return h == &reader.result ? TRN_Distroy_Lob(h) : TRN_Distroy_Lob(h) - 3; },
        [&](TRN_HANDLE* h) { return h == nullptr ? -3 : TRN_BindParamByPos(conn, 1, 1, 41, h, 8, nullptr); },
        [&](TRN_HANDLE* h) { return h == nullptr ? -3 : TRN_BindParamByName(&set.handle, "n", 1, 40, h, 8, nullptr, nullptr); },
    };
    // clang-format on
    for (std::size_t i = 0; i < std::size(calls); ++i)
        for (TRN_HANDLE* handle : {static_cast<TRN_HANDLE*>(nullptr), &null, &reader.result})
            EXPECT_EQ(calls[i](handle), -3) << "call " << i;
    EXPECT_EQ((Statuses{TRN_BindParams2Conn(&set.handle, conn), TRN_BindParams2Conn(conn, conn),
                        TRN_CreateParams(nullptr),
                        TRN_BindParamByName(conn, nullptr, 1, 3, byte, 1, nullptr, nullptr),
                        TRN_Create_Lob(nullptr),
                        TRN_BindParamArrayByName(conn, nullptr, 1, 1, 3, 1, byte, 1, &length),
                        TRN_Prepare2(conn, nullptr, byte), TRN_Prepare2(conn, nullptr, nullptr),
                        TRN_ExecBatch(conn, nullptr, 1), TRN_Execute2(conn, nullptr, byte, nullptr),
                        TRN_Get_Lob_data(&lob, nullptr, 1)}),
              Statuses(11, -3));
    EXPECT_STREQ(byte, "x");
    EXPECT_EQ((Statuses{TRN_Distroy_Lob(&lob), TRN_Distroy_Lob(&lob), session.connection.run("q")}),
              Statuses(3));
}

/* The value is the object's handle variable or the object itself; an output's variable may still be null. */
TEST(arguments, that_are_no_large_object_are_refused_where_one_is_needed) {
    Session session(asked(
        {{command("q"), query({{"n", TRN_WIRE_INTEGER}}, {}) + K},
         {request("p", 2, entry("", 1, TRN_WIRE_CLOB, 0, "") + entry("", 2, TRN_WIRE_BLOB, 0, "")), K}}));
    Reader reader(session.connection, "q");
    ParamSet set;
    TRN_HANDLE null = nullptr, lob = nullptr, *conn = session.handle();
    EXPECT_EQ(TRN_Create_Lob(&lob), 0);
    std::int32_t length = 8;
    const auto bind = [&](std::int32_t direction, std::int32_t type, void* value) {
        return TRN_BindParamByPos(conn, direction, direction, type, value, 8, &length);
    };
    for (const std::int32_t type : {TRN_TYPE_BLOB_PARAMETER, TRN_TYPE_CLOB, TRN_TYPE_BLOB})
        for (const std::int32_t direction : {1, 2, 3}) {
            SCOPED_TRACE(std::to_string(type) + " " + std::to_string(direction));
            for (TRN_HANDLE* other : {conn, &set.handle, &reader.result}) {
                EXPECT_EQ(bind(direction, type, *other), -3);
                EXPECT_EQ(bind(direction, type, other), -3);
            }
            EXPECT_EQ(bind(direction, type, &null), direction == TRN_DIRECTION_IN ? -3 : 0);
            EXPECT_EQ((Statuses{bind(direction, type, lob), bind(direction, type, &lob)}), Statuses(2));
            TRN_ResetParams(conn);
        }
    EXPECT_EQ((Statuses{bind(1, TRN_TYPE_CLOB, lob), bind(2, TRN_TYPE_BLOB, &null)}), Statuses(2));
    EXPECT_EQ(TRN_Execute_procesure(conn, "p", nullptr), 0);
    TRN_Distroy_Lob(&lob);
}

/* Room for 128 slots at first, 128 more at a time; slots passed over travel empty. */
TEST(binding, by_position_jumps_at_most_one_step_above_the_room) {
    std::vector<std::int32_t> steps;
    for (std::int32_t position = 128; position < 4000; position += 128)
        steps.push_back(position);
    steps.push_back(4000);
    const std::pair<std::vector<std::int32_t>, std::int32_t> cases[] = {
        {{1, 200}, 385}, {{256}, 385}, {{129, 384}, 513}, {{1, 128}, 257}, {{7, 3}, 300}, {steps, 4001}};
    for (const auto& [positions, refused] : cases) {
        SCOPED_TRACE(positions.size());
        std::vector<std::string> slots;
        for (const std::int32_t position : positions) {
            slots.resize(std::max(slots.size(), std::size_t(position)), entry("", 0, 1, 0, ""));
            slots[std::size_t(position) - 1] = text_entry(std::to_string(position));
        }
        std::string entries;
        for (const std::string& slot : slots)
            entries += slot;
        expect_sent(entries, slots.size(), [&](Session&, TRN_HANDLE* handle) {
            EXPECT_EQ(bind_text(handle, 300, "x"), -55);
            for (const std::int32_t position : positions)
                EXPECT_EQ(bind_text(handle, position, std::to_string(position)), 0);
            EXPECT_EQ(bind_text(handle, refused, "x"), refused == 4001 ? -51 : -55);
        });
    }
}

TEST(binding, again_replaces_the_value_and_all_but_inputs_are_read_at_the_execution) {
    for (const std::int32_t direction : {2, 3}) {
        char value[] = "before";
        std::int32_t length = 6;
        const std::string sent =
            entry("", direction, TRN_WIRE_CHAR, 5, "after") + text_entry("before") + text_entry("");
        expect_sent(sent, 3, [&](Session&, TRN_HANDLE* handle) {
            std::strcpy(value, "before");
            for (const std::int32_t first : {1, 6, 2, 1, direction}) {
                length = 6;
                EXPECT_EQ((Statuses{bind_text(handle, 3, std::string(3000, 'x')),
                                    TRN_BindParamByPos(handle, 1, first, 2, value, 6, &length),
                                    TRN_BindParamByPos(handle, 2, 1, 2, value, 6, &length),
                                    TRN_BindParamByPos(handle, 3, 1, 2, nullptr, 9, &length)}),
                          Statuses(4));
            }
            std::strcpy(value, "after");
            length = 5;
        });
    }
}

/* Without a buffer length a fixed-size type has its own size, and any other its length; the values lie in
 * buffers of that. */
TEST(binding, without_a_buffer_length_takes_inputs_and_in_outs_alike) {
    const struct {
        std::int32_t type, length;
        std::string value, sent;
    } cases[] = {
        {TRN_TYPE_INTEGER, 4, host_bytes(-70000), be16(TRN_WIRE_INTEGER) + integer(-70000)},
        {TRN_TYPE_INTEGER, 1, host_bytes(7), be16(TRN_WIRE_INTEGER) + integer(7)},
        {TRN_TYPE_SMALLINT, 2, host_bytes<std::int16_t>(-3), be16(TRN_WIRE_SMALLINT) + wire_text(be16(-3))},
        {TRN_TYPE_DOUBLE, 8, host_bytes(1.5), be16(TRN_WIRE_DOUBLE) + wire_text(be_double(1.5))},
        {TRN_TYPE_TINYINT, 100, "\7", be16(TRN_WIRE_TINYINT) + wire_text("\7")},
        {TRN_TYPE_BYTE, 100, "b", be16(TRN_WIRE_CHAR) + wire_text("b")},
        {TRN_TYPE_NUMERIC, 5, "12.50", be16(TRN_WIRE_CHAR) + wire_text("12.50")},
        {TRN_TYPE_TEXT, 4, "text", be16(TRN_WIRE_CHAR) + wire_text("text")},
        {TRN_TYPE_BYTES, 3, "\0\1\2"s, be16(TRN_WIRE_BINARY) + wire_text("\0\1\2"s)},
        {TRN_TYPE_TEXT, 0, "x", be16(TRN_WIRE_CHAR) + be32(0)},
        {TRN_TYPE_TEXT, -3, "x", be16(TRN_WIRE_CHAR) + be32(-3)},
    };
    for (const std::int32_t direction : {TRN_DIRECTION_IN, TRN_DIRECTION_INOUT})
        for (const auto& [type, length, value, sent] : cases) {
            if (direction == TRN_DIRECTION_IN && type == TRN_TYPE_INTEGER && length < 4) continue;
            SCOPED_TRACE("direction " + std::to_string(direction) + " type " + std::to_string(type));
            Bytes buffer = exact(value);
            std::int32_t given = length;
            expect_sent(entry_head("", direction) + sent, 1, [&](Session&, TRN_HANDLE* handle) {
                EXPECT_EQ(TRN_BindParamByPos(handle, 1, direction, type, buffer.data(), 0, &given), 0);
            });
        }
}

TEST(set, of_the_application_serves_execution_after_execution) {
    const std::string sent = request("q", 1, text_entry("v"));
    Session session(asked({{sent, K}, {command("q"), U(2) + K}, {sent, E("no") + K}, {sent, K}})),
        other(asked({{sent, K}}));
    ParamSet set;
    OutputCapture output;
    const auto sends = [&](Call call, Session& to) { return run(call, to.connection, "q"); };
    EXPECT_EQ((Statuses{bind_text(&set.handle, 1, "v"), set.attach(session), set.attach(session),
                        set.attach(other), sends(no_query, session), sends(no_query, session),
                        set.attach(session), sends(single_value, session), set.attach(session),
                        sends(data_reader, session), sends(data_reader, other)}),
              (Statuses{0, 0, 0, 0, 0, 2, 0, -1, 0, 0, 0}));
}

/* What happens to an attached set, what the connection then sends, and when it is attached once more. */
TEST(set, that_is_cleared_dropped_or_detached_is_sent_no_more) {
    const std::string two = text_entry("1") + text_entry("2"), none = command("q"),
                      both = request("q", 2, two);
    const std::string anew = request("q", 1, integer_entry(5, "n")),
                      three = request("q", 3, two + text_entry("3"));
    // clang-format off
    const struct { std::function<void(Session&, ParamSet&)> act; std::string sent, again; } cases[] = {
        {[](Session&, ParamSet& set) { TRN_ResetParams(&set.handle); }, none, none},
        {[](Session&, ParamSet& set) { TRN_Reset(&set.handle); }, none, none},
        {[](Session&, ParamSet& set) { TRN_Reset(&set.handle); bind_text(&set.handle, 257, "x"); bind_integer(&set.handle, "n", 5); }, anew, anew},
        {[](Session&, ParamSet& set) { TRN_Drop(&set.handle); }, none, ""},
        {[](Session& session, ParamSet&) { TRN_ResetParams(session.handle()); }, none, both},
        {[](Session& session, ParamSet&) { TRN_Reset(session.handle()); }, none, both},
        {[](Session& session, ParamSet&) { ParamSet other; bind_text(&other.handle, 1, "o"); other.attach(session); }, none, both},
        {[](Session& session, ParamSet&) { bind_text(session.handle(), 3, "3"); }, three, three},
        {[](Session& session, ParamSet&) { TRN_Reset(session.handle()); bind_text(session.handle(), 3, "3"); TRN_Reset(session.handle()); }, none, both},
        {[](Session& session, ParamSet& set) { TRN_Reset(session.handle()); bind_text(session.handle(), 3, "3"); set.attach(session); }, both, both},
    };
    // clang-format on
    int number = 0;
    for (const auto& [act, sent, again] : cases) {
        SCOPED_TRACE(++number);
        Session session(asked({{sent, K}, {again.empty() ? none : again, K}}));
        ParamSet set;
        EXPECT_EQ(
            (Statuses{bind_text(&set.handle, 1, "1"), bind_text(&set.handle, 2, "2"), set.attach(session)}),
            Statuses(3));
        act(session, set);
        EXPECT_EQ(set.handle == nullptr, again.empty());
        EXPECT_EQ((Statuses{session.connection.run("q"), set.attach(session), session.connection.run("q")}),
                  (Statuses{0, again.empty() ? -3 : 0, 0}));
    }
}

/* Sets and connections that hold values, in every order of release. */
TEST(set, and_connections_are_released_in_any_order) {
    for (int order = 0; order < 4; ++order) {
        std::int32_t number = 5, length = 4;
        Session session(logged_in(Script{expect_end()})), other(logged_in(Script{expect_end()}));
        ParamSet set;
        EXPECT_EQ(
            (Statuses{bind_text(&set.handle, 1, std::string(5000, 'v')), bind_integer(&set.handle, "name", 1),
                      TRN_BindParamByPos(&set.handle, 3, 2, TRN_TYPE_INTEGER, &number, 4, &length),
                      set.attach(session), set.attach(other)}),
            Statuses(5));
        if (order < 2) TRN_Drop(&set.handle);
        EXPECT_EQ(order % 2 == 0 ? bind_text(other.handle(), 3, "more") : 0, 0);
        EXPECT_EQ(TRN_CloseConn(session.handle()), 0);
        if (order == 2) TRN_Drop(&set.handle);
        TRN_Drop(other.handle());
        TRN_Drop(&set.handle);
        EXPECT_EQ(set.handle, nullptr);
    }
}

/* Nothing is sent of what does not fit; the set is used up all the same. */
TEST(set, that_does_not_fit_a_request_is_refused_before_it_is_sent) {
    const std::string longest(65535, 'n');
    std::string entries;
    for (int i = 0; i < 65535; ++i)
        entries += entry("n", TRN_DIRECTION_OUT, 1, 0, "");
    Session session(asked({{command("q"), E("earlier") + K},
                           {request("q", 1, integer_entry(1, longest)), K},
                           {request("q", 65535, entries), U(7) + K},
                           {command("q"), U(8) + K}}));
    TRN_HANDLE* handle = session.handle();
    const auto bind = [&](int count, const std::string& name) {
        std::int32_t length = 0;
        for (int i = 0; i < count; ++i)
            TRN_BindParamByName(handle, name.c_str(), TRN_DIRECTION_OUT, 0, nullptr, 0, nullptr, &length);
    };
    const std::function<std::int32_t()> calls[] = {
        [&] { return run(no_query, session.connection, "q"); },
        [&] { return run(single_value, session.connection, "q"); },
        [&] { return run(data_reader, session.connection, "q"); },
        [&] { return TRN_Execute2(handle, "S", nullptr, nullptr); },
        [&] { return TRN_Execute2(handle, "S", Bytes(20).data(), nullptr); },
        [&] { return TRN_Execute_procesure(handle, "q", nullptr); },
        [&] { return TRN_ExecwithServerCursorReader(handle, "q", "c", nullptr, nullptr); },
    };
    EXPECT_EQ(run(no_query, session.connection, "q"), TRN_ERR_SERVER);
    for (const auto& call : calls) {
        bind(1, longest + "n");
        EXPECT_EQ(call(), TRN_ERR_ARGUMENT);
        EXPECT_EQ(error_text(*handle), "earlier");
    }
    EXPECT_EQ(bind_integer(handle, longest, 1), 0);
    EXPECT_EQ(run(no_query, session.connection, "q"), 0);
    bind(65537, "n");
    EXPECT_EQ(run(no_query, session.connection, "q"), TRN_ERR_ARGUMENT);
    bind(65535, "n");
    EXPECT_EQ(run(no_query, session.connection, "q"), 7);
    EXPECT_EQ(integers({1}).bind(handle, 0, 1, (longest + "n").c_str()), 0);
    EXPECT_EQ(TRN_ExecBatch(handle, "q", 1), TRN_ERR_ARGUMENT);
    EXPECT_EQ(run(no_query, session.connection, "q"), 8);
}

} // namespace
