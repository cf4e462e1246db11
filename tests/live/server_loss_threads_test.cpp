// Threads that take each other's bound set, and servers that vanish.
#include "live_server.h"
#include "output_capture.h"

#include <functional>
#include <thread>

// The bound set passes from call to call: each takes it, or finds none, whatever the others do.
TEST(live_threads, pass_the_bound_set_of_a_shared_connection_from_call_to_call) {
    constexpr int rounds = 300;
    LiveServer server;
    Connection shared(server);
    shared.run("create table t(n int)");
    char name[20];
    ASSERT_EQ(TRN_Prepare2(&shared.handle, "insert into t values(?)", name), TRN_OK);
    const auto known = [](std::int32_t status) { return status >= -1 || status == TRN_ERR_UNBOUND; };
    const std::function<std::int32_t()> calls[] = {
        [&] {
            char own[20];
            return TRN_Prepare2(&shared.handle, "select ? + 1", own);
        },
        [&] {
            TRN_HANDLE result = nullptr;
            const std::int32_t status = TRN_Execute2(&shared.handle, name, nullptr, &result);
            TRN_FreeRowset(&result);
            return status;
        },
        [&] { return TRN_ExecBatch(&shared.handle, "insert into t values(?)", 3); },
        [&] { return TRN_Execute2(&shared.handle, nullptr, nullptr, nullptr); },
        [&] { return TRN_UnPrepare(&shared.handle, "nothing"); },
    };
    test_support::OutputCapture output; // refusals are printed
    std::vector<std::thread> running;
    for (const auto& call : calls)
        running.emplace_back([&] {
            for (int i = 0; i < rounds; ++i)
                if (const std::int32_t status = call(); !known(status)) ADD_FAILURE() << status;
        });
    for (std::thread& thread : running)
        thread.join();
    output.text();
    TRN_ResetParams(&shared.handle);
    EXPECT_EQ(SingleValue(shared, "select 'still here'").take(), "still here");
}

// The statement marks its beginning in the database, so that the server is killed while it certainly runs.
TEST(live_server_loss, a_call_whose_server_is_killed_fails_and_a_new_server_is_reachable) {
    const std::string endless =
        "insert into started values(1); with recursive n(i) as (values(1) union all select i + 1 from n) ";
    for (const char* query : {"select max(i) from n", "select i, 'row ' || i from n"}) {
        SCOPED_TRACE(query);
        LiveServer server;
        Connection working(server), watching(server);
        working.run("create table started(a int)");
        Reader kept(working, "select 'kept' as a; select 3 as c");
        std::int32_t status = 0;
        std::thread call([&] { status = Reader(working, endless + query).status; });
        while (SingleValue(watching, "select count(*) from started").take() == "0") {
        }
        server.kill();
        call.join();
        EXPECT_EQ(status, TRN_ERR_NETWORK);
        EXPECT_EQ(working.run("select 1"), TRN_ERR_NETWORK);
        EXPECT_EQ(TRN_CloseConn(&working.handle), TRN_OK);
        EXPECT_EQ(kept.transcript(), "a: kept\nc: 3\n");
        LiveServer successor;
        EXPECT_EQ(Connection(successor).transcript("select 'here' as a"), "a: here\n");
    }
}
