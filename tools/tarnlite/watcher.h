// Ends commands before their own end: because the server stops, their client has gone, or their time is over.
// One thread looks after the running commands of all sessions and interrupts SQLite in those that are to end,
// again and again, since an interrupt between two statements is lost.
#pragma once

#include "net.h"
#include "thread.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <sqlite3.h>
#include <vector>

namespace tarnlite {

class WatchedSession;

class Watcher {
  public:
    Watcher() : thread_([this] { watch(); }) {}
    Watcher(const Watcher&) = delete;
    Watcher& operator=(const Watcher&) = delete;
    ~Watcher();

    // From here on every command is ended.
    void stop_server();

  private:
    friend class WatchedSession;

    void add(WatchedSession& session);
    void remove(WatchedSession& session);
    void watch();

    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<WatchedSession*> sessions_;
    bool stopping_ = false; // commands
    bool ending_ = false;   // the thread
    Thread thread_;
};

class WatchedSession {
  public:
    enum class Reason {
        none,
        server_stops,
        client_gone,
        time_over,
    };
    using Clock = std::chrono::steady_clock;

    // All must outlive it. Without a limit a command takes what time it needs.
    WatchedSession(Watcher& watcher, const Socket& client, sqlite3* database,
                   std::optional<std::chrono::milliseconds> time_limit);
    WatchedSession(const WatchedSession&) = delete;
    WatchedSession& operator=(const WatchedSession&) = delete;
    ~WatchedSession();

    void begin_command();
    // After it SQLite is not interrupted any more; but where statements are under way still, those of
    // cursors, SQLite keeps an interrupt until the last of them ends.
    void end_command();
    // Why the command, or the last one, is to end. For the waits and loops between statements.
    Reason reason() const { return reason_; }

  private:
    friend class Watcher;

    void look(bool stopping, Clock::time_point now);

    Watcher& watcher_;
    const Socket& client_;
    sqlite3* database_;
    std::optional<std::chrono::milliseconds> time_limit_;
    std::mutex mutex_; // of the two that follow
    bool running_ = false;
    Clock::time_point started_{};
    std::atomic<Reason> reason_{Reason::none};
};

} // namespace tarnlite
