// Several threads on one server, and servers that vanish.
#include "live_server.h"

#include <thread>
#include <vector>

TEST(live_threads, connections_of_their_own_work_side_by_side_on_one_database) {
    constexpr int threads = 8;
    constexpr int inserts = 40;
    LiveServer server;
    Connection creator(server);
    creator.run("create table t(thread int, number int)");
    const auto work = [&server](int thread) {
        Connection connection(server);
        ASSERT_EQ(connection.opened, TRN_OPENED);
        const std::string mine = std::to_string(thread);
        for (int i = 1; i <= inserts; ++i) {
            ASSERT_EQ(connection.run("insert into t values(" + mine + ", " + std::to_string(i) + ")"), 1)
                << error_text(connection.handle);
            ASSERT_EQ(transcript(connection,
                                 "select count(*) as n, sum(number) as s from t where thread = " + mine),
                      "n,s: " + std::to_string(i) + "," + std::to_string(i * (i + 1) / 2) + "\n");
        }
    };
    std::vector<std::thread> running;
    for (int i = 0; i < threads; ++i)
        running.emplace_back(work, i);
    for (std::thread& thread : running)
        thread.join();
    EXPECT_EQ(transcript(creator, "select count(*) as n, count(distinct thread) as t from t"),
              "n,t: 320,8\n");
}

TEST(live_threads, one_connection_serves_several_threads_one_after_another) {
    LiveServer server;
    Connection shared(server);
    shared.run("create table t(thread int, number int)");
    const auto work = [&shared](int thread) {
        const std::string mine = std::to_string(thread);
        for (int i = 1; i <= 60; ++i) {
            const std::string number = std::to_string(i);
            ASSERT_EQ(shared.run("insert into t values(" + mine + ", " + number + ")"), 1);
            ASSERT_EQ(transcript(shared, "select " + mine +
                                             " as a; select max(number) as m from t where thread = " + mine),
                      "a: " + mine + "\nm: " + number + "\n");
            char value[64] = "";
            std::uint32_t type = 0;
            const std::string sql = "select 'thread " + mine + "'";
            ASSERT_EQ(TRN_Execute_query_with_one(&shared.handle, sql.c_str(), value, &type), TRN_OK);
            ASSERT_EQ(value, "thread " + mine);
        }
    };
    std::vector<std::thread> running;
    for (int i = 0; i < 4; ++i)
        running.emplace_back(work, i);
    for (std::thread& thread : running)
        thread.join();
    EXPECT_EQ(transcript(shared, "select count(*) as n from t"), "n: 240\n");
}

// The statement marks its beginning in the database, so that the server is killed while it certainly runs.
TEST(live_server_loss, a_call_whose_server_is_killed_fails_and_a_new_server_is_reachable) {
    const std::string endless = "with recursive n(i) as (values(1) union all select i + 1 from n) ";
    for (const std::string& query :
         {endless + "select max(i) from n", endless + "select i, 'row ' || i from n"}) {
        SCOPED_TRACE(query);
        LiveServer server;
        Connection working(server);
        Connection watching(server);
        working.run("create table started(a int)");
        std::int32_t status = 0;
        TRN_HANDLE result = nullptr;
        std::thread call([&] {
            status =
                TRN_ExecwithDataReader(&working.handle, ("insert into started values(1); " + query).c_str(),
                                       &result, nullptr, nullptr, nullptr);
        });
        char seen[65] = "0";
        std::uint32_t type = 0;
        while (seen[0] == '0' && TRN_Execute_query_with_one(&watching.handle, "select count(*) from started",
                                                            seen, &type) == TRN_OK) {
        }
        EXPECT_STREQ(seen, "1");
        server.kill();
        call.join();
        EXPECT_EQ(status, TRN_ERR_NETWORK);
        EXPECT_EQ(result, nullptr);
        EXPECT_EQ(working.run("select 1"), TRN_ERR_NETWORK);
        EXPECT_EQ(TRN_CloseConn(&working.handle), TRN_OK);
        EXPECT_EQ(working.handle, nullptr);

        LiveServer successor;
        Connection anew(successor);
        ASSERT_EQ(anew.opened, TRN_OPENED);
        EXPECT_EQ(transcript(anew, "select 'here' as a"), "a: here\n");
    }
}

TEST(live_server_loss, results_outlive_the_server_and_the_connection) {
    LiveServer server;
    Connection connection(server);
    Result result(connection, "select 'kept' as a, 2 as b; select 3 as c");
    server.kill();
    TRN_CloseConn(&connection.handle);
    ASSERT_TRUE(result.next());
    EXPECT_EQ(result.text(1) + result.text(2), "kept2");
    ASSERT_EQ(TRN_NextResult(&result.handle), TRN_OK);
    EXPECT_EQ(result.label(1), "c");
}
