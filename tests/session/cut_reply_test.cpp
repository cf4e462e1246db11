/*
 * Replies that arrive in pieces, late, or not to their end: the reply to each request of every call, cut at
 * every byte. In pieces a call gives what it gives when the reply comes at once. When the rest comes too late
 * or never, the call fails, whatever the server does next the calls behind it fail at once, and a reconnect
 * begins anew.
 */
#include "client_socket.h"
#include "exchanges.h"

#include <semaphore>

namespace {

enum class Rest {
    at_once,  /* when what came before it has been received */
    bytewise, /* the same for every byte */
    late,     /* when the client has given up */
    never_close,
    never_reset /* the server closes, by an end or by a reset */
};

/* The reply that is cut, and where. */
struct Cut {
    Rest rest = Rest::at_once;
    std::size_t exchange = 0, at = SIZE_MAX;
};

std::string name_of(const Case& tried, const Cut& cut) {
    constexpr const char* rests[] = {"in two", "byte by byte", "late", "closed", "reset"};
    return tried.name + ", " + rests[int(cut.rest)] + ", reply " + std::to_string(cut.exchange) +
           " at byte " + std::to_string(std::ptrdiff_t(cut.at));
}

/* A server that answers a case with one cut after another on the same connection, or, where a cut ends it,
 * once, and then answers the client that comes again. */
class Server {
  public:
    Server(const Case& tried, const std::vector<Cut>& cuts) : scripted(script(tried, cuts)) {}

    /* In the test's thread, before the first call. */
    ClientSocket& client_of(TRN_HANDLE handle) {
        client_.set(handle);
        return client_;
    }
    void late_call_has_returned() {
        returned_.release();
        EXPECT_TRUE(sent_.try_acquire_for(idle_limit));
    }

  private:
    Script script(const Case& tried, const std::vector<Cut>& cuts) {
        Script all{expect_login_of_cases(), send("NabcdK")};
        const std::string own = query({{"n", TRN_WIRE_CHAR}}, {row({wire_text("own")})}) + K;
        for (const Cut& cut : cuts) {
            const bool ends = cut.rest > Rest::bytewise;
            for (const auto& [request, reply] : tried.earlier)
                all.insert(all.end(), {expect(request), send(reply)});
            for (std::size_t i = 0; i < (ends ? cut.exchange + 1 : tried.own.size()); ++i) {
                const Cut whole, &how = i == cut.exchange ? cut : whole;
                all.push_back(expect(tried.own[i].first));
                all.push_back({"reply", [this, how, &reply = tried.own[i].second](ScriptedServer& server) {
                                   deliver(server, reply, how);
                               }});
            }
            if (ends) all.insert(all.end(), {expect_login_of_cases(), send(K)});
            /* The end of a reply that nobody waits for comes with the next one. */
            const std::string end = ends || tried.own.front().second.ends_with(K) ? "" : K;
            all.insert(all.end(), {expect_command("next"), send(end + I("next") + W("next") + U(7) + K),
                                   expect_command("next"), send(own)});
        }
        all.push_back(close_connection());
        return all;
    }
    void deliver(ScriptedServer& server, std::string_view reply, const Cut& cut) {
        if (cut.rest == Rest::at_once) return client_.send_cut(server, reply, {cut.at});
        if (cut.rest == Rest::bytewise) {
            for (std::size_t sent = 0; sent < reply.size(); ++sent) {
                if (sent) client_.wait_until_empty();
                server.send_bytes(reply.substr(sent, 1), 1);
            }
            return;
        }
        if (cut.rest == Rest::late && cut.at)
            client_.shorten_wait(); /* the client waits, or has yet to begin */
        server.send_bytes(reply.substr(0, cut.at), std::max<std::size_t>(cut.at, 1));
        if (cut.rest != Rest::late) return server.drop(cut.rest == Rest::never_reset);
        if (!returned_.try_acquire_for(idle_limit)) throw std::runtime_error("the call does not return");
        try {
            server.send_bytes(reply.substr(cut.at), reply.size());
        } catch (const std::runtime_error&) { /* the link is gone already */
        }
        sent_.release();
        server.receive_end();
    }

    ClientSocket client_;
    std::binary_semaphore returned_{0}, sent_{0};

  public:
    ScriptedServer scripted; /* begins when all else is there */
};

void expect_failures(Connection& connection) {
    EXPECT_FALSE(is_open(static_cast<tarn::Conn*>(connection.handle)->channel));
    const std::string text = error_text(connection.handle), id = last_insert_id(connection);
    SingleValue value(connection, "next");
    EXPECT_EQ(value.status, TRN_ERR_NETWORK);
    EXPECT_EQ(value.take() + std::to_string(value.word), "7777");
    const Reader reader(connection, "next");
    EXPECT_EQ(reader.status, TRN_ERR_NETWORK);
    EXPECT_TRUE(reader.result == nullptr && reader.columns == -7 && reader.rows == -7 &&
                reader.affected == -7);
    EXPECT_EQ(connection.run("next"), TRN_ERR_NETWORK);
    EXPECT_EQ(TRN_CloseCursor(&connection.handle, "next"), TRN_ERR_NETWORK);
    EXPECT_EQ(error_text(connection.handle) + last_insert_id(connection), text + id);
}

/* They leave another text and another identifier. */
void expect_answers_of_its_own(Connection& connection) {
    TRN_ResetParams(&connection.handle);
    EXPECT_EQ(connection.run("next"), 7);
    SingleValue value(connection, "next");
    EXPECT_EQ(value.status, TRN_OK);
    EXPECT_EQ(value.take(), "own");
}

/* Everything that can be seen of a call: what it gave, the texts, the identifier, the lines. */
std::string seen(const Case& tried, Hands& hands, Given& given) {
    auto* const conn = static_cast<tarn::Conn*>(*hands.handle);
    conn->statement_counter = conn->default_prepared = 0; /* the same names every time */
    OutputCapture output;
    given = tried.call(hands);
    return given.text() + "\n" + error_text(*hands.handle) + "\n" + last_insert_id(hands.connection) + "\n" +
           output.text();
}

TEST(cut_reply, gives_what_the_whole_one_gives) {
    for (const Case& tried : cases()) {
        std::vector<Cut> cuts(2); /* the first leaves the text and the identifier that all others meet */
        for (std::size_t exchange = 0; exchange < tried.own.size(); ++exchange) {
            cuts.push_back({Rest::bytewise, exchange});
            for (std::size_t at = 1; at < tried.own[exchange].second.size(); ++at)
                cuts.push_back({Rest::at_once, exchange, at});
        }
        Server server(tried, cuts);
        Connection connection(connection_string(server.scripted.port(), settings_of_cases()));
        ASSERT_EQ(connection.opened, TRN_OPENED);
        server.client_of(connection.handle);
        Hands hands(connection);
        std::string whole;
        for (const Cut& cut : cuts) {
            Given given;
            const std::string all = seen(tried, hands, given);
            EXPECT_EQ(given.status, tried.status) << tried.name;
            if (&cut - cuts.data() < 2) whole = all;
            ASSERT_EQ(all, whole) << name_of(tried, cut);
            const OutputCapture output;
            ASSERT_NO_FATAL_FAILURE(expect_answers_of_its_own(connection));
        }
    }
}

void try_end(const Case& tried, const Cut& cut) {
    Server server(tried, {cut});
    Connection connection(connection_string(server.scripted.port(), settings_of_cases()));
    ASSERT_EQ(connection.opened, TRN_OPENED);
    const ClientSocket& client = server.client_of(connection.handle);
    Hands hands(connection);
    if (cut.rest == Rest::late && cut.at == 0) hands.before = [&] { client.shorten_wait(); };
    Given given;
    seen(tried, hands, given);
    const OutputCapture output_of_others;
    if (cut.rest == Rest::late) server.late_call_has_returned();
    /* A reset may take away what came before it. */
    const bool last = cut.exchange + 1 == tried.own.size() && cut.at + 1 == tried.own.back().second.size();
    EXPECT_TRUE(given.status == (last ? tried.without_last : tried.broken_off) ||
                (cut.rest == Rest::never_reset && given.status == TRN_ERR_NETWORK))
        << given.status;
    EXPECT_EQ(given.handed, "");
    expect_failures(connection);
    EXPECT_EQ(TRN_ReconnectConn(&connection.handle), TRN_RECONNECTED);
    expect_answers_of_its_own(connection);
    EXPECT_EQ(TRN_CloseConn(&connection.handle), TRN_OK);
}

/* A wait that has begun keeps its length: a reply to the second request is late from its second byte on. */
TEST(cut_reply, that_ends_late_or_never_ends_its_call_and_reaches_no_other) {
    for (const Rest rest : {Rest::late, Rest::never_close, Rest::never_reset})
        for (const Case& tried : cases())
            for (std::size_t exchange = 0; exchange < tried.own.size(); ++exchange) {
                const std::size_t size = tried.own[exchange].second.size();
                if (size > (rest == Rest::late ? 120 : 1000)) continue; /* more of the same */
                for (std::size_t at = rest == Rest::late ? exchange : 0; at < size; ++at) {
                    /* Encrypted logins take their time: each byte meets one of the three. */
                    if (channel == Channel::encrypted && at % 3 != std::size_t(rest) % 3) continue;
                    SCOPED_TRACE(name_of(tried, {rest, exchange, at}));
                    try_end(tried, {rest, exchange, at});
                    ASSERT_FALSE(testing::Test::HasFailure());
                }
            }
}

} // namespace
