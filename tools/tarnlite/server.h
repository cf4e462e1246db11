// The listener and its connections, a thread for each. stop() ends them all: it wakes every thread that waits on its
// socket, makes running statements fail, and returns when the last thread has ended.
#pragma once

#include "engine.h"
#include "net.h"
#include "settings.h"

#include <atomic>
#include <cstdint>
#include <list>
#include <mutex>
#include <string>
#include <thread>

namespace tarnlite {

class Server {
  public:
    // Listens when it returns. Throws std::runtime_error when the address or the database cannot be had.
    explicit Server(const Settings& settings);
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;
    ~Server() { stop(); }

    std::uint16_t port() const { return listener_.port(); }
    void stop();

  private:
    struct Connection {
        Socket socket; // closed under mutex_ only, so that stop() never wakes a descriptor of someone else
        std::thread thread;
        bool ended = false;
    };

    void accept_connections();
    void start_session(Socket socket);
    void run_session(Connection& connection);
    void reap_ended();

    Settings settings_;
    std::string database_name_;
    Database keeper_; // an in-memory database lives as long as one connection to it is open
    Listener listener_;
    std::atomic<bool> stopping_{false};
    std::mutex mutex_;
    std::list<Connection> connections_;
    std::thread acceptor_;
};

} // namespace tarnlite
