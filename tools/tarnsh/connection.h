// Builds the connection string from the command line, a service and the environment, and finds the password.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarnsh {

struct ConnectionOptions {
    std::string text; // whole, or made of the next four
    std::string server, port, database, user;
    std::string service, password_file;
    int timeout_seconds = 30;

    bool has_parts() const { return !(server + port + database + user).empty(); }
};

// The connection string with the password, which comes from the string itself, the file, the service, the
// environment or the terminal, the first of them that has one. Fails with exit_shell, and with
// exit_connection for a name without an address.
std::string connection_string(const ConnectionOptions& options);

// The same for a connection that takes the place of another one: a new string, or words in the order
// database, user, server, port, of which "-" and those left out stay as they are.
std::string changed_connection(const std::string& before, std::string_view words);

// The value of one part of the string.
enum class Part {
    server,
    port,
    database,
    user,
    password,
};
std::optional<std::string> value_of(std::string_view connection, Part part);

// Where the password begins in an argument that holds one.
std::optional<std::size_t> find_password(std::string_view argument);

// Whether the library would read a part of the text as a list of addresses.
bool has_address_list(std::string_view connection);

} // namespace tarnsh
