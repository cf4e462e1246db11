/*
 * Opening and closing: the answers to a login, refusals, and what a connection without socket can still do.
 */
#include "session_fixture.h"

#include <cstring>

namespace {

const std::string connect_refused = "[EC011]Error in build-connect Sock Failure";
const std::string login_refused = "[EC012]Error in build-database-connect LOGIN database Failure";

void expect_calls_fail_without_socket(TRN_HANDLE* handle) {
    char area[64] = {};
    std::uint32_t word = 7;
    OutputCapture output;
    EXPECT_EQ(TRN_Execute_no_query(handle, "x"), TRN_ERR_NETWORK);
    EXPECT_EQ(output.text(), "Net Error recv_noQuery \n");
    EXPECT_EQ(TRN_Execute_query_with_one(handle, "x", area, &word), TRN_ERR_NETWORK);
    Reader reader(handle, "x");
    EXPECT_EQ(reader.status, TRN_ERR_NETWORK);
    EXPECT_EQ(reader.result, nullptr);
}

TEST(open, succeeds_with_either_answer_of_the_server) {
    for (const std::string& answer : {"K"s, "N1234K"s, "NKKKKK"s, "N\0\0\0\0K"s}) {
        SCOPED_TRACE(answer);
        ScriptedServer server({expect(default_login), send_in_pieces(answer, 1), expect_command("x"),
                               send(update_count(3) + end_of_reply)});
        Connection connection(connection_string(server.port()));
        EXPECT_EQ(connection.opened, TRN_OPENED);
        EXPECT_EQ(TRN_GetErrorLen(&connection.handle), 0);
        EXPECT_EQ(TRN_Execute_no_query(&connection.handle, "x"), 3);
    }
}

TEST(open, fails_with_a_usable_handle_when_the_login_is_not_accepted) {
    const std::string refusals[] = {
        server_error("wrong password"),
        server_error(""),
        server_error(std::string(20000, 'x')),
        "N1234E" + wire_text("too many sessions"),
        "k",
        "\0"s,
        "N",
        "N123",
        "",
        "E"s + be32(100) + "cut",
        "E"s + be32(-1),
        "E"s + be32(0x7fffffff) + "cut",
    };
    for (const std::string& refusal : refusals) {
        for (const Step& ending : {close_connection(), reset_connection()}) {
            SCOPED_TRACE(refusal.substr(0, 20) + " and " + ending.name);
            ScriptedServer server({expect(default_login), send(refusal), ending});
            Connection connection(connection_string(server.port()));
            EXPECT_EQ(connection.opened, TRN_ERR_LOGIN);
            ASSERT_NE(connection.handle, nullptr);
            EXPECT_EQ(error_text(&connection.handle), login_refused);
            expect_calls_fail_without_socket(&connection.handle);
            EXPECT_EQ(error_text(&connection.handle), login_refused);
            EXPECT_EQ(TRN_CloseConn(&connection.handle), 0);
            EXPECT_EQ(connection.handle, nullptr);
        }
    }
}

TEST(open, closes_the_socket_of_a_refused_login_at_once) {
    ScriptedServer server({expect(default_login), send(server_error("no")), expect_end()});
    Connection connection(connection_string(server.port()));
    EXPECT_EQ(connection.opened, TRN_ERR_LOGIN);
    server.finish();
}

TEST(open, fails_with_a_usable_handle_when_no_server_listens) {
    const std::string port = std::to_string(test_refusing_port());
    for (const std::string& text : {connection_string(test_refusing_port()), "server=127.0.0.1;port=" + port,
                                    "server=127.0.0.1"s, "a=b"s, ""s, ";"s, ",,,,,,"s}) {
        SCOPED_TRACE(text);
        Connection connection(text);
        EXPECT_EQ(connection.opened, TRN_ERR_CONNECT);
        ASSERT_NE(connection.handle, nullptr);
        EXPECT_EQ(error_text(&connection.handle), connect_refused);
        char code[7] = "??????", message[256] = {};
        EXPECT_EQ(TRN_GetErrorInfo(&connection.handle, code, message), 0);
        EXPECT_EQ(std::string(code, 6), "EC011\0"s);
        EXPECT_STREQ(message, "Error in build-connect Sock Failure");
        expect_calls_fail_without_socket(&connection.handle);
        EXPECT_EQ(TRN_CloseConn(&connection.handle), 0);
        EXPECT_EQ(connection.handle, nullptr);
        EXPECT_EQ(TRN_CloseConn(&connection.handle), -1);
    }
}

TEST(open, does_not_resolve_host_names) {
    std::uint16_t port = 0;
    const socket_handle listener = listen_on_loopback(port);
    Connection connection("server=localhost;port=" + std::to_string(port) + ";" + default_account);
    EXPECT_EQ(connection.opened, TRN_ERR_CONNECT);
    EXPECT_FALSE(wait_readable(listener, std::chrono::milliseconds(0)));
    close_socket(listener);
}

TEST(open, null_arguments_are_refused_and_nothing_is_touched) {
    int marker = 0;
    TRN_HANDLE handle = &marker;
    EXPECT_EQ(TRN_OpenConn(nullptr, &handle), -1);
    EXPECT_EQ(handle, &marker);
    EXPECT_EQ(TRN_OpenConn(nullptr, nullptr), -1);
    EXPECT_EQ(TRN_OpenConn(connection_string(test_refusing_port()).c_str(), nullptr), TRN_ERR_ARGUMENT);
}

TEST(close, arrives_as_a_reset_and_may_be_repeated) {
    const Step ending = resets_arrive ? expect_reset() : expect_end();
    for (const bool by_drop : {false, true}) {
        ScriptedServer server({expect(default_login), send("K"), ending});
        Connection connection(connection_string(server.port()));
        ASSERT_EQ(connection.opened, TRN_OPENED);
        if (by_drop)
            TRN_Drop(&connection.handle);
        else
            EXPECT_EQ(TRN_CloseConn(&connection.handle), 0);
        EXPECT_EQ(connection.handle, nullptr);
        EXPECT_EQ(TRN_CloseConn(&connection.handle), -1);
        TRN_Drop(&connection.handle);
        server.finish();
    }
}

TEST(close, leaves_results_readable) {
    Session session({{"q", query({{"c", TRN_WIRE_CHAR}}, {row({characters("kept")})}) + end_of_reply}});
    Reader reader(session.handle(), "q");
    EXPECT_EQ(TRN_CloseConn(session.handle()), 0);
    ASSERT_EQ(TRN_ReadNext(&reader.result), 0);
    EXPECT_EQ(text_value(&reader.result, 1), "kept");
    TRN_Drop(&reader.result);
    EXPECT_EQ(reader.result, nullptr);
}

TEST(connection, has_no_insert_identifier_and_no_function_result_at_first) {
    Session session(std::vector<Exchange>{});
    std::int32_t type = 77;
    EXPECT_EQ(last_insert_id(session.handle()), "");
    EXPECT_EQ(TRN_GetFunReturnType(session.handle(), &type), -1);
    EXPECT_EQ(type, 77);
    EXPECT_EQ(TRN_Reset(session.handle()), 0);
}

} // namespace
