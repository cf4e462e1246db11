// One connection from its login to its end, on the thread that serves it.
#pragma once

#include "login.h"
#include "protocol.h"
#include "settings.h"
#include "transport.h"

#include <atomic>
#include <optional>
#include <string>

namespace tarnlite {

class Session {
  public:
    // `database` is the SQLite name that all sessions of a server share. All referred objects outlive the session.
    Session(Socket& socket, const Settings& settings, const std::string& database,
            const std::atomic<bool>& stopping)
        : transport_(socket), settings_(settings), database_(database), stopping_(stopping) {}

    // Returns when the client has gone, was refused, or broke the protocol, and when the server stops.
    void run();

  private:
    std::optional<Login> read_login();
    std::optional<Login> read_enciphered_login(Transport::Clock::time_point deadline);
    std::optional<std::string> reason_to_refuse(const Login& login) const;
    // Waits as long as replies are to be delayed, but not beyond the server's end.
    void delay_reply() const;
    void accept();
    void refuse(std::string_view reason);
    void serve(const Login& login);
    void answer(const Command& command, class Engine& engine);

    Transport transport_;
    const Settings& settings_;
    const std::string& database_;
    const std::atomic<bool>& stopping_;
};

} // namespace tarnlite
