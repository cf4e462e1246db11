/*
 * Column descriptions, walking rows and items, and releasing results.
 */
#include "session_fixture.h"

namespace {

const std::string untouched(1025, '#');

struct ColumnInfo {
    ColumnInfo(TRN_HANDLE* result, std::int32_t column)
        : status(TRN_getResultColInfo(result, column, table.data(), name.data(), label.data(), &type,
                                      &modifier, &flags)) {}
    std::string table = untouched, name = untouched, label = untouched;
    std::int32_t type = 77, modifier = 77, flags = 77, status;
};

/* What the description leaves in a buffer filled with "#": text, zeros up to 128, "#". */
std::string cleared(std::string text) {
    text.resize(std::max<std::size_t>(128, text.size()));
    return text + untouched.substr(text.size());
}

TEST(metadata, wire_names_are_cut_into_table_name_and_label) {
    const std::string n(1024, 'n'), a(128, 'a'), b(127, 'b'), c(300, 'c');
    // clang-format off
    const struct { std::string wire, table, name, label, shown; } rows[] = {
        {"c", "", "c", "", "c"}, {"t.c", "t", "c", "", "c"}, {"t.c%x", "t", "c", "x", "x"}, {"c%x", "", "c", "x", "x"},
        {"s.t.c%x.y%z", "s", "t.c", "x.y%z", "x.y%z"}, {"a%b.c", "", "a", "b.c", "b.c"}, {"c%", "", "c", "", ""},
        {".c", "", "c", "", "c"}, {"t.", "t", "", "", ""}, {"", "", "", "", ""}, {n, "", n, "", n}, {a + "." + b + "%" + c, a, b, c, c},
    };
    // clang-format on
    std::vector<Column> columns;
    for (const auto& each : rows)
        columns.push_back({each.wire, TRN_WIRE_CHAR});
    Session session({{"q", query(columns, {}) + K}});
    Reader reader(session.connection, "q");
    ASSERT_EQ(reader.columns, 12);
    for (std::int32_t column = 1; column <= 12; ++column) {
        const auto& each = rows[column - 1];
        SCOPED_TRACE(each.wire);
        const ColumnInfo info(&reader.result, column);
        EXPECT_EQ(info.status, 0);
        EXPECT_EQ(info.table, cleared(each.table));
        EXPECT_EQ(info.name, cleared(each.name));
        EXPECT_EQ(info.label, cleared(each.label));
        std::string shown = untouched;
        EXPECT_EQ(TRN_getResultcolname(&reader.result, column, shown.data()), 0);
        EXPECT_EQ(shown.substr(0, shown.find('#')), each.shown);
    }
}

TEST(metadata, wire_types_are_reported_as_interface_types) {
    // clang-format off
    const std::pair<std::int32_t, std::int32_t> types[] = {
        {2, 1}, {3, 3}, {4, 4}, {5, 5}, {6, 6}, {7, 9}, {8, 7}, {9, 8}, {10, 10}, {11, 11}, {12, 12}, {13, 13}, {14, 14},
        {15, 21}, {16, 28}, {17, 21}, {18, 21}, {19, 21}, {20, 21}, {21, 21}, {22, 21}, {23, 21}, {24, 31}, {25, 21},
        {26, 21}, {27, 21}, {29, 69}, {30, 2}, {32, 41}, {33, 15}, {34, 42}, {0, 2}, {1, 2}, {28, 2}, {31, 2}, {35, 2},
        {45, 2}, {-1, 2}, {INT32_MIN, 2}};
    // clang-format on
    std::vector<Column> columns;
    std::int32_t number = 0;
    for (const auto& [wire, reported] : types)
        columns.push_back({"c", wire, -1000 - number, 0x7fff0000 + number}), ++number;
    Session session({{"q", query(columns, {}) + K}});
    Reader reader(session.connection, "q");
    ASSERT_EQ(reader.columns, number);
    for (std::int32_t column = 1; column <= number; ++column) {
        SCOPED_TRACE(types[column - 1].first);
        const ColumnInfo info(&reader.result, column);
        std::int32_t type = 0, modifier = 0;
        EXPECT_EQ(TRN_getResultcolType(&reader.result, column, &type), 0);
        EXPECT_EQ(TRN_getResultcolmodi(&reader.result, column, &modifier), 0);
        EXPECT_EQ(type, types[column - 1].second);
        EXPECT_EQ(modifier, -999 - column);
        EXPECT_TRUE(info.type == type && info.modifier == modifier);
        EXPECT_EQ(info.flags, 0x7fff0000 + column - 1);
    }
}

TEST(metadata, columns_out_of_range_are_refused_and_nothing_is_written) {
    Session session({{"q", query({{"a", 5}, {"b", 5}}, {}) + U(1) + K}});
    Reader reader(session.connection, "q");
    for (int item = 0; item < 2; ++item) {
        for (const std::int32_t column : {INT32_MIN, -1, 0, 3, INT32_MAX}) {
            SCOPED_TRACE(column);
            const ColumnInfo info(&reader.result, column);
            std::int32_t value = 77;
            char name[2] = ".";
            EXPECT_EQ(info.status, -1);
            EXPECT_EQ(TRN_getResultcolname(&reader.result, column, name), -1);
            EXPECT_EQ(TRN_getResultcolType(&reader.result, column, &value), -15);
            EXPECT_EQ(TRN_getResultcolmodi(&reader.result, column, &value), -15);
            EXPECT_TRUE(info.table == untouched && info.type == 77 && value == 77 && name == "."s);
        }
        TRN_NextResult(&reader.result);
    }
    EXPECT_EQ(TRN_getResultcolseq(&reader.result, "a"), 0);
}

TEST(metadata, columns_are_found_by_label_or_name_in_any_letter_case) {
    Session session({{"q", query({{"t.first", 5},
                                  {"second%Label", 5},
                                  {"label", 5},
                                  {"x%", 5},
                                  {"\xc4", 5},
                                  {"AtoZ", 5},
                                  {"@[", 5}},
                                 {}) +
                               K}});
    Reader reader(session.connection, "q");
    for (const auto& [name, number] : {std::pair{"first", 1},
                                       {"FIRST", 1},
                                       {"t.first", 0},
                                       {"second", 0},
                                       {"LABEL", 2},
                                       {"label", 2},
                                       {"x", 0},
                                       {"", 4},
                                       {"lab", 0},
                                       {"labels", 0},
                                       {"\xc4", 5},
                                       {"\xe4", 0},
                                       {"aTOz", 6},
                                       {"@[", 7},
                                       {"`{", 0}})
        EXPECT_EQ(TRN_getResultcolseq(&reader.result, name), number) << name;
}

TEST(navigation, walks_forward_only_and_stays_at_the_end) {
    Session session(
        {{"q", query({{"c", 5}}, {row({integer(1)}), row({integer(2)})}) + K}, {"next", U(3) + K}});
    Reader reader(session.connection, "q");
    EXPECT_EQ(reader.text(1), "NULL");
    for (const char* value : {"1", "2", "NULL", "NULL"}) {
        EXPECT_EQ(TRN_ReadNext(&reader.result), value == "NULL"s ? TRN_END : 0);
        EXPECT_EQ(reader.text(1), value);
        EXPECT_EQ(TRN_Reset(&reader.result), 0);
    }
    EXPECT_EQ(TRN_NextResult(&reader.result), TRN_END);
    std::int32_t rows = 0, columns = 0;
    EXPECT_EQ(TRN_getResultRecordnum(&reader.result, &rows), 0);
    EXPECT_EQ(TRN_getResultColumnsnum(&reader.result, &columns), 0);
    EXPECT_EQ(rows, 2);
    EXPECT_EQ(columns, 1);
    for (TRN_HANDLE handle : {reader.result, TRN_HANDLE{}, *session.handle()}) { /* frees results only */
        EXPECT_EQ(TRN_FreeRowset(&handle), 0);
        EXPECT_EQ(handle, nullptr);
    }
    reader.result = nullptr;
    EXPECT_EQ(session.connection.run("next"), 3);
}

TEST(navigation, each_kind_of_item_reports_its_own_counts) {
    Session session(
        {{"q", I("77") + U(5) + D(6) + query({{"a", 5}, {"b", 5}}, {row({integer(1), integer(2)})}) + K}});
    Reader reader(session.connection, "q");
    const std::string none(32, '.'), identifier = "77" + std::string(23, '\0') + std::string(7, '.');
    for (const std::string& expected :
         {"1 99 99 99 " + identifier, "2 99 99 5 " + none, "3 99 99 6 " + none, "4 2 1 99 " + none}) {
        std::int32_t kind = 99, columns = 99, rows = 99, affected = 99;
        std::string id = none;
        EXPECT_EQ(TRN_getResultRet(&reader.result, &kind, &columns, &rows, &affected, id.data()), 0);
        std::string seen;
        for (const std::int32_t number : {kind, columns, rows, affected})
            seen += std::to_string(number) + " ";
        EXPECT_EQ(seen + id, expected);
        EXPECT_EQ(TRN_getResultColumnsnum(&reader.result, &columns), 0);
        EXPECT_EQ(columns, kind == TRN_ITEM_QUERY ? 2 : 0);
        EXPECT_EQ(TRN_ReadNext(&reader.result), kind == TRN_ITEM_QUERY ? 0 : TRN_END);
        EXPECT_EQ(TRN_NextResult(&reader.result), kind == TRN_ITEM_QUERY ? TRN_END : 0);
    }
}

} // namespace
