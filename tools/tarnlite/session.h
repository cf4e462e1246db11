// One connection from login to end, on its own thread.
#pragma once

#include "login.h"
#include "protocol.h"
#include "settings.h"
#include "transport.h"
#include "watcher.h"

#include <atomic>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace tarnlite {

// Shared by the sessions of a server; outlives them.
struct SharedState {
    const Settings& settings;
    const std::string& database; // the name for SQLite
    const std::atomic<bool>& stopping;
    Watcher& watcher;
};

class Session {
  public:
    // `admit` is called when the login is correct, and returns whether there is room for one more.
    Session(Socket& socket, const SharedState& shared, std::function<bool()> admit)
        : socket_(socket), transport_(socket), settings_(shared.settings), shared_(shared),
          admit_(std::move(admit)) {}

    // Returns when the client is gone, was refused, or broke the protocol, or when the server stops.
    void run();

  private:
    std::optional<Login> read_login();
    std::optional<Login> read_encrypted_login(Transport::Clock::time_point deadline);
    std::optional<std::string> reason_to_refuse(const Login& login) const;
    // Delays a reply, unless the server stops or the client is gone.
    void delay_reply() const;
    void accept();
    void refuse(std::string_view reason);
    void take_last_leave(std::string_view reason);
    void serve(const Login& login);
    void answer(const Command& command, class Engine& engine);

    Socket& socket_;
    Transport transport_;
    const Settings& settings_;
    const SharedState& shared_;
    std::function<bool()> admit_;
};

} // namespace tarnlite
