/*
 * TRN_ExecwithDataReader: what a reply becomes - items, outcomes, rows, values - and how odd replies are
 * taken.
 */
#include "session_fixture.h"

namespace {

std::string numbers(int count) {
    std::vector<std::string> rows;
    for (int i = 0; i < count; ++i)
        rows.push_back(row({integer(i)}));
    return query(one_integer, rows);
}

/* The transcript of a query of numbers(). */
std::string counted(int count) {
    std::string text = "n";
    for (int i = 0; i < count; ++i)
        text += (i == 0 ? ": " : "; ") + std::to_string(i);
    return text + "\n";
}

TEST(data_reader, outcome_and_items_follow_the_reply) {
    const auto error = [](const std::string& text) { return "[EC031]Error in recv result :" + text + " \n"; };
    const auto warned = [](const std::string& text) {
        return "[EC032]Server Warning in recv result :" + text + " \n";
    };
    const std::string two = counted(2), three = counted(3);
    const std::string u1 = "update 1\n", u2 = "update 2\n", u3 = "update 3\n", u5 = "update 5\n";
    // clang-format off
    const struct { std::string reply; std::int32_t status; std::string items, error, printed; } rows[] = {
        {K, 0, "", "", ""}, {U(5) + K, 0, u5, "", ""}, {D(5) + K, 0, "delete 5\n", "", ""},
        {I("77") + K, 0, "insert 77\n", "", ""}, {numbers(0) + K, 0, "n\n", "", ""}, {numbers(3) + K, 3, three, "", ""},
        {numbers(3) + U(5) + D(6) + I("7") + numbers(2) + K, 2, three + u5 + "delete 6\ninsert 7\n" + two, "", ""},
        {numbers(3) + U(5) + K, 3, three + u5, "", ""}, {numbers(3) + numbers(0) + K, 0, three + "n\n", "", ""},
        {U(1) + ";" + U(2) + "\0"s + D(3) + "Z" + I("1") + "\xff" + numbers(2) + "a" + U(3) + K, 2,
         u1 + u2 + "delete 3\ninsert 1\n" + two + u3, "", ""},
        {U(1) + "S" + U(2) + ";" + K, 0, u1 + u2, "", ""},
        {E("e") + K, -1, "", "e", error("e")}, {F("e") + K, -1, "", "e", error("e")},
        {W("w") + K, -1, "", "w", warned("w")}, {M("m") + K, -1, "", "m", warned("m")},
        {E("e") + U(1) + K, -1, u1, "e", error("e")}, {U(1) + E("e") + K, -1, u1, "e", error("e")},
        {U(1) + ";" + E("e") + ";" + M("m") + U(2) + K, -1, u1 + u2, "m", error("e") + warned("m")},
        {W("w") + numbers(2) + K, 2, two, "w", warned("w")},
        {U(1) + W("w") + U(2) + F("f") + D(1) + M("m") + K, -1, u1 + u2 + "delete 1\n", "m",
         warned("w") + error("f") + warned("m")},
    };
    // clang-format on
    for (const auto& each : rows) {
        SCOPED_TRACE(each.reply.substr(0, 60));
        Session session({{"statement", each.reply}, {"next", U(42) + K}});
        OutputCapture output;
        Reader reader(session.connection, "statement");
        EXPECT_EQ(output.text(), each.printed);
        EXPECT_EQ(reader.status, each.status);
        EXPECT_EQ(reader.transcript(), each.items);
        EXPECT_EQ(error_text(session.connection.handle), each.error);
        EXPECT_EQ(session.connection.run("next"), 42);
    }
}

TEST(data_reader, counts_describe_the_first_item) {
    Session session({{"rows", numbers(3) + U(9) + K}, {"update", U(9) + numbers(3) + K}, {"nothing", K}});
    for (const auto& [sql, expected] :
         {std::pair{"rows", "1 3 0"}, {"update", "0 0 9"}, {"nothing", "-7 -7 -7"}}) {
        Reader reader(session.connection, sql);
        EXPECT_EQ(std::to_string(reader.columns) + " " + std::to_string(reader.rows) + " " +
                      std::to_string(reader.affected),
                  expected);
    }
}

TEST(data_reader, keeps_insert_identifiers_up_to_31_characters) {
    std::vector<Exchange> exchanges;
    const std::size_t lengths[] = {0, 1, 24, 25, 26, 31, 32, 9000};
    for (const std::size_t length : lengths)
        exchanges.push_back({"insert", I(std::string(length, 'i')) + U(4) + K});
    Session session(exchanges);
    for (const std::size_t length : lengths) {
        SCOPED_TRACE(length);
        Reader reader(session.connection, "insert");
        const std::string kept = std::string(std::min<std::size_t>(length, 31), 'i');
        std::string identifier(40, '.'), expected = kept;
        EXPECT_EQ(TRN_getResultRet(&reader.result, nullptr, nullptr, nullptr, nullptr, identifier.data()), 0);
        expected.resize(std::max<std::size_t>(25, expected.size()));
        expected.resize(40, '.');
        EXPECT_EQ(identifier, expected);
        EXPECT_EQ(last_insert_id(session.connection), kept);
        EXPECT_EQ(TRN_NextResult(&reader.result), 0);
    }
}

TEST(data_reader, stores_every_row_and_returns_the_size_of_the_last_batch) {
    for (const int count : {1000, 16001, 19999, 20000, 20001, 176001}) {
        SCOPED_TRACE(count);
        Session session({{"q", numbers(count) + K}});
        Reader reader(session.connection, "q");
        EXPECT_EQ(reader.status, count % 20000);
        EXPECT_EQ(reader.rows, count);
        int in_order = 0;
        std::int32_t value = -1;
        while (reader.next() && TRN_GetData(&reader.result, 1, TRN_TYPE_INTEGER, &value, 4, nullptr) == 0 &&
               value == in_order)
            ++in_order;
        EXPECT_EQ(in_order, count);
    }
}

/* Every second row has an identifier of the value's size. */
TEST(data_reader, values_of_every_size_come_back_whole) {
    std::vector<std::string> values, rows;
    for (const std::size_t size : {1,     40000, 2, 32767, 3, 32768,   4, 32769, 65534, 65535,
                                   65536, 65537, 5, 70000, 6, 1048579, 7, 30000, 30000, 30000}) {
        values.push_back(std::string(size, static_cast<char>('a' + size % 26)));
        const std::vector<std::string> cells{wire_text(values.back()), wire_text("end")};
        rows.push_back(values.size() % 2 ? row(cells) : row_with_identifier(values.back(), cells));
    }
    Session session({{"q", query({{"v", TRN_WIRE_BINARY}, {"e", TRN_WIRE_CHAR}}, rows) + K}});
    Reader reader(session.connection, "q");
    for (const std::string& value : values) {
        SCOPED_TRACE(value.size());
        ASSERT_TRUE(reader.next());
        EXPECT_TRUE(reader.text(1) == value);
        EXPECT_EQ(reader.text(2), "end");
    }
}

TEST(data_reader, texts_between_rows_join_in_a_buffer_of_twice_the_last_one) {
    // clang-format off
    const struct { std::vector<std::string> texts; std::string joined; } rows[] = {
        {{"only"}, "only"}, {{"abc", "defg"}, "abcdefg"}, {{"abc", "xy"}, "abcx"}, {{"abcd", "xy"}, "abcd"},
        {{"abcdef", "xy"}, "abcd"}, {{"ab", "cd", "efgh"}, "abcdefgh"}, {{"abc", "", "z"}, "ab"}, {{"", "abc"}, "abc"},
    };
    // clang-format on
    for (const auto& each : rows) {
        SCOPED_TRACE(each.joined);
        /* One text stands before the first row; the others stand between rows or behind the last. */
        std::string reply = query(one_integer, {});
        int count = 0;
        for (const std::string& text : each.texts) {
            if (count > 0) reply += row({integer(count - 1)});
            reply += "EFMW"[count++ % 4] + wire_text(text);
        }
        Session session({{"q", reply + U(1) + K}});
        OutputCapture output;
        Reader reader(session.connection, "q");
        EXPECT_EQ(output.text(), "");
        EXPECT_EQ(reader.status, count - 1);
        EXPECT_EQ(error_text(reader.result), each.joined);
        EXPECT_EQ(error_text(session.connection.handle), "");
        EXPECT_EQ(reader.transcript(), counted(count - 1) + "update 1\n");
        EXPECT_EQ(error_text(reader.result), "");
    }
}

TEST(data_reader, unknown_types_and_stated_lengths_keep_the_row_in_step) {
    const std::string any = wire_text("bytes of any length");
    // clang-format off
    /* Fixed values take their own width whatever length is stated. */
    const struct { std::int32_t type; std::string value, text; } cells[] = {
        {0, any, "status -13"}, {1, any, "status -13"}, {28, any, "status -13"}, {31, any, "status -13"}, {35, any, "status -13"},
        {99, any, "status -13"}, {-1, any, "status -13"}, {INT32_MAX, any, "status -13"}, {45, any, any.substr(4)},
        {TRN_WIRE_INTEGER, be32(1) + be32(71), "71"}, {TRN_WIRE_BIGINT, be32(2) + be64(72), "72"},
        {TRN_WIRE_TINYINT, be32(4000) + "\x49", "73"}, {TRN_WIRE_SMALLINT, be32(INT32_MAX) + be16(74), "74"},
        {TRN_WIRE_DOUBLE, be32(1) + be_double(75), "75.00000000000000"}, {TRN_WIRE_FLOAT, be32(9) + be_float(76), "76.000000"},
    };
    // clang-format on
    std::vector<Column> columns;
    std::vector<std::string> values, nulls;
    for (const auto& cell : cells) {
        nulls.push_back(be32(-std::int64_t(columns.size()) * (columns.size() % 2))); /* 0 and below */
        columns.push_back({"c", cell.type});
        values.push_back(cell.value);
    }
    Session session({{"q", query(columns, {row(values), row(nulls), row(values)}) + K}});
    Reader reader(session.connection, "q");
    for (const bool null : {false, true, false}) {
        ASSERT_TRUE(reader.next());
        for (std::int32_t column = 1; const auto& cell : cells)
            EXPECT_EQ(reader.text(column++), null ? "NULL" : cell.text) << cell.type;
    }
}

TEST(data_reader, refused_descriptions_give_an_item_without_columns) {
    const std::string refused[] = {be32(4001), be32(0x7fffffff), be32(-1), be32(1) + be32(1025),
                                   be32(2) + wire_text("fine") + be32(5) + be32(0) + be32(0) +
                                       be32(0x7fffffff)};
    for (const std::string& description : refused) {
        SCOPED_TRACE(hex_difference(description, ""));
        Session session({{"q", "A" + description + K}, {"next", numbers(2) + K}});
        Reader reader(session.connection, "q");
        EXPECT_EQ(reader.status, 0);
        EXPECT_EQ(reader.columns, 0);
        EXPECT_EQ(reader.rows, 0);
        EXPECT_FALSE(reader.next());
        EXPECT_EQ(Reader(session.connection, "next").status, 2);
    }
}

} // namespace
