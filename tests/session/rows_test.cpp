/*
 * Batches whose values are in one block of memory: they travel as those of bound arrays, and nothing outside
 * the block is read.
 */
#include "parameter_wire.h"
#include "tarnsql_ext.h"

namespace {

using Values = std::vector<TRNX_VALUE>;

std::int32_t exec_rows(Session& session, const std::vector<std::int32_t>& types, std::int32_t rows,
                       const Values& values, const Bytes& data) {
    return TRNX_ExecRows(session.handle(), "q", std::int32_t(types.size()), types.data(), rows, values.data(),
                         data.data(), std::uint32_t(data.size()));
}

/* How a value is in memory, and how it travels behind its length. */
// clang-format off
const struct { std::int32_t type; std::string value; std::int64_t wire_type; std::string sent; } forms[] = {
    {1, "a", 3, "a"}, {3, "b", 3, "b"}, {63, "c", 30, "c"}, {4, host_bytes<std::int16_t>(-2), 4, be16(-2)}, {5, host_bytes(-3), 5, be32(-3)},
    {6, host_bytes(-4LL), 6, be64(-4)}, {23, host_bytes(5LL), 13, be64(5)}, {7, host_bytes(1.5f), 8, be_float(1.5f)},
    {8, host_bytes(-2.5), 9, be_double(-2.5)}, {9, "12.5", 30, "12.5"}, {10, "2001-02-03", 30, "2001-02-03"}, {11, "01:02:03", 30, "01:02:03"},
    {13, "2001", 30, "2001"}, {2, pattern(64), 30, pattern(64)}, {62, pattern(65), 30, pattern(65)}, {15, pattern(17), 33, pattern(17)},
    {2, pattern(3000), 30, pattern(3000)}, {15, "", 33, ""}, {2, pattern(16), 30, pattern(16)},
};
// clang-format on

/* Values lie in the memory from its end to its front, some bytes apart; in every second row all are null. */
TEST(rows, of_every_type_travel_exactly) {
    for (const bool typed : {true, false})
        for (const bool from_null : {false, true}) {
            std::vector<std::int32_t> types;
            Values values, nulls;
            std::string data, entries, staged, empty;
            for (const auto& form : forms)
                data.insert(0, form.value + (data.empty() ? "" : "#"));
            std::size_t end = data.size();
            for (const auto& [type, value, wire_type, sent] : forms) {
                types.push_back(type);
                values.push_back({std::uint32_t(end - value.size()), std::uint32_t(value.size())});
                nulls.push_back({0, 0});
                const std::string head = typed ? std::string(1, char(wire_type)) : "";
                entries +=
                    entry("", 1, wire_type, from_null ? 0 : std::int64_t(sent.size()), from_null ? "" : sent);
                staged += head + wire_text(sent);
                empty += head + wire_text("");
                end -= value.size() + 1;
            }
            Values rows = from_null ? nulls : values;
            for (const Values& next : {from_null ? values : nulls, values, nulls})
                rows.insert(rows.end(), next.begin(), next.end());
            const std::string block = (from_null ? staged : empty) + staged + empty;
            Script script = asked(
                {{request("q", 4 << 16 | std::int64_t(types.size()), entries) + wire_text(block), U(4) + K}});
            if (typed) script[1] = send("N\1\2\3\4K");
            Session session(script);
            EXPECT_EQ(exec_rows(session, types, 4, rows, exact(data)), 0);
        }
}

TEST(rows, that_cannot_be_read_or_sent_are_refused_before_anything_is_sent) {
    const std::vector<std::int32_t> text{2}, number{5};
    const Bytes data = exact("0123456789");
    Session session(asked({{command("q"), K}}));
    const auto refused = [&](const std::vector<std::int32_t>& types, std::int32_t rows,
                             const Values& values) {
        EXPECT_EQ(exec_rows(session, types, rows, values, data), TRN_ERR_ARGUMENT) << types[0];
    };
    refused(text, 1, {{0, 11}});
    refused(text, 1, {{11, 0}});
    refused(text, 1, {{UINT32_MAX, 2}});
    refused(text, 1, {{10, UINT32_MAX}});
    refused(text, 3, {{0, 10}, {9, 1}, {9, 2}});
    refused(text, 0, {{0, 1}});
    refused(text, -1, {{0, 1}});
    refused(number, 1, {{0, 3}});
    refused(number, 2, {{0, 4}, {0, 8}});
    for (const std::int32_t type : {0, 12, 14, 28, 31, 40, 41, 42, 58, 64, -1, INT32_MIN, INT32_MAX})
        refused({type}, 1, {{0, 4}});
    const TRNX_VALUE value{0, 1};
    const auto given = [&](TRN_HANDLE* handle, const char* sql, std::int32_t parameters,
                           const std::int32_t* types, const TRNX_VALUE* values, const void* memory) {
        EXPECT_EQ(TRNX_ExecRows(handle, sql, parameters, types, 1, values, memory, 1), TRN_ERR_ARGUMENT);
    };
    given(nullptr, "q", 1, text.data(), &value, data.data());
    given(session.handle(), nullptr, 1, text.data(), &value, data.data());
    given(session.handle(), "q", 0, text.data(), &value, data.data());
    given(session.handle(), "q", 65536, text.data(), &value, data.data());
    given(session.handle(), "q", 1, nullptr, &value, data.data());
    given(session.handle(), "q", 1, text.data(), nullptr, data.data());
    given(session.handle(), "q", 1, text.data(), &value, nullptr);
    EXPECT_EQ(session.connection.run("q"), 0);
}

/* A value may be used by many rows: a row is longer than the memory. The length of a block has 32 bits. */
TEST(rows, of_almost_4_gib_are_refused) {
    const Bytes data(std::size_t{64} << 20);
    const std::vector<std::int32_t> types(64, 2);
    for (const std::string_view login : {"K", "N\1\2\3\4K"}) {
        Script script = asked({{command("q"), K}});
        script[1] = send(std::string(login));
        Session session(script);
        EXPECT_EQ(exec_rows(session, types, 1, Values(64, TRNX_VALUE{0, 64 << 20}), data), TRN_ERR_ARGUMENT);
        EXPECT_EQ(session.connection.run("q"), 0);
    }
}

/* The first request that is refused ends the call, and a set that is bound meanwhile stays so. */
TEST(rows, over_65535_take_several_requests) {
    const std::string null_entry = text_entry(""), null = be32(0);
    const std::int32_t many = 65535;
    std::string full, rest = null_entry + wire_text(null);
    for (std::int32_t row = 1; row < many; ++row)
        full += null;
    /* A block ends behind the row that takes it over 128 KiB. */
    std::string sent = null_entry;
    for (const std::size_t whole = (131072 / null.size() + 1) * null.size(); !full.empty();) {
        sent += wire_text(full.substr(0, whole));
        full.erase(0, whole);
    }
    const std::string first = request("q", std::int64_t{many} << 16 | 1, sent),
                      second = request("q", 2 << 16 | 1, rest);
    const std::string rows = query({{"n", TRN_WIRE_INTEGER}}, {row({integer(1)})});
    Session session(asked({{first, U(many) + K},
                           {second, U(2) + K},
                           {first, W("w") + K},
                           {second, rows + K},
                           {first, E("no") + K},
                           {request("q", 1, text_entry("single")), K}}));
    EXPECT_EQ(bind_text(session.handle(), 1, "single"), 0);
    const Values values(65537, TRNX_VALUE{0, 0});
    const auto run = [&] { return exec_rows(session, {2}, 65537, values, {}); };
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(run(), -1);
    EXPECT_EQ(error_text(session.connection.handle),
              "[EC026]Error ExecuteBatch can't surpport a select_sql  \n");
    EXPECT_EQ(run(), -1);
    EXPECT_EQ(error_text(session.connection.handle), "no");
    EXPECT_EQ(session.connection.run("q"), 0);
}

} // namespace
