/*
 * Replies that come too early and replies that break off: one waits for its call, the other ends every call as a network
 * failure.
 */
#include "session_fixture.h"

namespace {

const std::string mixed_reply =
    query({{"t.i%number", TRN_WIRE_INTEGER},
           {"d", TRN_WIRE_DOUBLE},
           {"c", TRN_WIRE_CHAR},
           {"x", TRN_WIRE_BLOB}},
          {row_with_identifier("id", {integer(0), null_value(), wire_text(""), wire_text("RRR")}),
           M("still reading"), row({integer(1), wire_text(be_double(0.5)), wire_text("K"), null_value()})}) +
    ";" + U(75) + I("KKRR") + query({{"last", TRN_WIRE_CHAR}}, {row({wire_text("line")})}) + K;

TEST(delivery, a_reply_that_comes_with_the_one_before_it_waits_for_its_call) {
    Session session({expect_login(), send("K" + U(1) + K + U(2) + K), expect_command("a"),
                     expect_command("b"), send(U(3) + K + mixed_reply), expect_command("c"),
                     expect_command("d")});
    EXPECT_EQ(session.connection.run("a"), 1);
    EXPECT_EQ(session.connection.run("b"), 2);
    EXPECT_EQ(session.connection.run("c"), 3);
    EXPECT_EQ(Reader(session.connection, "d").rows, 2);
}

TEST(delivery, a_reply_cut_after_any_byte_is_a_network_failure) {
    const std::string replies[] = {
        I("12") + E("e") + W("w") + O("oo") + P("p") + U(2) + K,
        query({{"t.c%l", 30}, {"d", 5}}, {row({wire_text("v"), integer(1)})}) + U(3) + K, mixed_reply};
    OutputCapture output;
    for (const Call call : all_calls) {
        for (std::size_t cut = 0; cut < replies[call].size(); ++cut) {
            SCOPED_TRACE("call " + std::to_string(call) + " after byte " + std::to_string(cut));
            Script script = logged_in({{"statement", replies[call].substr(0, cut)}});
            script.push_back(cut % 2 == 0 ? close_connection() : reset_connection());
            Session session(script);
            for (const Call next : {call, data_reader, call})
                ASSERT_EQ(run(next, session.connection, "statement"), TRN_ERR_NETWORK);
            ASSERT_EQ(TRN_CloseConn(session.handle()), 0);
        }
    }
}

} // namespace
