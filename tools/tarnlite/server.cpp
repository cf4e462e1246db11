#include "server.h"

#include "session.h"

#include <fmt/format.h>

#include <cstdio>
#include <exception>
#include <system_error>
#include <utility>

namespace tarnlite {

namespace {

// Every server of a process has an in-memory database of its own.
std::string memory_database_name() {
    static std::atomic<unsigned> servers{0};
    return fmt::format("file:/tarnlite{}?vfs=memdb", servers++);
}

} // namespace

Server::Server(const Settings& settings)
    : settings_(settings),
      database_name_(settings.database_file.empty() ? memory_database_name() : settings.database_file),
      keeper_(open_database(database_name_)), listener_(settings.listen_address, settings.port),
      acceptor_([this] { accept_connections(); }) {}

void Server::stop() {
    if (!acceptor_.joinable()) return;
    stopping_ = true;
    listener_.interrupt();
    acceptor_.join();
    {
        const std::lock_guard lock(mutex_);
        for (Connection& connection : connections_)
            connection.socket.shut_both();
    }
    for (Connection& connection : connections_)
        connection.thread.join();
    connections_.clear();
}

void Server::accept_connections() {
    while (!stopping_) {
        Socket socket = listener_.accept();
        reap_ended();
        if (socket.is_open()) start_session(std::move(socket));
    }
}

void Server::start_session(Socket socket) {
    const std::lock_guard lock(mutex_);
    try {
        Connection& connection = connections_.emplace_back();
        connection.socket = std::move(socket);
        connection.thread = std::thread([this, &connection] { run_session(connection); });
    } catch (const std::system_error& error) {
        fmt::print(stderr, "tarnlite: a connection was turned away: {}\n", error.what());
        connections_.pop_back();
    }
}

void Server::run_session(Connection& connection) {
    try {
        Session(connection.socket, settings_, database_name_, stopping_).run();
    } catch (const std::exception& error) {
        fmt::print(stderr, "tarnlite: a connection ended: {}\n", error.what());
    }
    const std::lock_guard lock(mutex_);
    connection.socket.close();
    connection.ended = true;
}

void Server::reap_ended() {
    const std::lock_guard lock(mutex_);
    std::erase_if(connections_, [](Connection& connection) {
        if (connection.ended) connection.thread.join();
        return connection.ended;
    });
}

} // namespace tarnlite
