// The server's process is killed in the middle of transactions, again and again: what was committed stays,
// and nothing else. TARNLITE_KILL_ROUNDS sets how often.

#include "raw_client.h"
#include "server_process.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int rows_per_transaction = 3;

// Every transaction writes its number three times. Each worker does it in its own way.
enum Worker {
    one_statement,
    auto_commit_off,
    batch,
    prepared_in_transaction,
    workers,
};

std::string values(int worker, int number, int row) {
    return "(" + std::to_string(worker) + "," + std::to_string(number) + "," + std::to_string(row) + ")";
}

void run_well(RawClient& client, std::string_view request) {
    client.send(request);
    for (const Item& item : client.receive_reply())
        if (item.letter == 'E') throw std::runtime_error(item.text);
}

void write(RawClient& client, int worker, int number) {
    const std::string text = std::to_string(number);
    switch (worker) {
    case one_statement:
        return run_well(client, command("insert into log values" + values(worker, number, 1) + "," +
                                        values(worker, number, 2) + "," + values(worker, number, 3)));
    case batch: {
        const std::string row = row_value(30, std::to_string(worker)) + row_value(30, text);
        return run_well(client, command("insert into log values(?, ?, ?)", 3, rows_per_transaction) +
                                    entry(30, std::to_string(worker)) + entry(30, text) + entry(30, "1") +
                                    block(row + row_value(30, "2") + row + row_value(30, "3")));
    }
    case prepared_in_transaction:
        run_well(client, command("begin"));
        for (const char* row : {"1", "2", "3"})
            run_well(client, command("? ins", 2) + entry(30, text) + entry(30, row));
        return run_well(client, command("commit"));
    default:
        for (int row = 1; row <= rows_per_transaction; ++row)
            run_well(client, command("insert into log values" + values(worker, number, row)));
        return run_well(client, command("commit"));
    }
}

// What the threads of one life of the server share.
struct Life {
    std::uint16_t port;
    std::atomic<bool> killed{false};
    std::atomic<bool> spilled{false};
};

// Writes until the server is killed; counts what it has confirmed. Tells what went wrong before.
void work(Life& life, int worker, std::atomic<int>& confirmed, std::string& failure) {
    constexpr int beyond_all = 1'000'000; // so that nobody waits for more
    try {
        RawClient client(life.port);
        client.log_in(worker == auto_commit_off ? " lock_timeout = 300 auto_commit = 'off'"
                                                : " lock_timeout = 300");
        if (worker == prepared_in_transaction)
            run_well(client, command("prepare ins as insert into log values(3, ?, ?)"));
        for (int number = confirmed + 1;; ++number) {
            write(client, worker, number);
            confirmed = number;
            confirmed.notify_one();
        }
    } catch (const std::runtime_error& error) {
        if (life.killed) return;
        failure = error.what();
        confirmed = beyond_all;
        confirmed.notify_one();
    }
}

// Leaves a transaction open that has changed so much that it has reached the file.
void spill(Life& life, std::string& failure) {
    try {
        RawClient client(life.port);
        client.log_in(" lock_timeout = 300");
        run_well(client,
                 command("pragma cache_size = 5; begin; update log set row = -row; insert into spilled "
                         "select zeroblob(2000) from json_each('[1,2,3,4,5,6,7,8,9,0]')"));
        life.spilled = true;
        life.spilled.notify_one();
        client.receive(1);
    } catch (const std::runtime_error& error) {
        if (!life.killed) failure = error.what();
        life.spilled = true;
        life.spilled.notify_one();
    }
}

class tarnlite_kill : public testing::Test {
  protected:
    // One life of the server: it is killed some time after so many transactions have been confirmed, or when
    // another one lies half done in the file.
    void run_and_kill(std::size_t transactions, std::optional<std::chrono::microseconds> pause) {
        ServerProcess server({"--database", database_});
        Life life{server.port()};
        std::array<std::string, workers + 1> failures;
        std::vector<std::thread> threads;
        for (std::size_t worker = 0; worker < workers; ++worker)
            threads.emplace_back(work, std::ref(life), static_cast<int>(worker), std::ref(confirmed_[worker]),
                                 std::ref(failures[worker]));
        std::atomic<int>& awaited = confirmed_[transactions % workers];
        const int enough = awaited + static_cast<int>(transactions);
        for (int seen = awaited; seen < enough; seen = awaited)
            awaited.wait(seen);
        if (pause) {
            std::this_thread::sleep_for(*pause); // any moment will do
        } else {
            threads.emplace_back(spill, std::ref(life), std::ref(failures.back()));
            life.spilled.wait(false);
        }
        life.killed = true;
        server.signal(SIGKILL);
        for (std::thread& thread : threads)
            thread.join();
        for (const std::string& failure : failures)
            EXPECT_EQ(failure, "");
        EXPECT_EQ(server.wait(), 128 + SIGKILL);
    }

    void check() {
        const ServerProcess server({"--database", database_});
        RawClient client(server.port());
        client.log_in();
        EXPECT_EQ(client.value("pragma integrity_check"), "ok");
        EXPECT_EQ(client.value("select count(*) || '' from spilled"), "0");
        EXPECT_EQ(client.value("select count(*) || '' from (select 1 from log group by worker, number "
                               "having group_concat(row) <> '1,2,3')"),
                  "0");
        for (std::size_t worker = 0; worker < workers; ++worker) {
            const std::string of_worker = " from log where worker = " + std::to_string(worker);
            const int last = std::stoi(client.value("select ifnull(max(number), 0) || ''" + of_worker));
            EXPECT_EQ(client.value("select count(*) || ''" + of_worker),
                      std::to_string(last * rows_per_transaction));
            // The last one may have been committed without its answer getting out.
            EXPECT_GE(last, confirmed_[worker]) << worker;
            EXPECT_LE(last, confirmed_[worker] + 1) << worker;
            confirmed_[worker] = last;
        }
    }

    Folder folder_;
    const std::string database_ = folder_ / "data.db";
    std::array<std::atomic<int>, workers> confirmed_{};
};

} // namespace

TEST_F(tarnlite_kill, what_was_committed_stays_and_nothing_else) {
    const char* const wish = std::getenv("TARNLITE_KILL_ROUNDS");
    const int rounds = wish ? std::stoi(wish) : 12;
    std::minstd_rand random;
    for (int round = 0; round < rounds && !HasFailure(); ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        if (round == 0 || round == rounds / 2) {
            const ServerProcess server({"--database", database_});
            RawClient client(server.port());
            client.log_in();
            run_well(client,
                     command(round == 0 ? "create table log(worker int, number int, row int);"
                                          "create table spilled(content);"
                                          "with recursive n(i) as (select 1 union all select i + 1 from n "
                                          "where i < 3000) insert into log select 9, i, value from n, "
                                          "json_each('[1,2,3]')"
                                        : "pragma journal_mode = wal"));
        }
        const std::chrono::microseconds pause(random() % 5000);
        run_and_kill(1 + random() % 20, round % 2 == 0 ? std::optional(pause) : std::nullopt);
        check();
    }
    int transactions = 0;
    for (const std::atomic<int>& confirmed : confirmed_)
        transactions += confirmed;
    RecordProperty("transactions", transactions);
}
