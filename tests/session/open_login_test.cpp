/*
 * Opening and closing: the answers to a login, refusals, and what a connection without socket can still do.
 */
#include "session_fixture.h"

namespace {

const std::string connect_refused = "[EC011]Error in build-connect Sock Failure";
const std::string login_refused = "[EC012]Error in build-database-connect LOGIN database Failure";

/* The open failed: the handle has the text, every call fails at the missing socket, and it closes once. */
void expect_unusable(Connection& connection, std::int32_t opened, const std::string& error) {
    EXPECT_EQ(connection.opened, opened);
    ASSERT_NE(connection.handle, nullptr);
    EXPECT_EQ(error_text(connection.handle), error);
    OutputCapture output;
    for (const Call call : all_calls)
        EXPECT_EQ(run(call, connection, "x"), TRN_ERR_NETWORK);
    EXPECT_EQ(output.text(), "Net Error recv_noQuery \n");
    EXPECT_EQ(error_text(connection.handle), error);
    EXPECT_EQ(TRN_CloseConn(&connection.handle), 0);
    EXPECT_EQ(connection.handle, nullptr);
    EXPECT_EQ(TRN_CloseConn(&connection.handle), -1);
}

TEST(open, succeeds_with_either_answer_of_the_server) {
    for (const std::string& answer : {"K"s, "N1234K"s, "NKKKKK"s, "N\0\0\0\0K"s}) {
        SCOPED_TRACE(answer);
        ScriptedServer server(
            {expect_login(), send_in_pieces(answer, 1), expect_command("x"), send(U(3) + K)});
        Connection connection(connection_string(server.port()));
        EXPECT_EQ(connection.opened, TRN_OPENED);
        EXPECT_EQ(TRN_GetErrorLen(&connection.handle), 0);
        std::int32_t type = 77;
        EXPECT_EQ(TRN_GetFunReturnType(&connection.handle, &type), -1);
        EXPECT_EQ(type, 77);
        EXPECT_EQ(last_insert_id(connection), "");
        EXPECT_EQ(TRN_Reset(&connection.handle), 0);
        EXPECT_EQ(connection.run("x"), 3);
    }
}

TEST(open, fails_with_a_usable_handle_when_the_login_is_not_accepted) {
    const std::string refusals[] = {E("wrong password"),
                                    E(""),
                                    E(std::string(20000, 'x')),
                                    "N1234E" + wire_text("too many sessions"),
                                    "NK234E" + be32(0),
                                    "k",
                                    "\0"s,
                                    "N",
                                    "N1",
                                    "N12",
                                    "N123",
                                    "N1234",
                                    "",
                                    "E"s + be32(100) + "cut",
                                    "E"s + be32(-1),
                                    "E"s + be32(INT32_MAX) + "cut"};
    for (const std::string& refusal : refusals) {
        for (const Step& ending : {close_connection(), reset_connection()}) {
            SCOPED_TRACE(refusal.substr(0, 20) + " and " + ending.name);
            ScriptedServer server({expect_login(), send(refusal), ending});
            Connection connection(connection_string(server.port()));
            expect_unusable(connection, TRN_ERR_LOGIN, login_refused);
        }
    }
}

TEST(open, closes_the_socket_of_a_refused_login_at_once) {
    ScriptedServer server({expect_login(), send(E("no")), expect_end()});
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
        expect_unusable(connection, TRN_ERR_CONNECT, connect_refused);
    }
}

TEST(open, does_not_resolve_host_names) {
    std::uint16_t port = 0;
    const socket_handle listener = listen_on_loopback(port);
    Connection connection("server=localhost;port=" + std::to_string(port) + ";" + account);
    EXPECT_EQ(connection.opened, TRN_ERR_CONNECT);
    EXPECT_FALSE(wait_readable(listener, std::chrono::milliseconds(0)));
    close_socket(listener);
}

TEST(open, null_arguments_are_refused_and_nothing_is_touched) {
    int marker = 0;
    TRN_HANDLE handle = &marker;
    EXPECT_EQ(TRN_OpenConn(nullptr, &handle), -1);
    EXPECT_EQ(handle, &marker);
    EXPECT_EQ(TRN_OpenConn(connection_string(test_refusing_port()).c_str(), nullptr), TRN_ERR_ARGUMENT);
}

TEST(close, arrives_as_a_reset_may_be_repeated_and_leaves_results_readable) {
    for (const bool by_drop : {false, true}) {
        Script script = logged_in({{"q", query({{"c", TRN_WIRE_CHAR}}, {row({wire_text("kept")})}) + K}});
        script.push_back(resets_arrive ? expect_reset() : expect_end());
        Session session(script);
        Reader reader(session.connection, "q");
        if (by_drop)
            TRN_Drop(session.handle());
        else
            EXPECT_EQ(TRN_CloseConn(session.handle()), 0);
        EXPECT_EQ(*session.handle(), nullptr);
        EXPECT_EQ(TRN_CloseConn(session.handle()), -1);
        TRN_Drop(session.handle());
        session.server.finish();
        EXPECT_EQ(reader.transcript(), "c: kept\n");
        TRN_Drop(&reader.result);
        EXPECT_EQ(reader.result, nullptr);
    }
}

} // namespace
