/*
 * Numbered attributes of connections and results, in the exact bytes that are written; the version, for which
 * the server is asked; and what TRN_SetAttr changes.
 */
#include "parameter_wire.h"

namespace {

// clang-format off
const std::string unknown_of_connection = "[EC0103]connection attribute type get error,unknown attribute type\n";
const std::string unknown_of_result = "[EC0105]result attribute type get error,unknown attribute type\n";
const std::string unknown_to_set = "[EC0104]connection attribute type set error,un-supported attribute type\n";
// clang-format on

/* Status, type and bytes of the value; -7 is a type that was not written. Behind the value nothing may
 * change. */
std::string attribute(TRN_HANDLE& handle, std::int32_t id, std::int32_t capacity = 0) {
    std::string buffer(3000, '#');
    std::int32_t type = -7, length = -7;
    const std::int32_t status = TRN_GetAttr(&handle, id, buffer.data(), capacity, &type, &length);
    const auto size = std::size_t(std::max(length, 0));
    EXPECT_EQ(buffer.substr(size), std::string(buffer.size() - size, '#'));
    return std::to_string(status) + " " + std::to_string(type) + " " + buffer.substr(0, size);
}
std::string text(const std::string& value) {
    return "0 1 " + value;
}
std::string number(std::int32_t value) {
    return "0 2 " + host_bytes(value);
}
const std::string refused = "-3 -7 ";

std::string listed(int count, const std::string& address) {
    std::string list = address;
    while (--count > 0)
        list += "," + address;
    return list;
}

/* They are local: a connection that could not be opened has them too. */
TEST(attributes, of_a_connection_are_its_settings) {
    const std::string long_name(200, 'n'), address(100, 'a');
    // clang-format off
    const struct { std::string settings; std::vector<std::pair<std::int32_t, std::string>> values; } cases[] = {
        {account, {{2, text("D")}, {3, number(2)}, {4, text("UTF-8")}, {5, text("")}, {6, number(channel == Channel::encrypted)},
                   {7, refused}, {8, text("GTM+8")}, {9, number(0)}, {11, number(0)}, {12, number(0)}}},
        {"db=" + long_name.substr(0, 120) + ";char_set=" + long_name.substr(0, 100) + ";autocommit=off;lob_ret=;use_srvcursor=False",
         {{2, text(long_name.substr(0, 120))}, {4, text("UTF-8")}, {5, text(long_name.substr(0, 63))}, {9, number(1)}, {11, number(1)}, {12, number(1)}}},
        {"db=;char_set=GBK;IPS=10.0.0.1,10.0.0.2", {{2, text("")}, {4, text("UTF-8")}, {5, text("GBK")}, {7, text("2:10.0.0.1,10.0.0.2")}}},
        {"IPS=", {{7, text("1:")}}}, {"IPS=10.0.0.1, 10.0.0.2 ,,x;port=1", {{7, text("4:10.0.0.1, 10.0.0.2 ,,x")}}},
        {"IPS=10.0.0.1,10.0.0.2;ips=10.0.0.3", {{7, text("1:10.0.0.3")}}}, {"Ips=10.0.0.1", {{7, refused}}},
        {"IPS=" + address + ",," + address, {{7, text("3:" + address + ",," + address)}}},
        {"IPS=" + listed(101, "255.255.255.255"), {{7, text("99:" + listed(99, "255.255.255.255"))}}},
    };
    // clang-format on
    for (const auto& [settings, values] : cases) {
        SCOPED_TRACE(settings.substr(0, 60));
        OutputCapture output;
        Connection connection(connection_string(test_refusing_port(), settings));
        for (const auto& [id, value] : values)
            EXPECT_EQ(attribute(connection.handle, id), value) << id;
        EXPECT_EQ(error_text(connection.handle), "[EC011]Error in build-connect Sock Failure");
        for (const std::int32_t id : {10, 0, -1, 13, 61, INT32_MIN, INT32_MAX})
            EXPECT_EQ(attribute(connection.handle, id), refused) << id;
        EXPECT_EQ(error_text(connection.handle), unknown_of_connection);
    }
}

TEST(attributes, of_a_result_describe_its_item) {
    const std::string rows = query({{"a", 5}, {"b", 30}}, std::vector(3, row({integer(1), null_value()})));
    Session session({{"q", rows + ";" + U(5) + ";" + I("id") + ";" + D(-1) + K}});
    Reader reader(session.connection, "q");
    const std::int32_t items[][6] = {
        {2, 3, 0, 4, 4, 1}, {0, 0, 5, 4, 2, 1}, {0, 0, 0, 4, 1, 1}, {0, 0, -1, 4, 3, 0}};
    for (const auto& values : items) {
        for (std::int32_t id = 61; id <= 66; ++id)
            EXPECT_EQ(attribute(reader.result, id),
                      id == 62 ? "0 3 " + host_bytes<std::int64_t>(values[1]) : number(values[id - 61]))
                << id;
        EXPECT_EQ(error_text(reader.result), "");
        for (const std::int32_t id : {60, 67, 1, 7, 11, -61, INT32_MAX})
            EXPECT_EQ(attribute(reader.result, id), refused) << id;
        EXPECT_EQ(error_text(reader.result), unknown_of_result);
        TRN_NextResult(&reader.result);
    }
    EXPECT_EQ(error_text(session.connection.handle), "");
}

TEST(attributes, of_parameter_sets_and_large_objects_are_none) {
    ParamSet set;
    TRN_HANDLE lob = nullptr;
    EXPECT_EQ(TRN_Create_Lob(&lob), 0);
    for (TRN_HANDLE* handle : {&set.handle, &lob})
        for (const std::int32_t id : {1, 2, 11, 12, 62, 99}) {
            EXPECT_EQ(attribute(*handle, id), "0 -7 ");
            EXPECT_EQ(TRN_SetAttr(handle, id, nullptr), 0);
        }
    EXPECT_EQ(TRN_Distroy_Lob(&lob), 0);
}

TEST(version, is_asked_of_the_server_and_cut_to_the_capacity) {
    const auto one = [](std::int32_t type, const std::string& value) {
        return query({{"v", type}}, {row({value})}) + K;
    };
    const std::string long_text = std::string(60, 'x') + "0123" + std::string(36, 'y'), large(70000, 'z');
    // clang-format off
    const struct { std::string reply; std::int32_t capacity; std::string value; } cases[] = {
        {one(30, wire_text("5.1")), 100, text("5.1")}, {one(30, wire_text(long_text.substr(0, 63))), 63, text(long_text.substr(0, 63))},
        {one(30, wire_text(long_text)), 100, text(long_text)}, {one(30, wire_text(long_text)), 99, text(long_text.substr(0, 99))},
        {one(30, wire_text(long_text)), 63, text(long_text.substr(0, 64))}, {one(30, wire_text(long_text)), INT32_MIN, text(long_text.substr(0, 64))},
        {one(32, wire_text("clob")), 0, text("clob")}, {one(5, integer(7)), 0, text("7")}, {one(34, wire_text(large)), 2000, text(large.substr(0, 2000))},
        {one(30, null_value()), 64, text("")}, {one(1008, wire_text("unknown")), 64, text("")}, {one(-1, wire_text("unknown")), 64, text("")}, {query({{"v", 30}}, {}) + K, 64, text("")}, {E("e") + K, 64, "-1 1 "},
    };
    // clang-format on
    for (const auto& [reply, capacity, value] : cases) {
        SCOPED_TRACE(value.substr(0, 20) + " " + std::to_string(capacity));
        /* What an earlier call left is passed over; the bound parameters wait for a statement. */
        Session session(asked({{command("leave"), query({{"c", 5}}, {row({integer(75)})}) + K},
                               {command("show version"), reply},
                               {request("next", 1, text_entry("v")), U(7) + K}}));
        OutputCapture output;
        EXPECT_EQ(session.connection.run("leave"), 0);
        EXPECT_EQ(bind_text(session.handle(), 1, "v"), 0);
        EXPECT_EQ(attribute(session.connection.handle, 1, capacity), value);
        EXPECT_EQ(session.connection.run("next"), 7);
    }
}

TEST(set_attribute, changes_auto_commit_and_server_cursors_only) {
    Session session(logged_in(Script{}));
    TRN_HANDLE& handle = session.connection.handle;
    const auto set = [&](std::string word) {
        EXPECT_EQ(TRN_SetAttr(&handle, 11, word.data()), 0);
        return attribute(handle, 11);
    };
    for (const std::string off : {"ON", "true", "tRuE", "on"})
        for (const std::string on : {"off", "", "false", "on ", "yes", "1"})
            EXPECT_EQ(set(off) + set(on), number(1) + number(0)) << off << "," << on;
    for (const std::int32_t value : {1, 0, -5, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(TRN_SetAttr(&handle, 12, reinterpret_cast<void*>(std::intptr_t(value))), 0);
        EXPECT_EQ(attribute(handle, 12), number(value));
    }
    EXPECT_EQ(error_text(handle), "");
    for (const std::int32_t id : {10, 13, 1, 0, -11, INT32_MAX}) {
        EXPECT_EQ(TRN_SetAttr(&handle, id, nullptr), -1);
        EXPECT_EQ(error_text(handle), unknown_to_set);
    }
}

} // namespace
