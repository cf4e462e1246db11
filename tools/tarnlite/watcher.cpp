#include "watcher.h"

#include <algorithm>

namespace tarnlite {

namespace {

constexpr std::chrono::milliseconds pause{100};
constexpr std::chrono::milliseconds pause_while_stopping{10};

} // namespace

Watcher::~Watcher() {
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
    }
    changed_.notify_one();
    thread_.join();
}

void Watcher::stop_server() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    changed_.notify_one();
}

void Watcher::add(WatchedSession& session) {
    bool first = false;
    {
        const std::lock_guard lock(mutex_);
        sessions_.push_back(&session);
        first = sessions_.size() == 1;
    }
    if (first) changed_.notify_one();
}

void Watcher::remove(WatchedSession& session) {
    const std::lock_guard lock(mutex_);
    std::erase(sessions_, &session);
}

void Watcher::watch() {
    std::unique_lock lock(mutex_);
    while (!ending_) {
        if (sessions_.empty()) {
            changed_.wait(lock, [this] { return ending_ || !sessions_.empty(); });
            continue;
        }
        const auto now = WatchedSession::Clock::now();
        for (WatchedSession* const session : sessions_)
            session->look(stopping_, now);
        changed_.wait_for(lock, stopping_ ? pause_while_stopping : pause);
    }
}

WatchedSession::WatchedSession(Watcher& watcher, const Socket& client, sqlite3* database,
                               std::optional<std::chrono::milliseconds> time_limit)
    : watcher_(watcher), client_(client), database_(database), time_limit_(time_limit) {
    watcher_.add(*this);
}

WatchedSession::~WatchedSession() {
    watcher_.remove(*this);
}

void WatchedSession::begin_command() {
    const std::lock_guard lock(mutex_);
    running_ = true;
    started_ = Clock::now();
    reason_ = Reason::none;
}

void WatchedSession::end_command() {
    const std::lock_guard lock(mutex_);
    running_ = false;
}

void WatchedSession::look(bool stopping, Clock::time_point now) {
    const std::lock_guard lock(mutex_);
    if (!running_) return;
    if (reason_ == Reason::none) {
        if (stopping) {
            reason_ = Reason::server_stops;
        } else if (client_.peer_has_gone()) {
            reason_ = Reason::client_gone;
        } else if (time_limit_ && now - started_ >= *time_limit_) {
            reason_ = Reason::time_over;
        }
    }
    if (reason_ != Reason::none) sqlite3_interrupt(database_);
}

} // namespace tarnlite
