/*
 * Binds that do not fit together: single values beside arrays, arrays of other sizes, refused binds. Nothing
 * is read beside the application's buffers, and a refused bind leaves no trace.
 */
#include "parameter_wire.h"

static std::int32_t bind_zeros(TRN_HANDLE* handle, std::int32_t position, std::int32_t count,
                               std::size_t rows) {
    return integers(std::vector<std::int32_t>(rows)).bind(handle, position, count);
}

TEST(mixed_bind, room_grows_from_what_an_array_laid_out) {
    ParamSet set;
    EXPECT_EQ((Statuses{bind_zeros(&set.handle, 1, 2, 3), bind_text(&set.handle, 131, "x"),
                        bind_text(&set.handle, 256, "x"), bind_text(&set.handle, 130, "x")}),
              (Statuses{0, TRN_ERR_POSITION_JUMP, TRN_ERR_POSITION_JUMP, 0}));
}

TEST(mixed_bind, rows_that_a_slot_does_not_have_travel_empty) {
    const std::string zero = integer_entry(0), present = be32(4) + be32(0), absent = be32(0);
    const auto batch = [](std::int64_t parameters, const std::string& first, const std::string& row) {
        return request("q", std::int64_t{3} << 16 | parameters, first + wire_text(row + row));
    };
    Session session(
        asked({{batch(3, zero + text_entry("le\0\0"s) + entry("", TRN_DIRECTION_OUT, TRN_WIRE_INTEGER, 0, ""),
                      present + absent + absent),
                "K"},
               {batch(2, zero + zero, absent + present), "K"},
               {batch(2, zero + entry("n", 1, TRN_WIRE_FLOAT, 4, "\x3F\x80\0\0"s), present + absent), "K"}}));
    TRN_HANDLE* handle = session.handle();
    EXPECT_EQ(bind_zeros(handle, 1, 3, 3), TRN_OK);
    EXPECT_EQ(bind_text(handle, 2, "single"), TRN_OK); // read as an element, from its fifth byte on
    EXPECT_EQ(TRN_BindParamByPos(handle, 3, TRN_DIRECTION_OUT, TRN_TYPE_INTEGER, nullptr, 0, nullptr),
              TRN_OK);
    EXPECT_EQ(TRN_ExecBatch(handle, "q", 3), TRN_OK);
    EXPECT_EQ(bind_zeros(handle, 1, 0, 1), TRN_OK); // laid out without rows
    EXPECT_EQ(bind_zeros(handle, 2, 2, 3), TRN_OK);
    EXPECT_EQ(TRN_ExecBatch(handle, "q", 3), TRN_OK);
    std::int32_t length = 4;
    float number = 1;
    EXPECT_EQ(bind_zeros(handle, 1, 2, 3), TRN_OK);
    EXPECT_EQ(TRN_BindParamByName(handle, "n", 1, TRN_TYPE_FLOAT, &number, 4, nullptr, &length), TRN_OK);
    EXPECT_EQ(TRN_ExecBatch(handle, "q", 3), TRN_OK);
}

TEST(mixed_bind, a_refused_array_leaves_the_set_as_it_was) {
    Session session(asked({{request("q", 1, text_entry("x")), "K"}}));
    EXPECT_EQ((Array{TRN_TYPE_BLOB, Bytes(12), {4, 4, 4}}.bind(session.handle(), 1, 1)), TRN_ERR_ARRAY_TYPE);
    EXPECT_EQ(bind_text(session.handle(), 1, "x"), TRN_OK);
    EXPECT_EQ(session.connection.run("q"), TRN_OK);
}

// The second request begins with entries again. It follows a warning, but not an error.
TEST(mixed_bind, more_rows_than_travel_in_16_bits_are_several_requests) {
    std::vector<std::int32_t> values(65536);
    for (std::size_t row = 0; row < values.size(); ++row)
        values[row] = std::int32_t(row * 40503);
    const auto block = [&](std::size_t first, std::size_t end) {
        std::string rows;
        for (; first < end; ++first)
            rows += integer(values[first]);
        return wire_text(rows);
    };
    // Blocks end when they reach 448,001 bytes: 56,001 values of 8 bytes.
    const std::string first_request =
        request("q", 0xFFFF0001, integer_entry(values[0]) + block(1, 56002) + block(56002, 65535));
    const std::string second_request = request("q", 0x00010001, integer_entry(values[65535]));
    const struct {
        std::string first, second; // replies; no second when the first ends the batch
        std::int32_t status;
        std::string text;
    } cases[] = {
        {K, E("full") + K, TRN_ERR_SERVER, "full"},
        {U(65535) + K, U(1) + K, TRN_OK, ""},
        {W("w") + K, U(1) + K, TRN_ERR_SERVER, "w"},
        {U(65535) + M("m") + K, K, TRN_ERR_SERVER, "m"},
        {W("w") + K, F("full") + K, TRN_ERR_SERVER, "full"},
        {K, W("w") + K, TRN_ERR_SERVER, "w"},
        {E("full") + K, "", TRN_ERR_SERVER, "full"},
        {F("full") + W("w") + K, "", TRN_ERR_SERVER, "w"},
        {E("no") + query({{"n", TRN_WIRE_INTEGER}}, {}) + K, "", TRN_ERR_SERVER,
         "[EC026]Error ExecuteBatch can't surpport a select_sql  \n"},
        {W("w") + "U", "", TRN_ERR_NETWORK, "w"},
    };
    for (const auto& [first, second, status, text] : cases) {
        SCOPED_TRACE(first + " " + second);
        const bool complete = first.ends_with(K);
        Script script{expect(first_request), send(first)};
        if (!second.empty()) script.insert(script.end(), {expect(second_request), send(second)});
        if (complete) script.insert(script.end(), {expect_command("next"), send(U(7) + K)});
        if (!complete) script.push_back(close_connection());
        Session session(logged_in(script));
        OutputCapture output;
        EXPECT_EQ(integers(values).bind(session.handle(), 1, 1), TRN_OK);
        EXPECT_EQ(TRN_ExecBatch(session.handle(), "q", 65536), status);
        EXPECT_EQ(error_text(session.connection.handle), text);
        EXPECT_EQ(session.connection.run("next"), complete ? 7 : TRN_ERR_NETWORK);
    }
}
