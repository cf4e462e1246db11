/*
 * The calls of tarnsql_ext.h on connections: opening with checks and time-outs, and cancelling.
 */
#include "session_fixture.h"
#include "tarnsql_ext.h"

#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

std::int64_t ms_since(Clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

TRNX_OPTIONS with(std::int32_t connect_timeout_ms, std::int32_t receive_timeout_ms = 0) {
    TRNX_OPTIONS options{};
    options.size = sizeof options;
    options.connect_timeout_ms = connect_timeout_ms;
    options.receive_timeout_ms = receive_timeout_ms;
    return options;
}

/* A connection of TRNX_OpenConn. */
struct Opened {
    explicit Opened(const std::string& text, const TRNX_OPTIONS* options = nullptr)
        : status(TRNX_OpenConn(text.c_str(), options, &handle)) {}
    ~Opened() { TRN_CloseConn(&handle); }
    Opened(const Opened&) = delete;
    Opened& operator=(const Opened&) = delete;
    std::string error() { return error_text(handle); }
    std::int32_t run(const std::string& sql) { return TRN_Execute_no_query(&handle, sql.c_str()); }

    TRN_HANDLE handle = nullptr;
    std::int32_t status;
};

const std::string accepted =
    "N1234" + K; /* by a server of the newer protocol: a reconnect logs in as before */
const std::string cancelled = "[EX001]the call was cancelled";

} // namespace

TEST(extension_open, refuses_strings_that_do_not_say_what_they_mean) {
    const std::string base = "server=127.0.0.1;port=" + std::to_string(test_refusing_port()) + ";";
    const std::pair<std::string, std::string> refused[] = {
        {"server=127.0.0.1", "one segment alone sets nothing: end it with \";\""},
        {"tarn://127.0.0.1:5138/demo", "one segment alone sets nothing: end it with \";\""},
        {base + "prot=5139", "prot is no known key"},
        {base + "just text", "just text: no \"=\" in it"},
        {base + "prot=1;port=0", "port: not a number from 1 to 65535"}, /* before the key that is not known */
        {base + "port=65536", "port: not a number from 1 to 65535"},
        {base + "port=51x", "port: not a number from 1 to 65535"},
        {base + "pwd=pw2' user='two", "pwd: a quote in the value would end its clause of the login"},
        {base + "user=o'neil", "user: a quote in the value would end its clause of the login"},
        {base + "db=demo user", "db: a blank in the value would end its clause of the login"},
        {base + "user=" + std::string(64, 'u'), "user: the value is too long"},
        {base + "char_set=" + std::string(130, 'c'), "char_set: 128 bytes or more in one segment"},
        {base + "server=localhost", "server: not an IPv4 address"},
        {base + "use_ssl=ture", "use_ssl: not one of on, yes, true, off, no, false"},
        {base + "autocommit=no", "autocommit: not one of on, true, off, false"},
        {base + "lock_timeout=soon", "lock_timeout: not a number"},
        {base + "pwd=IPS=1", "IPS= stands inside a segment, where it would be taken for an address list"},
        {base + "IPS=127.0.0.1,nowhere", "IPS: not an IPv4 address"},
    };
    for (const auto& [text, words] : refused) {
        SCOPED_TRACE(text);
        Opened opened(text);
        EXPECT_EQ(opened.status, TRN_ERR_ARGUMENT);
        EXPECT_EQ(opened.error(), "[EX004]connection string: " + words);
    }
    std::string many = base + "IPS=127.0.0.1";
    for (int i = 1; i < 100; ++i)
        many += ",127.0.0.1";
    EXPECT_EQ(Opened(many).status, TRN_ERR_CONNECT);
    EXPECT_EQ(Opened(many + ",127.0.0.1").status, TRN_ERR_ARGUMENT);
}

TEST(extension_open, passes_over_unknown_keys_on_request_and_tells_the_first) {
    ScriptedServer server({expect_login(), send(accepted), expect_end()});
    TRNX_OPTIONS options = with(0);
    options.flags = TRNX_IGNORE_UNKNOWN_KEYS;
    Opened opened(connection_string(server.port()) + "; ;application=shop;colour=red", &options);
    EXPECT_EQ(opened.status, TRN_OK);
    EXPECT_EQ(opened.error(), "[EX004]connection string: application is no known key");
}

TEST(extension_open, refuses_bad_arguments_and_records_and_leaves_the_variable_alone) {
    const std::string text = connection_string(test_refusing_port());
    TRNX_OPTIONS records[7];
    for (TRNX_OPTIONS& record : records)
        record = with(0);
    records[0].size = 0;
    records[1].size = sizeof(TRNX_OPTIONS) - 1;
    records[2].flags = 2;
    records[3].connect_timeout_ms = -1;
    records[4].receive_timeout_ms = -1;
    records[5].keepalive_count = -1;
    records[6].keepalive_idle_s = records[6].keepalive_interval_s = -1;
    int untouched = 0;
    TRN_HANDLE handle = &untouched;
    for (const TRNX_OPTIONS& record : records)
        EXPECT_EQ(TRNX_OpenConn(text.c_str(), &record, &handle), TRN_ERR_ARGUMENT);
    EXPECT_EQ(TRNX_OpenConn(nullptr, nullptr, &handle), TRN_ERR_ARGUMENT);
    EXPECT_EQ(TRNX_OpenConn(text.c_str(), nullptr, nullptr), TRN_ERR_ARGUMENT);

    struct {
        TRNX_OPTIONS known = with(0);
        std::int32_t later[4] = {};
    } longer;
    longer.known.size = sizeof longer;
    longer.later[3] = 1;
    EXPECT_EQ(TRNX_OpenConn(text.c_str(), &longer.known, &handle), TRN_ERR_ARGUMENT);
    EXPECT_EQ(handle, &untouched);
    longer.later[3] = 0;
    EXPECT_EQ(Opened(text, &longer.known).status, TRN_ERR_CONNECT);
}

TEST(extension_open, tells_why_it_failed) {
    const std::uint16_t port = test_refusing_port();
    Opened unreached(connection_string(port));
    EXPECT_EQ(unreached.status, TRN_ERR_CONNECT);
    const std::string start = "[EX002]cannot connect to 127.0.0.1 port " + std::to_string(port) + ": ";
    EXPECT_EQ(unreached.error().substr(0, start.size()), start);
    EXPECT_GT(unreached.error().size(), start.size());

    OnlyOver plain(Channel::plain);
    ScriptedServer server(
        {expect("login database = D"), send("E" + wire_text("no such user")), reset_connection()});
    Opened refused(connection_string(server.port()));
    EXPECT_EQ(refused.status, TRN_ERR_LOGIN);
    EXPECT_EQ(refused.error(), "[EX003]127.0.0.1 port " + std::to_string(server.port()) +
                                   " did not accept the login: no such user");
}

TEST(extension_open, goes_through_an_address_list) {
    ScriptedServer server({expect_login(), send(accepted), expect_end()}, test_refusing_port(), 3);
    Opened opened("port=" + std::to_string(server.port()) + ";" + account +
                  (channel == Channel::encrypted ? ";use_ssl=on" : "") +
                  ";lock_timeout=300;IPS=127.0.0.2,127.0.0.4,127.0.0.3,127.0.0.5,127.0.0.6");
    EXPECT_EQ(opened.status, TRN_OK);
    EXPECT_EQ(opened.error(), "");
}

TEST(extension_timeout, ends_a_connect_that_nobody_answers) {
    const FullBacklog nobody;
    const std::string port = std::to_string(nobody.port());
    const TRNX_OPTIONS options = with(500);
    const Clock::time_point start = Clock::now();
    Opened opened("server=127.0.0.1;port=" + port, &options);
    EXPECT_EQ(opened.status, TRN_ERR_CONNECT);
    EXPECT_GE(ms_since(start), 495);
    EXPECT_LT(ms_since(start), 5000); /* 700 on an idle machine */
    EXPECT_EQ(opened.error(),
              "[EX002]cannot connect to 127.0.0.1 port " + port + ": no connection within 500 ms");
}

/* The shorter of the two time-outs bounds a login, whichever it is. */
TEST(extension_timeout, ends_a_login_that_nobody_answers) {
    for (const TRNX_OPTIONS& options : {with(50), with(0, 50), with(60000, 50), with(50, 60000)}) {
        ScriptedServer server({channel == Channel::plain ? expect_login() : expect("~ssl~"), expect_end()});
        const Clock::time_point start = Clock::now();
        Opened opened(connection_string(server.port()), &options);
        EXPECT_EQ(opened.status, TRN_ERR_LOGIN);
        EXPECT_GE(ms_since(start), 45);
        EXPECT_LT(ms_since(start), 30000);
        EXPECT_EQ(opened.error(), "[EX003]127.0.0.1 port " + std::to_string(server.port()) +
                                      " did not accept the login: no answer");
    }
}

/* One wait, where three of 30 minutes were the rule; none of them shorter than asked for. */
TEST(extension_timeout, ends_a_reply_that_does_not_come) {
    const Step silence{"silence", [](ScriptedServer& s) { s.receive_end(); }};
    ScriptedServer server({expect_login(), send(accepted), expect_command("q"), silence, expect_login(),
                           send(accepted), expect_command("r"), send(update_count(1) + K),
                           expect_command("s"), silence});
    const TRNX_OPTIONS options = with(60000);
    Opened opened(connection_string(server.port()), &options);
    ASSERT_EQ(opened.status, TRN_OK);
    const auto times_out = [&](const char* sql, std::int32_t limit_ms) {
        EXPECT_EQ(TRNX_SetReceiveTimeout(&opened.handle, limit_ms), TRN_OK);
        const Clock::time_point start = Clock::now();
        EXPECT_EQ(opened.run(sql), TRN_ERR_NETWORK);
        EXPECT_GE(ms_since(start), limit_ms - 5);
        EXPECT_LT(ms_since(start), 30000);
    };
    times_out("q", 100);
    EXPECT_EQ(opened.run("q"), TRN_ERR_NETWORK);
    EXPECT_EQ(TRNX_SetReceiveTimeout(&opened.handle, 0), TRN_OK);
    EXPECT_EQ(TRN_ReconnectConn(&opened.handle), TRN_RECONNECTED);
    EXPECT_EQ(opened.run("r"), 1);
    times_out("s", 300);
    EXPECT_EQ(TRNX_SetReceiveTimeout(&opened.handle, -1), TRN_ERR_ARGUMENT);
    EXPECT_EQ(TRNX_SetReceiveTimeout(nullptr, 1), TRN_ERR_ARGUMENT);
}

TEST(extension_cancel, ends_the_wait_for_a_reply_and_a_reconnect_goes_on) {
    TRN_HANDLE* handle = nullptr;
    Step at_once{"cancel", [&](ScriptedServer&) { EXPECT_EQ(TRNX_Cancel(handle), 1); }};
    Session session({expect_login(), send(accepted), expect_command("sleep"), at_once, expect_end(),
                     expect_login(), send(accepted), expect_command("next"), send(update_count(7) + K)});
    handle = session.handle();
    EXPECT_EQ(session.connection.run("sleep"), TRN_ERR_NETWORK);
    EXPECT_EQ(error_text(*handle), cancelled);
    EXPECT_EQ(session.connection.run("next"), TRN_ERR_NETWORK);
    EXPECT_EQ(TRN_ReconnectConn(handle), TRN_RECONNECTED);
    EXPECT_EQ(TRNX_Cancel(handle), 0); /* no call: nothing that the next one would notice */
    EXPECT_EQ(session.connection.run("next"), 7);
}

TEST(extension_cancel, ends_a_reply_that_does_not_end) {
    Step rows{"rows and the cancel in between", {}};
    TRN_HANDLE* handle = nullptr;
    rows.run = [&](ScriptedServer& server) {
        server.send_bytes(query({{"n", TRN_WIRE_INTEGER}}, {}), 1000);
        std::string piece;
        for (int i = 0; i < 1000; ++i)
            piece += row({integer(i)});
        for (int i = 0; i < 20; ++i)
            server.send_bytes(piece, piece.size());
        EXPECT_EQ(TRNX_Cancel(handle), 1);
    };
    Session session(logged_in({expect_command("endless"), rows, expect_end()}));
    handle = session.handle();
    Reader reader(session.connection, "endless");
    EXPECT_EQ(reader.status, TRN_ERR_NETWORK);
    EXPECT_EQ(reader.result, nullptr);
    EXPECT_EQ(error_text(*handle), cancelled);
}

TEST(extension_cancel, ends_a_send_that_nobody_takes) {
    TRN_HANDLE* handle = nullptr;
    Step some{"take some", [&](ScriptedServer& server) {
                  server.receive(1000);
                  std::this_thread::sleep_for(std::chrono::milliseconds(
                      200)); // Wine loses the cancel of a send that has not come to a stand
                  EXPECT_EQ(TRNX_Cancel(handle), 1);
                  server.drop(true);
              }};
    Session session(logged_in({some}));
    handle = session.handle();
    EXPECT_EQ(session.connection.run(std::string(64 * 1024 * 1024, 'x')), TRN_ERR_NETWORK);
    EXPECT_EQ(error_text(*handle), cancelled);
}

TEST(extension_cancel, ends_an_open) {
    const FullBacklog nobody;
    TRN_HANDLE handle = nullptr;
    std::thread canceller([&handle] {
        while (TRNX_Cancel(&handle) != 1)
            std::this_thread::yield();
    });
    const std::string text = "server=127.0.0.1;port=" + std::to_string(nobody.port());
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(TRNX_OpenConn(text.c_str(), nullptr, &handle), TRN_ERR_CONNECT);
    EXPECT_LT(ms_since(start), 5000);
    canceller.join();
    EXPECT_EQ(error_text(handle), cancelled);
    TRN_CloseConn(&handle);
}

TEST(extension_cancel, takes_no_handle_but_a_connection) {
    TRN_HANDLE none = nullptr, set = nullptr;
    EXPECT_EQ(TRNX_Cancel(nullptr), TRN_ERR_ARGUMENT);
    EXPECT_EQ(TRNX_Cancel(&none), TRN_ERR_ARGUMENT);
    ASSERT_EQ(TRN_CreateParams(&set), TRN_OK);
    EXPECT_EQ(TRNX_Cancel(&set), TRN_ERR_ARGUMENT);
    EXPECT_EQ(TRNX_SetReceiveTimeout(&set, 1), TRN_ERR_ARGUMENT);
    TRN_Drop(&set);
}
