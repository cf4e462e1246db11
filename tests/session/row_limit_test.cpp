/*
 * The most rows that a result may have. So many cannot be sent in a test: the count of a result begins
 * near the end.
 */
#include "conn/call.h"
#include "reply/rows.h"
#include "session_fixture.h"
#include "wire/receive.h"

namespace {

const std::string too_large = "[EC080]select result-set is too large please connect to db-server";

/* A connection whose server has sent an unasked query, and a result that can take two more rows. */
struct NearlyFull {
    explicit NearlyFull(const std::vector<std::string>& rows)
        : session({expect_login(), send("K" + query({{"n", TRN_WIRE_INTEGER}}, rows) + K)}),
          channel(static_cast<tarn::Conn*>(session.connection.handle)->channel),
          result(tarn::create_result(*static_cast<tarn::Conn*>(session.connection.handle), TRN_ITEM_QUERY)) {
        tarn::MessageType type{};
        EXPECT_TRUE(tarn::read_type(channel, type) && type == tarn::MessageType::query);
        EXPECT_EQ(tarn::read_columns(channel, *result), TRN_OK);
        result->row_count = tarn::row_limit - 2;
    }
    tarn::RowBatch read(std::int32_t limit) {
        const tarn::RunningCall call(&session.connection.handle);
        return tarn::read_rows(channel, *result, limit);
    }
    std::string stored() {
        std::string all;
        tarn::end_rows(*result);
        while (tarn::go_to_next_row(*result))
            all += std::to_string(tarn::load_wire<std::int32_t>(result->columns[0].value + 4)) + " ";
        return all;
    }

    Session session;
    tarn::Channel& channel;
    tarn::OwnedResult result;
};

TEST(row_limit, refuses_the_row_beyond_it_and_keeps_the_others) {
    EXPECT_EQ(tarn::row_limit, 1347376000);
    const std::string first = row({integer(1)}), second = row({integer(2)}), third = row({integer(3)});
    const std::vector<std::string> forms[] = {
        {first, second, third},
        {first, second, row_with_identifier("id", {integer(3)})},
        {first, row_with_identifier("id", {integer(2)}), third, third},
        {row_with_identifier("", {integer(1)}), row_with_identifier("", {integer(2)}), third}};
    for (const auto& rows : forms)
        for (const std::int32_t limit : {1, 2, 3, 200, 20000, INT32_MAX}) {
            SCOPED_TRACE(limit);
            NearlyFull full(rows);
            OutputCapture output;
            tarn::RowBatch batch{};
            std::int32_t taken = 0;
            for (int i = 0; i < 4 && batch.status == TRN_OK; ++i)
                taken += (batch = full.read(limit)).stored;
            EXPECT_EQ(taken, 2);
            EXPECT_EQ(batch.status, TRN_ERR_SERVER);
            EXPECT_EQ(output.text(), too_large + "\n");
            EXPECT_STREQ(full.result->head.error_text, too_large.c_str());
            EXPECT_EQ(full.result->row_count, tarn::row_limit);
            EXPECT_EQ(full.stored(), "1 2 ");
            EXPECT_FALSE(tarn::is_open(full.channel));
            OutputCapture next_output;
            EXPECT_EQ(full.session.connection.run("next"), TRN_ERR_NETWORK);
        }
}

TEST(row_limit, is_a_number_of_rows_that_a_result_may_have) {
    for (const std::int32_t limit : {3, 20000}) {
        NearlyFull full({row({integer(1)}), row({integer(2)}), W("text")});
        const OutputCapture output;
        const tarn::RowBatch batch = full.read(limit);
        EXPECT_TRUE(batch.stored == 2 && batch.status == TRN_OK);
        EXPECT_EQ(full.stored(), "1 2 ");
        EXPECT_STREQ(full.result->head.error_text, "text");
        tarn::MessageType type{};
        EXPECT_TRUE(tarn::read_type(full.channel, type) && type == tarn::MessageType::end_of_reply);
    }
}

} // namespace
