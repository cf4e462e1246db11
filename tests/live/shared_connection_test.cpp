// Every call that talks to the server, from several threads on one connection. SOAK_SECONDS makes it run that long instead of a
// few rounds (scripts/soak.sh).
#include "output_capture.h"
#include "shared_connection.h"

#include <chrono>
#include <cstdlib>
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
