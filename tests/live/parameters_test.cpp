// Parameters, prepared statements, batches and large objects, over both channels and both protocol versions.
#include "live_server.h"

#include <chrono>
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
                         testing::Values(Variant{"301", ""}, Variant{"201", "use_ssl=on"},
                                         Variant{"301", "use_ssl=on;lob_ret=1"}));

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

TEST_P(live_parameters, a_prepared_statement_is_executed_again_and_again_by_name_and_by_position) {
    connection_.run("create table t(k integer primary key, v varchar(20))");
    char name[20];
    ASSERT_EQ(TRN_Prepare2(&connection_.handle, "insert into t values(:key, :text)", name), TRN_OK);
    for (std::int32_t key = 1; key <= 3; ++key) {
        std::int32_t size = sizeof key;
        std::string text = "text " + std::to_string(key);
        auto length = static_cast<std::int32_t>(text.size());
        EXPECT_EQ(TRN_BindParamByName(&connection_.handle, "TEXT", 1, TRN_TYPE_TEXT, text.data(), length,
                                      nullptr, &length),
                  0);
        EXPECT_EQ(
            TRN_BindParamByName(&connection_.handle, "key", 1, TRN_TYPE_INTEGER, &key, size, nullptr, &size),
            0);
        TRN_HANDLE result = nullptr;
        EXPECT_EQ(TRN_Execute2(&connection_.handle, name, nullptr, &result), 0)
            << error_text(connection_.handle);
        TRN_FreeRowset(&result);
    }
    EXPECT_EQ(TRN_UnPrepare(&connection_.handle, name), 0);
    ASSERT_EQ(TRN_Prepare2(&connection_.handle, "select v from t where k >= ?", nullptr), TRN_PREPARED_QUERY);
    bind<std::int32_t>(1, TRN_TYPE_INTEGER, 2);
    TRN_HANDLE result = nullptr;
    EXPECT_EQ(TRN_Execute2(&connection_.handle, nullptr, nullptr, &result), 2);
    TRN_FreeRowset(&result);
    EXPECT_EQ(TRN_Execute2(&connection_.handle, "nowhere", nullptr, nullptr), TRN_ERR_SERVER);
    EXPECT_EQ(error_text(connection_.handle).substr(0, 24), "sql:? nowhere  errinfo: ");
}

// A batch against one statement a row, in one run: the rows have to be the same, and the batch has to be worth it.
TEST_P(live_parameters, a_batch_stores_what_single_statements_store_and_faster) {
    constexpr std::int32_t rows = 200000; // four requests
    constexpr std::int32_t singles = 2000;
    connection_.run("create table t(k integer, v varchar(30), w double)");
    std::vector<std::int32_t> keys(rows), key_lengths(rows, 4), text_lengths, number_lengths(rows, 8);
    std::vector<double> numbers(rows);
    std::string texts;
    for (std::int32_t i = 0; i < rows; ++i) {
        keys[static_cast<std::size_t>(i)] = i;
        numbers[static_cast<std::size_t>(i)] = i / 4.0;
        const std::string text(static_cast<std::size_t>(i % 30), 'x');
        const auto length = static_cast<std::int32_t>(text.size());
        texts.append(reinterpret_cast<const char*>(&length), sizeof length).append(text);
        text_lengths.push_back(length);
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
    using clock = std::chrono::steady_clock;
    const auto start = clock::now();
    ASSERT_EQ(TRN_ExecBatch(&connection_.handle, "insert into t values(?, ?, ?)", rows), 0)
        << error_text(connection_.handle);
    const auto middle = clock::now();
    connection_.run("begin");
    for (std::int32_t i = 0; i < singles; ++i) {
        bind<std::int32_t>(1, TRN_TYPE_INTEGER, i);
        ASSERT_EQ(connection_.run("insert into t values(?, null, null)"), 1);
    }
    connection_.run("commit");
    const std::chrono::duration<double> batch = middle - start, single = clock::now() - middle;
    const double batch_rate = rows / batch.count(), single_rate = singles / single.count();
    RecordProperty("batch_rows_a_second", static_cast<int>(batch_rate));
    RecordProperty("single_rows_a_second", static_cast<int>(single_rate));
    EXPECT_GT(batch_rate, 2 * single_rate);
    EXPECT_EQ(
        connection_.transcript(
            "select count(*) as n, sum(k) as k, sum(length(v)) as v, sum(w) as w from t where w is not null"),
        "n,k,v,w: 200000,19999900000,2899900,4999975000.000000\n"); // an empty text is stored as a null
}

TEST_P(live_parameters, large_objects_of_every_size_come_back_whole) {
    connection_.run("create table t(size integer, c clob, b blob)");
    for (const std::size_t size :
         {std::size_t{1}, std::size_t{65536}, std::size_t{65537}, std::size_t{1048575}, std::size_t{1048576},
          std::size_t{1048577}, std::size_t{3500000}}) {
        std::string content(size, '\0');
        for (std::size_t i = 0; i < size; ++i)
            content[i] = static_cast<char>('a' + i % 23);
        TRN_HANDLE lob = nullptr;
        ASSERT_EQ(TRN_Create_Lob(&lob), 0);
        ASSERT_EQ(TRN_Put_Lob_data(&lob, content.data(), static_cast<std::int32_t>(size)), 0);
        ASSERT_EQ(TRN_Put_Lob_data(&lob, nullptr, TRN_LOB_END), 0);
        ASSERT_EQ(TRN_BindParamByPos(&connection_.handle, 1, 1, TRN_TYPE_CLOB, &lob, 0, nullptr), 0);
        ASSERT_EQ(TRN_BindParamByPos(&connection_.handle, 2, 1, TRN_TYPE_BLOB, lob, 0, nullptr), 0);
        ASSERT_EQ(connection_.run("insert into t values(1, ?, ?)"), 1) << error_text(connection_.handle);
        {
            Reader reader(connection_, "select c, b from t");
            ASSERT_TRUE(reader.next());
            for (const int column : {1, 2}) {
                std::int32_t length = 0;
                ASSERT_EQ(TRN_GetData(&reader.result, column, column == 1 ? TRN_TYPE_CLOB : TRN_TYPE_BLOB,
                                      &lob, 0, &length),
                          0);
                std::string received(size + 1, '\0');
                EXPECT_EQ(TRN_Get_Lob_data(&lob, received.data(), static_cast<std::int32_t>(size + 1)),
                          length);
                received.resize(static_cast<std::size_t>(length));
                EXPECT_TRUE(received == content) << size;
            }
        }
        TRN_Distroy_Lob(&lob);
        connection_.run("delete from t");
    }
}
