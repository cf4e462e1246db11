// The listener and its connections, a thread for each. The number of connections that have not logged in is
// limited: one more replaces the one that has waited longest, so that silent connections cannot lock clients
// out. stop() ends them all: it wakes every thread that waits on its socket, makes running statements fail,
// and returns when the last thread has ended.
#pragma once

#include "engine.h"
#include "net.h"
#include "settings.h"
#include "thread.h"
#include "watcher.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <list>
#include <mutex>
#include <string>

namespace tarnlite {

class Server {
  public:
    // Listening when it returns. Throws std::runtime_error when the address or the database is not available.
    explicit Server(const Settings& settings);
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;
    ~Server() { stop(); }

    std::uint16_t port() const { return listener_.port(); }
    void stop();

  private:
    enum class Stage {
        logging_in,
        turned_away,
        admitted,
        ended,
    };
    struct Connection {
        Socket socket; // closed under mutex_ only, so that stop() never hits a reused descriptor
        Stage stage = Stage::logging_in;
        Thread thread;
    };

    void accept_connections();
    void start_session(Socket socket);
    void make_room_for_login();
    bool admit(Connection& connection);
    std::size_t count(Stage stage) const;
    void run_session(Connection& connection);
    void reap_ended();

    Settings settings_;
    std::string database_name_;
    Database keeper_; // keeps an in-memory database alive
    Listener listener_;
    Watcher watcher_;
    std::atomic<bool> stopping_{false};
    std::mutex mutex_;
    std::list<Connection> connections_; // the oldest first
    Thread acceptor_;
};

} // namespace tarnlite
