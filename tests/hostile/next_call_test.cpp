/*
 * What becomes of a connection when memory runs out inside a call: the call gives what it gives otherwise, or
 * fails and hands out nothing; the next call on the same connection gets its own answer, or fails because the
 * link was given up. Never does it meet the rest of the answer before.
 */
#include "output_capture.h"
#include "session/exchanges.h"
#include "tarnsql_ext.h"
#include "watched_memory.h"

namespace {

std::size_t number_in(std::string_view bytes) {
    std::size_t number = 0;
    for (const char byte : bytes)
        number = number << 8 | static_cast<unsigned char>(byte);
    return number;
}

/* The next request, whole: a command with its entries, or what asks for more rows. */
std::string request_from(ScriptedServer& server) {
    std::string all = server.receive(1);
    const auto more = [&](std::size_t count) {
        all += server.receive(count);
        return number_in(std::string_view(all).substr(all.size() - count));
    };
    if (all != "?") return all;
    more(more(4) + 1);
    std::size_t entries = more(4);
    if (entries > 0xFFFF) /* the rows of a batch came with the command */
        while (server.has_pending_bytes())
            more(1);
    else
        for (; entries > 0; --entries) {
            more(more(2));
            more(4);
            const std::size_t length = more(4);
            if (length < INT32_MAX) more(length);
        }
    return all;
}

/* Until the client goes: whatever it asks for is answered, each request for itself. */
std::string reply_to(const std::string& request, const Case& shortage) {
    if (request == command("next")) return query({{"c", 30}}, {row({wire_text("own")})}) + K;
    if (request == command("count")) return U(7) + K;
    for (const auto& [expected, reply] : shortage.earlier)
        if (request == expected) return reply;
    for (const auto& [expected, reply] : shortage.own)
        if (request == expected) return reply.empty() || reply.ends_with(K) ? reply : reply + K;
    return E("unknown request") + K;
}

Step answer(const Case& shortage) {
    return {"answer", [&shortage](ScriptedServer& server) {
                try {
                    for (;;) {
                        const std::string reply = reply_to(request_from(server), shortage);
                        server.send_bytes(reply, std::max<std::size_t>(reply.size(), 1));
                    }
                } catch (const std::runtime_error&) { /* the client is gone */
                    server.drop(false);
                }
            }};
}

/* The next calls, when there is memory again. True when the connection lives. */
bool next_calls_are_right(Connection& connection) {
    TRN_ResetParams(&connection.handle);
    SingleValue value(connection, "next");
    if (value.status == TRN_ERR_NETWORK) {
        EXPECT_EQ(connection.run("count"), TRN_ERR_NETWORK);
        return false;
    }
    EXPECT_EQ(value.status, TRN_OK);
    EXPECT_EQ(value.take(), "own");
    EXPECT_EQ(connection.run("count"), 7);
    return true;
}

bool may_fail_with(const Case& shortage, std::int32_t status) {
    if (status == TRN_OK) return shortage.name == "ref cursor"; /* says nothing, and has no result */
    return status == TRN_ERR_MEMORY || status == TRN_ERR_NETWORK || status == TRN_ERR_ARGUMENT;
}

class next_call : public testing::Test {
  protected:
    /* What the call gives when the allocations from the first to the last one fail. */
    Given run(const Case& shortage, std::size_t first, std::size_t last) {
        ScriptedServer server({expect_login_of_cases(), send("NabcdK"), answer(shortage)});
        Connection connection(connection_string(server.port(), settings_of_cases()));
        EXPECT_EQ(connection.opened, TRN_OPENED);
        Watch memory;
        const Watched watched(memory);
        Hands hands(connection);
        hands.before = [&] {
            memory.taken = 0;
            memory.fail(first, last);
        };
        hands.behind = [&] {
            memory.fail(0, 0);
            asked_for_ = memory.taken;
        };
        const Given given = shortage.call(hands);
        lives_ = next_calls_are_right(connection);
        TRN_CloseConn(&connection.handle);
        EXPECT_TRUE(memory.live.empty());
        return given;
    }
    OutputCapture output_;
    bool lives_ = false;
    std::size_t asked_for_ = 0;
};

TEST_F(next_call, is_right_or_fails_whatever_memory_was_short_before) {
    std::vector<Case> all = cases();
    all.insert(all.end(), large_cases().begin(), large_cases().end());
    for (const Channel over : {Channel::plain, Channel::encrypted})
        for (const Case& shortage : all) {
            const bool large = std::size_t(&shortage - all.data()) >= cases().size();
            if (over == Channel::encrypted && large) continue; /* slow without optimisation */
            const OnlyOver only(over);
            const std::string expected = run(shortage, 0, 0).text();
            const std::size_t needed = asked_for_;
            EXPECT_EQ(expected.substr(0, expected.find(' ')), std::to_string(shortage.status));
            EXPECT_TRUE(lives_) << shortage.name;
            for (const bool alone : {true, false})
                for (std::size_t n = 1; n <= needed; ++n) {
                    SCOPED_TRACE(shortage.name + (alone ? ", allocation " : ", from allocation ") +
                                 std::to_string(n) + (over == Channel::plain ? "" : ", encrypted"));
                    const Given given = run(shortage, n, alone ? n : SIZE_MAX);
                    if (given.text() != expected) {
                        EXPECT_TRUE(may_fail_with(shortage, given.status)) << given.text().substr(0, 200);
                        EXPECT_EQ(given.handed.substr(0, 100), "");
                    }
                    ASSERT_FALSE(HasFailure());
                }
        }
}

/* A batch whose first row has been announced when the room for the next one cannot be had. Rows that never
 * come would keep the server waiting, and what was not sent yet must not come before the next login. */
TEST(next_call_of_a_batch, that_finds_no_room_for_its_values_needs_a_reconnect) {
    const Step batch{"take what comes of the batch", [](ScriptedServer& server) {
                         try {
                             server.receive(600000);
                             while (server.has_pending_bytes())
                                 server.receive(1);
                             server.send_bytes(U(2) + K, 100);
                             server.receive(1);
                         } catch (const std::runtime_error& error) {
                             if (!std::string_view(error.what()).starts_with("the client went away")) throw;
                         }
                         server.drop(false);
                     }};
    const std::string data = "a" + std::string(600000, 'b');
    const auto exec_rows = [&](TRN_HANDLE* handle) {
        const std::int32_t type = TRN_TYPE_TEXT;
        const TRNX_VALUE values[] = {{0, 1}, {1, 600000}};
        return TRNX_ExecRows(handle, "q", 1, &type, 2, values, data.data(), std::uint32_t(data.size()));
    };
    const auto exec_batch = [](TRN_HANDLE* handle) { return TRN_ExecBatch(handle, "q", 2); };
    for (const bool bound : {true, false}) {
        std::int32_t status = TRN_ERR_NETWORK;
        for (std::size_t n = 1; status != TRN_OK; ++n) {
            ScriptedServer server({expect_login_of_cases(), send("NabcdK"), batch, expect_login_of_cases(),
                                   send(K), expect(command("count")), send(U(7) + K)});
            Connection connection(connection_string(server.port(), settings_of_cases()));
            if (bound) {
                EXPECT_EQ(texts({"a", data.substr(1)}).bind(&connection.handle, 1, 1), 0);
            }
            Watch memory;
            {
                const Watched watched(memory);
                memory.fail(n, n);
                status = bound ? exec_batch(&connection.handle) : exec_rows(&connection.handle);
                memory.fail(0, 0);
                EXPECT_TRUE(status == TRN_OK || may_fail_with({}, status)) << status;
                EXPECT_EQ(TRN_ReconnectConn(&connection.handle), TRN_RECONNECTED);
            }
            EXPECT_EQ(connection.run("count"), 7);
            ASSERT_FALSE(testing::Test::HasFailure()) << "allocation " << n;
        }
    }
}

} // namespace
