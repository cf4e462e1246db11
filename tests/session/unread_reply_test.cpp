/*
 * Calls that return before the end of their reply: the next call, whichever it is, must pass over what is
 * left and answer from its own reply. And replies that come before their call.
 */
#include "session_fixture.h"

namespace {

std::string rows_reply(int count) {
    std::vector<std::string> rows;
    for (int i = 0; i < count; ++i)
        rows.push_back(i % 2 == 0 ? row({integer(i), wire_text("KKKK")})
                                  : row_with_identifier("K", {null_value(), wire_text("K")}));
    rows.push_back(W("K"));
    return query({{"n", TRN_WIRE_INTEGER}, {"t.c%K", TRN_WIRE_CHAR}}, rows);
}

/* The message without its letter, which the call has read. */
std::string behind(const std::string& message) {
    return message.substr(1);
}

struct Left {
    Call call;
    std::string read, rest;
    std::int32_t status;
};

// clang-format off
const Left lefts[] = {
    {no_query, "A", behind(rows_reply(0)) + K, 0}, {no_query, "A", behind(rows_reply(3)) + K, 0},
    {no_query, "A", behind(rows_reply(3000)) + K, 0},
    {no_query, "A", behind(rows_reply(2)) + ";" + U(5) + ";" + I("K") + E("K") + rows_reply(1) + K, 0},
    {no_query, U(5) + "A", behind(rows_reply(2)) + D(0x4b4b4b4b) + K, 5}, {no_query, W("w") + "A", behind(rows_reply(2)) + K, 1},
    {single_value, "P", behind(P("KK")) + K, 0}, {single_value, rows_reply(2) + "P", behind(P("KK")) + O("K") + U(1) + K, 0},
    {single_value, "O", behind(O("KK")) + P("") + K, 0}, {data_reader, "P", behind(P("KK")) + O("K") + M("K") + K, 0},
    {data_reader, "O", behind(O("KK")) + rows_reply(2) + K, 0}, {data_reader, rows_reply(2) + "P", behind(P("KK")) + O("K") + K, 2},
    {data_reader, rows_reply(2) + "O", behind(O("KK")) + K, 2}, {no_query, "W" + be32(-1), U(5) + K, TRN_ERR_MEMORY},
};
// clang-format on

/* The rest of the reply comes at once, or behind the next command. */
TEST(unread_reply, is_passed_over_by_the_next_call_of_any_kind) {
    const std::pair<std::string, std::int32_t> nexts[] = {
        {U(42) + K, 42}, {D(1) + K, 3}, {rows_reply(6) + K, 6}};
    OutputCapture output;
    for (const auto& [call, read, rest, status] : lefts)
        for (const Call next : all_calls)
            for (const bool late : {false, true}) {
                SCOPED_TRACE("call " + std::to_string(call) + " left " + read.substr(0, 10) + ", then " +
                             std::to_string(next) + (late ? " before the rest" : ""));
                const auto& [reply, expected] = nexts[next];
                const std::string answer = late ? rest + reply : reply;
                Session session(
                    logged_in({expect_command("leave"), send(late ? read : read + rest),
                               expect_command("next"), send_in_pieces(answer, 3 + answer.size() / 1000),
                               expect_command("third"), send(U(7) + K)}));
                EXPECT_EQ(run(call, session.connection, "leave"), status);
                EXPECT_EQ(run(next, session.connection, "next"), expected);
                EXPECT_EQ(run(no_query, session.connection, "third"), 7);
            }
}

TEST(early_reply, waits_for_its_call) {
    Session session({expect_login(), send("K" + U(1) + K + U(2) + K), expect_command("a"),
                     expect_command("b"), send(U(3) + K + rows_reply(2) + K), expect_command("c"),
                     expect_command("d")});
    for (const auto& [sql, status] : {std::pair{"a", 1}, {"b", 2}, {"c", 3}})
        EXPECT_EQ(session.connection.run(sql), status);
    EXPECT_EQ(Reader(session.connection, "d").rows, 2);
}

/* A server that is still sending takes no large request: the rest must be gone before. */
TEST(unread_reply, is_passed_over_before_a_request_that_the_socket_may_not_take) {
    const std::string large(16 << 20, 'x');
    const std::vector<std::string> rows(20, row({wire_text(large.substr(0, 1 << 20))}));
    const std::string rest = behind(query({{"c", TRN_WIRE_CLOB}}, rows)) + K;
    Session session({{"leave", "A" + rest}, {large, U(42) + K}});
    EXPECT_EQ(run(no_query, session.connection, "leave"), 0);
    EXPECT_EQ(run(no_query, session.connection, large), 42);
}

/* A request that the socket may not take at once is not sent before the rest is gone. */
TEST(unread_reply, that_breaks_off_before_a_large_request_prints_the_line_of_the_call) {
    const struct {
        bool binds;
        std::string sql;
        std::int32_t (*call)(TRN_HANDLE*, const char*);
        std::string printed;
    } cases[] = {
        {true, "q", TRN_Execute_no_query, "Net Error recv_noQuery \n"},
        {false, std::string(9000, 'q'), TRN_Execute_no_query, "Net Error recv_noQuery \n"},
        {true, "q", [](auto h, auto sql) { return TRN_Execute_procesure(h, sql, nullptr); },
         "Net Error recv_noQuery_OP \n"},
        {false, std::string(9000, 'q'),
         [](auto h, auto sql) { return TRN_Execute_procesure(h, sql, nullptr); },
         "Net Error recv_noQuery \n"},
        {true, "q",
         [](auto h, auto sql) { return TRN_ExecwithDataReader(h, sql, nullptr, nullptr, nullptr, nullptr); },
         ""},
    };
    for (const auto& [binds, sql, call, printed] : cases) {
        SCOPED_TRACE(printed + sql.substr(0, 10));
        Session session(
            {expect_login(), send("K"), expect_command("leave"), send("A" + be32(1)), close_connection()});
        std::int32_t number = 1;
        EXPECT_EQ(run(no_query, session.connection, "leave"), 0);
        if (binds) TRN_BindParamByPos(session.handle(), 1, 1, TRN_TYPE_INTEGER, &number, 4, nullptr);
        OutputCapture output;
        EXPECT_EQ(call(session.handle(), sql.c_str()), TRN_ERR_NETWORK);
        EXPECT_EQ(output.text(), printed);
    }
}

} // namespace
