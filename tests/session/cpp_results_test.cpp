/*
 * tarnsql.hpp and what only an odd server sends: texts between rows, errors and warnings behind them, values
 * of types that are not known, numbers longer than the library's own texts.
 */
#include "session_fixture.h"

#include "tarnsql.hpp"

namespace {

struct CppSession {
    explicit CppSession(const std::string& reply)
        : server(logged_in(std::vector<Exchange>{{"q", reply}})), db(connection_string(server.port())) {}

    ScriptedServer server;
    tarnsql::connection db;
};

/* The rows that are read, and what is thrown behind them. */
std::string read_integers(tarnsql::connection& db) {
    std::string seen;
    try {
        for (auto [number] : db.query<int>("q"))
            seen += std::to_string(number) + ' ';
    } catch (const tarnsql::server_error& error) {
        seen += error.what();
    }
    return seen;
}

template <class T> std::string read_text(const std::string& reply) {
    CppSession session(reply);
    try {
        return std::string(std::get<0>(*session.db.query<T>("q").begin()));
    } catch (const tarnsql::error& error) {
        return error.what();
    }
}

TEST(cpp_results, texts_of_the_server_are_thrown_where_the_rows_end) {
    const std::string head = query(one_integer, {}), one = row({integer(1)}), two = row({integer(2)});
    const struct {
        std::string reply, seen;
    } rows[] = {
        {head + one + two + K, "1 2 "},
        {head + one + E("broken") + two + K, "1 2 broken"},
        {head + one + two + W("careful") + K, "1 2 careful"},
        {head + W("early") + one + K, "1 early"},
        {head + one + two + U(3) + E("later") + K,
         "1 2 "}, /* behind another item, which nobody has walked to */
        {E("refused") + K, "refused"},
        {head + E("no row") + K, "no row"},
    };
    for (const auto& each : rows) {
        SCOPED_TRACE(each.seen);
        OutputCapture output;
        CppSession session(each.reply);
        EXPECT_EQ(read_integers(session.db), each.seen);
    }
    OutputCapture output;
    CppSession session(head + one + two + U(3) + E("later") + K);
    tarnsql::result all = session.db.query("q");
    EXPECT_TRUE(all.next_result());
    EXPECT_EQ(all.affected(), 3);
    EXPECT_THROW(all.next_result(), tarnsql::server_error);
    EXPECT_FALSE(all.next_result());
}

TEST(cpp_results, values_of_odd_types_and_lengths_are_whole_or_refused) {
    const std::string digits = "1" + std::string(99, '0'), zero_inside("a\0b", 3),
                      refused = "column n: a value of CHAR has no text";
    const struct {
        std::int32_t type;
        std::string value, text;
    } cells[] = {
        {TRN_WIRE_NUMERIC, digits, digits},
        {TRN_WIRE_NUMERIC, digits.substr(0, 63), digits.substr(0, 63)},
        {TRN_WIRE_OPAQUE, zero_inside, zero_inside},
        {TRN_WIRE_OPAQUE, std::string(5000, 'o'), std::string(5000, 'o')},
        {TRN_WIRE_CHAR, std::string(5000, 'c'), std::string(5000, 'c')},
        {45, std::string(30, 'x'), std::string(30, 'x')},
        {99, "of any type", refused},
        {28, std::string(300, 'x'), refused},
    };
    for (const auto& cell : cells) {
        SCOPED_TRACE(cell.type);
        const std::string reply = query({{"n", cell.type}}, {row({wire_text(cell.value)})}) + K;
        EXPECT_EQ(read_text<std::string>(reply), cell.text);
        EXPECT_EQ(read_text<std::string_view>(reply), cell.text);
    }
    const struct {
        std::string value;
        std::int64_t number;
    } numbers[] = {{"9223372036854775807", INT64_MAX},
                   {"-0.000", 0},
                   {"+12.0", 12},
                   {"00000000000000000000000000000000000000000000000000000000000000000000000007", 7}};
    for (const auto& each : numbers) {
        SCOPED_TRACE(each.value);
        CppSession session(query({{"n", TRN_WIRE_NUMERIC}}, {row({wire_text(each.value)})}) + K);
        EXPECT_EQ(session.db.query_value<std::int64_t>("q"), each.number);
    }
    for (const char* value : {"9223372036854775808", "1e3", "", "twelve"}) {
        CppSession session(query({{"n", TRN_WIRE_NUMERIC}}, {row({wire_text(value)})}) + K);
        EXPECT_THROW(session.db.query_value<std::int64_t>("q"), tarnsql::value_error);
    }
}

} // namespace
