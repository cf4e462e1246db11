/*
 * Large objects: their content in chunks of 1 MiB, the way into a request as parameters, and the ways out of
 * a result: copied whole, behind a marker, or fetched from the server by a descriptor.
 */
#include "parameter_wire.h"

namespace {

constexpr std::size_t chunk = 1048576;

struct Lob {
    Lob() { EXPECT_EQ(TRN_Create_Lob(&handle), 0); }
    explicit Lob(std::string_view content) : Lob() {
        put(content);
        EXPECT_EQ(complete(), 0);
    }
    ~Lob() { TRN_Distroy_Lob(&handle); }
    Lob(const Lob&) = delete;
    Lob& operator=(const Lob&) = delete;
    void put(std::string_view bytes) {
        EXPECT_EQ(TRN_Put_Lob_data(&handle, exact(bytes).data(), std::int32_t(bytes.size())), 0);
    }
    std::int32_t complete() { return TRN_Put_Lob_data(&handle, nullptr, TRN_LOB_END); }
    std::string read(std::int32_t capacity) {
        Bytes buffer(std::size_t(capacity), '\0');
        const std::int32_t count = TRN_Get_Lob_data(&handle, buffer.data(), capacity);
        EXPECT_GE(count, 0);
        return {buffer.data(), std::size_t(std::max(count, 0))};
    }
    /* Everything, from the first byte on. */
    std::string content() {
        EXPECT_EQ(TRN_LobRead_SetPos(&handle, 0), 0);
        return read(4 << 20);
    }

    TRN_HANDLE handle = nullptr;
};

/* The size, and a short text itself. */
std::string shown(const std::string& text) {
    return std::to_string(text.size()) + " " + (text.size() < 100 ? text : "");
}

TEST(lob, read_position_stays_inside) {
    Lob lob;
    lob.put("abc");
    EXPECT_EQ(TRN_LobRead_SetPos(&lob.handle, 1), 1);
    const std::pair<std::int32_t, const char*> outside[] = {
        {4, "[EC097]Error the ReadPos set larger than max_length :4 > :3"},
        {INT32_MAX, "[EC097]Error the ReadPos set larger than max_length :2147483647 > :3"},
        {-1, "[EC098]Error the ReadPos set error :-1"},
        {INT32_MIN, "[EC098]Error the ReadPos set error :-2147483648"}};
    for (const auto& [position, text] : outside) {
        EXPECT_EQ(TRN_LobRead_SetPos(&lob.handle, position), -1);
        EXPECT_EQ(error_text(lob.handle), text);
    }
    char buffer[8] = "xyz";
    for (const std::int32_t size : {0, -1, -2, INT32_MIN})
        EXPECT_LE(TRN_Get_Lob_data(&lob.handle, buffer, size), 0);
    for (const std::int32_t size : {0, -2, INT32_MIN})
        TRN_Put_Lob_data(&lob.handle, buffer, size);
    EXPECT_EQ(TRN_LobWrite_SetPos(&lob.handle, 0), 0);
    lob.put("d");
    EXPECT_EQ(lob.read(9), "bcd");
    EXPECT_STREQ(buffer, "xyz");
    for (const auto reset : {TRN_Reset_Lob, TRN_Reset}) {
        EXPECT_EQ((Statuses{reset(&lob.handle), TRN_GetErrorLen(&lob.handle)}), Statuses(2));
        EXPECT_EQ(lob.content(), "");
        lob.put("new");
        EXPECT_EQ(lob.content(), "new");
        EXPECT_EQ(TRN_LobRead_SetPos(&lob.handle, 4), -1);
    }
}

/* By the address of the handle variable and by the handle itself, whatever lengths are given. */
TEST(lob, travels_complete_as_a_parameter) {
    const auto sent = [](const std::string& bytes) {
        std::string all;
        for (const std::int64_t wire_type : {TRN_WIRE_BLOB, TRN_WIRE_CLOB, TRN_WIRE_BLOB})
            all += entry_head("", 1) + be16(wire_type) + wire_text(bytes);
        return request("q", 3, all);
    };
    for (const std::size_t size : {std::size_t{0}, chunk, chunk + 1, 2 * chunk + 70000}) {
        const std::string content = pattern(size);
        Session session(asked({{sent(content), K}, {sent(""), K}, {sent(content + "more"), K}}));
        Lob lob(content);
        std::int32_t length = -7;
        const auto executed = [&] {
            for (const std::int32_t type : {40, 41, 42}) {
                void* value = type == 41 ? lob.handle : static_cast<void*>(&lob.handle);
                std::int32_t* given = type == 42 ? nullptr : &length;
                EXPECT_EQ(TRN_BindParamByPos(session.handle(), type - 39, 1, type, value, 8, given), 0);
            }
            return session.connection.run("q");
        };
        EXPECT_EQ(executed(), 0);
        lob.put("more"); /* no longer complete */
        EXPECT_EQ((Statuses{executed(), lob.complete(), executed()}), Statuses(3)) << size;
    }
}

/* A session with one row of one column, made current, and what follows on its connection. */
struct OneValue {
    OneValue(bool descriptors, std::int32_t type, const std::string& value, const Script& rest = {})
        : server(script(descriptors, query({{"c", type}}, {row({value})}) + K, rest)),
          connection(connection_string(server.port(), account + (descriptors ? ";lob_ret=descriptor" : ""))),
          reader(connection, "q") {
        EXPECT_TRUE(reader.next());
    }
    static Script script(bool descriptors, const std::string& reply, const Script& rest) {
        const std::string clauses = default_settings + (descriptors ? " lob_ret  =descriptor" : "");
        Script script = logged_in({{"q", reply}});
        script[0] = expect_login(login_on_channel("D", "U", "P", clauses));
        script.insert(script.end(), rest.begin(), rest.end());
        return script;
    }
    /* The status, the length reported (-7 when it was left alone) and the content. */
    std::string get(Lob& lob, std::int32_t target) {
        std::int32_t length = -7;
        const std::int32_t status = TRN_GetData(&reader.result, 1, target, &lob.handle, 0, &length);
        return std::to_string(status) + " " + std::to_string(length) + " " + shown(lob.content());
    }
    static std::string got(const std::string& content) {
        return "0 " + std::to_string(content.size()) + " " + shown(content);
    }

    ScriptedServer server;
    Connection connection;
    Reader reader;
};

TEST(lob_result, is_copied_whole_without_descriptors) {
    for (const std::int32_t type : {TRN_WIRE_CHAR, TRN_WIRE_CLOB, TRN_WIRE_BINARY, TRN_WIRE_BLOB})
        for (const std::string& value : {"cdata"s, "B"s, pattern(chunk), pattern(2 * chunk + 9)}) {
            OneValue one(false, type, wire_text(value));
            for (const std::int32_t target : {41, 42}) {
                Lob lob(std::string(chunk + 5, 'o'));
                EXPECT_EQ(one.get(lob, target), one.got(value));
                lob.put("more");
                EXPECT_TRUE(lob.content() == value + "more");
            }
        }
    Lob lob("kept");
    OneValue null(false, TRN_WIRE_CLOB, null_value()), number(false, TRN_WIRE_INTEGER, integer(5));
    OneValue text(false, TRN_WIRE_CHAR, wire_text("x"));
    EXPECT_EQ(null.get(lob, 41), "-11 0 4 kept");
    EXPECT_EQ(number.get(lob, 42), "-13 0 4 kept");
    TRN_HANDLE nothing = nullptr;
    for (TRN_HANDLE* wrong : {&nothing, &number.reader.result})
        EXPECT_EQ(TRN_GetData(&text.reader.result, 1, 41, wrong, 0, nullptr), -3);
}

TEST(lob_result, stands_behind_a_marker_when_descriptors_were_asked_for) {
    const std::string full = pattern(chunk), kept = "0 -7 3 old";
    // clang-format off
    const struct { std::int32_t target; std::string value, outcome; } cases[] = {
        {41, "cdata", "0 4 4 data"}, {42, "bdata", "0 4 4 data"}, {41, "c", "0 0 0 "}, {42, "b\0\1"s, "0 2 2 \0\1"s},
        {41, "c" + full, OneValue::got(full)}, {42, "b" + full + "dropped", OneValue::got(full)},
        {41, "bdata", kept}, {42, "cdata", kept}, {41, "B234567890123 12", kept}, {42, "C234567890123 12", kept}, {41, "data", kept},
        {41, "C", "0 0 0 "}, {42, "B234567890123 ", "0 0 0 "}, /* too short to name anything */
    };
    // clang-format on
    for (const auto& [target, value, outcome] : cases) {
        OneValue one(true, TRN_WIRE_CLOB, wire_text(value), {expect_end()});
        Lob lob("old");
        EXPECT_EQ(one.get(lob, target), outcome) << value.substr(0, 20);
        EXPECT_TRUE(!outcome.starts_with("0 1048576") || lob.content() == full);
        TRN_CloseConn(&one.connection.handle);
    }
}

const std::string columns = query({{"t.c", TRN_WIRE_CLOB}, {"d", TRN_WIRE_INTEGER}}, {});

std::string pieces(const std::vector<std::string>& all) {
    std::string bytes = "R";
    for (const std::string& one : all)
        bytes += be32(0x4b4b4b4b) + wire_text(one);
    return bytes + be32(0);
}

const std::string clob_descriptor = "C23456789012,1234", blob_descriptor = "B234567890123 987654321012";
const Step fetch_clob = expect_command("get lob 'C23456789012,' offset 0 limit 234 ");
const Step fetch_blob = expect_command("get lob 'B234567890123' offset 0 limit 987654321012 ");

TEST(lob_fetch, gathers_the_pieces) {
    const std::string full = pattern(chunk), part = pattern(70001);
    for (const auto& all : std::vector<std::vector<std::string>>{
             {}, {"a"}, {"", "a"}, {full}, {"", full, "", "b"}, {part, full, part, full}})
        for (const std::int32_t target : {41, 42}) {
            std::string whole;
            for (const std::string& one : all)
                whole += one;
            const Step fetch = target == 41 ? fetch_clob : fetch_blob;
            const Step reply = send_in_pieces(columns + pieces(all) + K, whole.size() < 9 ? 1 : 100000);
            const Step sent =
                expect(request("q", 1, entry_head("", 1) + be16(TRN_WIRE_CLOB) + wire_text(whole)));
            OneValue one(true, TRN_WIRE_BLOB, wire_text(target == 41 ? clob_descriptor : blob_descriptor),
                         {fetch, reply, fetch, reply, sent, send(U(7) + K)});
            Lob lob(std::string(chunk + 1, 'o'));
            for (int time = 0; time < 2; ++time) {
                EXPECT_EQ(one.get(lob, target), one.got(whole));
                EXPECT_TRUE(lob.content() == whole);
            }
            EXPECT_EQ(TRN_BindParamByPos(&one.connection.handle, 1, 1, 41, &lob.handle, 0, nullptr), 0);
            EXPECT_EQ(one.connection.run("q"), 7);
        }
}

/* What ends a fetch, and that the next reply is taken from its beginning. */
TEST(lob_fetch, leaves_nothing_of_its_reply_to_the_next_request) {
    // clang-format off
    const std::pair<std::string, std::string> cases[] = {
        {columns + pieces({"abc"}) + K, "abc"}, {columns + pieces({"abc"}), "abc"}, /* then the next byte opens the next reply */
        {columns + K, ""}, {columns + E("KK") + W("K") + K, ""}, {columns + U(5) + K, ""}, {E("no such object") + K, ""},
        {U(0x4b4b4b4b) + K, ""}, {K, ""},
    };
    // clang-format on
    const std::pair<std::string, std::int32_t> nexts[] = {
        {U(42) + K, 42}, {D(42) + K, 3}, {columns + row({null_value(), integer(1)}) + K, 1}};
    OutputCapture output;
    for (const auto& [reply, content] : cases)
        for (const Call next : all_calls) {
            SCOPED_TRACE(hex_difference(reply, ""));
            OneValue one(true, TRN_WIRE_CLOB, wire_text(clob_descriptor),
                         {fetch_clob, send(reply), expect_command("next"), send(nexts[next].first),
                          fetch_clob, send(columns + pieces({"x"}) + K)});
            Lob lob("old");
            EXPECT_EQ(one.get(lob, 41), one.got(content));
            EXPECT_EQ(run(next, one.connection, "next"), nexts[next].second);
            EXPECT_EQ(one.get(lob, 41), "0 1 1 x");
        }
}

/* What has arrived by then is no content: the object is sent empty. */
TEST(lob_fetch, fails_when_the_length_of_a_piece_cannot_be) {
    const std::string first = columns + "R" + be32(1);
    const Step login = expect_login_again("201", default_settings + " lob_ret  =descriptor");
    const Step empty = expect(request("q", 1, entry_head("", 1) + be16(TRN_WIRE_CLOB) + wire_text("")));
    const std::string broken[] = {first + be32(-1) + K + be32(0) + K, first + be32(INT32_MIN) + K,
                                  first + be32(INT32_MAX) + "abc",
                                  first + wire_text(std::string(chunk + 1, 'x')) + be32(0) + K,
                                  first + wire_text("part") + be32(1) + be32(-1)};
    for (const std::string& reply : broken) {
        const Step refused{"send as much as the client takes", [&](ScriptedServer& server) {
                               try {
                                   server.send_bytes(reply, reply.size());
                               } catch (const std::runtime_error&) {
                               }
                           }};
        OneValue one(true, TRN_WIRE_CLOB, wire_text(clob_descriptor),
                     {fetch_clob, refused, close_connection(), login, send(K), empty, send(U(7) + K)});
        Lob lob("old");
        ASSERT_EQ(TRN_GetData(&one.reader.result, 1, 41, &lob.handle, 0, nullptr), -4) << reply.size();
        EXPECT_EQ(TRN_ReconnectConn(&one.connection.handle), TRN_RECONNECTED);
        EXPECT_EQ(TRN_BindParamByPos(&one.connection.handle, 1, 1, 41, &lob.handle, 0, nullptr), 0);
        EXPECT_EQ(one.connection.run("q"), 7);
        EXPECT_EQ(TRN_CloseConn(&one.connection.handle), 0);
    }
}

TEST(lob_fetch, fails_without_its_connection) {
    OneValue one(true, TRN_WIRE_CLOB, wire_text(clob_descriptor), {expect_end()});
    Lob lob("old");
    EXPECT_EQ(TRN_CloseConn(&one.connection.handle), 0);
    EXPECT_LT(TRN_GetData(&one.reader.result, 1, 41, &lob.handle, 0, nullptr), 0);
    EXPECT_EQ(one.reader.text(1), clob_descriptor);
}

} // namespace
