/*
 * Replies in pieces and replies that break off. The way in which bytes arrive must not change a result, and a
 * reply cut after any of its bytes must end every call with a failure of the interface.
 */
#include "session_fixture.h"

#include <random>

namespace {

const std::string K = end_of_reply;

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
            characters(std::string(static_cast<std::size_t>(i % 50), 'K')),
            i == row_count / 2 ? characters(std::string(large_size, 'R')) : null_value(),
            wire_text(be16(i))};
        rows.push_back(i % 5 == 0 ? row_with_identifier("id", values) : row(values));
        if (i % 100 == 99) rows.push_back(notice("still reading"));
    }
    return query(columns, rows) + ";" + update_count(75) + inserted("KKRR") +
           query({{"last", TRN_WIRE_CHAR}}, {row({characters("line")})}) + K;
}

TEST(delivery, size_of_the_pieces_changes_nothing) {
    const std::string reply = mixed_reply(700, 70000), error = server_error(std::string(9000, 'e'));
    std::string whole;
    for (const std::size_t piece : {reply.size(), std::size_t{1}, std::size_t{2}, std::size_t{7},
                                    std::size_t{8191}, std::size_t{8192}, std::size_t{8193}}) {
        SCOPED_TRACE(piece);
        Session session({expect(default_login), send_in_pieces("NabcdK", piece), expect_command("q"),
                         send_in_pieces(reply, piece), expect_command("e"),
                         send_in_pieces(error + update_count(0x01020304) + K, piece), expect_command("s"),
                         send_in_pieces(query({{"c", 5}}, {row({integer(8)})}) + K, piece)});
        Reader reader(session.handle(), "q");
        EXPECT_EQ(reader.status, 1);
        EXPECT_EQ(reader.rows, 700);
        const std::string received = transcript(&reader.result);
        if (whole.empty()) whole = received;
        EXPECT_TRUE(received == whole);
        OutputCapture output;
        EXPECT_EQ(TRN_Execute_no_query(session.handle(), "e"), 0x01020304);
        EXPECT_TRUE(error_text(session.handle()) == std::string(9000, 'e'));
        char area[65] = {};
        std::uint32_t word = 0;
        EXPECT_EQ(TRN_Execute_query_with_one(session.handle(), "s", area, &word), 0);
        EXPECT_STREQ(area, "8");
    }
    EXPECT_NE(whole.find("|699|\n"), std::string::npos);
    EXPECT_NE(whole.find(std::string(70000, 'R')), std::string::npos);
    EXPECT_NE(whole.find("item 4 columns 1 rows 1"), std::string::npos);
}

/* Runs one of the three calls over a reply that breaks off; gives its status. */
std::int32_t run_call(int call, TRN_HANDLE* connection) {
    char area[64] = {};
    std::uint32_t word = 0;
    if (call == 0) return TRN_Execute_no_query(connection, "statement");
    if (call == 1) {
        const std::int32_t status = TRN_Execute_query_with_one(connection, "statement", area, &word);
        if (word > TRN_HANDED_OVER && status == 0) {
            void* pointer = nullptr;
            std::copy_n(area + 4, sizeof pointer, reinterpret_cast<char*>(&pointer));
            TRN_FreePtr(&pointer);
        }
        return status;
    }
    Reader reader(connection, "statement");
    if (reader.result != nullptr) {
        EXPECT_FALSE(transcript(&reader.result).empty());
    }
    return reader.result == nullptr || reader.status >= -1 ? reader.status : 0;
}

TEST(delivery, a_reply_cut_after_any_byte_is_a_network_failure) {
    const std::string query_reply = mixed_reply(2, 9), counts = inserted("12") + server_error("e") +
                                                                warning("w") + output_value("oo") +
                                                                output_block("p") + update_count(2) + K;
    const std::pair<int, std::string> calls[] = {
        {0, counts},
        {1, query({{"t.c%l", 30}, {"d", 5}}, {row({characters("v"), integer(1)})}) + update_count(3) + K},
        {2, query_reply}};
    OutputCapture output;
    for (const auto& [call, reply] : calls) {
        for (std::size_t cut = 0; cut < reply.size(); ++cut) {
            for (const Step& ending : {close_connection(), reset_connection()}) {
                SCOPED_TRACE("call " + std::to_string(call) + " after byte " + std::to_string(cut) + " by " +
                             ending.name);
                Script script = logged_in({{"statement", reply.substr(0, cut)}});
                script.push_back(ending);
                Session session(script);
                ASSERT_EQ(run_call(call, session.handle()), TRN_ERR_NETWORK);
                ASSERT_EQ(run_call((call + 1) % 3, session.handle()), TRN_ERR_NETWORK);
                ASSERT_EQ(run_call(call, session.handle()), TRN_ERR_NETWORK);
                ASSERT_EQ(TRN_CloseConn(session.handle()), 0);
            }
        }
    }
}

TEST(delivery, damaged_replies_end_with_a_status_and_a_closable_connection) {
    std::mt19937 random(20240229);
    OutputCapture output;
    const std::string replies[] = {
        mixed_reply(3, 20), inserted("12") + output_value("oo") + update_count(2) + server_error("e") + K,
        query({{"c", 12}, {"d", 14}}, {row({characters("123456"), characters("0123456789")})}) + K};
    for (int round = 0; round < 400; ++round) {
        std::string reply = replies[random() % 3];
        for (auto changes = 1 + random() % 3; changes > 0; --changes) {
            const std::size_t at = random() % reply.size();
            reply[at] = static_cast<char>(random() % 4 == 0 ? "\xff\x7f\0K"[random() % 4] : random() % 128);
        }
        SCOPED_TRACE("round " + std::to_string(round));
        Script script = logged_in({{"statement", reply}});
        script.push_back(close_connection());
        Session session(script);
        const std::int32_t status = run_call(round % 3, session.handle());
        ASSERT_TRUE(status >= -1 || status == -4 || status == -5 || status == -56 || round % 3 == 0)
            << status;
        ASSERT_EQ(TRN_CloseConn(session.handle()), 0);
    }
}

} // namespace
