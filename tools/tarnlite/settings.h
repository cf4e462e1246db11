// The command line's settings, passed unchanged to the server and to every session.
#pragma once

#include "faults.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace tarnlite {

struct Credentials {
    std::string user;
    std::string password;
};

struct Settings {
    std::string listen_address = "127.0.0.1";
    std::uint16_t port = 5139;                // 0: the system picks one
    std::string database_file{};              // empty: in memory, shared by all connections of this server
    std::optional<Credentials> credentials{}; // none: any user may log in
    bool require_ssl = false;                 // refuse plain logins
    bool refuse_ssl = false;                  // refuse encrypted ones
    int protocol = 301;                       // 201 or 301: the version of the login answer
    bool allow_files = false;                 // SQL may access other files
    std::size_t most_connections = 200;       // logged in at a time
    std::chrono::milliseconds login_timeout{10'000};
    std::chrono::milliseconds request_timeout{5'000}; // silence in the middle of a request
    std::optional<std::chrono::milliseconds> statement_timeout{};
    Faults faults{};
};

} // namespace tarnlite
