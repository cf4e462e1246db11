#include "server.h"

#include "session.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <system_error>
#include <utility>

namespace tarnlite {

namespace {

constexpr std::size_t most_logging_in = 100;

// Every server in a process has its own in-memory database.
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
    stopping_ = true;
    listener_.interrupt();
    acceptor_.join();
    watcher_.stop_server();
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
    make_room_for_login();
    try {
        Connection& connection = connections_.emplace_back();
        connection.socket = std::move(socket);
        connection.thread = Thread([this, &connection] { run_session(connection); });
    } catch (const std::system_error& error) {
        fmt::print(stderr, "tarnlite: could not serve a connection: {}\n", error.what());
        connections_.pop_back();
    }
}

// Connections that were refused and are not gone yet count too.
void Server::make_room_for_login() {
    if (count(Stage::logging_in) < most_logging_in) return;
    Connection& oldest = *std::ranges::find(connections_, Stage::logging_in, &Connection::stage);
    oldest.stage = Stage::turned_away;
    oldest.socket.shut_both();
}

bool Server::admit(Connection& connection) {
    const std::lock_guard lock(mutex_);
    if (connection.stage != Stage::logging_in || count(Stage::admitted) >= settings_.most_connections)
        return false;
    connection.stage = Stage::admitted;
    return true;
}

std::size_t Server::count(Stage stage) const {
    return static_cast<std::size_t>(std::ranges::count(connections_, stage, &Connection::stage));
}

void Server::run_session(Connection& connection) {
    try {
        const SharedState shared{settings_, database_name_, stopping_, watcher_};
        Session(connection.socket, shared, [&] { return admit(connection); }).run();
    } catch (const std::exception& error) {
        fmt::print(stderr, "tarnlite: a connection ended: {}\n", error.what());
    }
    const std::lock_guard lock(mutex_);
    connection.socket.close();
    connection.stage = Stage::ended;
}

void Server::reap_ended() {
    const std::lock_guard lock(mutex_);
    std::erase_if(connections_, [](Connection& connection) {
        if (connection.stage == Stage::ended) connection.thread.join();
        return connection.stage == Stage::ended;
    });
}

} // namespace tarnlite
