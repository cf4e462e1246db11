#include "options.h"

#include "failure.h"
#include "tarnsql.h"
#include "terminal.h"
#include "text.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
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
    app.footer(footer);
    app.set_version_flag("--version", "tarnsh " TRN_VERSION);
    auto* const whole =
        app.add_option("connection", options.connection, "\"server=...;port=...;db=...;user=...\"");
    app.add_option("--server", options.server, "numeric IPv4 address")->excludes(whole);
    app.add_option("--port", options.port, "TCP port")->excludes(whole);
    app.add_option("--db", options.database, "database")->excludes(whole);
    app.add_option("--user", options.user, "user")->excludes(whole);
    app.add_option("--password-file", options.password_file,
                   "file with the password, for its owner's eyes only")
        ->type_name("FILE");
    app.add_option("-c", options.commands, "statements to run")->type_name("SQL");
    app.add_option("-f", options.script, "script to run; - is standard input")->type_name("FILE");
    app.add_option("-o", options.output, "file for the rows")->type_name("FILE");
    app.add_option("--format", format, "format of rows")
        ->check(CLI::IsMember({"table", "csv", "json", "markdown", "vertical"}))
        ->capture_default_str();
    app.add_option("--null", options.print.null_text, "text for a null")->type_name("TEXT");
    app.add_flag("--no-header", no_header, "no column names; \\copy FROM expects none");
    app.add_flag("-q,--quiet", options.quiet, "warnings and errors only");
    app.add_flag("--timing", options.timing, "tell the time of every statement");
}

std::string read_password_file(const std::string& path) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(open_file(path, "rb"), std::fclose);
    if (!file) fail(exit_shell, "cannot read " + path + ": " + std::strerror(errno));
    if (!is_private(file.get()))
        fail(exit_shell, path + " can be read by others than its owner; take their permissions away");
    std::string password;
    for (int c; (c = std::getc(file.get())) != EOF && c != '\n';)
        password += static_cast<char>(c);
    if (password.ends_with('\r')) password.pop_back();
    return password;
}

// A password travels as a segment of the connection string, which cuts it at a ";", drops blanks around it and
// takes these letters for a list of addresses.
void check_password(const std::string& password) {
    if (password.size() > longest_password || trim(password) != password ||
        password.find(';') != std::string::npos || password.find("IPS=") != std::string::npos ||
        password.find("ips=") != std::string::npos)
        fail(exit_shell,
             fmt::format(
                 "such a password cannot be sent: over {} bytes, with \";\" or \"IPS=\" in it, or with "
                 "blanks around it",
                 longest_password));
}

bool has_key(const std::string& connection, std::initializer_list<std::string_view> keys) {
    const char separator = connection.find(';') != std::string::npos ? ';' : ',';
    for (std::string_view rest = connection; !rest.empty();) {
        const std::string_view segment = rest.substr(0, rest.find(separator));
        rest.remove_prefix(std::min(rest.size(), segment.size() + 1));
        const std::string key = upper(trim(segment.substr(0, segment.find('='))));
        for (const std::string_view wanted : keys)
            if (key == wanted) return true;
    }
    return false;
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
    std::string format = "table";
    bool no_header = false;
    define(app, options, format, no_header);
    try {
        app.name("tarnsh");
        arguments.erase(arguments.begin());
        std::ranges::reverse(arguments); // as the parser takes a list
        app.parse(arguments);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? exit_done : exit_shell;
    }
    options.print.format = *format_of(format);
    options.print.header = !no_header;
    if (!options.connection.empty() || !options.server.empty()) return std::nullopt;
    fmt::print(stderr, "tarnsh: no server is named; see tarnsh --help\n");
    return exit_shell;
}

std::string connection_string(const Options& options) {
    std::string connection = options.connection.empty() ? joined(options) : options.connection;
    if (has_key(connection, {"PWD", "PASSWORD"})) return connection;
    const bool has_user = has_key(connection, {"USER", "UID", "USER ID", "USERID"});
    const std::optional<std::string> password = find_password(options, has_user);
    if (!password) return connection;
    check_password(*password);
    if (!connection.ends_with(';')) connection += connection.find(';') == std::string::npos ? ',' : ';';
    return connection + "password=" + *password;
}

} // namespace tarnsh
