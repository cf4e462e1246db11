// Server cursors and procedures, over both channels.
#include "live_server.h"

#include <array>
#include <fstream>
#include <iterator>
#include <sys/wait.h>

class live_calls : public testing::TestWithParam<const char*> {
  protected:
    // A cursor over the numbers from 1 to count, a parameter.
    void open_numbers(const char* name, std::int32_t count) {
        std::int32_t columns = 0;
        ASSERT_EQ(TRN_BindParamByPos(conn(), 1, TRN_DIRECTION_IN, TRN_TYPE_INTEGER, &count, 4, nullptr), 0);
        ASSERT_EQ(TRN_ExecwithServerCursorReader(conn(), numbers, name, nullptr, &columns), 0)
            << error_text(connection_.handle);
        EXPECT_EQ(columns, 2);
    }
    void bind_text(std::int32_t direction, std::string& value, std::int32_t& length) {
        ASSERT_EQ(TRN_BindParamByPos(conn(), ++position_, direction, TRN_TYPE_TEXT, value.data(),
                                     static_cast<std::int32_t>(value.size()), &length),
                  0);
    }
    std::int32_t call(const std::string& sql) {
        position_ = 0;
        return TRN_Execute_procesure(conn(), sql.c_str(), nullptr);
    }
    TRN_HANDLE* conn() { return &connection_.handle; }

    static constexpr const char* numbers = "with recursive n(i) as (select 1 union all select i + 1 from n "
                                           "where i < ?) select i, 'row ' || i as t from n";
    LiveServer server_;
    Connection connection_{server_, GetParam()};
    std::int32_t position_ = 0;
};
INSTANTIATE_TEST_SUITE_P(channels, live_calls, testing::Values("", "use_ssl=on"));

static std::string last_row(TRN_HANDLE& rowset) {
    std::array<char, 32> text{};
    while (TRN_ReadNext(&rowset) == TRN_OK)
        TRN_GetData(&rowset, 2, TRN_TYPE_TEXT, text.data(), text.size(), nullptr);
    return text.data();
}

TEST_P(live_calls, two_cursors_give_their_rows_in_turns_and_close) {
    open_numbers("a", 45000);
    open_numbers("b", 7);
    static constexpr struct {
        std::int32_t rows;
        const char* last;
    } expected[] = {{20000, "row 20000"}, {20000, "row 40000"}, {5000, "row 45000"}, {0, ""}};
    TRN_HANDLE refilled = nullptr;
    for (const auto& [rows, last] : expected) {
        TRN_HANDLE rowset = nullptr;
        ASSERT_EQ(TRN_FetchServerCursorRowset(conn(), "a", &rowset), rows);
        EXPECT_EQ(last_row(rowset), last);
        if (!refilled)
            EXPECT_EQ(TRN_FetchServerCursorRowset(conn(), "b", &refilled), 7);
        else
            EXPECT_EQ(TRN_FetchServerCursorRowset_V2(conn(), "FETCH 5 FROM b", &refilled), 0);
        TRN_FreeRowset(&rowset);
    }
    TRN_FreeRowset(&refilled);
    EXPECT_EQ(TRN_CloseCursor(conn(), "a"), 0);
    EXPECT_EQ(TRN_CloseCursor(conn(), "a"), -1);
    EXPECT_EQ(error_text(connection_.handle).rfind("[EC027]Error :", 0), 0U);
    EXPECT_EQ(connection_.transcript("select 1 as a"), "a: 1\n") << "behind a refused close";
}

TEST_P(live_calls, a_prepared_statement_runs_through_a_cursor) {
    std::array<char, 20> name{};
    std::array<char, 40> cursor{};
    ASSERT_EQ(TRN_Prepare2(conn(), numbers, name.data()), TRN_PREPARED_QUERY);
    std::int32_t count = 3;
    ASSERT_EQ(TRN_BindParamByPos(conn(), 1, TRN_DIRECTION_IN, TRN_TYPE_INTEGER, &count, 4, nullptr), 0);
    TRN_HANDLE columns = nullptr, rowset = nullptr;
    ASSERT_EQ(TRN_Execute2(conn(), name.data(), cursor.data(), &columns), 0)
        << error_text(connection_.handle);
    EXPECT_EQ(TRN_FetchServerCursorRowset(conn(), cursor.data(), &rowset), 3);
    EXPECT_EQ(last_row(rowset), "row 3");
    TRN_FreeRowset(&rowset);
    TRN_FreeRowset(&columns);
    EXPECT_EQ(TRN_CloseCursor(conn(), cursor.data()), 0);
}

TEST_P(live_calls, outputs_of_every_type_arrive_as_text) {
    constexpr std::size_t outputs = 15;
    std::array<std::string, outputs> values;
    std::array<std::int32_t, outputs> lengths{};
    std::string call_text = "EXEC every_type(?", texts;
    for (std::size_t i = 0; i < outputs; ++i) {
        values[i].assign(64, '\0');
        bind_text(TRN_DIRECTION_OUT, values[i], lengths[i]);
        if (i) call_text += ", ?";
    }
    ASSERT_EQ(call(call_text + ")"), 0) << error_text(connection_.handle);
    for (std::size_t i = 0; i < outputs; ++i) {
        EXPECT_GT(lengths[i], 0) << i;
        // TIME WITH TIME ZONE, DATETIME WITH TIME ZONE and BINARY come as bytes.
        if (i != 10 && i != 12 && i != 14)
            texts += values[i].substr(0, static_cast<std::size_t>(lengths[i])) + "|";
    }
    EXPECT_EQ(texts,
              "T|-7|-1234|123456789|-1234567890123456789|-1234.50|1.500000|0.1|2024-02-29|12:34:56.789|"
              "2024-02-29 12:34:56|a text|");
}

TEST_P(live_calls, functions_rows_and_a_cursor_come_back_through_outputs) {
    std::string first(20, '\0'), second(20, '\0'), returned(20, '\0');
    std::int32_t first_length = 2, second_length = 1, returned_length = 0, type = 0;
    const auto text = [](const std::string& value, std::int32_t length) {
        return value.substr(0, static_cast<std::size_t>(length));
    };
    first.replace(0, 2, "43");
    second.replace(0, 1, "5");
    std::string rest(20, '\0');
    std::int32_t rest_length = 0;
    bind_text(TRN_DIRECTION_INOUT, first, first_length);
    bind_text(TRN_DIRECTION_IN, second, second_length);
    bind_text(TRN_DIRECTION_OUT, rest, rest_length);
    bind_text(TRN_DIRECTION_RETURN, returned, returned_length);
    ASSERT_EQ(call("EXEC divide(?, ?, ?)"), 0) << error_text(connection_.handle);
    EXPECT_EQ(text(first, first_length) + " " + text(rest, rest_length) + " " +
                  text(returned, returned_length),
              "8 3 F");
    EXPECT_EQ(TRN_GetFunReturnType(conn(), &type), 0);
    EXPECT_EQ(type, TRN_TYPE_BOOLEAN);
    EXPECT_EQ(connection_.run("EXEC answer"), TRN_ERR_OUTPUTS) << "nothing is bound";

    static constexpr struct {
        const char* count;
        std::int32_t status;
        const char* sum;
    } results[] = {
        {"3", 3, "6"}, {"200", 0, "20100"}, {"300", 100, "45150"}, {"400", 200, "80200"}, {"1000", 200, ""}};
    for (const auto& [count, status, sum] : results) {
        SCOPED_TRACE(count);
        bind_text(TRN_DIRECTION_OUT, rest, rest_length = 0);
        EXPECT_EQ(call(std::string("EXEC numbers(") + count + ", ?)"), status);
        EXPECT_EQ(text(rest, rest_length), sum);
    }

    // The bytes of this sum look like a message.
    EXPECT_EQ(Reader(connection_, "EXEC numbers(25, null)").rows, 25);
    EXPECT_EQ(connection_.transcript("select 1 as a"), "a: 1\n");

    bind_text(TRN_DIRECTION_OUT, rest, rest_length);
    ASSERT_EQ(call("EXEC open_numbers(12, ?)"), 0);
    const std::string cursor = text(rest, rest_length);
    TRN_HANDLE rows = nullptr;
    std::int32_t wanted = 10, columns = 0;
    std::int64_t fetched = 0;
    for (const std::int64_t expected : {10, 2, 0}) {
        ASSERT_EQ(TRN_FetchRefCursorHead(conn(), cursor.c_str(), &rows, &columns, &fetched, &wanted), 0);
        EXPECT_EQ(fetched, expected);
        TRN_FreeRowset(&rows);
    }
    EXPECT_EQ(TRN_CloseCursor(conn(), cursor.c_str()), 0);
    EXPECT_EQ(call("EXEC warn('mind the gap')"), TRN_WARNING);
    EXPECT_EQ(call("EXEC fail('no')"), TRN_ERR_SERVER);
    EXPECT_EQ(error_text(connection_.handle), "no");
}

TEST(live_cursor_report, tells_the_same_from_a_cursor_and_from_the_whole_result) {
    if (!*CURSOR_REPORT_PROGRAM) GTEST_SKIP() << "the examples are not built (TARNSQL_BUILD_EXAMPLES)";
    LiveServer server;
    const TemporaryFolder folder;
    std::string outputs[2];
    for (const bool whole : {false, true}) {
        std::vector<std::string> command{CURSOR_REPORT_PROGRAM, server.connection_string(), "50000"};
        if (whole) command.push_back("whole");
        ChildProcess report(command, folder / "output");
        const std::optional<int> status = report.wait();
        std::ifstream stream(folder / "output");
        outputs[whole] = {std::istreambuf_iterator<char>(stream), {}};
        ASSERT_TRUE(status && WIFEXITED(*status) && WEXITSTATUS(*status) == 0) << outputs[whole];
    }
    EXPECT_EQ(outputs[0], outputs[1]);
    EXPECT_NE(outputs[0].find("\nwest         12500 "), std::string::npos) << outputs[0];
}
