// Connections that find another server, or their own again.
#include "live_server.h"

#include <regex>

// The record of one search serves the next one, wherever that begins.
TEST(live_addresses, the_search_passes_over_dead_servers_and_keeps_its_knowledge) {
    LiveServer first({"--listen", "127.0.0.3"});
    const std::string text =
        "IPS=127.0.0.7,127.0.0.3,127.0.0.8,127.0.0.9;" + first.connection_string("use_ssl=on");
    void* state = nullptr;
    for (int i = 0; i < 3; ++i) {
        TRN_HANDLE handle = nullptr;
        ASSERT_EQ(TRN_OpenConn_Ips(text.c_str(), i == 0 ? -1 : 100 + i, &state, &handle), 0)
            << error_text(handle);
        SCOPED_TRACE(i);
        std::string version(100, '\0'), addresses(100, '\0');
        std::int32_t type = 0, length = 0;
        EXPECT_EQ(TRN_GetAttr(&handle, 1, version.data(), 100, &type, &length), 0);
        EXPECT_TRUE(
            std::regex_search(version.substr(0, static_cast<std::size_t>(length)), std::regex("tarnlite")));
        EXPECT_EQ(TRN_GetAttr(&handle, 7, addresses.data(), 100, &type, &length), 0);
        EXPECT_STREQ(addresses.c_str(), "4:127.0.0.7,127.0.0.3,127.0.0.8,127.0.0.9");
        TRN_CloseConn(&handle);
    }
    EXPECT_EQ(Release_IpsAttrs(&state), 0);
}

TEST(live_reconnect, a_connection_works_again_when_its_server_was_started_anew) {
    for (const char* settings : {"", "use_ssl=on"}) {
        SCOPED_TRACE(settings);
        const TemporaryFolder folder;
        const std::vector<std::string> options{"--database", folder / "data"};
        auto server = std::make_unique<LiveServer>(options);
        const unsigned port = server->port();
        Connection connection(*server, settings);
        connection.run("create table t(a int)");
        ASSERT_EQ(connection.run("insert into t values(7)"), 1);
        ASSERT_EQ(TRN_Prepare2(&connection.handle, "select a from t", nullptr), TRN_PREPARED_QUERY);
        server->kill();
        EXPECT_EQ(connection.run("insert into t values(8)"), TRN_ERR_NETWORK);
        EXPECT_EQ(TRN_ReconnectConn(&connection.handle), TRN_ERR_CONNECT);
        EXPECT_EQ(error_text(connection.handle), "[EC0197]Error when RECONNECT Sock Failure");

        server = std::make_unique<LiveServer>(options, port);
        std::string no_auto_commit = "ON";
        ASSERT_EQ(TRN_SetAttr(&connection.handle, 11, no_auto_commit.data()), 0);
        ASSERT_EQ(TRN_ReconnectConn(&connection.handle), TRN_RECONNECTED);
        EXPECT_EQ(connection.run("insert into t values(9)"), 1);
        EXPECT_EQ(connection.transcript("select a from t"), "a: 7; 9\n");
        EXPECT_EQ(Connection(*server).transcript("select a from t"), "a: 7\n");
        EXPECT_EQ(TRN_Execute2(&connection.handle, nullptr, nullptr, nullptr), -1) << "the statement died";
    }
}
