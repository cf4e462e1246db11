// Every call that talks to the server, from several threads on one connection, and threads that take each
// other's bound set. SOAK_SECONDS makes the first run that long instead of a few rounds (scripts/soak.sh).
#include "output_capture.h"
#include "shared_connection.h"

#include <chrono>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <thread>

namespace {

// When a worker has done enough: after a few rounds, or when the time is up.
struct Duration {
    int rounds = 6;
    std::chrono::steady_clock::time_point end = std::chrono::steady_clock::time_point::max();

    Duration() {
        const char* seconds = std::getenv("SOAK_SECONDS");
        if (!seconds) return;
        rounds = INT32_MAX;
        end = std::chrono::steady_clock::now() + std::chrono::seconds(std::atoi(seconds));
    }
    bool over(int round) const { return round >= rounds || std::chrono::steady_clock::now() >= end; }
};

} // namespace

// Eight threads on four connections, four on a fifth.
static void run_workers(const std::string& settings) {
    static constexpr int threads_of_connection[] = {2, 2, 2, 2, 4};
    // On a machine that is busy with a soak a login takes its time.
    const LiveServer server(
        {"--max-connections", "100", "--login-timeout", "600", "--request-timeout", "600"});
    const Duration duration;
    std::atomic<bool> failed{false};
    std::vector<std::unique_ptr<SharedConnection>> connections;
    std::vector<std::unique_ptr<Worker>> workers;
    for (const int count : threads_of_connection) {
        connections.push_back(
            std::make_unique<SharedConnection>(server, settings, static_cast<int>(connections.size())));
        for (int i = 0; i < count; ++i)
            workers.push_back(std::make_unique<Worker>(server, *connections.back(), settings,
                                                       static_cast<int>(workers.size()), failed));
    }
    test_support::OutputCapture output; // refusals are printed
    std::vector<std::thread> threads;
    for (const auto& worker : workers)
        threads.emplace_back([&] {
            for (int i = 0; !failed && !duration.over(i); ++i)
                worker->round();
        });
    for (std::thread& thread : threads)
        thread.join();
    output.text();
    std::map<std::string, long> calls;
    for (const auto& worker : workers)
        for (const auto& [name, count] : worker->calls())
            calls[name] += count;
    long all = 0;
    for (const auto& [name, count] : calls) {
        if (std::getenv("SOAK_SECONDS")) std::cout << name << ": " << count << '\n';
        all += count;
    }
    std::cout << "checked calls: " << all << '\n';
}

TEST(live_threads, get_their_own_answers_from_every_call_on_a_shared_connection) {
    run_workers("lob_ret=1");
}

TEST(live_threads, get_their_own_answers_from_every_call_on_a_shared_encrypted_connection) {
    run_workers("lob_ret=1;use_ssl=on");
}

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
