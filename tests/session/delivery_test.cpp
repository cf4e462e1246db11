/*
 * Replies in pieces and replies that break off. The way in which bytes arrive must not change a result, and a
 * reply cut after any of its bytes must end every call with a failure of the interface.
 */
#include "session_fixture.h"

#include <random>

namespace {

std::string mixed_reply(int row_count, std::size_t large_size) {
    const std::vector<Column> columns = {{"t.i%number", TRN_WIRE_INTEGER},
                                         {"b", TRN_WIRE_BIGINT},
                                         {"d", TRN_WIRE_DOUBLE},
                                         {"c", TRN_WIRE_CHAR},
                                         {"x", TRN_WIRE_BLOB},
                                         {"s", TRN_WIRE_SMALLINT}};
    std::vector<std::string> rows;
    for (int i = 0; i < row_count; ++i) {
        const std::vector<std::string> values = {
            integer(i),
            i % 3 == 0 ? null_value() : wire_text(be64(1000000007LL * i)),
            wire_text(be_double(i / 8.0)),
            wire_text(std::string(static_cast<std::size_t>(i % 50), 'K')),
            i == row_count / 2 ? wire_text(std::string(large_size, 'R')) : null_value(),
            wire_text(be16(i))};
        rows.push_back(i % 5 == 0 ? row_with_identifier("id", values) : row(values));
        if (i % 100 == 99) rows.push_back(M("still reading"));
    }
    return query(columns, rows) + ";" + U(75) + I("KKRR") +
           query({{"last", TRN_WIRE_CHAR}}, {row({wire_text("line")})}) + K;
}

TEST(delivery, size_of_the_pieces_changes_nothing) {
    const std::string reply = mixed_reply(700, 70000), error = E(std::string(9000, 'e')) + U(0x01020304) + K;
    const std::string single = query({{"c", 5}}, {row({integer(8)})}) + K;
    std::string whole;
    for (const std::size_t piece : {reply.size(), std::size_t{1}, std::size_t{7}, std::size_t{8191},
                                    std::size_t{8192}, std::size_t{8193}}) {
        SCOPED_TRACE(piece);
        Session session({expect_login(), send_in_pieces("NabcdK", piece), expect_command("q"),
                         send_in_pieces(reply, piece), expect_command("e"), send_in_pieces(error, piece),
                         expect_command("s"), send_in_pieces(single, piece)});
        Reader reader(session.connection, "q");
        EXPECT_EQ(reader.rows, 700);
        const std::string received = reader.transcript();
        if (whole.empty()) whole = received;
        EXPECT_TRUE(received == whole);
        OutputCapture output;
        EXPECT_EQ(session.connection.run("e"), 0x01020304);
        EXPECT_TRUE(error_text(session.connection.handle) == std::string(9000, 'e'));
        EXPECT_EQ(SingleValue(session.connection, "s").take(), "8");
    }
    EXPECT_NE(whole.find("; 698,698000004886,"), std::string::npos);
    EXPECT_NE(whole.find(std::string(70000, 'R')), std::string::npos);
    EXPECT_NE(whole.find("\nupdate 75\ninsert KKRR\nlast: line\n"), std::string::npos);
}

TEST(delivery, a_reply_that_comes_with_the_one_before_it_waits_for_its_call) {
    Session session({expect_login(), send("K" + U(1) + K + U(2) + K), expect_command("a"),
                     expect_command("b"), send(U(3) + K + mixed_reply(2, 9)), expect_command("c"),
                     expect_command("d")});
    EXPECT_EQ(session.connection.run("a"), 1);
    EXPECT_EQ(session.connection.run("b"), 2);
    EXPECT_EQ(session.connection.run("c"), 3);
    EXPECT_EQ(Reader(session.connection, "d").rows, 2);
}

TEST(delivery, a_reply_cut_after_any_byte_is_a_network_failure) {
    const std::string replies[] = {
        I("12") + E("e") + W("w") + O("oo") + P("p") + U(2) + K,
        query({{"t.c%l", 30}, {"d", 5}}, {row({wire_text("v"), integer(1)})}) + U(3) + K, mixed_reply(2, 9)};
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

TEST(delivery, damaged_replies_end_with_a_status_and_a_closable_connection) {
    std::mt19937 random(20240229);
    OutputCapture output;
    const std::string replies[] = {
        mixed_reply(3, 20), I("12") + O("oo") + U(2) + E("e") + K,
        query({{"c", 12}, {"d", 14}}, {row({wire_text("123456"), wire_text("0123456789")})}) + K};
    for (int round = 0; round < 400; ++round) {
        std::string reply = replies[random() % 3];
        for (auto changes = 1 + random() % 3; changes > 0; --changes)
            reply[random() % reply.size()] =
                static_cast<char>(random() % 4 == 0 ? "\xff\x7f\0K"[random() % 4] : random() % 128);
        SCOPED_TRACE("round " + std::to_string(round));
        Script script = logged_in({{"statement", reply}});
        script.push_back(close_connection());
        Session session(script);
        Reader reader(session.connection, "statement");
        ASSERT_TRUE(reader.status >= -1 || reader.status == -4 || reader.status == -5) << reader.status;
        reader.transcript();
        const Call next = all_calls[round % 3];
        const std::int32_t status = run(next, session.connection, "statement");
        ASSERT_TRUE(status >= -1 || status == -4 || status == -5 || status == -56 || next == no_query);
        ASSERT_EQ(TRN_CloseConn(session.handle()), 0);
    }
}

} // namespace
