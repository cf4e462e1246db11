/*
 * TRN_Execute_no_query: what each reply gives as status, error text and printed lines. The ways in which a
 * reply ends early, for every execution.
 */
#include "session_fixture.h"

namespace {

const std::string unbound = "[EC0056]when execute sql with output params or return value need bind_params";
const std::string insert_broken = "[EC004]Insert Prop NetError", insert_printed = "Insert Prop NetError  \n";
const std::string update_broken = "[EC004]Update Prop NetError", update_printed = "Update Prop NetError  \n";
const std::string net_error = "Net Error recv_noQuery \n";

/* A reply that does not end with its mark breaks off. */
TEST(no_query, reports_the_status_of_the_last_message) {
    const std::string e = "Server Error e \n", w = "Server Warning w \n", m = "Server Message m \n";
    const std::string threes(31, '3');
    // clang-format off
    const struct { std::string reply; std::int32_t status; std::string error, printed, identifier; } cases[] = {
        {K, 0, "", "", ""}, {U(5) + K, 5, "", "", ""}, {D(3) + K, 3, "", "", ""}, {U(5) + D(7) + K, 7, "", "", ""},
        {U(0x4b000000) + K, 0x4b000000, "", "", ""}, {I("11") + K, 1, "", "", "11"}, {I("11") + I("22") + K, 2, "", "", "22"},
        {I("K") + I("") + K, 2, "", "", ""}, {I(threes + std::string(9000, '4')) + K, 1, "", "", threes},
        {I("1") + U(2) + K, 2, "", "", "1"}, {U(2) + I("1") + K, 1, "", "", "1"}, {I("1") + W("w") + K, 1, "w", w, "1"},
        {I("1") + E("e") + K, -1, "e", e, "1"}, {F("e") + K, -1, "e", e, ""}, {E("") + K, -1, "", "Server Error  \n", ""},
        {E("50% of %s %n") + K, -1, "50% of %s %n", "Server Error 50% of %s %n \n", ""}, {W("w") + K, 1, "w", w, ""},
        {M("m") + K, 1, "m", m, ""}, {E("e") + W("w") + K, 1, "w", e + w, ""}, {M("m") + E("e") + K, -1, "e", m + e, ""},
        {E("e") + U(3) + K, 3, "e", e, ""}, {U(3) + E("e") + K, -1, "e", e, ""}, {O("out") + K, -56, unbound, "", ""},
        {P("out") + K, -56, unbound, "", ""}, {O("") + P("") + K, -56, unbound, "", ""}, {O("o") + U(3) + K, 3, unbound, "", ""},
        {P("out") + E("e") + K, -1, "e", e, ""},
        {"", -4, "", net_error, ""}, {U(5), -4, "", net_error, ""}, {I("1"), -4, "", net_error, ""},
        {E("e"), -4, "e", e + net_error, ""}, {O("out"), -4, unbound, net_error, ""},
        {"U\0\0"s, -4, update_broken, update_printed, ""}, {"D", -4, update_broken, update_printed, ""},
        {"I\0\0"s, -4, insert_broken, insert_printed, ""}, {"I" + be32(5) + "12", -4, insert_broken, insert_printed, ""},
        {"I" + be32(50) + std::string(40, '1'), -4, insert_broken, insert_printed, ""},
        {"I" + be32(-1), -4, insert_broken, insert_printed, ""}, {"I" + be32(INT32_MAX) + "12", -4, insert_broken, insert_printed, ""},
    };
    // clang-format on
    for (const auto& [reply, status, error, printed, identifier] : cases) {
        SCOPED_TRACE(reply.substr(0, 60));
        const bool complete = reply.ends_with(K);
        Script script = logged_in({{"statement", reply}});
        script.push_back(complete ? expect_command("next") : close_connection());
        if (complete) script.push_back(send(U(42) + K));
        Session session(script);
        OutputCapture output;
        EXPECT_EQ(session.connection.run("statement"), status);
        EXPECT_EQ(output.text(), printed);
        EXPECT_EQ(error_text(session.connection.handle), error);
        if (!complete) continue;
        EXPECT_EQ(last_insert_id(session.connection), identifier);
        EXPECT_EQ(session.connection.run("next"), 42);
        EXPECT_EQ(error_text(session.connection.handle), error);
    }
}

TEST(every_execution, ends_at_a_letter_outside_its_range) {
    // clang-format off
    const struct { std::string reply; std::int32_t statuses[3]; } cases[] = { /* in the order of the calls */
        {"Z", {0, 0, 0}}, {"\0"s, {0, 0, 0}}, {"@", {0, 0, 0}}, {"B", {0, 0, 0}}, {"H", {0, 0, 0}}, {"\xff", {0, 0, 0}},
        {U(3) + "ZZ", {3, 0, 0}}, {I("1") + "ZZ", {0, 0, 0}}, {E("e") + "CC", {-1, 0, -1}}, {W("w") + "XX", {1, 0, -1}}};
    // clang-format on
    OutputCapture output;
    for (const auto& each : cases) {
        for (const Call call : all_calls) {
            SCOPED_TRACE(each.reply + " call " + std::to_string(call));
            Session session({{"statement", each.reply}});
            EXPECT_EQ(run(call, session.connection, "statement"), each.statuses[call]);
        }
    }
}

TEST(every_execution, fails_when_a_text_of_the_reply_cannot_be_read) {
    const std::pair<std::string, std::int32_t> bodies[] = {
        {"\0\0"s, -4}, {be32(9) + "cut", -4}, {be32(-1), -5}, {be32(INT32_MIN), -5}};
    for (const std::string letter : {"E", "F", "W", "M"})
        for (const auto& [body, status] : bodies)
            for (const Call call : all_calls) {
                SCOPED_TRACE(letter + body + " call " + std::to_string(call));
                Script script = logged_in({{"statement", letter + body}});
                script.push_back(close_connection());
                Session session(script);
                EXPECT_EQ(run(call, session.connection, "statement"), status);
                EXPECT_EQ(TRN_GetErrorLen(session.handle()), 0);
            }
}

} // namespace
