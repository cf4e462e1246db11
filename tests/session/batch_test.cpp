/*
 * Arrays and batches: the checks of the array binding calls, the first row's entries and the blocks of the
 * rows behind it, byte for byte, for both forms that servers understand.
 */
#include "parameter_wire.h"

namespace {

/* Requests to a server that wants a type before every staged value, or to one that does not. */
Script asked_of(bool typed, const std::vector<std::pair<std::string, std::string>>& exchanges) {
    Script script = asked(exchanges);
    if (typed) script[1] = send("N\1\2\3\4K");
    return script;
}

std::string batch(std::size_t rows, std::size_t parameters, const std::string& rest) {
    return request("q", std::int64_t(rows << 16 | parameters), rest);
}

// clang-format off
const struct { std::int32_t position, direction; std::vector<std::int32_t> values; std::int32_t status; const char* text; } refusals[] = {
    {4001, 4, {1, 2}, -52, "[EC052]Error invalid param type 4"}, {0, 0, {1, 2}, -52, "[EC052]Error invalid param type 0"},
    {4001, 1, {1, 2}, -51, "[EC051]Error invalid param NO 4001 out of range paramnum"},
    {3, 1, {1, 2}, -51, "[EC051]Error invalid param NO : 3 out of range paramnum : 2 "},
    {-1, 6, {1, 2}, -54, "[EC054]Error param_no  param seq -1 invalid"},
    {2, 6, {1, 2}, 0, ""}, {2, 2, {1, 2}, -8, ""}, {2, 3, {1, 2}, -8, ""}, {0, 6, {1, 2}, 0, ""}, {0, 2, {1, 2}, 0, ""}, {0, 3, {1, 2}, 0, ""},
    {2, 1, {1, 2, 3}, -58, "[EC058]Error bindparam unsurpported datatype 5 invalid"},
    {0, 1, {1}, -58, "[EC058]Error bindparam unsurpported datatype 5 invalid"}, {2, 1, {}, -3, ""}, {0, 1, {}, -3, ""},
};

/* Elements that would run past their buffer. */
const struct { std::int32_t type; std::string values; std::vector<std::int32_t> lengths; } outside[] = {
    {1, "a", {1, 1}}, {63, "ab", {1, 1, 1}}, {4, "abc", {2, 2}}, {5, "abcdefg", {4, 4}}, {6, std::string(15, 'x'), {8, 8}},
    {8, "1234567", {8}}, {2, counted("abcd").substr(0, 7), {3}}, {2, "\1\0\0"s, {1}}, {62, counted("a") + "\xff\xff\xff\x7f" "b", {1, 1}},
    {62, "\xfb\xff\xff\xff" "abc", {1}}, {10, "abc", {2, 2}}, {13, "abc", {INT32_MAX, INT32_MAX}}, {14, "abc", {4}}, {9, "abc", {4}}, {31, "abc", {4}},
};
// clang-format on

TEST(array_binding, is_refused_by_the_first_check_that_fails_and_leaves_the_set_as_it_was) {
    for (const bool explicit_set : {false, true}) {
        OutputCapture output;
        Session session(asked({{batch(2, 1, integer_entry(10) + wire_text(integer(20))), K}}));
        ParamSet set;
        TRN_HANDLE* handle = explicit_set ? &set.handle : session.handle();
        EXPECT_EQ(integers({10, 20}).bind(handle, 1, 2), 0);
        std::string before;
        const auto expect_text = [&](const std::string& text) {
            if (!explicit_set && !text.empty()) before = text;
            EXPECT_EQ(error_text(session.connection.handle), before);
        };
        for (const auto& [position, direction, values, status, text] : refusals) {
            EXPECT_EQ(integers(values).bind(handle, position, 2, "n", direction), status) << text;
            expect_text(text);
        }
        for (const std::int32_t type : {0, 7, 16, 18, 21, 29, 30, 40, 41, 42, 58, 61, 64, -1, INT32_MIN})
            for (const std::int32_t position : {0, 2}) {
                if (type == 7 && position == 2) continue; /* the call by position takes these */
                Array array{type, Bytes(64), {8, 8}};
                EXPECT_EQ(array.bind(handle, position, 2), -58) << type;
                expect_text("[EC058]Error bindparam unsurpported datatype " + std::to_string(type) +
                            " invalid");
            }
        EXPECT_TRUE(
            output.text().starts_with("bindparam unsurpported datatype\nbindparam unsurpported datatype\n"));
        for (const auto& [type, values, lengths] : outside)
            for (const std::int32_t position : {0, 1}) {
                ParamSet one;
                EXPECT_EQ((Array{type, exact(values), lengths}.bind(&one.handle, position, 1)), -58) << type;
            }
        if (explicit_set) set.attach(session);
        EXPECT_EQ(TRN_ExecBatch(session.handle(), "q", 2), 0);
    }
}

TEST(array_binding, of_another_direction_looks_at_nothing_else) {
    char byte = 1;
    std::int32_t length = 1;
    const struct {
        std::int32_t rows;
        void* values;
        std::int32_t size, *lengths;
    } arguments[] = {{0, &byte, 1, &length},  {-1, &byte, 1, &length}, {1, nullptr, 1, &length},
                     {1, &byte, -1, &length}, {1, &byte, 1, nullptr},  {0, nullptr, 0, nullptr}};
    for (const auto& [rows, values, size, lengths] : arguments)
        for (const std::int32_t direction : {1, 2, 3, 6}) {
            ParamSet set;
            const std::int32_t by_position = direction == 1 ? -3 : direction == 6 ? 0 : -8;
            EXPECT_EQ(
                TRN_BindParamArrayByName(&set.handle, "n", 1, direction, 3, rows, values, size, lengths),
                direction == 1 ? -3 : 0);
            EXPECT_EQ(TRN_BindParamArrayByPos(&set.handle, 1, 1, direction, 3, rows, values, size, lengths),
                      by_position);
            EXPECT_EQ(integers({1, 2}).bind(&set.handle, 1, 1), rows < 1 || direction == 1 ? 0 : -58);
        }
}

/* Two rows of a type in memory, and how they travel: as an entry behind its direction, and staged behind a
 * type. */
constexpr int by_position = 1, by_name = 2, both = 3;
// clang-format off
std::string t(const std::string& text) { return be16(TRN_WIRE_CHAR) + wire_text(text); }
const std::string a = wire_text("a"), b = wire_text("b"), empty = be32(0), pad = "####"; /* a pad does not travel */
const std::string longs = host_bytes(-2LL) + host_bytes(3LL), ints = host_bytes(-2) + host_bytes(3), two_texts = counted("first") + counted("2nd");
const struct { std::int32_t type; std::string values; std::vector<std::int32_t> lengths; std::string entry, staged_type, staged; int calls; } forms[] = {
    {1, "ab", {1, 1}, be16(3) + a, "\3", b, both}, {3, "ab", {1, 1}, be16(3) + a, "\3", b, both}, {63, "ab", {1, 1}, t("a"), "\x1e", b, both},
    {4, host_bytes<std::int16_t>(-2) + "\3\0"s, {2, 2}, be16(4) + wire_text(be16(-2)), "\4", wire_text(be16(3)), both},
    {5, ints, {4, 4}, be16(5) + integer(-2), "\5", integer(3), both}, {5, ints, {1, 1}, be16(5) + be32(1) + be32(-2), "\5", integer(3), both},
    {6, longs, {8, 8}, be16(6) + wire_text(be64(-2)), "\6", wire_text(be64(3)), both},
    {23, longs, {8, 8}, be16(13) + wire_text(be64(-2)), "\xd", wire_text(be64(3)), both},
    {7, host_bytes(1.5f) + host_bytes(-2.5f), {4, 4}, be16(8) + wire_text(be_float(1.5f)), "\x8", wire_text(be_float(-2.5f)), by_position},
    {8, host_bytes(1.5) + host_bytes(-2.5), {8, 8}, be16(9) + wire_text(be_double(1.5)), "\x9", wire_text(be_double(-2.5)), both},
    {9, "12.5b", {4, 1}, t("12.5"), "\x1e", b, both}, {10, "2001-02-03b", {10, 1}, t("2001-02-03"), "\x1e", b, both},
    {11, "01:02:03b", {8, 1}, t("01:02:03"), "\x1e", b, both}, {13, "2001b", {4, 1}, t("2001"), "\x1e", b, both},
    {2, two_texts, {5, 3}, t("first"), "\x1e", wire_text("2nd"), both}, {62, two_texts, {5, 3}, t("first"), "\x1e", wire_text("2nd"), both},
    {15, pad + "1st" + pad + "2", {3, 1}, be16(33) + wire_text("1st"), "\x21", wire_text("2"), by_position},
    {15, pad + "1st2", {3, 1}, be16(33) + wire_text("1st"), "\x21", wire_text("2"), by_name},
    /* Lengths that lie: what travels ends with the buffer. */
    {3, "ab", {5, 5}, be16(3) + wire_text("ab"), "\3", b, both},
    {2, two_texts, {99, 99}, t(two_texts.substr(4)), "\x1e", wire_text("2nd"), both},
    {15, "####1st", {5, 2}, be16(33) + wire_text("1st"), "\x21", empty, by_name},
    /* Types without an entry of their own: it ends behind the direction, and only a type is staged. */
    {12, "abc", {2, 1}, "", "\x1e", "", both}, {14, "abc", {2, 1}, "", "\x1e", "", both},
    {28, "ab" + pad + "c" + pad, {2, 1}, "", "\x1e", "", by_position}, {31, "abc", {2, 1}, "", "\x1e", "", by_name},
    /* Nulls. */
    {5, ints, {0, 0}, be16(5) + empty, "\5", empty, both}, {5, ints, {4, -1}, be16(5) + integer(-2), "\5", empty, both},
    {6, longs, {0, -1}, be16(6) + empty, "\6", empty, both}, {3, "ab", {0, 0}, be16(3) + empty, "\3", empty, both},
    {2, counted("") + counted(""), {0, 0}, t(""), "\x1e", empty, both}, {13, "b", {0, 1}, t(""), "\x1e", b, both},
};
// clang-format on

TEST(batch, sends_every_type_of_row_exactly) {
    for (const bool typed : {true, false})
        for (const auto& [type, values, lengths, entry, staged_type, staged, calls] : forms)
            for (const int call : {by_position, by_name}) {
                if (!(calls & call)) continue;
                SCOPED_TRACE("type " + std::to_string(type) + (call == by_name ? " by name" : ""));
                const std::string block = (typed ? staged_type : "") + staged;
                Session session(
                    asked_of(typed, {{batch(2, 1, entry_head(call == by_name ? "n" : "", 1) + entry) +
                                          (block.empty() ? "" : wire_text(block)),
                                      U(5) + K}}));
                Array array{type, exact(values), lengths};
                EXPECT_EQ(array.bind(session.handle(), call == by_name ? 0 : 1, 1), 0);
                EXPECT_EQ(TRN_ExecBatch(session.handle(), "q", 2), 0);
            }
}

/* Blocks hold whole rows, of 512,000 bytes at most unless one value needs more; a type is a byte of each
 * value. */
TEST(batch, sends_blocks_of_whole_rows) {
    using Sizes = std::vector<std::size_t>;
    const std::size_t sizes[] = {1, 200000, 17, 65000, 3000, 199999, 2049, 90000, 447990, 5, 130000};
    std::vector<Sizes> mixed;
    for (std::size_t r = 0; r < 30; ++r)
        mixed.push_back({sizes[r % 11], sizes[r * 5 % 7], sizes[r * 3 % 11] / 2});
    const std::size_t short_sizes[] = {0, 16, 64, 1, 17, 65, 200, 63, 5};
    std::vector<Sizes> shorts;
    for (std::size_t r = 0; r < 100; ++r)
        shorts.push_back({short_sizes[r % 9], short_sizes[r * 5 % 7], short_sizes[r / 9 % 9], r % 2});
    // clang-format off
    /* The sizes of the values by row, and how many of the rows after the first are sent in each block. */
    const struct { std::vector<Sizes> rows; Sizes typed_blocks, untyped_blocks; } cases[] = {
        {{{1}}, {}, {}}, {shorts, {99}, {99}}, {mixed, {2, 2, 3, 1, 1, 1, 5, 2, 2, 3, 3, 4}, {2, 2, 3, 1, 1, 1, 5, 2, 2, 3, 3, 4}},
        {{{1}, {447995}, {1}, {447996}, {511995}, {511996}, {1}, {447990}, {63990}, {447990}, {64000}, {1}},
         {2, 1, 1, 1, 4, 2}, {2, 1, 1, 2, 3, 2}},
        {{{9, 600000}, {9, 1}, {9, 600000}, {9, 3000}, {9, 500000}, {9, 600000}, {9, 700000}, {9, 540000}, {9, 2}, {9, 500000}, {9, 300000}},
         {1, 1, 3, 1, 1, 3}, {1, 1, 3, 1, 1, 3}},
    };
    // clang-format on
    for (const auto& [rows, typed_blocks, untyped_blocks] : cases)
        for (const bool typed : {true, false}) {
            const std::size_t columns = rows[0].size();
            std::vector<std::vector<std::string>> values(columns);
            std::string entries, sent;
            for (const Sizes& row : rows)
                for (std::size_t column = 0; column < columns; ++column)
                    values[column].push_back(pattern(row[column]));
            for (const auto& column : values)
                entries += text_entry(column[0]);
            std::size_t row = 1;
            for (std::size_t count : typed ? typed_blocks : untyped_blocks) {
                std::string block;
                for (; count > 0; --count, ++row)
                    for (const auto& column : values)
                        block += (typed ? "\x1e" : "") + wire_text(column[row]);
                sent += wire_text(block);
            }
            Session session(asked_of(typed, {{batch(rows.size(), columns, entries) + sent, K}}));
            for (std::size_t column = 0; column < columns; ++column)
                texts(values[column]).bind(session.handle(), std::int32_t(column) + 1, std::int32_t(columns));
            EXPECT_EQ(TRN_ExecBatch(session.handle(), "q", std::int32_t(rows.size())), 0);
        }
}

TEST(batch, needs_a_set_with_as_many_rows_and_leaves_it_attached_and_empty) {
    OutputCapture output;
    const std::string sent = batch(1, 1, integer_entry(1)), rows = row({integer(1)}) + row({integer(2)});
    Session session(asked({{sent, query({{"n", TRN_WIRE_INTEGER}}, {rows}) + K},
                           {sent, E("no") + K},
                           {sent, U(3) + K},
                           {command("q"), K},
                           {request("q", 1, text_entry("single")), K}}));
    ParamSet set;
    const auto outcome = [&](std::int32_t count, std::size_t bound = 0) {
        if (bound > 0) integers(std::vector<std::int32_t>(bound, 1)).bind(&set.handle, 1, 1);
        const std::int32_t status = TRN_ExecBatch(session.handle(), "q", count);
        return std::to_string(status) + " " + error_text(session.connection.handle);
    };
    const auto mismatch = [](const std::string& rows_and_count) {
        return "-1 [EC057]Error ExecuteBatch with paramsbind arraysize " + rows_and_count + " \n";
    };
    EXPECT_EQ(outcome(1), "-1 [EC025]Error ExecuteBatch without  bindparams  \n");
    EXPECT_EQ(set.attach(session), 0);
    EXPECT_EQ(outcome(1), mismatch("0  does not match ArrayCount 1"));
    EXPECT_EQ(outcome(1, 1), "2 [EC026]Error ExecuteBatch can't surpport a select_sql  \n");
    EXPECT_EQ(outcome(1), mismatch("0  does not match ArrayCount 1"));
    EXPECT_EQ(outcome(1, 1), "-1 no");
    EXPECT_EQ(outcome(1, 1), "0 no");
    EXPECT_EQ(session.connection.run("q"), 0);
    EXPECT_EQ(set.attach(session), 0);
    EXPECT_EQ(outcome(10, 5), mismatch("5  does not match ArrayCount 10"));
    EXPECT_EQ(TRN_Reset(&set.handle), 0);
    EXPECT_EQ(outcome(5), mismatch("0  does not match ArrayCount 5"));
    EXPECT_EQ(bind_text(session.handle(), 1, "single"), 0);
    EXPECT_EQ(session.connection.run("q"), 0);
}

TEST(array_binding, by_name_takes_each_name_once_and_prints_a_line_beyond_the_given_number) {
    for (const bool described : {false, true}) {
        SCOPED_TRACE(described ? "described set" : "the connection's set");
        const std::string names[] = {"a", std::string(1000, 'n'), "c"};
        std::string description = "$" + be32(3);
        for (const std::string& name : names)
            description += wire_text(name) + be32(1) + be32(TRN_TYPE_INTEGER) + be32(4);
        const std::string entries =
            integer_entry(1, names[0]) + integer_entry(3, names[1]) + integer_entry(5, "c");
        Session session(asked({{command("PREPARE STC0 AS sql"), (described ? description : "") + K},
                               {batch(2, 3, entries) + wire_text(integer(2) + integer(4) + integer(6)), K}}));
        EXPECT_EQ(TRN_Prepare2(session.handle(), "sql", Bytes(20).data()), 0);
        OutputCapture output;
        EXPECT_EQ(integers({1, 2}).bind(session.handle(), 0, 2, "a"), 0);
        EXPECT_EQ(integers({9, 9}).bind(session.handle(), 0, 2, described ? "d" : "A"), -53);
        EXPECT_EQ(integers({3, 4}).bind(session.handle(), 0, 2, names[1].c_str()), 0);
        EXPECT_EQ(integers({5, 6}).bind(session.handle(), 0, 2, described ? "C" : "c"), 0);
        EXPECT_EQ(output.text(), "params bind num 3 beyanged given num 2 \n");
        EXPECT_EQ(TRN_ExecBatch(session.handle(), "q", 2), 0);
    }
}

/* Whatever is bound to one set, in whatever order: nothing outside the values is read. */
TEST(array_binding, mixed_with_single_values_and_other_numbers_reads_nothing_outside) {
    const auto bind = [](TRN_HANDLE* handle, int pick) {
        if (pick == 0) integers({1, 2}).bind(handle, 1, 2);
        if (pick == 1) texts({"one row"}).bind(handle, 3, 0);
        if (pick == 2) bind_text(handle, 2, "text");
        if (pick == 3) integers({1, 2}).bind(handle, 0, 200, "name");
    };
    OutputCapture output;
    for (int order = 0; order < 64; ++order)
        for (const bool as_batch : {true, false}) {
            Session session(logged_in(Script{expect("?"), reset_connection()}));
            for (const int pick : {order % 4, order / 4 % 4, order / 16})
                bind(session.handle(), pick);
            if (as_batch) TRN_ExecBatch(session.handle(), "q", 2); /* refused when the rows are others */
            EXPECT_EQ(session.connection.run("q"), TRN_ERR_NETWORK) << order;
        }
}

} // namespace
