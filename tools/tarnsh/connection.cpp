#include "connection.h"

#include "failure.h"
#include "output.h"
#include "service.h"
#include "terminal.h"
#include "text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <vector>

namespace tarnsh {

namespace {

constexpr std::size_t longest_password = 63;

// The first is the key that is written.
struct PartKeys {
    Part part;
    std::array<std::string_view, 4> keys;
    const char* variable;
};

constexpr PartKeys part_keys[] = {{Part::server, {"SERVER", "IP"}, "TARNSH_SERVER"},
                                  {Part::port, {"PORT"}, "TARNSH_PORT"},
                                  {Part::database, {"DB", "DATABASE"}, "TARNSH_DB"},
                                  {Part::user, {"USER", "UID", "USER ID", "USERID"}, "TARNSH_USER"},
                                  {Part::password, {"PASSWORD", "PWD"}, "TARNSH_PASSWORD"}};

const PartKeys& keys_of(Part part) {
    return *std::ranges::find(part_keys, part, &PartKeys::part);
}

// The value of the last segment with one of the part's keys, as it is in the string.
std::optional<std::string_view> find_value(std::string_view connection, Part part) {
    const auto& keys = keys_of(part).keys;
    const char separator = connection.find(';') != std::string::npos ? ';' : ',';
    std::optional<std::string_view> value;
    for (std::string_view rest = connection; !rest.empty();) {
        const std::string_view segment = rest.substr(0, rest.find(separator));
        rest.remove_prefix(std::min(rest.size(), segment.size() + 1));
        const std::size_t equals = std::min(segment.find('='), segment.size());
        const std::string key = upper(trim(segment.substr(0, equals)));
        if (!key.empty() && std::ranges::find(keys, key) != keys.end())
            value = trim(segment.substr(std::min(equals + 1, segment.size())));
    }
    return value;
}

void set_value(std::string& connection, Part part, const std::string& value) {
    if (value.find(';') != std::string::npos)
        fail(exit_shell, fmt::format("\"{}\" cannot hold \";\"", keys_of(part).keys[0]));
    if (const auto found = find_value(connection, part)) {
        connection.replace(static_cast<std::size_t>(found->data() - connection.data()), found->size(), value);
        return;
    }
    // The other separator would cut a value at a ",".
    if (connection.find(';') == std::string::npos) std::ranges::replace(connection, ',', ';');
    if (!connection.empty() && !connection.ends_with(';')) connection += ';';
    std::string key(keys_of(part).keys[0]);
    std::ranges::transform(key, key.begin(), [](char c) { return static_cast<char>(c + 32); });
    connection += fmt::format("{}={};", key, value);
}

std::string read_password_file(const std::string& path) {
    const File file = open_to_read(path);
    if (!is_private(file.get()))
        fail(exit_shell, path + " can be read by others than its owner; change its permissions");
    std::string password;
    for (int c; (c = std::getc(file.get())) != EOF && c != '\n';)
        password += static_cast<char>(c);
    if (std::ferror(file.get()) != 0) fail_to_read(path);
    if (password.ends_with('\r')) password.pop_back();
    return password;
}

// A password travels as a segment of the connection string, which cuts it at a ";", drops blanks around it
// and may hold a list of addresses; and in quotes in the login's text.
void check_password(const std::string& password) {
    if (password.size() > longest_password || trim(password) != password ||
        password.find_first_of(";'") != std::string::npos || has_address_list(password))
        fail(exit_shell,
             fmt::format("such a password cannot be sent: over {} bytes, with \";\", \"'\" or \"IPS=\" "
                         "in it, or with blanks around it",
                         longest_password));
}

// The library takes addresses only. A name is looked up once: a reconnect goes to the same address.
void resolve_server(std::string& connection) {
    const std::optional<std::string_view> name = find_value(connection, Part::server);
    if (!name || name->empty()) return;
    std::string reason;
    const std::string address = address_of(std::string(*name), reason);
    if (address.empty())
        fail(exit_connection,
             fmt::format("cannot connect: there is no address for \"{}\": {}", *name, trim(reason)));
    connection.replace(static_cast<std::size_t>(name->data() - connection.data()), name->size(), address);
}

std::optional<std::string> ask_for_password(const std::string& connection) {
    if (!find_value(connection, Part::user) || !is_terminal(stdin)) return std::nullopt;
    std::string password;
    if (!read_secret("Password: ", password)) fail(exit_shell, "no password was given");
    return password;
}

void add_password(std::string& connection, const std::optional<std::string>& password) {
    if (!password) return;
    check_password(*password);
    set_value(connection, Part::password, *password);
}

// What is missing comes from the environment.
void add_environment(std::string& connection) {
    for (const PartKeys& keys : part_keys) {
        const char* const value = std::getenv(keys.variable);
        const bool listed = keys.part == Part::server && has_address_list(connection);
        if (!value || !*value || listed || find_value(connection, keys.part)) continue;
        if (keys.part == Part::password)
            add_password(connection, value);
        else
            set_value(connection, keys.part, value);
    }
}

} // namespace

std::optional<std::string> value_of(std::string_view connection, Part part) {
    const auto found = find_value(connection, part);
    return found ? std::optional<std::string>(*found) : std::nullopt;
}

std::optional<std::size_t> find_password(std::string_view argument) {
    const auto found = find_value(argument, Part::password);
    if (!found) return std::nullopt;
    return static_cast<std::size_t>(found->data() - argument.data());
}

bool has_address_list(std::string_view connection) {
    return connection.find("IPS=") != connection.npos || connection.find("ips=") != connection.npos;
}

std::string connection_string(const ConnectionOptions& options) {
    std::string connection = options.text;
    const std::pair<Part, const std::string&> parts[] = {{Part::server, options.server},
                                                         {Part::port, options.port},
                                                         {Part::database, options.database},
                                                         {Part::user, options.user}};
    for (const auto& [part, value] : parts)
        if (!value.empty()) set_value(connection, part, value);
    if (!options.password_file.empty() && !find_value(connection, Part::password))
        add_password(connection, read_password_file(options.password_file));
    const char* const service = std::getenv("TARNSH_SERVICE");
    const std::string section = options.service.empty() && service ? service : options.service;
    if (!section.empty())
        for (const auto& [key, value] : read_service(section)) {
            const auto known = std::ranges::find_if(part_keys, [&key](const PartKeys& keys) {
                return std::ranges::find(keys.keys, upper(key)) != keys.keys.end();
            });
            if (known == std::end(part_keys))
                connection += fmt::format(
                    "{}{}={};", connection.empty() || connection.ends_with(';') ? "" : ";", key, value);
            else if (!find_value(connection, known->part))
                set_value(connection, known->part, value);
        }
    add_environment(connection);
    if (!find_value(connection, Part::server) && !has_address_list(connection))
        fail(exit_shell, "no server is named; see tarnsh --help");
    resolve_server(connection);
    if (!find_value(connection, Part::password)) add_password(connection, ask_for_password(connection));
    return connection;
}

std::string changed_connection(const std::string& before, std::string_view words) {
    if (words.find('=') != words.npos) {
        ConnectionOptions options;
        options.text = words;
        return connection_string(options);
    }
    std::string connection = before;
    for (const Part part : {Part::database, Part::user, Part::server, Part::port}) {
        const std::string word = take_word(words);
        if (word.empty() || word == "-" || word == value_of(connection, part)) continue;
        set_value(connection, part, word);
        // A password is not for another user, nor for another server.
        if (part == Part::user || part == Part::server) set_value(connection, Part::password, "");
    }
    resolve_server(connection);
    if (value_of(connection, Part::password) == "") add_password(connection, ask_for_password(connection));
    return connection;
}

} // namespace tarnsh
