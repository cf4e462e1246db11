// One connection and several threads on it, each of which runs every call that talks to the server and checks
// that the answers are its own.
//
// A bound set belongs to the connection, and the next execution takes it: calls that execute run side by side
// without parameters, and those that bind first keep the other executions out until they have executed. Calls
// that look at no set (fetch, close, prepare, end of a statement, large objects) run beside all of them.
#pragma once

#include "live_server.h"

#include <atomic>
#include <map>
#include <mutex>
#include <shared_mutex>

struct SharedConnection : Connection {
    // Makes the tables that the workers need, before the first of them.
    SharedConnection(const LiveServer& server, const std::string& settings, int number);

    const std::string table, objects;
    std::shared_mutex bound_set; // held alone from the first bind to the end of the execution
    std::shared_mutex whole;     // held alone by calls that promise nothing beside others
};

// One thread's share.
class Worker {
  public:
    Worker(const LiveServer& server, SharedConnection& shared, const std::string& settings, int number,
           std::atomic<bool>& failed);

    // Every call, in an order that differs from round to round and from worker to worker.
    void round();
    const std::map<std::string, long>& calls() const { return calls_; } // made so far, by name

  private:
    using Step = void (Worker::*)();
    static const Step steps[];
    class Alone;
    class Beside;

    void statements();
    void single_values();
    void results();
    void procedures();
    void refusals();
    void prepared();
    void cursors();
    void cursor_of_prepared_statement();
    void bound_values();
    void bound_prepared();
    void bound_procedure();
    void bound_cursor();
    void own_set();
    void default_statement();
    void batch();
    void large_objects();
    void what_promises_nothing();
    void other_connections();

    // Statements on the shared connection and what they give: a status, a single value, a transcript.
    void runs(const std::string& sql, std::int32_t wanted);
    void shows(const std::string& sql, const std::string& wanted);
    void reads(const std::string& sql, const std::string& wanted);
    void bind_number(std::int32_t value);
    void fetch_all(const std::string& cursor, std::int32_t rows);
    void close_cursor(const std::string& cursor);
    std::string rows_query(const char* count) const;
    std::string rows_text(std::int32_t count) const;

    // Counts the call and compares what it gave. After the first difference all workers end.
    template <class Got, class Wanted>
    void same(const std::string& call, const Got& got, const Wanted& wanted) {
        ++calls_[call];
        if (got == wanted || failed_.exchange(true)) return;
        ADD_FAILURE() << call << " of " << mine_ << " in round " << round_ << " gave "
                      << testing::PrintToString(got) << " instead of " << testing::PrintToString(wanted);
    }

    const LiveServer& server_;
    SharedConnection& shared_;
    TRN_HANDLE* const conn_;
    const std::string settings_, mine_;
    std::atomic<bool>& failed_;
    std::map<std::string, long> calls_;
    int round_ = 0;
    unsigned order_;
};
