/*
 * Calls that return before the end of their reply: the next call, whichever it is, must pass over what is left
 * and answer from its own reply.
 */
#include "session_fixture.h"

namespace {

const std::string K = end_of_reply;
const auto U = update_count;

std::string rows_reply(int count) {
    std::vector<std::string> rows;
    for (int i = 0; i < count; ++i)
        rows.push_back(i % 2 == 0 ? row({integer(i), characters("KKKK")})
                                  : row_with_identifier("K", {null_value(), characters("K")}));
    rows.push_back(warning("K"));
    return query({{"n", TRN_WIRE_INTEGER}, {"t.c%K", TRN_WIRE_CHAR}}, rows);
}

struct Left {
    int call; /* 0 no-query, 1 single value, 2 data reader */
    std::string read, rest;
    std::int32_t status;
};

const Left lefts[] = {
    {0, "A", rows_reply(0).substr(1) + K, 0},
    {0, "A", rows_reply(3).substr(1) + K, 0},
    {0, "A", rows_reply(3000).substr(1) + K, 0},
    {0, "A",
     rows_reply(2).substr(1) + ";" + U(5) + ";" + inserted("K") + server_error("K") + rows_reply(1) + K, 0},
    {0, U(5) + "A", rows_reply(2).substr(1) + delete_count(0x4b4b4b4b) + K, 5},
    {0, warning("w") + "A", rows_reply(2).substr(1) + K, 1},
    {1, "P", output_block("KK").substr(1) + K, 0},
    {1, rows_reply(2) + "P", output_block("KK").substr(1) + output_value("K") + U(1) + K, 0},
    {1, "O", output_value("KK").substr(1) + output_block("") + K, 0},
    {2, "P", output_block("KK").substr(1) + output_value("K") + notice("K") + K, 0},
    {2, "O", output_value("KK").substr(1) + rows_reply(2) + K, 0},
};

std::int32_t run(int call, TRN_HANDLE* connection, const char* sql) {
    std::string area(64, '\0');
    std::uint32_t word = 0;
    if (call == 0) return TRN_Execute_no_query(connection, sql);
    if (call == 1) return TRN_Execute_query_with_one(connection, sql, area.data(), &word);
    return Reader(connection, sql).status;
}

TEST(unread_reply, is_passed_over_by_the_next_call_of_any_kind) {
    const std::pair<std::string, std::int32_t> nexts[] = {
        {U(42) + K, 42}, {delete_count(1) + K, 3}, {rows_reply(6) + K, 6}};
    OutputCapture output;
    for (const Left& left : lefts) {
        for (int next = 0; next < 3; ++next) {
            SCOPED_TRACE("call " + std::to_string(left.call) + " left " + left.read.substr(0, 10) +
                         ", then call " + std::to_string(next));
            Session session(
                {{"leave", left.read + left.rest}, {"next", nexts[next].first}, {"third", U(7) + K}});
            EXPECT_EQ(run(left.call, session.handle(), "leave"), left.status);
            EXPECT_EQ(run(next, session.handle(), "next"), nexts[next].second);
            EXPECT_EQ(run(0, session.handle(), "third"), 7);
        }
    }
}

TEST(unread_reply, may_arrive_after_the_next_command) {
    OutputCapture output;
    for (const Left& left : lefts) {
        SCOPED_TRACE("call " + std::to_string(left.call) + " left " + left.read.substr(0, 10));
        Session session({expect(default_login), send("K"), expect_command("leave"), send(left.read),
                         expect_command("leave"), send_in_pieces(left.rest + left.read, 3),
                         expect_command("next"), send_in_pieces(left.rest + U(42) + K, 3)});
        EXPECT_EQ(run(left.call, session.handle(), "leave"), left.status);
        EXPECT_EQ(run(left.call, session.handle(), "leave"), left.status);
        EXPECT_EQ(run(0, session.handle(), "next"), 42);
    }
}

TEST(unread_reply, that_breaks_off_fails_the_next_call) {
    OutputCapture output;
    const std::string rest = rows_reply(2).substr(1) + U(5) + K;
    for (std::size_t cut = 0; cut < rest.size(); ++cut) {
        SCOPED_TRACE(cut);
        Session session({expect(default_login), send("K"), expect_command("leave"),
                         send("A" + rest.substr(0, cut)), expect_command("next"), close_connection()});
        EXPECT_EQ(run(0, session.handle(), "leave"), 0);
        ASSERT_EQ(run(static_cast<int>(cut % 3), session.handle(), "next"), TRN_ERR_NETWORK);
    }
}

} // namespace
