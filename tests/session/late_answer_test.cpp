/*
 * Servers that answer when the client has given up. A call whose wait ran out ends the link, however much
 * of its answer had come: what comes late reaches no other call, and a reconnect begins anew.
 */
#include "client_socket.h"
#include "parameter_wire.h"

#include <semaphore>

namespace {

constexpr std::chrono::seconds limit = idle_limit;

const std::string lob_settings = account + ";lob_ret=descriptor";
Step expect_lob_login() {
    return expect_login(login_on_channel("D", "U", "P", default_settings + " lob_ret  =descriptor"));
}

/* What the calls in question leave in the application's hands, and what they need from earlier ones. */
struct Hands {
    explicit Hands(Connection& opened) : connection(opened) {}
    ~Hands() { TRN_Distroy_Lob(&lob); }
    Hands(const Hands&) = delete;
    Hands& operator=(const Hands&) = delete;
    TRN_HANDLE* handle() { return &connection.handle; }

    Connection& connection;
    Reader result;
    TRN_HANDLE lob = nullptr;
    char name[20] = "STC0";
    Bytes slot = exact("....");
    std::int32_t slot_length = 0;
};

struct Late {
    std::string name;
    std::vector<std::pair<std::string, std::string>> before; /* exchanges of prepare */
    std::function<void(Hands&)> prepare;
    std::string request, reply;
    std::function<std::int32_t(Hands&)> call;
    std::int32_t before_last_byte = TRN_ERR_NETWORK; /* the status when only the last byte is late */
};

void nothing(Hands&) {}

/* The late answer has a value of every kind; none of them may show. */
const std::string one_column = query({{"c", TRN_WIRE_CHAR}}, {});
const std::string late_rows =
    one_column + row({wire_text("late")}) + row_with_identifier("i", {null_value()});

std::vector<Late> late_answers() {
    const std::string described = "$" + be32(1) + wire_text("p") + be32(1) + be32(5) + be32(4);
    const std::string descriptor = "C23456789012,1234";
    const auto make_statement = [](Hands& h) { EXPECT_EQ(TRN_Prepare2(h.handle(), "q", h.name), 0); };
    const auto read_descriptor = [](Hands& h) {
        EXPECT_EQ(TRN_ExecwithDataReader(h.handle(), "q", &h.result.result, nullptr, nullptr, nullptr), 1);
        EXPECT_TRUE(h.result.next());
        EXPECT_EQ(TRN_Create_Lob(&h.lob), 0);
    };
    const auto bind_slot = [](Hands& h) {
        EXPECT_EQ(TRN_BindParamByPos(h.handle(), 1, TRN_DIRECTION_OUT, TRN_TYPE_TEXT, h.slot.data(), 4,
                                     &h.slot_length),
                  0);
    };
    const auto read = [](Hands& h) {
        return TRN_ExecwithDataReader(h.handle(), "late", &h.result.result, nullptr, nullptr, nullptr);
    };
    const auto value = [](Hands& h) {
        SingleValue single(h.connection, "late");
        EXPECT_EQ(single.take(), "");
        EXPECT_EQ(single.word, 7777u);
        return single.status;
    };
    const auto prepare = [](Hands& h) { return TRN_Prepare2(h.handle(), "q", h.name); };
    const auto execute = [](Hands& h) { return TRN_Execute2(h.handle(), h.name, nullptr, &h.result.result); };
    const auto unprepare = [](Hands& h) { return TRN_UnPrepare(h.handle(), h.name); };
    const auto fetch = [](Hands& h) {
        return TRN_FetchServerCursorRowset(h.handle(), "c", &h.result.result);
    };
    const auto declare = [](Hands& h) {
        return TRN_ExecwithServerCursorReader(h.handle(), "q", "c", &h.result.result, nullptr);
    };
    const auto get_lob = [](Hands& h) {
        return TRN_GetData(&h.result.result, 1, TRN_TYPE_CLOB, &h.lob, 0, nullptr);
    };
    const auto call = [](Hands& h) { return TRN_Execute_procesure(h.handle(), "call", nullptr); };
    const std::string lob_reply =
        query({{"l", TRN_WIRE_CLOB}}, {}) + "R" + be32(1) + wire_text("late") + be32(0);
    const std::string slot = entry("", TRN_DIRECTION_OUT, TRN_WIRE_CHAR, 0, "");
    const std::string lob_row = query({{"l", TRN_WIRE_CLOB}}, {row({wire_text(descriptor)})}) + K;
    // clang-format off
    return {
        {"no query", {}, nothing, command("late"), W("w") + U(5) + K, [](Hands& h) { return h.connection.run("late"); }},
        {"single value", {}, nothing, command("late"), late_rows + K, value},
        {"data reader", {}, nothing, command("late"), late_rows + ";" + U(5) + K, read},
        {"PREPARE", {}, nothing, command("PREPARE STC0 AS q"), one_column + described + K, prepare},
        {"execution", {{command("PREPARE STC0 AS q"), K}}, make_statement, command("? STC0 "), late_rows + K, execute},
        {"DEALLOCATE", {{command("PREPARE STC0 AS q"), K}}, make_statement, command("DEALLOCATE STC0 "), K, unprepare},
        {"DEALLOCATE refused", {{command("PREPARE STC0 AS q"), K}}, make_statement, command("DEALLOCATE STC0 "), E("late") + K, unprepare, TRN_ERR_SERVER},
        {"DECLARE", {}, nothing, command("DECLARE c CURSOR FOR q "), one_column + K, declare},
        {"FETCH", {}, nothing, command("FETCH  20000  FROM  c "), late_rows + K, fetch},
        {"CLOSE", {}, nothing, command("CLOSE c "), K, [](Hands& h) { return TRN_CloseCursor(h.handle(), "c"); }},
        {"CLOSE refused", {}, nothing, command("CLOSE c "), E("late"), [](Hands& h) { return TRN_CloseCursor(h.handle(), "c"); }},
        {"large object", {{command("q"), lob_row}}, read_descriptor, command("get lob 'C23456789012,' offset 0 limit 234 "), lob_reply, get_lob},
        {"procedure", {}, bind_slot, request("call", 1, slot), P("p") + late_rows + K, call},
        {"procedure without slots", {}, nothing, command("call"), O("o") + U(5) + K, call},
    };
    // clang-format on
}

/* What a server does whose answer is late from a byte on, and how it answers the client that comes again. */
struct LateServer {
    Script script(const Late& late, std::size_t cut) {
        Script all{expect_lob_login(), send("NabcdK")};
        for (const auto& [bytes, reply] : late.before)
            all.insert(all.end(), {expect(bytes), send(reply)});
        all.insert(all.end(),
                   {expect(late.request), {"answer late", [this, &late, cut](ScriptedServer& server) {
                                               answer(server, late.reply, cut);
                                           }}});
        all.insert(all.end(),
                   {expect_lob_login(), send(K), expect_command("next"), send(U(7) + K),
                    expect_command("next"),
                    send(query({{"n", TRN_WIRE_CHAR}}, {row({wire_text("own")})}) + K),
                    expect_command("next"), send(query({{"n", TRN_WIRE_INTEGER}}, {row({integer(1)})}) + K)});
        return all;
    }
    void answer(ScriptedServer& server, const std::string& reply, std::size_t cut) {
        if (cut) client.shorten_wait(); /* the client is waiting, or has yet to begin */
        server.send_bytes(std::string_view(reply).substr(0, cut), cut);
        if (!returned.try_acquire_for(limit)) throw std::runtime_error("the call does not return");
        try {
            server.send_bytes(std::string_view(reply).substr(cut), reply.size());
        } catch (const std::runtime_error&) { /* the link is gone already */
        }
        sent.release();
        server.receive_end();
    }

    ClientSocket client;
    std::binary_semaphore returned{0}, sent{0};
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

void expect_answers_of_its_own(Connection& connection) {
    ASSERT_EQ(TRN_ReconnectConn(&connection.handle), TRN_RECONNECTED);
    EXPECT_EQ(connection.run("next"), 7);
    SingleValue value(connection, "next");
    EXPECT_EQ(value.status, TRN_OK);
    EXPECT_EQ(value.take(), "own");
    Reader reader(connection, "next");
    EXPECT_EQ(reader.status, 1);
    EXPECT_EQ(reader.transcript(), "n: 1\n");
}

void try_late(const Late& late, std::size_t cut) {
    LateServer server;
    ScriptedServer scripted(server.script(late, cut));
    Connection connection(connection_string(scripted.port(), lob_settings));
    ASSERT_EQ(connection.opened, TRN_OPENED);
    Hands hands(connection);
    server.client.set(connection.handle);
    late.prepare(hands);
    if (cut == 0) server.client.shorten_wait();
    const TRN_HANDLE before = hands.result.result;
    EXPECT_EQ(late.call(hands), cut + 1 == late.reply.size() ? late.before_last_byte : TRN_ERR_NETWORK);
    EXPECT_EQ(hands.result.result, before);
    server.returned.release();
    ASSERT_TRUE(server.sent.try_acquire_for(limit));
    expect_failures(connection);
    expect_answers_of_its_own(connection);
    EXPECT_EQ(TRN_CloseConn(&connection.handle), TRN_OK);
}

TEST(late_answer, ends_its_call_and_reaches_no_other) {
    OutputCapture output;
    for (const Late& late : late_answers())
        for (std::size_t cut = 0; cut < late.reply.size(); ++cut) {
            SCOPED_TRACE(late.name + " after byte " + std::to_string(cut));
            try_late(late, cut);
            ASSERT_FALSE(testing::Test::HasFailure());
        }
}

} // namespace
