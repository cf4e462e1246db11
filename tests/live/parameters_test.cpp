// Parameters and batches, over both channels and both protocol versions.
#include "live_server.h"
#include "tarnsql_ext.h"

#include <ostream>
#include <vector>

namespace {

struct Variant {
    const char* protocol;
    const char* settings;
};

void PrintTo(const Variant& variant, std::ostream* out) {
    *out << variant.protocol << ' ' << variant.settings;
}

class live_parameters : public testing::TestWithParam<Variant> {
  protected:
    // Binds by position; the value stays the caller's business only until the call returns.
    template <class T> void bind(int position, int type, T value) {
        std::int32_t length = sizeof value;
        ASSERT_EQ(TRN_BindParamByPos(&connection_.handle, position, TRN_DIRECTION_IN, type, &value, length,
                                     &length),
                  0);
    }
    void bind_text(int position, int type, std::string value) {
        auto length = static_cast<std::int32_t>(value.size());
        ASSERT_EQ(TRN_BindParamByPos(&connection_.handle, position, TRN_DIRECTION_IN, type, value.data(),
                                     length, &length),
                  0);
    }

    LiveServer server_{{"--protocol", GetParam().protocol}};
    Connection connection_{server_, GetParam().settings};
};

} // namespace

INSTANTIATE_TEST_SUITE_P(variants, live_parameters,
                         testing::Values(Variant{"301", ""}, Variant{"201", "use_ssl=on"}));

TEST_P(live_parameters, every_scalar_type_arrives_as_it_was_bound) {
    connection_.run(
        "create table t(a tinyint, b smallint, c integer, d bigint, e float, f double, g varchar(9), h "
        "varbinary(9), i datetime, j integer)");
    bind<std::int8_t>(1, TRN_TYPE_TINYINT, -8);
    bind<std::int16_t>(2, TRN_TYPE_SMALLINT, -1600);
    bind<std::int32_t>(3, TRN_TYPE_INTEGER, -320000);
    bind<std::int64_t>(4, TRN_TYPE_BIGINT, INT64_MIN);
    bind<float>(5, TRN_TYPE_FLOAT, 0.25F);
    bind<double>(6, TRN_TYPE_DOUBLE, -1e-300);
    bind_text(7, TRN_TYPE_TEXT, "caf\xC3\xA9");
    bind_text(8, TRN_TYPE_BYTES, std::string("\0\xFF\x01", 3));
    bind<std::int64_t>(9, TRN_TYPE_DATETIME_RAW, -1000);
    ASSERT_EQ(
        TRN_BindParamByPos(&connection_.handle, 10, TRN_DIRECTION_IN, TRN_TYPE_INTEGER, nullptr, 0, nullptr),
        0);
    ASSERT_EQ(connection_.run("insert into t values(?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"), 1)
        << error_text(connection_.handle);
    EXPECT_EQ(
        connection_.transcript("select a, b, c, d, e, g, hex(h) as h, i, j, f = -1e-300 as f from t"),
        "a,b,c,d,e,g,h,i,j,f: -8,-1600,-320000,-9223372036854775808,0.250000,caf\xC3\xA9,00FF01,1969-12-31 "
        "23:59:59,NULL,1\n");
}

// Two requests, and values of every length.
TEST_P(live_parameters, a_batch_stores_every_row) {
    constexpr std::int32_t rows = 70000;
    connection_.run("create table t(k integer, v varchar(30), w double)");
    std::vector<std::int32_t> keys(rows), key_lengths(rows, 4), text_lengths, number_lengths(rows, 8);
    std::vector<double> numbers(rows);
    std::string texts;
    for (std::int32_t i = 0; i < rows; ++i) {
        keys[static_cast<std::size_t>(i)] = i;
        numbers[static_cast<std::size_t>(i)] = i / 4.0;
        text_lengths.push_back(i % 30);
        texts.append(reinterpret_cast<const char*>(&text_lengths.back()), 4).append(std::size_t(i % 30), 'x');
    }
    const auto bind_array = [&](int position, int type, void* values, std::size_t size,
                                std::int32_t* lengths) {
        ASSERT_EQ(TRN_BindParamArrayByPos(&connection_.handle, position, 3, 1, type, rows, values,
                                          static_cast<std::int32_t>(size), lengths),
                  0);
    };
    bind_array(1, TRN_TYPE_INTEGER, keys.data(), keys.size() * 4, key_lengths.data());
    bind_array(2, TRN_TYPE_TEXT, texts.data(), texts.size(), text_lengths.data());
    bind_array(3, TRN_TYPE_DOUBLE, numbers.data(), numbers.size() * 8, number_lengths.data());
    ASSERT_EQ(TRN_ExecBatch(&connection_.handle, "insert into t values(?, ?, ?)", rows), 0)
        << error_text(connection_.handle);
    EXPECT_EQ(connection_.transcript(
                  "select count(*) as n, sum(k) as k, sum(length(v)) as v, cast(sum(w) as integer) as w, "
                  "sum(k % 30 = ifnull(length(v), 0) and w = k / 4.0) as same from t"),
              "n,k,v,w,same: 70000,2449965000,1014900,612491250,70000\n"); // an empty text is stored
                                                                           // as a null
}

// Values of every length around short runs and blocks, in any order and more than once.
TEST_P(live_parameters, rows_anywhere_in_memory_are_stored) {
    std::string data;
    for (std::size_t i = 0; i < 400000; ++i)
        data += static_cast<char>('!' + (i * 7 + i / 251) % 90);
    const std::uint32_t lengths[] = {1, 64, 15, 65, 16, 2000, 63, 130000, 17, 0, 131072, 5, 399999, 3};
    constexpr std::uint32_t rows = 1500, columns = 3;
    std::vector<TRNX_VALUE> values;
    std::string expected = "v,w,x";
    for (std::uint32_t i = 0; i < rows * columns; ++i) {
        const std::uint32_t length = i % 400 < 14 ? lengths[i % 14] : lengths[i * 5 % 3 + i % 2 * 2],
                            offset = i * 7919 % (400001 - length);
        values.push_back({i % 14 == 1 ? 400000 - length : offset, length});
        expected += i == 0 ? ": " : i % columns == 0 ? "; " : ",";
        expected += length ? data.substr(values.back().offset, length) : "NULL";
    }
    connection_.run("create table t(v varchar, w varchar, x varchar)");
    const std::int32_t types[] = {TRN_TYPE_TEXT, TRN_TYPE_DATE, TRN_TYPE_NUMERIC};
    ASSERT_EQ(TRNX_ExecRows(&connection_.handle, "insert into t values(?, ?, ?)", columns, types, rows,
                            values.data(), data.data(), static_cast<std::uint32_t>(data.size())),
              0)
        << error_text(connection_.handle);
    EXPECT_EQ(connection_.transcript("select * from t order by rowid"), expected + "\n");
}
