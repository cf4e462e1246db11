/*
 * Prepared statements: names and the default statement, the texts sent, descriptions of parameters and what
 * is bound to them, the three ways of executing, and replies that refuse.
 */
#include "parameter_wire.h"

namespace {

const std::string columns = query({{"n", TRN_WIRE_INTEGER}}, {});
const std::string two_rows = columns + row({integer(4)}) + row({integer(5)});
const std::string no_default =
    "[EC023]Error Execute without a default prepare ,or you can TRN_Execute2 with a "
    "prepare_name value\n";
const std::string without_values =
    "[EC059]Error params need values-bind, here params without bindparams-byname or "
    "bindparams-bypos  \n";

/* What a prepare tells of a statement's parameters: name, position, type and size of each. */
std::string description(const std::vector<std::pair<std::string, std::int32_t>>& parameters) {
    std::string bytes = "$" + be32(std::int64_t(parameters.size()));
    for (std::int64_t position = 1; const auto& [name, type] : parameters)
        bytes += wire_text(name) + be32(position++) + be32(type) + be32(64);
    return bytes;
}

/* The status and the name; texts, so that steps of all kinds can be listed. */
std::string prepare(Session& session, const char* sql = "sql") {
    Bytes name(20, '#');
    const std::int32_t status = TRN_Prepare2(session.handle(), sql, name.data());
    return std::to_string(status) + " " + name.data();
}
std::string prepare_default(Session& session) {
    return std::to_string(TRN_Prepare2(session.handle(), "sql", nullptr));
}
std::string unprepare(Session& session, const char* name = nullptr) {
    const std::int32_t status = TRN_UnPrepare(session.handle(), name);
    return std::to_string(status) + (status < 0 ? " " + error_text(session.connection.handle) : "");
}
std::string execute(Session& session, const char* name = nullptr) {
    const std::int32_t status = TRN_Execute2(session.handle(), name, nullptr, nullptr);
    return std::to_string(status) + (status < 0 ? " " + error_text(session.connection.handle) : "");
}
using Texts = std::vector<std::string>;

TEST(prepared, names_count_on_and_the_default_statement_is_replaced) {
    const std::string sql(5000, 's');
    // clang-format off
    Session session({{"PREPARE STC0 AS sql", K}, {"PREPARE STC1 AS sql", K}, {"PREPARE STC2 AS " + sql, columns + K},
                     {"? STC1 ", U(1) + K}, {"DEALLOCATE STC0 ", K}, {"DEALLOCATE nobody ", E("unknown") + W("w") + K}, {"? STC1 ", K},
                     {"DEALLOCATE STC1 ", K}, {"PREPARE STC3 AS sql", columns + K}, {"PREPARE STC4 AS ", E("empty") + K},
                     {"DEALLOCATE STC3 ", K}, {"PREPARE STC5 AS sql", K}, {"? STC5 ", two_rows + K},
                     {"DEALLOCATE STC5 ", E("refused") + K}, {"PREPARE STC6 AS sql", K}, {"DEALLOCATE STC6 ", K}});
    // clang-format on
    EXPECT_EQ(
        (Texts{prepare(session), prepare_default(session), prepare(session, sql.c_str()), execute(session)}),
        (Texts{"0 STC0", "0", "19665 STC2", "0"}));
    EXPECT_EQ((Texts{unprepare(session, "STC0"), unprepare(session, "nobody"), execute(session),
                     prepare_default(session)}),
              (Texts{"0", "-1 unknown", "0", "19665"}));
    EXPECT_EQ((Texts{prepare(session, ""), prepare_default(session), execute(session)}),
              (Texts{"-1 STC4", "0", "2"}));
    /* The old default is not given up, and nothing is prepared in its place. */
    EXPECT_EQ((Texts{prepare_default(session), execute(session), prepare_default(session)}),
              (Texts{"-1", "-1 " + no_default, "0"}));
    EXPECT_EQ(TRN_CloseConn(session.handle()), 0);
}

TEST(prepared, default_statement_is_needed_by_calls_without_a_name) {
    // clang-format off
    Session session({{"PREPARE STC0 AS sql", E("refused") + K}, {"? STC0 ", U(1) + K}, {"DEALLOCATE STC0 ", K},
                     {"DEALLOCATE STC0 ", K}, {"PREPARE STC1 AS sql", K}});
    // clang-format on
    const Texts missing(2, "-1 " + no_default);
    EXPECT_EQ((Texts{execute(session), unprepare(session)}), missing);
    /* The end of a refusal makes the default statement all the same. */
    EXPECT_EQ((Texts{prepare_default(session), execute(session), unprepare(session)}),
              (Texts{"-1", "0", "0"}));
    EXPECT_EQ((Texts{unprepare(session), execute(session)}), missing);
    EXPECT_EQ((Texts{unprepare(session, "STC0"), prepare(session)}), (Texts{"0", "0 STC1"}));
    EXPECT_EQ((Texts{unprepare(session), execute(session)}), missing);
}

TEST(prepared, status_is_that_of_the_last_message_and_nothing_is_printed) {
    // clang-format off
    const struct { std::string reply, status, text; } cases[] = {
        {columns + columns, "19665", ""}, {description({{"a", 5}}) + columns, "19665", ""}, {W("w") + columns, "19665", "w"},
        {columns + M("m"), "-1", "m"}, {E("one") + F(""), "-1", ""}, {F("f") + description({}), "-1", "f"},
        {"z" + wire_text("odd"), "-1", "odd"}, {"", "0", ""},
    };
    // clang-format on
    for (const auto& [reply, status, text] : cases) {
        SCOPED_TRACE(hex_difference(reply, ""));
        OutputCapture output;
        Session session({{"PREPARE STC0 AS sql", reply + K}, {"next", U(7) + K}});
        EXPECT_EQ(prepare(session), status + " STC0");
        EXPECT_EQ(error_text(session.connection.handle), text);
        EXPECT_EQ(TRN_ResetParams(session.handle()), 0);
        EXPECT_EQ(session.connection.run("next"), 7);
        EXPECT_EQ(output.text(), "");
    }
}

TEST(described_set, is_filled_by_name_or_position) {
    const std::string described = description({{"first", 2}, {"Second", 5}, {"", 8}, {"first", 6}});
    const std::string one = entry("first", 0, 30, 0, ""), two = entry("Second", 0, 5, 0, "");
    const std::string three = entry("", 0, 9, 0, ""), four = entry("first", 0, 6, 0, "");
    const std::string six = text_entry("4", "first") + entry("", 0, 1, 0, "") + text_entry("6");
    using Handle = TRN_HANDLE*;
    // clang-format off
    const struct { std::function<void(Handle)> bind; std::string sent; } cases[] = {
        {[](Handle h) { bind_integer(h, "SECOND", 2); bind_integer(h, "fiRst", 1); },
         request("? STC0 ", 4, integer_entry(1, "first") + integer_entry(2, "Second") + three + four)},
        {[](Handle h) { bind_text(h, 2, "two"); }, request("? STC0 ", 4, one + text_entry("two", "Second") + three + four)},
        {[](Handle h) { bind_text(h, 4, "x"); bind_integer(h, "", 3); bind_text(h, 4, "4"); bind_text(h, 6, "6"); },
         request("? STC0 ", 6, one + two + integer_entry(3) + six)},
    };
    // clang-format on
    for (const auto& [bind, sent] : cases) {
        Session session(
            asked({{command("PREPARE STC0 AS sql"), described + K}, {sent, K}, {command("? STC0 "), K}}));
        EXPECT_EQ(prepare(session), "0 STC0");
        const std::string unknown = "Third" + std::string(1000, 'x'),
                          start = "[EC053]Error invalid  param_name :";
        EXPECT_EQ(bind_integer(session.handle(), unknown, 3), -1);
        EXPECT_EQ(error_text(session.connection.handle), (start + unknown).substr(0, 99));
        EXPECT_EQ(bind_integer(session.handle(), "third", 3), -1);
        EXPECT_EQ(error_text(session.connection.handle), start + "third out  of prepared ");
        bind(session.handle());
        EXPECT_EQ((Texts{execute(session, "STC0"), execute(session, "STC0")}), Texts(2, "0"));
    }
}

TEST(described_set, without_values_is_refused_by_name_and_sent_by_default) {
    const std::string described = description({{"a", 2}, {"b", 5}}) + K, b = entry("b", 0, 5, 0, "");
    Session session(asked({{command("PREPARE STC0 AS sql"), described},
                           {request("? STC0 ", 2, entry("a", 0, 30, 0, "") + b), K},
                           {command("PREPARE STC1 AS sql"), described},
                           {request("? STC1 ", 2, integer_entry(1, "a") + b), K},
                           {command("PREPARE STC2 AS sql"), description({}) + K},
                           {command("? STC2 "), K},
                           {command("DEALLOCATE STC0 "), K}}));
    EXPECT_EQ((Texts{prepare_default(session), execute(session), prepare(session)}),
              (Texts{"0", "0", "0 STC1"}));
    char cursor[32] = "untouched";
    for (char* name : {static_cast<char*>(nullptr), cursor}) {
        TRN_HANDLE result = cursor;
        EXPECT_EQ(TRN_Execute2(session.handle(), "STC1", name, &result), -59);
        EXPECT_EQ(error_text(session.connection.handle), without_values);
        EXPECT_EQ(result, cursor);
    }
    EXPECT_STREQ(cursor, "untouched");
    EXPECT_EQ(bind_integer(session.handle(), "A", 1), 0);
    EXPECT_EQ((Texts{execute(session, "STC1"), prepare(session), execute(session, "STC2")}),
              (Texts{"0", "0 STC2", "0"}));
}

TEST(described_set, takes_the_place_of_another_set) {
    const std::string described = description({{"a", 2}}) + K, own = request("q", 1, text_entry("own"));
    Session session(asked({{command("PREPARE STC0 AS sql"), K},
                           {own, K},
                           {command("PREPARE STC1 AS sql"), described},
                           {command("PREPARE STC2 AS sql"), described},
                           {request("? STC2 ", 1, text_entry("v", "a")), K},
                           {own, K}}));
    ParamSet set;
    const auto attach = [&] { return set.attach(session); };
    const auto plain = [&] { return session.connection.run("q"); };
    EXPECT_EQ((Statuses{bind_text(&set.handle, 1, "own"), attach()}), Statuses(2));
    EXPECT_EQ(prepare(session), "0 STC0"); /* without a description the set stays */
    EXPECT_EQ((Statuses{plain(), attach()}), Statuses(2));
    EXPECT_EQ(prepare(session), "0 STC1");
    EXPECT_EQ(bind_text(session.handle(), 1, "gone"), 0);
    EXPECT_EQ(prepare(session), "0 STC2");
    EXPECT_EQ(bind_text(session.handle(), 1, "v"), 0);
    EXPECT_EQ(execute(session, "STC2"), "0");
    EXPECT_EQ((Statuses{attach(), plain()}), Statuses(2));
}

struct Execution {
    std::string reply;
    std::int32_t status;
    std::string items, text; /* the reception's own text, before it is wrapped */
};
const Execution executions[] = {
    {K, 0, "", ""},
    {two_rows + ";" + I("id") + K, 2, "n: 4; 5\ninsert id\n", ""},
    {E("refused") + K, -1, "", "refused"},
    {W(std::string(300, 'w')) + K, -1, "", std::string(300, 'w')},
};

/* By default, by name and through a cursor, whose opening is refused in every second case. */
TEST(execute2, sends_name_and_parameters_and_hands_over_the_items) {
    OutputCapture output;
    for (const auto& [reply, status, items, text] : executions)
        for (const std::string& name : {""s, "STC0"s, std::string(400, 'S')})
            for (int way = 0; way < (name.empty() ? 1 : 3); ++way) {
                SCOPED_TRACE(name + " " + hex_difference(reply, ""));
                const bool failed = status < 0;
                const bool cursor = way > 0;
                const std::string sent = cursor ? "DECLARE  " + name + "_CUR CURSOR FOR " + name + " "
                                                : "? " + (name.empty() ? "STC0" : name) + " ";
                const std::string opened = way == 2 ? "no such cursor" : "";
                std::vector<std::pair<std::string, std::string>> exchanges{
                    {command(""), K},
                    {command("PREPARE STC0 AS sql"), K},
                    {request(sent, 1, text_entry("v")), reply}};
                if (cursor && !failed)
                    exchanges.push_back({command("OPEN " + name + "_CUR ;"), way == 2 ? E(opened) + K : K});
                exchanges.push_back({command("next"), U(7) + K});
                exchanges.push_back({command("DEALLOCATE STC0 "), K});
                Session session(asked(exchanges));
                Reader reader(session.connection, "");
                EXPECT_EQ(prepare_default(session), "0");
                EXPECT_EQ(bind_text(session.handle(), 1, "v"), 0);
                TRN_HANDLE result = &reader;
                Bytes buffer(name.size() + 5, '#');
                EXPECT_EQ(TRN_Execute2(session.handle(), name.empty() ? nullptr : name.c_str(),
                                       cursor ? buffer.data() : nullptr, &result),
                          cursor && !failed ? 0 : status);
                EXPECT_TRUE(!cursor || buffer.data() == name + "_CUR");
                EXPECT_EQ(failed, result == &reader); /* the variable is left alone */
                if (!failed) reader.result = result;
                EXPECT_EQ(reader.transcript(), items);
                EXPECT_EQ(error_text(session.connection.handle),
                          !failed        ? opened
                          : name.empty() ? text
                                         : ("sql:" + sent + " errinfo: " + text + " \n").substr(0, 199));
                EXPECT_EQ(session.connection.run("next"), 7);
            }
}

TEST(prepared, descriptions_that_cannot_be_fail_the_call) {
    const std::string rest = be32(1) + be32(2) + be32(3);
    for (const std::string& broken :
         {be32(-1) + K, be32(INT32_MAX) + wire_text("a") + rest, be32(1) + be32(-1) + rest}) {
        Session session(
            logged_in({expect_command("PREPARE STC0 AS sql"), send("$" + broken), close_connection()}));
        EXPECT_LT(TRN_Prepare2(session.handle(), "sql", Bytes(20).data()), -3);
    }
}

} // namespace
