/*
 * Address lists and reconnecting. The servers live on loopback hosts from 127.0.0.2 on, all at the port that
 * 127.0.0.1 keeps closed: a host without a server refuses, and a server may come back to its place.
 */
#include "parameter_wire.h"

#include <map>
#include <set>

namespace {

// clang-format off
std::string address(int host) { return "127.0.0." + std::to_string(host); }
std::string to(const std::string& setting) { return connection_string(test_refusing_port(), account + ";" + setting); }
std::string to_list(const std::vector<int>& hosts) {
    std::string list;
    for (const int host : hosts)
        list += "," + address(host);
    return to("lock_timeout=5;IPS=" + list.substr(1)); /* lists do not have the time-out from here */
}

struct Server : ScriptedServer {
    Server(int host, Script script) : ScriptedServer(std::move(script), test_refusing_port(), host) {}
};
// clang-format on

struct Listed {
    Listed(const std::string& list, std::int32_t number, void** state)
        : status(TRN_OpenConn_Ips(list.c_str(), number, state, &handle)) {}
    ~Listed() { TRN_CloseConn(&handle); }
    std::int32_t run() { return TRN_Execute_no_query(&handle, "x"); }

    TRN_HANDLE handle = nullptr;
    std::int32_t status;
};

/* What a search met that no server ends well: the host that took the connection, 0 when none did. */
int reached(const std::string& list, std::int32_t number, void** state) {
    Listed opening(list, number, state);
    const std::string text = error_text(opening.handle);
    for (int host = 1; host <= 9 && opening.status == TRN_ERR_LOGIN; ++host)
        if (text == "[EC014]IPS LOGIN database Failure,IP is " + address(host) + "  \n") return host;
    EXPECT_EQ(opening.status, TRN_ERR_CONNECT);
    EXPECT_EQ(text, "[EC013]Error IPS Connect database Failed,sock build failure!\n");
    return 0;
}

/* Hosts that take every connection and close it at the login. */
struct Doors : std::map<int, Server> {
    explicit Doors(const std::vector<int>& hosts) {
        for (const int host : hosts)
            try_emplace(host, host, Script{turn_clients_away()});
    }
};

TEST(address_list, is_searched_from_a_number_on_and_forgets_hosts_that_refuse) {
    const std::string list = to_list({2, 3, 4, 5});
    Doors doors({2, 3, 4, 5});
    void* state = nullptr;
    const auto from = [&](std::int32_t number) { return reached(list, number, &state); };
    EXPECT_GE(from(7), 2); /* by chance: there is no record yet */
    EXPECT_EQ((std::vector{from(2), from(3), from(4), from(5), from(INT32_MAX)}),
              (std::vector{4, 5, 2, 3, 5}));
    doors.erase(doors.find(3), doors.find(5));
    EXPECT_EQ((std::vector{from(6), from(4), from(2)}), (std::vector{2, 5, 2})); /* past 4, then past 3 */
    doors.erase(2);
    EXPECT_EQ((std::vector{from(2), from(2)}), (std::vector{5, 5}));
    doors.erase(5);
    EXPECT_EQ((std::vector{from(2), from(9)}), (std::vector{0, 0}));
    const Doors second({2});
    EXPECT_EQ(from(2), 0);
    const Doors fifth({5});
    EXPECT_EQ(from(2), 5);
    EXPECT_EQ(Release_IpsAttrs(&state), 0);
    EXPECT_EQ(Release_IpsAttrs(&state), -1); /* the variable is null */
}

/* -1 releases the record before; other numbers leave it to the application. */
TEST(address_list, begins_by_chance_with_a_fresh_record) {
    const std::vector<int> hosts{2, 3, 4, 5, 6, 7, 8, 9};
    Doors doors(hosts);
    void* state = nullptr;
    std::set<int> met;
    for (int i = 0; i < 30; ++i)
        met.insert(reached(to_list(hosts), -1, &state));
    for (const std::int32_t number : {0, 1, -2, INT32_MIN}) {
        void* const before = state;
        void* released = state;
        met.insert(reached(to_list(hosts), number, &state));
        EXPECT_NE(state, before);
        EXPECT_EQ(Release_IpsAttrs(&released), 0);
    }
    EXPECT_GT(met.size(), 2U);
    EXPECT_TRUE(*met.begin() >= 2);
    EXPECT_EQ(Release_IpsAttrs(&state), 0);
}

const std::int32_t numbers[] = {0, 1, -1, 2, 5, INT32_MAX, -2, -100, INT32_MIN};

/* With a record of an earlier call and without one. */
TEST(address_list, opens_the_only_host_that_answers) {
    for (const std::int32_t number : numbers)
        for (const std::vector<int>& earlier : {std::vector<int>{}, {2, 3, 4}}) {
            SCOPED_TRACE(number);
            void *state = nullptr, *before = nullptr;
            if (const Doors doors(earlier); !doors.empty()) reached(to_list({2, 3, 4}), 0, &state);
            if (number < 2 && number != -1) before = state;
            Server server(4, logged_in({{"x", U(3) + K}}));
            Listed opening(to_list({2, 3, 4}), number, &state);
            EXPECT_EQ(std::to_string(opening.status) + error_text(opening.handle), "0");
            EXPECT_EQ(opening.run(), 3);
            EXPECT_EQ(Release_IpsAttrs(&before), before ? 0 : -1);
            EXPECT_EQ(Release_IpsAttrs(&state), 0);
        }
}

TEST(address_list, that_leads_nowhere_leaves_a_handle) {
    OutputCapture output;
    void* state = nullptr;
    for (const std::int32_t number : numbers) {
        EXPECT_EQ(reached(to_list({2, 3, 4, 2, 2}), number, &state), 0) << number;
        EXPECT_EQ(Release_IpsAttrs(&state), 0);
    }
    for (const std::string& none : {to("a=b"), ""s, "IPS=" + address(2)}) {
        Listed opening(none, 0, &state);
        EXPECT_EQ(opening.status, TRN_ERR_ARGUMENT) << none;
        EXPECT_EQ(opening.run(), TRN_ERR_NETWORK);
        EXPECT_EQ(Release_IpsAttrs(&state), -1);
    }
}

TEST(reconnect, serves_after_an_open_that_failed_and_may_fail_itself) {
    for (const bool by_list : {false, true})
        for (const bool login_failed : {false, true}) {
            OutputCapture output;
            void* state = nullptr;
            TRN_HANDLE handle = nullptr;
            {
                const Doors doors(login_failed ? std::vector{2} : std::vector<int>{});
                EXPECT_EQ(by_list ? TRN_OpenConn_Ips(to_list({2}).c_str(), 0, &state, &handle)
                                  : TRN_OpenConn(to("server=" + address(2)).c_str(), &handle),
                          login_failed ? TRN_ERR_LOGIN : TRN_ERR_CONNECT);
            }
            const auto connect = [&] { return TRN_ReconnectConn(&handle); };
            const auto run = [&] { return TRN_Execute_no_query(&handle, "x"); };
            EXPECT_EQ((Statuses{connect(), run()}), (Statuses{TRN_ERR_CONNECT, TRN_ERR_NETWORK}));
            EXPECT_EQ(error_text(handle), "[EC0197]Error when RECONNECT Sock Failure");
            Server server(2, {expect_login(), send(E("no")), expect_end(), expect_login(), send("N1234K"),
                              expect_command("x"), send(U(3) + K), reset_connection(),
                              expect_login_again("301"), send("K"), expect_command("x"), send(U(4) + K)});
            EXPECT_EQ((Statuses{connect(), run()}), (Statuses{TRN_ERR_LOGIN, TRN_ERR_NETWORK}));
            EXPECT_EQ(error_text(handle), "[EC0198]Error when LOGIN database Failure");
            EXPECT_EQ((Statuses{connect(), run(), connect(), run()}), (Statuses{1, 3, 1, 4}));
            EXPECT_EQ(TRN_CloseConn(&handle), 0);
            EXPECT_EQ(Release_IpsAttrs(&state), by_list ? 0 : -1);
        }
}

TEST(reconnect, logs_in_with_the_settings_of_now_and_the_version_of_the_last_answer) {
    const std::string off = " lock_timeout = 300 auto_commit = 'off' return_cursor_id  = 'on'";
    Session session({expect_login(), send("K"), expect_command("x"), reset_connection(),
                     expect_login_again("201", off), send("N1234K"), expect_command("x"), send(U(3) + K),
                     expect_end(), expect_login_again("301"), send("K"), expect_command("x"),
                     send(U(4) + K)});
    char on[] = "true", no[] = "off";
    OutputCapture output;
    EXPECT_EQ((Statuses{session.connection.run("x"), TRN_SetAttr(session.handle(), 11, on),
                        TRN_ReconnectConn(session.handle()), session.connection.run("x"),
                        TRN_SetAttr(session.handle(), 11, no), TRN_SetAttr(session.handle(), 12, on),
                        TRN_ReconnectConn(session.handle()), session.connection.run("x")}),
              (Statuses{TRN_ERR_NETWORK, 0, 1, 3, 0, 0, 1, 4}));
}

/* Replies that are read no further, broken off, or followed by bytes that nobody asked for. */
TEST(reconnect, forgets_what_the_old_link_left) {
    const auto run = [](Session& session) { return session.connection.run("x"); };
    const auto close_cursor = [](Session& session) { return TRN_CloseCursor(session.handle(), "c"); };
    const std::string rows = query({{"K", TRN_WIRE_INTEGER}}, {row({integer(1)})});
    // clang-format off
    const struct { std::function<std::int32_t(Session&)> call; std::string sent, reply; std::int32_t status; } cases[] = {
        {run, "x", rows + K, 0}, {run, "x", "A", 0}, {run, "x", U(5) + K + E("stale"), 5}, {run, "x", U(5) + "z", 5}, {run, "x", "U12", TRN_ERR_NETWORK},
        {run, "x", E("cut").substr(0, 6), TRN_ERR_NETWORK}, {close_cursor, "CLOSE c ", E("refused"), -1}, {close_cursor, "CLOSE c ", "", TRN_ERR_NETWORK},
        {[](Session& session) { return TRN_Execute_procesure(session.handle(), "x", nullptr); }, "x", "A", 0},
    };
    // clang-format on
    for (const auto& [call, sent, reply, status] : cases)
        for (const bool lost : {true, false}) {
            if (!lost && status == TRN_ERR_NETWORK) continue;
            SCOPED_TRACE(hex_difference(reply, "") + (lost ? "lost" : "alive"));
            OutputCapture output;
            Session session(
                logged_in({expect_command(sent), send(reply), lost ? close_connection() : expect_end(),
                           expect_login_again(), send("K"), expect_command("x"), send(U(3) + K)}));
            EXPECT_EQ(call(session), status);
            if (status == TRN_ERR_NETWORK) {
                EXPECT_EQ((Statuses{run(session), close_cursor(session)}), Statuses(2, TRN_ERR_NETWORK));
            }
            EXPECT_EQ(TRN_ReconnectConn(session.handle()), TRN_RECONNECTED);
            EXPECT_EQ(run(session), 3);
        }
}

TEST(reconnect, keeps_parameters_results_and_names_but_no_default_statement) {
    Session session(logged_in(
        {expect_command("q"), send(query({{"c", 30}}, {row({wire_text("kept")})}) + I("7") + K),
         expect_command("PREPARE STC0 AS sql"), send(K), expect_end(), expect_login_again(), send("K"),
         expect_command("PREPARE STC1 AS sql"), send(K), expect(request("x", 1, text_entry("v"))), send(K)}));
    Reader reader(session.connection, "q");
    char name[20] = {};
    EXPECT_EQ((Statuses{TRN_Prepare2(session.handle(), "sql", nullptr), bind_text(session.handle(), 1, "v"),
                        TRN_ReconnectConn(session.handle()),
                        TRN_Execute2(session.handle(), nullptr, nullptr, nullptr)}),
              (Statuses{0, 0, 1, -1}));
    EXPECT_EQ(error_text(session.connection.handle).substr(0, 7), "[EC023]");
    EXPECT_EQ((Statuses{TRN_Prepare2(session.handle(), "sql", name), session.connection.run("x"),
                        TRN_CloseConn(session.handle())}),
              Statuses(3));
    EXPECT_STREQ(name, "STC1");
    EXPECT_EQ(reader.transcript(), "c: kept\ninsert 7\n");
}

} // namespace
