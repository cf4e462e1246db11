/*
 * TRN_Execute_no_query: what each reply gives as status, error text and printed lines.
 */
#include "session_fixture.h"

namespace {

const std::string outputs_unbound =
    "[EC0056]when execute sql with output params or return value need bind_params";
const std::string insert_broken = "[EC004]Insert Prop NetError";
const std::string update_broken = "[EC004]Update Prop NetError";
const std::string net_error = "Net Error recv_noQuery \n";

TEST(no_query, reports_the_status_of_the_last_message) {
    const auto U = update_count, D = delete_count;
    const auto I = inserted, E = server_error, W = warning, M = notice;
    const std::string O = output_value("out"), P = output_block("out"), K = end_of_reply;
    const struct {
        std::string reply;
        std::int32_t status;
        std::string error, printed, identifier;
    } rows[] = {
        {K, 0, "", "", ""},
        {U(5) + K, 5, "", "", ""},
        {D(3) + K, 3, "", "", ""},
        {U(0) + K, 0, "", "", ""},
        {U(5) + D(7) + K, 7, "", "", ""},
        {U(0x4b000000) + K, 0x4b000000, "", "", ""},
        {I("11") + K, 1, "", "", "11"},
        {I("11") + I("22") + K, 2, "", "", "22"},
        {I("K") + I("") + K, 2, "", "", ""},
        {I(std::string(31, '3')) + K, 1, "", "", std::string(31, '3')},
        {I(std::string(9000, '4')) + K, 1, "", "", std::string(31, '4')},
        {I("1") + U(2) + K, 2, "", "", "1"},
        {U(2) + I("1") + K, 1, "", "", "1"},
        {I("1") + W("w") + K, 1, "w", "Server Warning w \n", "1"},
        {I("1") + E("e") + K, -1, "e", "Server Error e \n", "1"},
        {E("bad") + K, -1, "bad", "Server Error bad \n", ""},
        {"F" + wire_text("bad") + K, -1, "bad", "Server Error bad \n", ""},
        {E("") + K, -1, "", "Server Error  \n", ""},
        {E("50% of %s %n") + K, -1, "50% of %s %n", "Server Error 50% of %s %n \n", ""},
        {W("w") + K, 1, "w", "Server Warning w \n", ""},
        {M("m") + K, 1, "m", "Server Message m \n", ""},
        {E("e") + W("w") + K, 1, "w", "Server Error e \nServer Warning w \n", ""},
        {M("m") + E("e") + K, -1, "e", "Server Message m \nServer Error e \n", ""},
        {E("e") + U(3) + K, 3, "e", "Server Error e \n", ""},
        {U(3) + E("e") + K, -1, "e", "Server Error e \n", ""},
        {O + K, -56, outputs_unbound, "", ""},
        {P + K, -56, outputs_unbound, "", ""},
        {output_value("") + output_block("") + K, -56, outputs_unbound, "", ""},
        {O + U(3) + K, 3, outputs_unbound, "", ""},
        {P + E("e") + K, -1, "e", "Server Error e \n", ""},
    };
    for (const auto& each : rows) {
        SCOPED_TRACE(each.reply.substr(0, 60));
        Session session({{"statement", each.reply}, {"next", U(42) + K}});
        OutputCapture output;
        EXPECT_EQ(TRN_Execute_no_query(session.handle(), "statement"), each.status);
        EXPECT_EQ(output.text(), each.printed);
        EXPECT_EQ(error_text(session.handle()), each.error);
        EXPECT_EQ(last_insert_id(session.handle()), each.identifier);
        EXPECT_EQ(TRN_Execute_no_query(session.handle(), "next"), 42);
        EXPECT_EQ(error_text(session.handle()), each.error);
    }
}

TEST(no_query, ends_at_a_letter_outside_its_range) {
    for (const auto& [reply, status] : {std::pair{"Z"s, 0},
                                        {"\0"s, 0},
                                        {"B"s, 0},
                                        {"H"s, 0},
                                        {"\xff"s, 0},
                                        {update_count(3) + "Z", 3},
                                        {inserted("1") + "Z", 0},
                                        {server_error("e") + "C", -1},
                                        {warning("w") + "X", 1}}) {
        SCOPED_TRACE(reply);
        Session session({{"statement", reply}});
        EXPECT_EQ(TRN_Execute_no_query(session.handle(), "statement"), status);
    }
}

TEST(no_query, broken_replies_fail_with_the_text_of_their_part) {
    const struct {
        std::string reply;
        std::int32_t status;
        std::string error, printed;
    } rows[] = {
        {"", -4, "", net_error},
        {update_count(5), -4, "", net_error},
        {inserted("1"), -4, "", net_error},
        {server_error("e"), -4, "e", "Server Error e \n" + net_error},
        {output_value("out"), -4, outputs_unbound, net_error},
        {"U\0\0"s, -4, update_broken, "Update Prop NetError  \n"},
        {"D", -4, update_broken, "Update Prop NetError  \n"},
        {"I\0\0"s, -4, insert_broken, "Insert Prop NetError  \n"},
        {"I" + be32(5) + "12", -4, insert_broken, "Insert Prop NetError  \n"},
        {"I" + be32(50) + std::string(40, '1'), -4, insert_broken, "Insert Prop NetError  \n"},
        {"I" + be32(-1), -4, insert_broken, "Insert Prop NetError  \n"},
        {"I" + be32(0x7fffffff) + "12", -4, insert_broken, "Insert Prop NetError  \n"},
    };
    for (const auto& each : rows) {
        SCOPED_TRACE(each.reply);
        Script script = logged_in({{"statement", each.reply}});
        script.push_back(close_connection());
        Session session(script);
        OutputCapture output;
        EXPECT_EQ(TRN_Execute_no_query(session.handle(), "statement"), each.status);
        EXPECT_EQ(output.text(), each.printed);
        EXPECT_EQ(error_text(session.handle()), each.error);
    }
}

TEST(every_execution, fails_when_a_text_of_the_reply_cannot_be_read) {
    for (const char letter : {'E', 'F', 'W', 'M'}) {
        for (const auto& [body, status] : {std::pair{""s, -4},
                                           {"\0\0"s, -4},
                                           {be32(9) + "cut", -4},
                                           {be32(-1), -5},
                                           {be32(INT32_MIN), -5}}) {
            for (int call = 0; call < 3; ++call) {
                SCOPED_TRACE(letter + body + " call " + std::to_string(call));
                Script script = logged_in({{"statement", letter + body}});
                script.push_back(close_connection());
                Session session(script);
                char area[64] = {};
                std::uint32_t word = 0;
                if (call == 0) {
                    EXPECT_EQ(TRN_Execute_no_query(session.handle(), "statement"), status);
                } else if (call == 1) {
                    EXPECT_EQ(TRN_Execute_query_with_one(session.handle(), "statement", area, &word), status);
                } else {
                    Reader reader(session.handle(), "statement");
                    EXPECT_EQ(reader.status, status);
                    EXPECT_EQ(reader.result, nullptr);
                }
                EXPECT_EQ(TRN_GetErrorLen(session.handle()), 0);
            }
        }
    }
}

} // namespace
