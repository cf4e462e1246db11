/*
 * Replies that arrive in pieces: the answer cut in two at every byte, and byte by byte, each piece
 * received before the next is sent. What the calls hand over is what they hand over when the reply comes
 * in one piece.
 */
#include "client_socket.h"
#include "parameter_wire.h"

#include <array>

namespace {

struct Cut {
    std::string name;
    std::vector<std::pair<std::string, std::string>> exchanges;
    /* Makes the calls and tells all that came of them. */
    std::function<std::string(Connection&)> calls;
};

std::string told(Connection& connection, std::int32_t status) {
    return std::to_string(status) + " " + error_text(connection.handle) + " " + last_insert_id(connection) +
           "\n";
}

/* Everything a chain has, the identifiers of its inserts and the texts between its rows too. */
std::string told(Reader& reader) {
    std::string all = std::to_string(reader.columns) + " " + std::to_string(reader.rows) + " " +
                      std::to_string(reader.affected) + "\n";
    if (reader.result != nullptr) all += error_text(reader.result) + "\n";
    return all + reader.transcript();
}

/* One row of values, one of nulls and one with an identifier, in columns of all types. */
std::string every_type() {
    // clang-format off
    std::vector<std::pair<std::int32_t, std::string>> cells{
        {TRN_WIRE_BOOLEAN, "T"}, {TRN_WIRE_TINYINT, "\5"}, {TRN_WIRE_SMALLINT, be16(-6)}, {TRN_WIRE_INTEGER, be32(7)},
        {TRN_WIRE_BIGINT, be64(-8)}, {TRN_WIRE_NUMERIC, "12.50"}, {TRN_WIRE_FLOAT, be_float(1.5)},
        {TRN_WIRE_DOUBLE, be_double(-2.25)}, {TRN_WIRE_DATE, be32(11016)}, {TRN_WIRE_TIME, be32(37230005)},
        {TRN_WIRE_TIME_TZ, be32(37230005) + be16(60)}, {TRN_WIRE_DATETIME, be64(951827400999)},
        {TRN_WIRE_DATETIME_TZ, be64(951827400999) + be16(-60)}, {TRN_WIRE_OPAQUE, "o"}, {TRN_WIRE_CHAR, "KRAU*"},
        {TRN_WIRE_CLOB, "clob"}, {TRN_WIRE_BINARY, "\0R\xff"s}, {TRN_WIRE_BLOB, "blob"}, {45, "x"}, {999, "?"}};
    // clang-format on
    for (std::int32_t type = TRN_WIRE_INTERVAL_YEAR; type <= TRN_WIRE_INTERVAL_SECOND; ++type)
        cells.emplace_back(type, type < TRN_WIRE_INTERVAL_DAY_TO_SECOND ? be32(-100) : be64(93784000000));
    std::vector<Column> columns;
    std::vector<std::string> values, nulls, mixed;
    for (const auto& [type, value] : cells) {
        columns.push_back({"t.c" + std::to_string(type) + "%l", type});
        values.push_back(wire_text(value));
        nulls.push_back(be32(-std::int64_t(nulls.size())));
        mixed.push_back(mixed.size() % 3 ? values.back() : nulls.back());
    }
    return query(columns, {row(values), M("in between"), row(nulls), row_with_identifier("row 3", mixed),
                           W("joined"), row(values), E("behind")});
}

Cut reading(const std::string& name, const std::string& reply) {
    return {name, {{command("q"), reply + K}}, [](Connection& connection) {
                Reader reader(connection, "q");
                return told(connection, reader.status) + told(reader);
            }};
}

Cut one_value(const std::string& name, const std::string& reply) {
    return {name, {{command("q"), reply + K}}, [](Connection& connection) {
                SingleValue value(connection, "q");
                const std::uint32_t word = value.word;
                return told(connection, value.status) + value.take() + " " + std::to_string(word);
            }};
}

Cut counting(const std::string& name, const std::vector<std::string>& replies) {
    Cut cut{name, {}, [count = replies.size()](Connection& connection) {
                std::string all;
                for (std::size_t i = 0; i < count; ++i)
                    all += told(connection, connection.run("q"));
                return all;
            }};
    for (const std::string& reply : replies)
        cut.exchanges.emplace_back(command("q"), reply + K);
    return cut;
}

std::string output(std::int32_t slot, std::int32_t type, std::string_view value) {
    return "P" + be32(slot) + be32(type) + wire_text(value);
}

std::string procedure(Connection& connection) {
    std::array<Bytes, 3> buffers{exact("......"), exact("............"), exact("........")};
    std::array<std::int32_t, 3> lengths{};
    const std::int32_t directions[] = {TRN_DIRECTION_OUT, TRN_DIRECTION_OUT, TRN_DIRECTION_RETURN};
    const std::int32_t types[] = {TRN_TYPE_TEXT, TRN_TYPE_DATE, TRN_TYPE_DOUBLE};
    for (std::size_t i = 0; i < 3; ++i)
        TRN_BindParamByPos(&connection.handle, std::int32_t(i) + 1, directions[i], types[i],
                           buffers[i].data(), std::int32_t(buffers[i].size()), &lengths[i]);
    std::string all = told(connection, TRN_Execute_procesure(&connection.handle, "call", nullptr));
    for (std::size_t i = 0; i < 3; ++i)
        all += std::to_string(lengths[i]) + ":" + std::string(buffers[i].begin(), buffers[i].end()) + " ";
    return all;
}

std::string prepared(Connection& connection) {
    char name[20] = {};
    std::string all = told(connection, TRN_Prepare2(&connection.handle, "q", name)) + name;
    for (const char* parameter : {"first", "second"}) {
        std::int32_t value = 5, length = 4;
        all += std::to_string(TRN_BindParamByName(&connection.handle, parameter, TRN_DIRECTION_IN,
                                                  TRN_TYPE_INTEGER, &value, 4, nullptr, &length));
    }
    Reader reader;
    const std::int32_t executed = TRN_Execute2(&connection.handle, name, nullptr, &reader.result);
    all += told(connection, executed) + told(reader);
    return all + told(connection, TRN_UnPrepare(&connection.handle, name));
}

std::string cursor(Connection& connection) {
    Reader columns, rows;
    std::string all = told(connection, TRN_ExecwithServerCursorReader(&connection.handle, "q", "c",
                                                                      &columns.result, &columns.columns));
    all += told(columns);
    all += told(connection, TRN_FetchServerCursorRowset(&connection.handle, "c", &rows.result));
    all += told(rows);
    return all + told(connection, TRN_CloseCursor(&connection.handle, "c"));
}

/* The value is a descriptor, because the connection asked for them. */
std::string large_object(Connection& connection) {
    Reader reader(connection, "q");
    TRN_HANDLE lob = nullptr;
    TRN_Create_Lob(&lob);
    std::string all = std::to_string(reader.next()), content(100, '\0');
    all += std::to_string(TRN_GetData(&reader.result, 1, TRN_TYPE_CLOB, &lob, 0, nullptr));
    content.resize(std::size_t(TRN_Get_Lob_data(&lob, content.data(), 100)));
    TRN_Distroy_Lob(&lob);
    return all + content + told(connection, 0);
}

std::vector<Cut> cuts() {
    const std::string described = "$" + be32(2) + wire_text("first") + be32(1) + be32(5) + be32(4) +
                                  wire_text("second") + be32(2) + be32(5) + be32(4);
    const std::string columns = query({{"t.n%label", TRN_WIRE_INTEGER}}, {});
    const std::string rows =
        columns + row({integer(1)}) + W("text") + row_with_identifier("id", {null_value()});
    const std::string five = entry_head("first", 1) + be16(TRN_WIRE_INTEGER) + integer(5) +
                             entry_head("second", 1) + be16(TRN_WIRE_INTEGER) + integer(5);
    const std::string slots = entry("", TRN_DIRECTION_OUT, TRN_WIRE_CHAR, 0, "") +
                              entry("", TRN_DIRECTION_OUT, TRN_WIRE_CHAR, 0, "");
    const std::string outputs = M("note") + output(0, 30, "text") + rows + output(1, 10, be32(11016)) + "O" +
                                be32(9) + wire_text(be_double(0.25)) + W("last") + K;
    const std::string lob = query({{"l", TRN_WIRE_CLOB}}, {row({wire_text("C23456789012,1234")})}) + K;
    const std::string pieces = query({{"l", TRN_WIRE_CLOB}}, {}) + "R" + be32(1) + wire_text("first, ") +
                               be32(1) + wire_text("") + be32(9) + wire_text("last") + be32(0) + K;
    // clang-format off
    return {
        reading("every type", every_type()), reading("chain", rows + ";" + U(5) + "," + D(6) + I("identifier") + E("between") + rows + M("end")),
        reading("no columns", "A" + be32(0) + "RRR" + W("w") + "R"), reading("refused name", "A" + be32(1) + be32(1025)),
        counting("counts", {W("warning") + M("notice") + I("row 1") + I("row 2"), U(0x4b4b4b4b), E("error") + D(3), O("out") + P("put") + U(1)}),
        counting("rows left unread", {U(1) + rows + U(2) + I("K") + O("o") + P("p"), U(3)}),
        one_value("short value", query({{"c", 30}, {"n", 5}}, {row({wire_text("short"), integer(1)}), row({null_value(), integer(2)}), W("w")})),
        one_value("long value", query({{"c", 32}}, {row_with_identifier("id", {wire_text(std::string(80, 'v'))})})), one_value("insert", I("id") + I("id")),
        {"procedure", {{request("call", 2, slots), outputs}}, procedure},
        {"prepared statement", {{command("PREPARE STC0 AS q"), columns + described + M("m") + K}, {request("? STC0 ", 2, five), rows + K}, {command("DEALLOCATE STC0 "), E("kept") + K}}, prepared},
        {"cursor", {{command("DECLARE c CURSOR FOR q "), columns + K}, {command("OPEN c ;"), K}, {command("FETCH  20000  FROM  c "), rows + K}, {command("CLOSE c "), E("kept") + K}}, cursor},
        {"large object", {{command("q"), lob}, {command("get lob 'C23456789012,' offset 0 limit 234 "), pieces}}, large_object},
    };
    // clang-format on
}

/* Where the server cuts its replies. */
enum : std::size_t {
    nowhere = SIZE_MAX,
    everywhere = SIZE_MAX - 1
};

void send_reply(ScriptedServer& server, const ClientSocket& client, const std::string& reply,
                std::size_t cut) {
    if (cut != everywhere) return client.send_cut(server, reply, {cut});
    for (std::size_t sent = 0; sent < reply.size(); ++sent) {
        if (sent) client.wait_until_empty();
        server.send_bytes(std::string_view(reply).substr(sent, 1), 1);
    }
}

std::size_t longest_reply(const Cut& cut) {
    std::size_t longest = 0;
    for (const auto& [request, reply] : cut.exchanges)
        longest = std::max(longest, reply.size());
    return longest;
}

/* All cuts in turn, on one connection. */
std::vector<std::size_t> all_cuts(const Cut& cut) {
    std::vector<std::size_t> all{nowhere, everywhere};
    for (std::size_t at = 1; at < longest_reply(cut); ++at)
        all.push_back(at);
    return all;
}

/* Before each and behind the last one another request, which leaves another text and another identifier. */
Script script_of(const Cut& cut, const ClientSocket& client) {
    const Script next{expect_command("next"), send(I("next") + W("next") + U(7) + K)};
    Script script{expect_login(login_on_channel("D", "U", "P", default_settings + " lob_ret  =descriptor")),
                  send("K")};
    for (const std::size_t at : all_cuts(cut)) {
        script.insert(script.end(), next.begin(), next.end());
        for (const auto& [request, reply] : cut.exchanges)
            script.insert(script.end(), {expect(request), {"send cut", [&, at](ScriptedServer& server) {
                                                               send_reply(server, client, reply, at);
                                                           }}});
    }
    script.insert(script.end(), next.begin(), next.end());
    return script;
}

std::string transcript(const Cut& cut, Connection& connection) {
    static_cast<tarn::Conn*>(connection.handle)->statement_counter = 0; /* the same name every time */
    OutputCapture output;
    EXPECT_EQ(connection.run("next"), 7);
    const std::string all = cut.calls(connection);
    return all + output.text();
}

TEST(cut_reply, gives_what_the_whole_one_gives) {
    for (const Cut& cut : cuts()) {
        ClientSocket client;
        ScriptedServer server(script_of(cut, client));
        Connection connection(connection_string(server.port(), account + ";lob_ret=descriptor"));
        ASSERT_EQ(connection.opened, TRN_OPENED);
        client.set(connection.handle);
        std::string whole;
        for (const std::size_t at : all_cuts(cut)) {
            const std::string told = transcript(cut, connection);
            if (at == nowhere) whole = told;
            ASSERT_EQ(told, whole) << cut.name
                                   << (at == everywhere ? ", byte by byte"
                                                        : ", cut at byte " + std::to_string(at));
        }
        const OutputCapture output;
        EXPECT_EQ(connection.run("next"), 7);
    }
}

} // namespace
