/*
 * What the session tests share: the channel that a run goes over, the login on it, and an open connection to
 * a scripted server. The whole suite runs once a channel, from the same scripts; where a case exists on one
 * channel only, an OnlyOver stands at its beginning.
 */
#ifndef SESSION_FIXTURE_H
#define SESSION_FIXTURE_H

#include "client.h"
#include "output_capture.h"
#include "scripted_server.h"
#include "wire_bytes.h"

#include <gtest/gtest.h>

using namespace test_support;
using namespace std::string_literals;

enum class Channel {
    plain,
    encrypted
};

/* Of this run: encrypted when the environment says SESSION_CHANNEL=encrypted. */
extern Channel channel;

class OnlyOver {
  public:
    explicit OnlyOver(Channel only) : before_(channel) { channel = only; }
    ~OnlyOver() { channel = before_; }

  private:
    Channel before_;
};

inline const std::vector<Column> one_integer{{"n", TRN_WIRE_INTEGER}};
inline const std::string account = "db=D;user=U;pwd=P", K = end_of_reply;
constexpr auto U = update_count, D = delete_count;
constexpr auto I = inserted, E = server_error, F = fatal_error, W = warning, M = notice;
constexpr auto O = output_value, P = output_block;

/* "server=...;port=...;", the settings, and the setting of the run's channel. */
std::string connection_string(std::uint16_t port, const std::string& settings = account);

/* The login on the run's channel, clauses written as the plain one has them. */
std::string login_on_channel(const std::string& database, const std::string& user,
                             const std::string& password, const std::string& clauses = default_settings);
Step expect_login(const std::string& login = login_on_channel("D", "U", "P"));
/* The login of a reconnect: with the version that the last answer left, "201" after "K". */
Step expect_login_again(const std::string& version = "201", const std::string& clauses = default_settings);

struct Exchange {
    std::string sql, reply;
};

/* The account's login and its acceptance, then the rest. The connection stays open behind a script. */
Script logged_in(Script rest);
Script logged_in(const std::vector<Exchange>& exchanges);

struct Session {
    explicit Session(Script script)
        : server(std::move(script)), connection(connection_string(server.port())) {
        EXPECT_EQ(connection.opened, TRN_OPENED);
    }
    explicit Session(const std::vector<Exchange>& exchanges) : Session(logged_in(exchanges)) {}
    TRN_HANDLE* handle() { return &connection.handle; }

    ScriptedServer server;
    Connection connection;
};

/* Runs a statement by TRN_Execute_no_query, TRN_Execute_query_with_one or TRN_ExecwithDataReader. */
enum Call {
    no_query,
    single_value,
    data_reader
};
constexpr Call all_calls[] = {no_query, single_value, data_reader};
std::int32_t run(Call call, Connection& connection, const std::string& sql);

#endif
