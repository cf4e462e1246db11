/*
 * Server cursors: the texts that are sent, and what declaring, fetching and closing give for every kind of
 * reply.
 */
#include "parameter_wire.h"

namespace {

const std::string columns = query({{"n", TRN_WIRE_INTEGER}}, {});

std::string rows(int first, int count) {
    std::string bytes = columns;
    for (int i = first; i < first + count; ++i)
        bytes += row({integer(i)});
    return bytes;
}

/* The same rows in a transcript. */
std::string listed(int first, int count) {
    std::string text = "n";
    for (int i = first; i < first + count; ++i)
        text += (i == first ? ": " : "; ") + std::to_string(i);
    return text + "\n";
}

TEST(cursor_reader, declares_and_opens_with_the_parameters_and_hands_over_the_columns) {
    // clang-format off
    const struct { std::string declared, opened, items, text; std::int32_t status; } cases[] = {
        {columns + K, K, "n\n", "", 0}, {K, K, "", "", 0}, {W("w") + columns + ";" + U(5) + K, K, "n\nupdate 5\n", "w", 0},
        {columns + K, E("no cursor") + K, "", "no cursor", -1}, {E("no table") + K, F("no cursor") + K, "", "no cursor", -1},
        {columns + K, "z" + wire_text("odd") + K, "", "odd", -1}, {columns + K, E("one") + M("two") + K, "", "one", -1},
        {columns + K, E("") + K, "", "", -1},
    };
    // clang-format on
    OutputCapture output;
    for (const auto& [declared, opened, items, text, status] : cases)
        for (const bool kept_set : {false, true}) {
            SCOPED_TRACE(hex_difference(declared, opened));
            const std::string name(kept_set ? 300 : 3, 'c'), sql(kept_set ? 9000 : 3, 's');
            const std::string value = text_entry("v");
            Session session(
                asked({{request("DECLARE " + name + " CURSOR FOR " + sql + " ", 1, value), declared},
                       {command("OPEN " + name + " ;"), opened},
                       {kept_set ? request("next", 1, value) : command("next"), U(7) + K}}));
            ParamSet set;
            EXPECT_EQ(bind_text(kept_set ? &set.handle : session.handle(), 1, "v"), 0);
            if (kept_set) set.attach(session);
            Reader reader;
            reader.result = &reader;
            EXPECT_EQ(TRN_ExecwithServerCursorReader(session.handle(), sql.c_str(), name.c_str(),
                                                     &reader.result, &reader.columns),
                      status);
            EXPECT_EQ(reader.result == &reader, status < 0);
            if (status < 0) reader.result = nullptr;
            EXPECT_EQ(std::max(reader.columns, 0), items.empty() ? 0 : 1);
            EXPECT_EQ(reader.transcript(), items);
            EXPECT_EQ(error_text(session.connection.handle), text);
            EXPECT_EQ(session.connection.run("next"), 7);
        }
}

// clang-format off
const struct { std::string reply; std::int32_t status; std::string items, text, printed; } fetches[] = {
    {K, 0, "", "", ""}, {columns + K, 0, "n\n", "", ""}, {rows(1, 3) + K, 3, listed(1, 3), "", ""},
    {rows(0, 20001) + K, 20001, listed(0, 20001), "", ""}, /* one batch, whatever its size */
    {rows(1, 1) + W("kept") + row({integer(2)}) + K, 2, listed(1, 2), "", ""},
    {E("e") + K, -1, "", "e", "[EC031]Error in recv result :e \n"}, {M("m") + rows(1, 2) + K, 2, listed(1, 2), "m", "[EC032]Server Warning in recv result :m \n"},
    {rows(1, 2) + ";" + F("f") + K, -1, listed(1, 2), "f", "[EC031]Error in recv result :f \n"},
    {query({{"old", TRN_WIRE_CHAR}}, {row({wire_text("x")})}) + ";" + rows(8, 1) + K, 1, listed(8, 1), "", ""},
    {rows(1, 3) + rows(8, 1) + K, 1, listed(8, 1), "", ""}, {rows(1, 3) + columns + K, 0, "n\n", "", ""},
    {rows(1, 2) + U(5) + I("K") + K, 2, listed(1, 2), "", ""}, {D(0x4b4b4b4b) + rows(1, 1) + K, 0, "", "", ""},
};
// clang-format on

/* As a new item, without a place to go, and into rowsets of every kind. */
TEST(fetch, gives_the_rows_as_a_new_item_or_into_a_rowset) {
    const std::string cells = row({wire_text("x"), null_value()}), own = "my own fetch", name(300, 'c');
    const std::string olds[] = {"", "",
                                query({{"a", TRN_WIRE_CHAR}, {"b", TRN_WIRE_BLOB}}, {cells, W("old"), cells}),
                                U(5), rows(1, 2) + ";" + U(6)};
    for (const auto& [reply, status, items, text, lines] : fetches)
        for (std::size_t way = 0; way < std::size(olds); ++way) {
            SCOPED_TRACE(reply.substr(0, 30) + " way " + std::to_string(way));
            Session session({{"old", olds[way] + K},
                             {way == 0 ? "FETCH  20000  FROM  " + name + " " : own, reply},
                             {"next", U(7) + K}});
            Reader reader(session.connection, "old");
            reader.next();
            const TRN_HANDLE before = reader.result;
            if (way == 0) reader.result = &reader;
            OutputCapture output;
            const auto fetch = way == 0 ? TRN_FetchServerCursorRowset : TRN_FetchServerCursorRowset_V2;
            EXPECT_EQ(fetch(session.handle(), way == 0 ? name.c_str() : own.c_str(), &reader.result), status);
            EXPECT_EQ(output.text(), lines);
            EXPECT_TRUE(way == 0 || reader.result == before);
            const std::string emptied = before ? "\n" : "";
            EXPECT_EQ(error_text(reader.result), way != 1 && reply.find("kept") != reply.npos ? "kept" : "");
            EXPECT_TRUE(!items.empty() || !reader.next());
            EXPECT_EQ(reader.transcript(), way == 1 ? "" : items.empty() ? emptied : items);
            EXPECT_EQ(error_text(session.connection.handle), text);
            EXPECT_EQ(session.connection.run("next"), 7);
        }
}

TEST(fetch, without_a_rowset_counts_the_rows_and_drops_them) {
    const Exchange fetch{"f", rows(1, 500) + K}, empty{"f", K}, broken{"f", rows(1, 500)};
    Script script = logged_in({fetch, empty, fetch, fetch, fetch, broken});
    script.push_back(close_connection());
    Session session(script);
    TRN_HANDLE none = nullptr;
    const auto run = [&] { return TRN_FetchServerCursorRowset_V2(session.handle(), "f", &none); };
    EXPECT_EQ((Statuses{run(), run(), run(), run(), TRN_Reset(session.handle()), run(), run()}),
              (Statuses{500, 0, 500, 500, 0, 500, TRN_ERR_NETWORK}));
    EXPECT_EQ(none, nullptr);
}

TEST(ref_cursor, gives_every_item_and_status_0) {
    const std::string name(300, 'c');
    // clang-format off
    const struct { std::int32_t count; std::string reply, items, text; std::int32_t columns; std::int64_t rows; } cases[] = {
        {10, rows(1, 3) + K, listed(1, 3), "", 1, 3}, {0, columns + K, "n\n", "", 1, 0}, {-1, U(5) + K, "update 5\n", "", 0, 0},
        {INT32_MAX, rows(1, 20001) + ";" + I("id") + K, listed(1, 20001) + "insert id\n", "", 1, 20001}, {INT32_MIN, K, "", "", -7, -7},
        {7, E("e") + K, "", "e", -7, -7}, {7, rows(1, 1) + ";" + W("w") + K, listed(1, 1), "w", 1, 1},
    };
    // clang-format on
    OutputCapture output;
    for (auto [count, reply, items, text, column_count, row_count] : cases) {
        SCOPED_TRACE(count);
        Session session(
            {{"FETCH " + std::to_string(count) + "  FROM " + name + " ", reply}, {"next", U(7) + K}});
        Reader reader;
        reader.result = &reader;
        EXPECT_EQ(TRN_FetchRefCursorHead(session.handle(), name.c_str(), &reader.result, &reader.columns,
                                         &reader.rows, &count),
                  0);
        EXPECT_TRUE(reader.columns == column_count && reader.rows == row_count);
        EXPECT_EQ(reader.transcript(), items);
        EXPECT_EQ(error_text(session.connection.handle), text);
        EXPECT_EQ(session.connection.run("next"), 7);
    }
}

/* The end of a refusal may be missing, or come with the next reply. */
TEST(close_cursor, reports_a_refusal_with_text_and_name) {
    const std::string name(300, 'c'), text(300, 't');
    const auto refused_close = [](const std::string& reason, const std::string& cursor) {
        return ("[EC027]Error :" + reason + " Close Cursor " + cursor + "  \n").substr(0, 199);
    };
    // clang-format off
    const struct { std::string name, reply, next; std::int32_t status; std::string text; } cases[] = {
        {"cur", K, "", 0, ""}, {name, K, "", 0, ""}, {"cur", E("unknown") + K, "", -1, refused_close("unknown", "cur")},
        {"cur", F("unknown"), "", -1, refused_close("unknown", "cur")}, {"cur", W("late end"), K, -1, refused_close("late end", "cur")},
        {name, "z" + wire_text("odd"), K, -1, refused_close("odd", name)}, {"cur", E(text) + K, "", -1, refused_close(text, "cur")},
        {"", E("") + K, "", -1, refused_close("", "")},
    };
    // clang-format on
    OutputCapture output;
    for (const auto& each : cases) {
        SCOPED_TRACE(hex_difference(each.reply, ""));
        Session session({{"CLOSE " + each.name + " ", each.reply}, {"next", each.next + U(7) + K}});
        EXPECT_EQ(TRN_CloseCursor(session.handle(), each.name.c_str()), each.status);
        EXPECT_EQ(error_text(session.connection.handle), each.text);
        EXPECT_EQ(session.connection.run("next"), 7);
    }
    EXPECT_EQ(output.text(), "");
}

/* Nobody takes what comes; the bound parameters stay for the statement. */
TEST(cursors, results_may_be_dropped_and_parameters_do_not_travel_with_fetches) {
    const std::string some = rows(1, 300) + K;
    Session session(asked({{command("FETCH  20000  FROM  c "), some},
                           {command("FETCH 5  FROM c "), some},
                           {command("CLOSE c "), K},
                           {request("DECLARE c CURSOR FOR q ", 1, text_entry("v")), some},
                           {command("OPEN c ;"), K}}));
    EXPECT_EQ(bind_text(session.handle(), 1, "v"), 0);
    std::int32_t five = 5;
    EXPECT_EQ((Statuses{TRN_FetchServerCursorRowset(session.handle(), "c", nullptr),
                        TRN_FetchRefCursorHead(session.handle(), "c", nullptr, nullptr, nullptr, &five),
                        TRN_CloseCursor(session.handle(), "c"),
                        TRN_ExecwithServerCursorReader(session.handle(), "q", "c", nullptr, nullptr)}),
              (Statuses{300, 0, 0, 0}));
}

} // namespace
