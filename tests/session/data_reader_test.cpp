/*
 * TRN_ExecwithDataReader: what a reply becomes - items, outcomes, rows, values - and how odd replies are taken.
 */
#include "session_fixture.h"

namespace {

const std::vector<Column> one_integer{{"n", TRN_WIRE_INTEGER}};
const std::string K = end_of_reply;

std::string numbers(int count) {
    std::vector<std::string> rows;
    for (int i = 0; i < count; ++i)
        rows.push_back(row({integer(i)}));
    return query(one_integer, rows);
}

/* The kinds of a result's items, as digits; releases all but the last. */
std::string kinds(TRN_HANDLE* result) {
    std::string digits;
    if (*result == nullptr) return digits;
    do {
        std::int32_t kind = 0;
        EXPECT_EQ(TRN_getResultRet(result, &kind, nullptr, nullptr, nullptr, nullptr), 0);
        digits += std::to_string(kind);
    } while (TRN_NextResult(result) == 0);
    return digits;
}

TEST(data_reader, outcome_and_items_follow_the_reply) {
    const auto U = update_count, D = delete_count;
    const auto I = inserted, E = server_error, W = warning, M = notice;
    const auto error = [](const std::string& text) { return "[EC031]Error in recv result :" + text + " \n"; };
    const auto warned = [](const std::string& text) {
        return "[EC032]Server Warning in recv result :" + text + " \n";
    };
    const struct {
        std::string reply;
        std::int32_t status;
        std::string kinds, error, printed;
    } rows[] = {
        {K, 0, "", "", ""},
        {U(5) + K, 0, "2", "", ""},
        {D(5) + K, 0, "3", "", ""},
        {I("77") + K, 0, "1", "", ""},
        {numbers(0) + K, 0, "4", "", ""},
        {numbers(3) + K, 3, "4", "", ""},
        {numbers(3) + U(5) + D(6) + I("7") + numbers(2) + K, 2, "42314", "", ""},
        {numbers(3) + U(5) + K, 3, "42", "", ""},
        {numbers(3) + numbers(0) + K, 0, "44", "", ""},
        {U(1) + ";" + U(2) + "\0"s + D(3) + "Z" + I("1") + "\xff" + numbers(1) + "a" + U(3) + K, 1, "223142",
         "", ""},
        {U(1) + "S" + U(2) + ";" + K, 0, "22", "", ""},
        {E("e") + K, -1, "", "e", error("e")},
        {"F" + wire_text("e") + K, -1, "", "e", error("e")},
        {W("w") + K, -1, "", "w", warned("w")},
        {M("m") + K, -1, "", "m", warned("m")},
        {E("e") + U(1) + K, -1, "2", "e", error("e")},
        {U(1) + E("e") + K, -1, "2", "e", error("e")},
        {U(1) + ";" + E("e") + ";" + M("m") + U(2) + K, -1, "22", "m", error("e") + warned("m")},
        {W("w") + numbers(2) + K, 2, "4", "w", warned("w")},
        {U(1) + W("w") + U(2) + "F" + wire_text("f") + D(1) + M("m") + K, -1, "223", "m",
         warned("w") + error("f") + warned("m")},
    };
    for (const auto& each : rows) {
        SCOPED_TRACE(each.reply.substr(0, 60));
        Session session({{"statement", each.reply}, {"next", U(42) + K}});
        OutputCapture output;
        Reader reader(session.handle(), "statement");
        EXPECT_EQ(output.text(), each.printed);
        EXPECT_EQ(reader.status, each.status);
        EXPECT_EQ(kinds(&reader.result), each.kinds);
        EXPECT_EQ(error_text(session.handle()), each.error);
        EXPECT_EQ(TRN_Execute_no_query(session.handle(), "next"), 42);
    }
}

TEST(data_reader, letters_outside_the_range_end_the_reply) {
    for (const std::string& reply : {"Z"s, "\0"s, "@"s, "\xff"s}) {
        SCOPED_TRACE(reply);
        Session session({{"statement", reply}});
        Reader reader(session.handle(), "statement");
        EXPECT_EQ(reader.status, 0);
        EXPECT_EQ(reader.result, nullptr);
    }
}

TEST(data_reader, counts_describe_the_first_item) {
    Session session({{"rows", numbers(3) + update_count(9) + K},
                     {"update", update_count(9) + numbers(3) + K},
                     {"insert", inserted("123") + K},
                     {"nothing", K}});
    Reader rows(session.handle(), "rows");
    EXPECT_EQ(rows.columns, 1);
    EXPECT_EQ(rows.rows, 3);
    EXPECT_EQ(rows.affected, 0);
    Reader update(session.handle(), "update");
    EXPECT_EQ(update.columns, 0);
    EXPECT_EQ(update.rows, 0);
    EXPECT_EQ(update.affected, 9);
    TRN_HANDLE insert = nullptr;
    EXPECT_EQ(TRN_ExecwithDataReader(session.handle(), "insert", &insert, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(kinds(&insert), "1");
    EXPECT_EQ(TRN_FreeRowset(&insert), 0);
    Reader nothing(session.handle(), "nothing");
    EXPECT_EQ(nothing.result, nullptr);
    EXPECT_EQ(nothing.columns, -7);
    EXPECT_EQ(nothing.rows, -7);
    EXPECT_EQ(nothing.affected, -7);
}

TEST(data_reader, keeps_insert_identifiers_up_to_31_characters) {
    for (const std::size_t length : {0, 1, 24, 25, 26, 31, 32, 9000}) {
        SCOPED_TRACE(length);
        const std::string sent(length, 'i'), kept = sent.substr(0, 31);
        Session session({{"insert", inserted(sent) + update_count(4) + K}});
        Reader reader(session.handle(), "insert");
        std::string identifier(40, '.');
        EXPECT_EQ(TRN_getResultRet(&reader.result, nullptr, nullptr, nullptr, nullptr, identifier.data()), 0);
        std::string expected = kept + std::string(kept.size() < 25 ? 25 - kept.size() : 0, '\0');
        expected.resize(40, '.');
        EXPECT_EQ(identifier, expected);
        EXPECT_EQ(last_insert_id(session.handle()), kept);
        EXPECT_EQ(TRN_NextResult(&reader.result), 0);
    }
}

TEST(data_reader, stores_every_row_and_returns_the_size_of_the_last_batch) {
    for (const auto& [count, last_batch] : {std::pair{1000, 1000},
                                            {1001, 1001},
                                            {16001, 16001},
                                            {19999, 19999},
                                            {20000, 0},
                                            {20001, 1},
                                            {45000, 5000},
                                            {176001, 16001}}) {
        SCOPED_TRACE(count);
        Session session({{"q", numbers(count) + K}});
        Reader reader(session.handle(), "q");
        EXPECT_EQ(reader.status, last_batch);
        EXPECT_EQ(reader.rows, count);
        int in_order = 0;
        std::int32_t value = -1;
        while (TRN_ReadNext(&reader.result) == 0 &&
               TRN_GetData(&reader.result, 1, TRN_TYPE_INTEGER, &value, 4, nullptr) == 0 && value == in_order)
            ++in_order;
        EXPECT_EQ(in_order, count);
    }
}

TEST(data_reader, values_of_every_size_come_back_whole) {
    std::vector<std::string> values;
    for (const std::size_t size : {1,     40000, 2, 32767, 3, 32768,   4, 32769, 65534, 65535,
                                   65536, 65537, 5, 70000, 6, 1048579, 7, 30000, 30000, 30000})
        values.push_back(std::string(size, static_cast<char>('a' + size % 26)));
    std::vector<std::string> rows;
    for (const std::string& value : values)
        rows.push_back(row({characters(value), characters("end")}));
    Session session({{"q", query({{"v", TRN_WIRE_BINARY}, {"e", TRN_WIRE_CHAR}}, rows) + K}});
    Reader reader(session.handle(), "q");
    for (const std::string& value : values) {
        SCOPED_TRACE(value.size());
        ASSERT_EQ(TRN_ReadNext(&reader.result), 0);
        EXPECT_TRUE(text_value(&reader.result, 1) == value);
        EXPECT_EQ(text_value(&reader.result, 2), "end");
    }
}

TEST(data_reader, texts_between_rows_join_in_a_buffer_of_twice_the_last_one) {
    const struct {
        std::vector<std::string> texts;
        std::string joined;
    } rows[] = {
        {{"only"}, "only"},
        {{"abc", "defg"}, "abcdefg"},
        {{"abc", "xy"}, "abcx"},
        {{"abcd", "xy"}, "abcd"},
        {{"abcdef", "xy"}, "abcd"},
        {{"ab", "cd", "efgh"}, "abcdefgh"},
        {{"abc", ""}, "abc"},
        {{"", "abc"}, "abc"},
        {{std::string(300, 'a'), std::string(200, 'b')}, std::string(300, 'a') + std::string(100, 'b')},
    };
    for (const auto& each : rows) {
        SCOPED_TRACE(each.joined);
        std::string reply = query(one_integer, {row({integer(0)})});
        int count = 1;
        for (const std::string& text : each.texts)
            reply += "EFMW"[count % 4] + wire_text(text) + row({integer(count)}), ++count;
        Session session({{"q", reply + K}});
        OutputCapture output;
        Reader reader(session.handle(), "q");
        EXPECT_EQ(output.text(), "");
        EXPECT_EQ(reader.status, count);
        EXPECT_EQ(error_text(&reader.result), each.joined);
        EXPECT_EQ(TRN_GetErrorLen(session.handle()), 0);
        for (int i = 0; i < count; ++i) {
            ASSERT_EQ(TRN_ReadNext(&reader.result), 0);
            EXPECT_EQ(text_value(&reader.result, 1), std::to_string(i));
        }
    }
}

TEST(data_reader, texts_before_the_first_and_after_the_last_row_belong_to_the_result) {
    Session session(
        {{"q", query(one_integer, {notice("first"), row({integer(1)}), server_error("last!")}) + K},
         {"empty", query(one_integer, {warning("alone")}) + update_count(1) + K}});
    Reader reader(session.handle(), "q");
    EXPECT_EQ(reader.status, 1);
    EXPECT_EQ(error_text(&reader.result), "firstlast!");
    Reader empty(session.handle(), "empty");
    EXPECT_EQ(empty.status, 0);
    EXPECT_EQ(error_text(&empty.result), "alone");
    EXPECT_EQ(TRN_GetErrorLen(session.handle()), 0);
    EXPECT_EQ(TRN_NextResult(&empty.result), 0);
    EXPECT_EQ(TRN_GetErrorLen(&empty.result), 0);
}

TEST(data_reader, takes_row_identifiers_of_any_length) {
    std::vector<std::string> rows;
    for (const std::size_t length : {0, 1, 19, 20, 21, 24, 5000})
        rows.push_back(row_with_identifier(std::string(length, 'i'), {integer(static_cast<int>(length))}));
    rows.push_back(row({integer(1)}));
    Session session({{"q", query(one_integer, rows) + K}});
    Reader reader(session.handle(), "q");
    EXPECT_EQ(reader.status, 8);
    for (const char* value : {"0", "1", "19", "20", "21", "24", "5000", "1"}) {
        ASSERT_EQ(TRN_ReadNext(&reader.result), 0);
        EXPECT_EQ(text_value(&reader.result, 1), value);
    }
}

TEST(data_reader, unknown_types_and_stated_lengths_keep_the_row_in_step) {
    std::vector<Column> columns;
    std::vector<std::string> values, nulls;
    for (const std::int32_t type : {0, 1, 28, 31, 35, 45, 99, -1, 0x7fffffff}) {
        columns.push_back({"unknown", type});
        values.push_back(characters("bytes of any length"));
    }
    const std::string fixed[] = {"71", "72", "73", "74", "75.00000000000000", "76.000000"};
    /* Fixed values take their own width whatever length is stated. */
    for (const auto& [type, value] :
         {std::pair<std::int32_t, std::string>{TRN_WIRE_INTEGER, be32(1) + be32(71)},
          {TRN_WIRE_BIGINT, be32(2) + be64(72)},
          {TRN_WIRE_TINYINT, be32(4000) + "\x49"},
          {TRN_WIRE_SMALLINT, be32(0x7fffffff) + be16(74)},
          {TRN_WIRE_DOUBLE, be32(1) + be_double(75)},
          {TRN_WIRE_FLOAT, be32(9) + be_float(76)}}) {
        columns.push_back({"fixed", type});
        values.push_back(value);
    }
    for (std::size_t i = 0; i < columns.size(); ++i)
        nulls.push_back(i % 2 == 0 ? be32(0) : be32(-static_cast<std::int64_t>(i)));
    Session session({{"q", query(columns, {row(values), row(nulls), row(values)}) + K}});
    Reader reader(session.handle(), "q");
    EXPECT_EQ(reader.status, 3);
    for (const bool null : {false, true, false}) {
        ASSERT_EQ(TRN_ReadNext(&reader.result), 0);
        for (std::size_t i = 0; i < columns.size(); ++i) {
            const std::string text = text_value(&reader.result, static_cast<std::int32_t>(i) + 1);
            EXPECT_EQ(text, null     ? "NULL"
                            : i == 5 ? "bytes of any length"
                            : i < 9  ? "status -13"
                                     : fixed[i - 9]);
        }
    }
}

TEST(data_reader, null_flags_are_kept_apart_in_wide_rows) {
    std::vector<Column> columns;
    std::vector<std::string> odd, even;
    for (int i = 0; i < 4000; ++i) {
        columns.push_back({"c" + std::to_string(i), i % 3 == 0 ? TRN_WIRE_CHAR : TRN_WIRE_SMALLINT});
        const std::string value = i % 3 == 0 ? characters(std::to_string(i)) : wire_text(be16(i));
        odd.push_back(i % 2 == 1 ? value : null_value());
        even.push_back(i % 2 == 0 ? value : null_value());
    }
    Session session({{"q", query(columns, {row(odd), row(even)}) + K}});
    Reader reader(session.handle(), "q");
    EXPECT_EQ(reader.columns, 4000);
    for (const int parity : {1, 0}) {
        ASSERT_EQ(TRN_ReadNext(&reader.result), 0);
        for (int i = 0; i < 4000; ++i)
            ASSERT_EQ(text_value(&reader.result, i + 1), i % 2 == parity ? std::to_string(i) : "NULL") << i;
    }
}

TEST(data_reader, refused_descriptions_give_an_item_without_columns) {
    const std::string refused[] = {
        be32(4001),
        be32(0x7fffffff),
        be32(-1),
        be32(1) + be32(1025),
        be32(2) + wire_text("fine") + be32(5) + be32(0) + be32(0) + be32(0x7fffffff),
    };
    for (const std::string& description : refused) {
        SCOPED_TRACE(hex_difference(description, ""));
        Session session({{"q", "A" + description + K}, {"next", numbers(2) + K}});
        Reader reader(session.handle(), "q");
        EXPECT_EQ(reader.status, 0);
        EXPECT_EQ(reader.columns, 0);
        EXPECT_EQ(reader.rows, 0);
        char name[1025];
        EXPECT_EQ(TRN_getResultcolname(&reader.result, 1, name), -1);
        EXPECT_EQ(TRN_ReadNext(&reader.result), TRN_END);
        EXPECT_EQ(Reader(session.handle(), "next").status, 2);
    }
}

} // namespace
