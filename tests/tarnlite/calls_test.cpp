// Cursors and procedures as a client sees them.

#include "cursors.h"
#include "raw_client.h"
#include "server.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <string>

using namespace std::string_literals;

namespace {

constexpr const char* rows_without_end =
    "with recursive n(i) as (select 1 union all select i + 1 from n) select i from n";

std::string shown_value(std::uint32_t wire_type, const std::string& value) {
    if (value.empty() || wire_type < 3 || wire_type > 6) return value;
    std::uint64_t number = 0;
    for (const char c : value)
        number = number << 8 | static_cast<unsigned char>(c);
    return std::to_string(number);
}

// A reply in one line: "E text", "A 5,30 [1|x] [2|y]", "P 0:6:42; O 5:42".
std::string shown(const std::vector<Item>& items) {
    std::string text;
    for (const Item& item : items) {
        text += fmt::format("{}{} ", text.empty() ? "" : "; ", item.letter);
        if (item.letter == 'P') text += fmt::format("{}:", item.slot);
        if (item.letter == 'P' || item.letter == 'O') {
            text += fmt::format("{}:{}", item.columns[0], shown_value(item.columns[0], item.text));
            continue;
        }
        text += fmt::format("{}{}", fmt::join(item.columns, ","), item.text);
        for (const auto& row : item.rows) {
            std::string values;
            for (std::size_t i = 0; i < row.size(); ++i)
                values += '|' + shown_value(item.columns[i], row[i]);
            text += fmt::format(" [{}]", values.substr(1));
        }
    }
    return text;
}

class tarnlite_calls : public testing::Test {
  protected:
    tarnlite_calls() { client_.log_in(); }

    std::string run(const std::string& text) { return shown(client_.run(text)); }
    std::string run(std::string_view text, std::size_t parameters, const std::string& entries) {
        client_.send(command(text, parameters) + entries);
        return shown(client_.receive_reply());
    }

    struct Answered {
        const char* text;
        std::string reply;
    };
    void expect(std::initializer_list<Answered> all) {
        for (const Answered& each : all)
            EXPECT_EQ(run(each.text), each.reply) << each.text;
    }

    tarnlite::Server server_{{.port = 0}};
    RawClient client_{server_.port()};
};

} // namespace

TEST_F(tarnlite_calls, a_cursor_gives_its_rows_in_parts_while_its_session_writes) {
    expect({
        {"create table t(a int, b varchar(5)); insert into t values(1, 'x'), (2, 'y'), (3, null)", "I 3"},
        {"DECLARE c CURSOR FOR select a, b, a + 1 from t order by a ", "A 5,30,30"},
        {"OPEN c ;", ""},
        {"FETCH  2  FROM  C ", "A 5,30,6 [1|x|2] [2|y|3]"},
        {"insert into t values(4, 'z')", "I 4"},
        {"begin; insert into t values(5, null); rollback", "I 5"},
        {"FETCH 0  FROM c ", "A 5,30,6"},
        {"FETCH 20000  FROM c ", "A 5,30,6 [3||4]"},
        {"FETCH 20000  FROM c ", "A 5,30,6"},
        {"PREPARE stc0 AS select a from t where a > 3", "A 5"},
        {"DECLARE  stc0_CUR CURSOR FOR stc0 ", "A 5"},
        {"DEALLOCATE stc0 ", ""},
        {"OPEN stc0_CUR ;", ""},
        {"FETCH 9  FROM stc0_CUR ", "A 5 [4]"},
        {"CLOSE c ", ""},
        {"DECLARE c CURSOR FOR select 1", "A 30"},
    });
    EXPECT_EQ(run("DECLARE d CURSOR FOR select a from t where a > ? ", 1, entry(30, "2")), "A 5");
    EXPECT_EQ(run("OPEN d ;"), "");
    EXPECT_EQ(run("FETCH 1 FROM d "), "A 5 [3]");
    EXPECT_EQ(run("DECLARE e CURSOR FOR "s + rows_without_end), "A 30");
    EXPECT_EQ(run("OPEN e ;"), "");
    EXPECT_EQ(run("FETCH 2 FROM e "), "A 6 [1] [2]");
}

TEST_F(tarnlite_calls, cursors_in_the_wrong_state_are_refused) {
    run("create table t(a tinyint); insert into t values(1), (300)");
    expect({
        {"OPEN c ;", "E there is no cursor 'C'"},
        {"FETCH 1  FROM c ", "E there is no cursor 'C'"},
        {"CLOSE c ", "E there is no cursor 'C'"},
        {"DECLARE c CURSOR FOR stc9 ", "E there is no prepared statement 'STC9'"},
        {"DECLARE c CURSOR FOR delete from t", "E a cursor needs a query that does not write"},
        {"DECLARE c CURSOR FOR insert into t values(1) returning a",
         "E a cursor needs a query that does not write"},
        {"DECLARE c CURSOR FOR select a from t where a > ?", "E parameter 1 has no value"},
        {"DECLARE c CURSOR FOR select a from t", "A 3"},
        {"DECLARE C CURSOR FOR select 1", "E the cursor 'C' already exists"},
        {"FETCH 1  FROM c ", "E the cursor 'C' is not open"},
        {"OPEN c ;", ""},
        {"OPEN c ;", "E the cursor 'C' is already open"},
        {"FETCH 9  FROM c ", "A 3 [1]; E column a: 300 cannot be converted to TINYINT"},
        {"FETCH 9  FROM c ", "E the cursor 'C' is not open"},
        {"CLOSE c ", ""},
    });
    for (std::size_t i = 0; i < tarnlite::Cursors::most_cursors; ++i)
        ASSERT_EQ(run(fmt::format("DECLARE c{} CURSOR FOR select 1", i)), "A 30");
    EXPECT_EQ(run("DECLARE c CURSOR FOR select 1"), "E there are already 256 cursors");
}

TEST_F(tarnlite_calls, a_cursor_keeps_other_sessions_from_writing_until_its_last_row) {
    run("create table t(a int); insert into t values(1), (2)");
    RawClient other(server_.port());
    other.log_in(" lock_timeout = 1");
    run("DECLARE c CURSOR FOR select a from t");
    run("OPEN c ;");
    EXPECT_EQ(run("FETCH 1 FROM c"), "A 5 [1]");
    EXPECT_EQ(shown(other.run("select count(*) from t; insert into t values(3)")),
              "A 6 [2]; E database is locked");
    EXPECT_EQ(run("FETCH 1 FROM c"), "A 5 [2]");
    EXPECT_EQ(shown(other.run("insert into t values(3)")), "I 3");
}

TEST_F(tarnlite_calls, outputs_go_to_the_entries_that_ask_for_them) {
    client_.send(command("EXEC add(?, :b, ?)", 3) + entry(30, "40") + entry(30, "2", "b") +
                 entry(5, "", "", 2));
    const std::string expected = "P\0\0\0\2\0\0\0\x06\0\0\0\x08\0\0\0\0\0\0\0\x2AK"s;
    EXPECT_EQ(client_.receive(expected.size()), expected);
    client_.send(command("EXECUTE answer"));
    EXPECT_EQ(client_.receive(14), "O\0\0\0\5\0\0\0\4\0\0\0\x2AK"s);

    EXPECT_EQ(run("exec divide(?, 5, :rest)", 2, entry(30, "42", "", 3) + entry(30, "", "rest", 2)),
              "P 0:6:8; P 1:6:2; O 2:F");
    EXPECT_EQ(run("exec divide(?, 5, ?)", 2, entry(30, "42") + entry(30, "")), "O 2:F");
    EXPECT_EQ(run("exec nothing(?)", 1, entry(5, "", "", 2)), "P 0:5:");
    EXPECT_EQ(run("exec open_numbers(?, ?)", 2, entry(3, "\2") + entry(1008, "", "", 2)),
              "P 1:30:REF_CURSOR_1");
    EXPECT_EQ(run("FETCH 10  FROM REF_CURSOR_1 "), "A 6,30 [1|number 1] [2|number 2]");
    EXPECT_EQ(run("CLOSE REF_CURSOR_1 "), "");
}

TEST_F(tarnlite_calls, calls_without_parameters_get_every_output) {
    expect({
        {"exec divide(-(-42), '7', null)", "P 0:6:6; P 2:6:0; O 2:T"},
        {"exec divide(42, 0, null)", "P 0:6:; P 2:6:; O 2:"},
        {"exec greet('you, (there)')", "P 0:30:Hello, you, (there)"},
        {"exec numbers(2, null)", "A 6,30 [1|number 1] [2|number 2]; P 1:6:3"},
        {"exec warn('careful')", "W careful; M careful"},
        {"exec fail('no')", "E no"},
        {"exec typed('tinyint', '12')", "O 3:12"},
        {"exec typed('numeric(5,1)', '2.25')", "O 7:2.3"},
        {"exec typed('interval year to month', '1-02')", "O 16:\0\0\0\x0E"s},
        {"exec typed('date', null)", "O 10:"},
        {"exec typed('smallint', '70000')", "E argument value: 70000 cannot be converted to SMALLINT"},
        {"exec add('x', 1, 0)", "E argument a: 'x' cannot be converted to BIGINT"},
        {"exec add(9223372036854775807, 1, 0)",
         "E argument sum: 9.22337203685478e+18 cannot be converted to BIGINT"},
        {"exec add(1, 2)", "E ADD takes 3 arguments, not 2"},
        {"exec add(1, ? + 1, 0)", "E '? + 1': a parameter must be an argument of its own"},
        {"exec add(1, ?, 0)", "E parameter 1 has no value"},
        {"exec nobody(1)", "E there is no procedure 'NOBODY'"},
    });
    const auto items = client_.run("exec every_type(0,0,0,0,0,0,0,0,0,0,0,0,0,0,0)");
    std::string types;
    std::string values;
    for (const Item& item : items) {
        types += fmt::format("{}:{} ", item.slot, item.columns.at(0));
        values += item.text + '|';
    }
    EXPECT_EQ(types, "0:2 1:3 2:4 3:5 4:6 5:7 6:8 7:9 8:10 9:11 10:12 11:13 12:14 13:30 14:33 ");
    EXPECT_EQ(values,
              "T|\xF9|\xFB\x2E|\x07\x5B\xCD\x15|\xEE\xDD\xEF\x0B\x82\x16\x7E\xEB|-1234.50|\x3F\xC0\0\0|"
              "\x3F\xB9\x99\x99\x99\x99\x99\x9A|\0\0\x4D\x46|\x02\xB3\x2C\x95|\x02\x45\x4C\x80\0\x78|"
              "\0\0\x01\x8D\xF4\xDC\x54\x95|\0\x06\x12\x82\xCF\x77\x14\0\0\x78|a text|\0\xFF\x80|"s);
}
