// Ends commands early: when the server stops, their client is gone, or they exceed their time limit. One
// thread watches the running commands of all sessions and interrupts SQLite in those that must end,
// repeatedly, since an interrupt between two statements is lost.
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

    // From now on every command is ended.
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

    // All must outlive it. Without a limit a command may take any time.
    WatchedSession(Watcher& watcher, const Socket& client, sqlite3* database,
                   std::optional<std::chrono::milliseconds> time_limit);
    WatchedSession(const WatchedSession&) = delete;
    WatchedSession& operator=(const WatchedSession&) = delete;
    ~WatchedSession();

    void begin_command();
    // After this SQLite is no longer interrupted; but while other statements (of cursors) are running, SQLite
    // keeps a pending interrupt until the last of them ends.
    void end_command();
    // Why the command, or the last one, must end. For the waits and loops between statements.
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
