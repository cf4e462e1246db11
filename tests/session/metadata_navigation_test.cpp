/*
 * Column descriptions, walking rows and items, and releasing results.
 */
#include "session_fixture.h"

namespace {

const std::string K = end_of_reply;

struct ColumnInfo {
    ColumnInfo(TRN_HANDLE* result, std::int32_t column)
        : status(TRN_getResultColInfo(result, column, table.data(), name.data(), label.data(), &type,
                                      &modifier, &flags)) {}
    std::string table = std::string(1025, '#'), name = table, label = table;
    std::int32_t type = 77, modifier = 77, flags = 77, status;
};

std::string column_name(TRN_HANDLE* result, std::int32_t column) {
    std::string name(1025, '#');
    EXPECT_EQ(TRN_getResultcolname(result, column, name.data()), 0);
    return name.substr(0, name.find('#'));
}

/* What the description leaves in a buffer filled with "#": text, zeros up to 128, "#". */
std::string cleared(const std::string& text) {
    std::string expected = text;
    if (expected.size() < 128) expected.resize(128, '\0');
    expected.resize(1025, '#');
    return expected;
}

TEST(metadata, wire_names_are_cut_into_table_name_and_label) {
    const std::string long_name(1024, 'n');
    const struct {
        std::string wire, table, name, label, shown;
    } rows[] = {
        {"c", "", "c", "", "c"},
        {"t.c", "t", "c", "", "c"},
        {"t.c%x", "t", "c", "x", "x"},
        {"c%x", "", "c", "x", "x"},
        {"s.t.c%x.y%z", "s", "t.c", "x.y%z", "x.y%z"},
        {"a%b.c", "", "a", "b.c", "b.c"},
        {"c%", "", "c", "", ""},
        {".c", "", "c", "", "c"},
        {"t.", "t", "", "", ""},
        {"", "", "", "", ""},
        {long_name, "", long_name, "", long_name},
        {std::string(128, 'a') + "." + std::string(127, 'b') + "%" + std::string(300, 'c'),
         std::string(128, 'a'), std::string(127, 'b'), std::string(300, 'c'), std::string(300, 'c')},
    };
    std::vector<Column> columns;
    for (const auto& each : rows)
        columns.push_back({each.wire, TRN_WIRE_CHAR});
    Session session({{"q", query(columns, {}) + K}});
    Reader reader(session.handle(), "q");
    ASSERT_EQ(reader.columns, 12);
    for (std::int32_t column = 1; column <= 12; ++column) {
        const auto& each = rows[column - 1];
        SCOPED_TRACE(each.wire);
        const ColumnInfo info(&reader.result, column);
        EXPECT_EQ(info.status, 0);
        EXPECT_EQ(info.table, cleared(each.table));
        EXPECT_EQ(info.name, cleared(each.name));
        EXPECT_EQ(info.label, cleared(each.label));
        EXPECT_EQ(column_name(&reader.result, column), each.shown);
    }
}

TEST(metadata, wire_types_are_reported_as_interface_types) {
    const std::pair<std::int32_t, std::int32_t> types[] = {
        {2, 1},   {3, 3},   {4, 4},   {5, 5},   {6, 6},   {7, 9},   {8, 7},        {9, 8},
        {10, 10}, {11, 11}, {12, 12}, {13, 13}, {14, 14}, {15, 21}, {16, 28},      {17, 21},
        {18, 21}, {19, 21}, {20, 21}, {21, 21}, {22, 21}, {23, 21}, {24, 31},      {25, 21},
        {26, 21}, {27, 21}, {29, 69}, {30, 2},  {32, 41}, {33, 15}, {34, 42},      {0, 2},
        {1, 2},   {28, 2},  {31, 2},  {35, 2},  {45, 2},  {-1, 2},  {INT32_MIN, 2}};
    std::vector<Column> columns;
    std::int32_t number = 0;
    for (const auto& [wire, reported] : types)
        columns.push_back({"c", wire, -1000 - number, 0x7fff0000 + number}), ++number;
    Session session({{"q", query(columns, {}) + K}});
    Reader reader(session.handle(), "q");
    ASSERT_EQ(reader.columns, number);
    for (std::int32_t column = 1; column <= number; ++column) {
        SCOPED_TRACE(types[column - 1].first);
        const ColumnInfo info(&reader.result, column);
        std::int32_t type = 0, modifier = 0;
        EXPECT_EQ(TRN_getResultcolType(&reader.result, column, &type), 0);
        EXPECT_EQ(TRN_getResultcolmodi(&reader.result, column, &modifier), 0);
        EXPECT_EQ(type, types[column - 1].second);
        EXPECT_EQ(info.type, type);
        EXPECT_EQ(modifier, -999 - column);
        EXPECT_EQ(info.modifier, modifier);
        EXPECT_EQ(info.flags, 0x7fff0000 + column - 1);
    }
}

TEST(metadata, columns_out_of_range_are_refused_and_nothing_is_written) {
    Session session({{"q", query({{"a", 5}, {"b", 5}}, {}) + update_count(1) + K}});
    Reader reader(session.handle(), "q");
    for (int item = 0; item < 2; ++item) {
        for (const std::int32_t column : {INT32_MIN, -1, 0, 3, INT32_MAX}) {
            SCOPED_TRACE(column);
            const ColumnInfo info(&reader.result, column);
            std::int32_t value = 77;
            char name[2] = ".";
            EXPECT_EQ(info.status, -1);
            EXPECT_EQ(info.table, std::string(1025, '#'));
            EXPECT_EQ(info.type, 77);
            EXPECT_EQ(TRN_getResultcolname(&reader.result, column, name), -1);
            EXPECT_EQ(TRN_getResultcolType(&reader.result, column, &value), -15);
            EXPECT_EQ(TRN_getResultcolmodi(&reader.result, column, &value), -15);
            EXPECT_EQ(value, 77);
            EXPECT_STREQ(name, ".");
        }
        TRN_NextResult(&reader.result);
    }
    EXPECT_EQ(TRN_getResultcolseq(&reader.result, "a"), 0);
}

TEST(metadata, columns_are_found_by_label_or_name_in_any_letter_case) {
    Session session(
        {{"q", query({{"t.first", 5}, {"second%Label", 5}, {"label", 5}, {"x%", 5}, {"\xc4", 5}}, {}) + K}});
    Reader reader(session.handle(), "q");
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
                                       {"\xe4", 0}})
        EXPECT_EQ(TRN_getResultcolseq(&reader.result, name), number) << name;
}

TEST(navigation, walks_forward_only_and_stays_at_the_end) {
    Session session({{"q", query({{"c", 5}}, {row({integer(1)}), row({integer(2)})}) + K}});
    Reader reader(session.handle(), "q");
    std::int32_t count = 0;
    EXPECT_EQ(TRN_getResultRecordnum(&reader.result, &count), 0);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(TRN_getResultColumnsnum(&reader.result, &count), 0);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(text_value(&reader.result, 1), "NULL");
    for (const char* value : {"1", "2"}) {
        EXPECT_EQ(TRN_ReadNext(&reader.result), 0);
        EXPECT_EQ(text_value(&reader.result, 1), value);
    }
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(TRN_ReadNext(&reader.result), TRN_END);
        EXPECT_EQ(text_value(&reader.result, 1), "NULL");
    }
    EXPECT_EQ(TRN_NextResult(&reader.result), TRN_END);
    EXPECT_EQ(TRN_getResultRecordnum(&reader.result, &count), 0);
    EXPECT_EQ(count, 2);
}

TEST(navigation, each_kind_of_item_reports_its_own_counts) {
    Session session({{"q", inserted("77") + update_count(5) + delete_count(6) +
                               query({{"a", 5}, {"b", 5}}, {row({integer(1), integer(2)})}) + K}});
    Reader reader(session.handle(), "q");
    const std::string untouched(32, '.');
    const struct {
        std::int32_t kind, columns, rows, affected;
        std::string identifier;
    } items[] = {
        {TRN_ITEM_INSERT, 99, 99, 99, "77" + std::string(23, '\0') + std::string(7, '.')},
        {TRN_ITEM_UPDATE, 99, 99, 5, untouched},
        {TRN_ITEM_DELETE, 99, 99, 6, untouched},
        {TRN_ITEM_QUERY, 2, 1, 99, untouched},
    };
    for (const auto& item : items) {
        SCOPED_TRACE(item.kind);
        std::int32_t kind = 99, columns = 99, rows = 99, affected = 99;
        std::string identifier = untouched;
        EXPECT_EQ(TRN_getResultRet(&reader.result, &kind, &columns, &rows, &affected, identifier.data()), 0);
        EXPECT_EQ(kind, item.kind);
        EXPECT_EQ(columns, item.columns);
        EXPECT_EQ(rows, item.rows);
        EXPECT_EQ(affected, item.affected);
        EXPECT_EQ(identifier, item.identifier);
        if (item.kind != TRN_ITEM_QUERY) {
            EXPECT_EQ(TRN_ReadNext(&reader.result), TRN_END);
            EXPECT_EQ(TRN_getResultColumnsnum(&reader.result, &columns), 0);
            EXPECT_EQ(columns, 0);
            EXPECT_EQ(TRN_NextResult(&reader.result), 0);
        }
    }
}

TEST(release, clears_the_variable_of_any_handle_but_frees_results_only) {
    Session session({{"q", query({{"c", 5}}, {row({integer(1)})}) + K}, {"next", update_count(3) + K}});
    Reader reader(session.handle(), "q");
    EXPECT_EQ(TRN_Reset(&reader.result), 0);
    EXPECT_EQ(TRN_ReadNext(&reader.result), 0);
    EXPECT_EQ(TRN_FreeRowset(&reader.result), 0);
    EXPECT_EQ(reader.result, nullptr);
    EXPECT_EQ(TRN_FreeRowset(&reader.result), 0);
    EXPECT_EQ(TRN_FreeRowset(nullptr), 0);
    TRN_HANDLE alias = *session.handle();
    EXPECT_EQ(TRN_FreeRowset(&alias), 0);
    EXPECT_EQ(alias, nullptr);
    EXPECT_EQ(TRN_Reset(session.handle()), 0);
    EXPECT_EQ(TRN_Execute_no_query(session.handle(), "next"), 3);
}

} // namespace
