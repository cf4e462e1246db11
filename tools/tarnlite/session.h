// One connection from its login to its end, on the thread that serves it.
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

// What the sessions of a server share; it outlives them.
struct SharedState {
    const Settings& settings;
    const std::string& database; // its SQLite name
    const std::atomic<bool>& stopping;
    Watcher& watcher;
};

class Session {
  public:
    // `admit` is asked when the login is right, and says whether there is room for one more.
    Session(Socket& socket, const SharedState& shared, std::function<bool()> admit)
        : socket_(socket), transport_(socket), settings_(shared.settings), shared_(shared),
          admit_(std::move(admit)) {}

    // Returns when the client has gone, was refused, or broke the protocol, and when the server stops.
    void run();

  private:
    std::optional<Login> read_login();
    std::optional<Login> read_encrypted_login(Transport::Clock::time_point deadline);
    std::optional<std::string> reason_to_refuse(const Login& login) const;
    // Waits as long as replies are to be delayed, but not beyond the server's end, nor when the client has
    // gone.
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
