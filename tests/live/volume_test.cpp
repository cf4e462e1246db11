// Results and values of every size: many rows, long values, many columns.
#include "live_server.h"

class live_volume : public testing::Test {
  protected:
    LiveServer server_;
    Connection connection_{server_};
};

TEST_F(live_volume, every_row_of_a_result_arrives_in_its_place) {
    // Around the sizes of a batch of rows and of a block of the row directory.
    for (const std::int32_t count : {1, 999, 1001, 15999, 16000, 16001, 19999, 20000, 20001, 40000, 100000}) {
        SCOPED_TRACE(count);
        Result result(connection_,
                      "with recursive n(i) as (values(1) union all select i + 1 from n where i < " +
                          std::to_string(count) +
                          ") select i, case when i % 3 then 'row ' || i end as t, i * 0.5 as h from n");
        EXPECT_EQ(result.status, count % 20000);
        EXPECT_EQ(result.rows, count);
        std::int32_t recorded = 0;
        EXPECT_EQ(TRN_getResultRecordnum(&result.handle, &recorded), TRN_OK);
        EXPECT_EQ(recorded, count);
        std::int64_t row = 0;
        std::int64_t sum = 0;
        while (result.next()) {
            ++row;
            std::int64_t number = 0;
            double half = 0;
            char text[32] = "";
            TRN_GetData(&result.handle, 1, TRN_TYPE_BIGINT, &number, sizeof number, nullptr);
            const std::int32_t status =
                TRN_GetData(&result.handle, 2, TRN_TYPE_TEXT, text, sizeof text, nullptr);
            TRN_GetData(&result.handle, 3, TRN_TYPE_DOUBLE, &half, sizeof half, nullptr);
            ASSERT_EQ(number, row);
            ASSERT_EQ(half * 2, static_cast<double>(row));
            ASSERT_EQ(status, row % 3 ? TRN_OK : TRN_NULL_VALUE);
            ASSERT_EQ(text, row % 3 ? "row " + std::to_string(row) : "");
            sum += number;
        }
        EXPECT_EQ(sum, std::int64_t{count} * (count + 1) / 2);
    }
}

static std::string patterned(std::size_t size) {
    std::string text(size, '\0');
    for (std::size_t i = 0; i < size; ++i)
        text[i] = static_cast<char>('a' + i % 251 % 26);
    return text;
}

TEST_F(live_volume, a_value_of_any_length_goes_there_and_back) {
    connection_.run("create table t(id integer primary key, v varchar, w blob)");
    for (const std::size_t size :
         {1U, 63U, 64U, 8191U, 8192U, 32768U, 65534U, 65535U, 65536U, 1048575U, 1048576U, 3000000U}) {
        SCOPED_TRACE(size);
        const std::string sent = patterned(size);
        ASSERT_EQ(
            connection_.run("insert into t(v) values('" + sent + "'); update t set w = cast(v as blob)"), 1)
            << error_text(connection_.handle);
        Result result(connection_, "select v, w, length(v) from t; delete from t");
        ASSERT_TRUE(result.next());
        EXPECT_TRUE(result.text(1) == sent);
        EXPECT_TRUE(result.text(2, TRN_TYPE_BYTES) == sent);
        EXPECT_EQ(result.text(3), std::to_string(size));

        std::string pieces;
        char piece[100000];
        for (std::int32_t length = 0;; pieces.append(piece, static_cast<std::size_t>(length))) {
            length = static_cast<std::int32_t>(pieces.size());
            ASSERT_EQ(TRN_GetData(&result.handle, 2, TRN_TYPE_BYTES_PIECEWISE, piece, sizeof piece, &length),
                      TRN_OK);
            if (length == 0) break;
        }
        EXPECT_TRUE(pieces == sent);
    }
}

TEST_F(live_volume, a_row_of_a_thousand_columns_keeps_every_one) {
    std::string sql;
    for (int i = 1; i <= 1000; ++i) {
        const std::string number = std::to_string(i);
        const std::string values[] = {number, "'t" + number + "'", number + ".5", "null"};
        sql += (i > 1 ? ", " : "select ") + values[i % 4] + " as column_" + number;
    }
    Result result(connection_, sql + " union all select * from (" + sql + ")");
    ASSERT_EQ(result.columns, 1000) << error_text(connection_.handle);
    ASSERT_EQ(result.rows, 2);
    while (result.next()) {
        for (std::int32_t i = 1; i <= 1000; ++i) {
            const std::string number = std::to_string(i);
            EXPECT_EQ(TRN_getResultcolseq(&result.handle, ("COLUMN_" + number).c_str()), i);
            const std::string value = result.text(i);
            switch (i % 4) {
            case 0: EXPECT_EQ(value, number); break;
            case 1: EXPECT_EQ(value, "t" + number); break;
            case 2: EXPECT_EQ(value.substr(0, number.size() + 2), number + ".5"); break;
            default: EXPECT_EQ(value, "NULL"); break;
            }
        }
    }
}
