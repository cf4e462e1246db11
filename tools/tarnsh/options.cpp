#include "options.h"

#include "failure.h"
#include "output.h"
#include "session.h"
#include "tarnsql.h"
#include "terminal.h"
#include "text.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <string_view>
#include <utility>

namespace tarnsh {

namespace {

constexpr const char* password_variable = "TARNSH_PASSWORD";
constexpr std::size_t longest_password = 63;

constexpr const char* footer =
    "Without -c and -f statements come from standard input. Rows go to standard output, all else to standard "
    "error.\n"
    "The password comes from the connection string, --password-file, TARNSH_PASSWORD or a prompt.\n"
    "Exit codes: 0 all well, 1 the shell's own failure, 2 no connection, 3 a statement failed.";

void define(CLI::App& app, Options& options, std::string& format, bool& no_header) {
    app.name("tarnsh");
    app.footer(footer);
    app.set_version_flag("--version", "tarnsh " TRN_VERSION);
    app.add_option("connection", options.connection, "\"server=...;port=...;db=...;user=...\", or in parts:");
    app.add_option("--server", options.server, "name or IPv4 address")->type_name("NAME");
    app.add_option("--port", options.port, "TCP port")->check(CLI::Range(1, 65535))->type_name("NUMBER");
    app.add_option("--db", options.database, "database")->type_name("NAME");
    app.add_option("--user", options.user, "user")->type_name("NAME");
    app.add_option("--password-file", options.password_file,
                   "file with the password, for its owner's eyes only")
        ->type_name("FILE");
    app.add_option("-c", options.commands, "statements to run")->type_name("SQL");
    app.add_option("-f", options.script, "script to run; - is standard input")->type_name("FILE");
    app.add_option("-o", options.output, "file for the rows")->type_name("FILE");
    app.add_option("--format", format, "format of rows; table when not given")
        ->check(CLI::IsMember(format_names))
        ->type_name("FORMAT");
    app.add_option("--null", options.print.null_text, "text for a null")->type_name("TEXT");
    app.add_flag("--no-header", no_header, "no column names; \\copy FROM expects none");
    app.add_flag("-q,--quiet", options.quiet, "warnings and errors only");
    app.add_flag("--timing", options.timing, "tell the time of every statement");
}

std::string read_password_file(const std::string& path) {
    const File file = open_to_read(path);
    if (!is_private(file.get()))
        fail(exit_shell, path + " can be read by others than its owner; take their permissions away");
    std::string password;
    for (int c; (c = std::getc(file.get())) != EOF && c != '\n';)
        password += static_cast<char>(c);
    if (std::ferror(file.get()) != 0) fail_to_read(path);
    if (password.ends_with('\r')) password.pop_back();
    return password;
}

// A password travels as a segment of the connection string, which cuts it at a ";", drops blanks around it and
// may hold a list of addresses.
void check_password(const std::string& password) {
    if (password.size() > longest_password || trim(password) != password ||
        password.find(';') != std::string::npos || has_address_list(password))
        fail(exit_shell,
             fmt::format(
                 "such a password cannot be sent: over {} bytes, with \";\" or \"IPS=\" in it, or with "
                 "blanks around it",
                 longest_password));
}

// The value of the last segment with one of these keys.
std::optional<std::string_view> value_of(std::string_view connection,
                                         std::initializer_list<std::string_view> keys) {
    const char separator = connection.find(';') != std::string::npos ? ';' : ',';
    std::optional<std::string_view> value;
    for (std::string_view rest = connection; !rest.empty();) {
        const std::string_view segment = rest.substr(0, rest.find(separator));
        rest.remove_prefix(std::min(rest.size(), segment.size() + 1));
        const std::size_t equals = std::min(segment.find('='), segment.size());
        if (std::ranges::find(keys, upper(trim(segment.substr(0, equals)))) != keys.end())
            value = trim(segment.substr(std::min(equals + 1, segment.size())));
    }
    return value;
}

// The library takes addresses only. A name is looked up once: a link made anew goes to the same address.
void resolve_server(std::string& connection) {
    const std::optional<std::string_view> name = value_of(connection, {"SERVER", "IP"});
    if (!name || name->empty()) return;
    std::string reason;
    const std::string address = address_of(std::string(*name), reason);
    if (address.empty())
        fail(exit_connection,
             fmt::format("cannot connect: there is no address for \"{}\": {}", *name, trim(reason)));
    connection.replace(static_cast<std::size_t>(name->data() - connection.data()), name->size(), address);
}

std::optional<std::string> find_password(const Options& options, bool has_user) {
    if (!options.password_file.empty()) return read_password_file(options.password_file);
    if (const char* const password = std::getenv(password_variable)) return password;
    if (!has_user || !is_terminal(stdin)) return std::nullopt;
    std::string password;
    if (!read_secret("Password: ", password)) fail(exit_shell, "no password was given");
    return password;
}

std::string joined(const Options& options) {
    std::string text;
    const auto add = [&text](const char* key, const std::string& value) {
        if (value.find(';') != std::string::npos)
            fail(exit_shell, fmt::format("--{} cannot hold \";\"", key));
        if (!value.empty()) text += fmt::format("{}={};", key, value);
    };
    add("server", options.server);
    add("port", options.port);
    add("db", options.database);
    add("user", options.user);
    return text;
}

} // namespace

std::optional<int> read_options(std::vector<std::string> arguments, Options& options) {
    CLI::App app("tarnsh, the SQL shell of TARNDBMS");
    std::string format = format_names[0];
    bool no_header = false;
    define(app, options, format, no_header);
    const auto refuse = [](const std::string& reason) {
        fmt::print(stderr, "tarnsh: {}; see tarnsh --help\n", reason);
        return exit_shell;
    };
    try {
        arguments.erase(arguments.begin());
        std::ranges::reverse(arguments); // as the parser takes a list
        app.parse(arguments);
    } catch (const CLI::ParseError& error) {
        return error.get_exit_code() == 0 ? app.exit(error) : refuse(error.what());
    }
    options.print.format = *format_of(format);
    options.print.header = !no_header;
    const bool has_parts = !(options.server + options.port + options.database + options.user).empty();
    if (!options.connection.empty() && has_parts)
        return refuse("a connection string has no --server, --port, --db and --user beside it");
    if (options.connection.empty() && options.server.empty()) return refuse("no server is named");
    return std::nullopt;
}

std::string connection_string(const Options& options) {
    std::string connection = options.connection.empty() ? joined(options) : options.connection;
    resolve_server(connection);
    if (value_of(connection, {"PWD", "PASSWORD"})) return connection;
    const bool has_user = value_of(connection, {"USER", "UID", "USER ID", "USERID"}).has_value();
    const std::optional<std::string> password = find_password(options, has_user);
    if (!password) return connection;
    check_password(*password);
    // The other separator would cut a password at a ",".
    if (connection.find(';') == std::string::npos) std::ranges::replace(connection, ',', ';');
    return connection + ";password=" + *password;
}

} // namespace tarnsh
