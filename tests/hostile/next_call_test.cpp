/*
 * What becomes of a connection when memory runs out inside a call: the call gives what it gives otherwise, or fails and hands out
 * nothing; the next call on the same connection gets its own answer, or fails because the link was given up. Never does it
 * meet the rest of the answer before.
 */
#include "output_capture.h"
#include "session/parameter_wire.h"
#include "watched_memory.h"

#include <cstring>

namespace {

/* What a call gave, written out: its status and what it handed over, texts of errors aside. */
struct Told {
    std::int32_t status = 0;
    std::string handed;
    std::string text() const { return std::to_string(status) + " " + handed; }
};

struct Case {
    std::string name;
    std::vector<std::pair<std::string, std::string>> exchanges; /* a part of the request, the reply */
    std::function<void(Connection&)> before;                    /* with all the memory there is */
    std::function<Told(Connection&)> call;
};

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
    for (const auto& [part, reply] : shortage.exchanges)
        if (request.find(part) != std::string::npos) return reply;
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

void nothing(Connection&) {}

/* Which allocations fail inside a call, and how many it asked for. */
std::size_t first_to_fail, last_to_fail, asked_for;

template <class Call> std::int32_t when_short(Call call) {
    watch->taken = 0;
    watch->fail(first_to_fail, last_to_fail);
    const std::int32_t status = call();
    watch->fail(0, 0);
    asked_for = watch->taken;
    return status;
}

Told no_query(Connection& connection) {
    return {when_short([&] { return connection.run("q"); }), ""};
}

Told single(Connection& connection) {
    Bytes area(64, '.');
    std::uint32_t word = 7777;
    Told told{
        when_short([&] { return TRN_Execute_query_with_one(&connection.handle, "q", area.data(), &word); }),
        ""};
    void* value = nullptr;
    if (told.status == TRN_OK && word >= TRN_HANDED_OVER) {
        std::memcpy(&value, area.data() + 4, sizeof value);
        told.handed = static_cast<const char*>(value);
        TRN_FreePtr(&value);
    } else if (told.status >= 0 || area != Bytes(64, '.')) {
        told.handed.assign(area.begin(), area.end());
    }
    return told;
}

template <class Call> Told result_of(Call call) {
    Reader reader;
    const std::int32_t status = when_short([&] { return call(&reader.result); });
    const std::string text = reader.result ? error_text(reader.result) : "";
    return {status, reader.result ? "result " + text + reader.transcript() : ""};
}

Told read(Connection& connection) {
    return result_of([&](TRN_HANDLE* result) {
        return TRN_ExecwithDataReader(&connection.handle, "q", result, nullptr, nullptr, nullptr);
    });
}

Told fetch_again(Connection& connection) {
    Reader reader(connection, "held");
    const std::int32_t status = when_short(
        [&] { return TRN_FetchServerCursorRowset_V2(&connection.handle, "FETCH", &reader.result); });
    const std::string left = reader.transcript();
    return {status, status < 0 && left == "\n" ? "" : left}; /* the record stays, empty */
}

/* Outputs of a procedure as they come, each in its slot; a large object in the second. */
Told procedure(Connection& connection) {
    Bytes text(24, '.'), number(8, '.'), content(100);
    TRN_HANDLE lob = nullptr;
    std::int32_t lengths[3] = {-7, -7, -7};
    TRN_HANDLE* const handle = &connection.handle;
    TRN_Create_Lob(&lob);
    TRN_BindParamByPos(handle, 1, TRN_DIRECTION_OUT, TRN_TYPE_TEXT, text.data(), 24, &lengths[0]);
    TRN_BindParamByPos(handle, 2, TRN_DIRECTION_OUT, TRN_TYPE_CLOB, &lob, 0, &lengths[1]);
    TRN_BindParamByPos(handle, 3, TRN_DIRECTION_RETURN, TRN_TYPE_INTEGER, number.data(), 8, &lengths[2]);
    Told told{when_short([&] { return TRN_Execute_procesure(handle, "q", nullptr); }), ""};
    content.resize(std::size_t(std::max(TRN_Get_Lob_data(&lob, content.data(), 100), 0)));
    TRN_Distroy_Lob(&lob);
    if (told.status < 0) return told; /* values may have come before it failed */
    for (const std::int32_t length : lengths)
        told.handed += std::to_string(length) + " ";
    for (const Bytes* bytes : {&text, &number, &content})
        told.handed.append(bytes->begin(), bytes->end()).append("|");
    return told;
}

/* A large object by its descriptor. */
Told large_object(Connection& connection) {
    Reader reader(connection, "held");
    EXPECT_TRUE(reader.next());
    Bytes content(2000000);
    TRN_HANDLE lob = nullptr;
    std::int32_t length = -7;
    TRN_Create_Lob(&lob);
    Told told{when_short([&] { return TRN_GetData(&reader.result, 1, TRN_TYPE_CLOB, &lob, 0, &length); }),
              ""};
    content.resize(std::size_t(TRN_Get_Lob_data(&lob, content.data(), 2000000)));
    if (told.status == TRN_OK) told.handed.assign(content.begin(), content.end());
    EXPECT_EQ(length, told.status == TRN_OK ? std::int32_t(content.size()) : -7);
    TRN_Distroy_Lob(&lob);
    return told;
}

Told bound_statement(Connection& connection) {
    return {when_short([&] {
                std::int32_t status = bind_text(&connection.handle, 1, pattern(5000));
                if (status == TRN_OK) status = bind_integer(&connection.handle, "n", 9);
                return status == TRN_OK ? connection.run("q") : status;
            }),
            ""};
}

Told batch(Connection& connection) {
    return {when_short([&] {
                std::int32_t status = integers({1, 2, 3}).bind(&connection.handle, 1, 2);
                if (status == TRN_OK) status = texts({"a", "bbatch", ""}).bind(&connection.handle, 2, 2);
                return status == TRN_OK ? TRN_ExecBatch(&connection.handle, "q", 3) : status;
            }),
            ""};
}

std::vector<Case> cases() {
    const std::string columns = query({{"t.n%label", TRN_WIRE_INTEGER}, {"c", TRN_WIRE_CHAR}}, {});
    const auto one = [](std::int64_t number, const std::string& text) {
        return row({integer(number), wire_text(text)});
    };
    std::string many = columns;
    for (int i = 0; i < 3000; ++i)
        many += one(i, std::string(std::size_t(i) % 400, 'm'));
    const std::string rows = columns + one(1, "one") + W("between") + one(2, std::string(300, 'l')) +
                             M("more") + one(3, std::string(70000, 'h')) +
                             row_with_identifier("id", {null_value(), wire_text("four")});
    const std::string chunks = columns + [&] {
        std::string all;
        for (int i = 0; i < 450; ++i)
            all += one(i, "chunk");
        return all;
    }();
    const std::string described = columns + "$" + be32(2) + wire_text("first") + be32(1) + be32(5) + be32(4) +
                                  wire_text("second") + be32(2) + be32(5) + be32(4) + M("m") + K;
    const std::string outputs = "P" + be32(0) + be32(30) + wire_text("text") + rows + M("note") + "P" +
                                be32(1) + be32(32) + wire_text("content") + "O" + be32(5) + integer(7) + K;
    const std::string lob_row = query({{"l", TRN_WIRE_CLOB}}, {row({wire_text("C23456789012,1234")})}) + K;
    const std::string pieces = query({{"l", TRN_WIRE_CLOB}}, {}) + "R" + be32(1) +
                               wire_text(std::string(1000000, 'p')) + be32(1) +
                               wire_text(std::string(300000, 'q')) + be32(0) + K;
    const auto prepare = [](Connection& c) { TRN_Prepare2(&c.handle, "q", nullptr); };
    // clang-format off
    return {
        {"counts and texts", {{"q", I("row") + W("warning") + M("notice") + U(3) + K}}, nothing, no_query},
        {"rows left unread", {{"q", U(1) + rows + U(2) + I("id") + E("e") + K}}, nothing, no_query},
        {"behind unread rows", {{"left", U(1) + rows + U(2) + I("id") + K}, {"q", U(4) + K}}, [](Connection& c) { c.run("left"); }, no_query},
        {"rows and texts", {{"q", rows + K}}, nothing, read},
        {"many rows", {{"q", many + K}}, nothing, read},
        {"chain", {{"q", rows + ";" + U(5) + "," + I("id") + E("between") + D(6) + columns + one(5, "five") + K}}, nothing, read},
        {"without columns", {{"q", "A" + be32(0) + "RRR" + W("w") + "R" + K}}, nothing, read},
        {"refused columns", {{"q", "A" + be32(1) + be32(1025) + "RR" + K}}, nothing, read},
        {"large text", {{"q", W(std::string(3000000, 'w')) + U(1) + K}}, nothing, no_query},
        {"short value", {{"q", query({{"c", 30}}, {row({wire_text("short")}), row({null_value()}), W("w")}) + K}}, nothing, single},
        {"long value", {{"q", query({{"c", 32}}, {row({wire_text(std::string(80, 'v'))})}) + K}}, nothing, single},
        {"chunks", {{"q", chunks + K}, {".", ""}}, nothing, single},
        {"outputs", {{"q", outputs}}, nothing, procedure},
        {"prepare", {{"PREPARE", described}}, nothing, [](Connection& c) { char name[20]; return Told{when_short([&] { return TRN_Prepare2(&c.handle, "q", name); }), ""}; }},
        {"prepare again", {{"DEALLOCATE", K}, {"PREPARE", described}}, prepare, [](Connection& c) { return Told{when_short([&] { return TRN_Prepare2(&c.handle, "q", nullptr); }), ""}; }},
        {"default statement", {{"PREPARE", K}, {"? STC0", rows + K}}, prepare, [](Connection& c) { return result_of([&](TRN_HANDLE* r) { return TRN_Execute2(&c.handle, nullptr, nullptr, r); }); }},
        {"named statement", {{"? name", rows + E("refused") + K}}, nothing, [](Connection& c) { return result_of([&](TRN_HANDLE* r) { return TRN_Execute2(&c.handle, "name", nullptr, r); }); }},
        {"cursor of a statement", {{"DECLARE", columns + K}, {"OPEN", K}}, nothing, [](Connection& c) { char cursor[64]; return result_of([&](TRN_HANDLE* r) { return TRN_Execute2(&c.handle, "name", cursor, r); }); }},
        {"unprepare", {{"PREPARE", K}, {"DEALLOCATE", E("kept") + K}}, prepare, [](Connection& c) { return Told{when_short([&] { return TRN_UnPrepare(&c.handle, nullptr); }), ""}; }},
        {"cursor of a query", {{"DECLARE", columns + K}, {"OPEN", K}}, nothing, [](Connection& c) { return result_of([&](TRN_HANDLE* r) { return TRN_ExecwithServerCursorReader(&c.handle, "q", "c", r, nullptr); }); }},
        {"fetch", {{"FETCH", rows + K}}, nothing, [](Connection& c) { return result_of([&](TRN_HANDLE* r) { return TRN_FetchServerCursorRowset(&c.handle, "c", r); }); }},
        {"fetch into a result", {{"FETCH", rows + K}, {"held", rows + U(5) + K}}, nothing, fetch_again},
        {"ref cursor", {{"FETCH", rows + K}}, nothing, [](Connection& c) { return result_of([&](TRN_HANDLE* r) { std::int32_t wanted = 5; return TRN_FetchRefCursorHead(&c.handle, "c", r, nullptr, nullptr, &wanted); }); }},
        {"close of a cursor", {{"CLOSE", E("kept") + K}}, nothing, [](Connection& c) { return Told{when_short([&] { return TRN_CloseCursor(&c.handle, "c"); }), ""}; }},
        {"large object", {{"get lob", pieces}, {"held", lob_row}}, nothing, large_object},
        {"value into a large object", {{"held", query({{"l", TRN_WIRE_CLOB}}, {row({wire_text(std::string(1300000, 'v'))})}) + K}}, nothing, large_object},
        {"parameters", {{pattern(5000), U(2) + K}}, nothing, bound_statement},
        {"batch", {{"bbatch", U(3) + K}}, nothing, batch},
    };
    // clang-format on
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

bool is_large(const Case& shortage) {
    return std::any_of(shortage.exchanges.begin(), shortage.exchanges.end(),
                       [](const auto& exchange) { return exchange.second.size() > 500000; });
}

class next_call : public testing::Test {
  protected:
    /* What the call gives when the allocations from the first to the last one fail. */
    Told run(const Case& shortage, std::size_t first, std::size_t last) {
        const bool lobs = shortage.name == "large object";
        const std::string login =
            login_on_channel("D", "U", "P", default_settings + (lobs ? " lob_ret  =descriptor" : ""));
        ScriptedServer server({expect_login(login), send("K"), answer(shortage)});
        Connection connection(
            connection_string(server.port(), account + (lobs ? ";lob_ret=descriptor" : "")));
        EXPECT_EQ(connection.opened, TRN_OPENED);
        Watch memory;
        const Watched watched(memory);
        shortage.before(connection);
        first_to_fail = first;
        last_to_fail = last;
        const Told told = shortage.call(connection);
        lives_ = next_calls_are_right(connection);
        TRN_CloseConn(&connection.handle);
        EXPECT_TRUE(memory.live.empty());
        return told;
    }
    OutputCapture output_;
    bool lives_ = false;
};

TEST_F(next_call, is_right_or_fails_whatever_memory_was_short_before) {
    for (const Channel over : {Channel::plain, Channel::encrypted})
        for (const Case& shortage : cases()) {
            if (over == Channel::encrypted && is_large(shortage)) continue; /* slow without optimisation */
            const OnlyOver only(over);
            const std::string expected = run(shortage, 0, 0).text();
            const std::size_t needed = asked_for;
            EXPECT_TRUE(lives_) << shortage.name;
            for (const bool alone : {true, false})
                for (std::size_t n = 1; n <= needed; ++n) {
                    SCOPED_TRACE(shortage.name + (alone ? ", allocation " : ", from allocation ") +
                                 std::to_string(n) + (over == Channel::plain ? "" : ", encrypted"));
                    const Told told = run(shortage, n, alone ? n : SIZE_MAX);
                    if (told.text() != expected) {
                        EXPECT_TRUE(may_fail_with(shortage, told.status)) << told.text().substr(0, 200);
                        EXPECT_EQ(told.handed.substr(0, 100), "");
                    }
                    ASSERT_FALSE(HasFailure());
                }
        }
}

} // namespace
