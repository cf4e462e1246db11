// The command line of tarnlite.

#include "process.h"
#include "server.h"
#include "settings.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

constexpr const char* footer =
    "SQL is SQLite's, with prepared statements, parameters, batches, server cursors, large objects by\n"
    "descriptor and a few built-in procedures. Of the login, user, password, lock_timeout, auto_commit and\n"
    "lob_ret take effect; database, char_set, iso_level, current_schema, keyword_filter, return_cursor_id\n"
    "and version are ignored.\n"
    "Faults: refuse-login, drop-after=N (bytes sent), delay=MS (before every reply), error[=TEXT] (to every\n"
    "command).\n"
    "SIGTERM or SIGINT ends the server within 2 seconds, on Windows Ctrl+C.\n"
    "A development server, not for production: without --user and --password anyone who can reach the port\n"
    "may read and change the database, and whoever is logged in may use up memory and processor time.";

constexpr std::chrono::milliseconds longest_stop{1500};

void parse(CLI::App& app, std::vector<std::string> arguments) {
    app.name(arguments.front());
    arguments.erase(arguments.begin());
    std::ranges::reverse(arguments); // the order that the parser expects
    app.parse(std::move(arguments));
}

// Renamed into place, so that the file never appears without its content.
void write_port_file(const std::string& name, std::uint16_t port) {
    const std::filesystem::path path(std::u8string(name.begin(), name.end()));
    std::filesystem::path unfinished = path;
    unfinished += ".new";
    std::ofstream out(unfinished, std::ios::binary | std::ios::trunc); // LF line ends on every system
    out << port << '\n';
    out.close();
    if (!out) throw std::runtime_error(fmt::format("cannot write {}.new", name));
    std::filesystem::rename(unfinished, path);
}

// An option in seconds, perhaps with a fraction.
CLI::Option* add_seconds(CLI::App& app, const std::string& name, const std::string& description,
                         const std::function<void(std::chrono::milliseconds)>& set) {
    const auto set_seconds = [set](double seconds) {
        set(std::chrono::round<std::chrono::milliseconds>(std::chrono::duration<double>(seconds)));
    };
    return app.add_option_function<double>(name, set_seconds, description)
        ->type_name("SECONDS")
        ->check(CLI::Range(0.001, 86400.0, ""));
}

void warn_when_open(const tarnlite::Settings& settings) {
    if (settings.credentials || settings.listen_address.starts_with("127.")) return;
    fmt::print(
        stderr,
        "tarnlite: warning: listening on {} without --user and --password: anyone who reaches the port "
        "may read and change the database{}\n",
        settings.listen_address,
        settings.allow_files ? ", and with --allow-files every file that this user may" : "");
}

// A single call of an SQL function cannot be interrupted. SQLite rolls back what was unfinished when the
// database is next opened.
void end_process_after(std::chrono::milliseconds time) {
    std::thread([time] {
        std::this_thread::sleep_for(time);
        fmt::print(stderr, "tarnlite: exited while running a statement that could not be interrupted\n");
        std::_Exit(0);
    }).detach();
}

void serve_until_stopped(const tarnlite::Settings& settings, const std::string& port_file) {
    warn_when_open(settings);
    tarnlite::raise_descriptor_limit();
    tarnlite::hold_stop_signals();
    tarnlite::Server server(settings);
    fmt::print("tarnlite: listening on {}:{}\n", settings.listen_address, server.port());
    std::fflush(stdout);
    if (!port_file.empty()) write_port_file(port_file, server.port());
    tarnlite::wait_for_stop_signal();
    end_process_after(longest_stop);
    server.stop();
}

} // namespace

int main(int argc, char** argv) {
    tarnlite::Settings settings;
    tarnlite::Credentials credentials;
    std::string port_file;
    std::vector<std::string> faults;

    CLI::App app("tarnlite, the development server: SQLite behind the TARNDBMS wire protocol");
    app.footer(footer);
    app.set_version_flag("--version", TARNLITE_VERSION, "print the version and exit");
    app.add_option("--listen", settings.listen_address, "IPv4 address to listen on")->capture_default_str();
    app.add_option("--port", settings.port, "TCP port; 0 lets the system pick one")->capture_default_str();
    app.add_option("--database", settings.database_file, "database file; without it the data is in memory")
        ->type_name("FILE");
    auto* const user =
        app.add_option("--user", credentials.user, "the only user who may log in; without it anyone may");
    auto* const password = app.add_option("--password", credentials.password, "that user's password");
    user->needs(password);
    password->needs(user);
    auto* const require_ssl = app.add_flag("--require-ssl", settings.require_ssl, "refuse plain logins");
    app.add_flag("--refuse-ssl", settings.refuse_ssl, "refuse encrypted logins")->excludes(require_ssl);
    app.add_flag("--allow-files", settings.allow_files,
                 "let SQL (ATTACH, VACUUM INTO) read and write every file that the server's user may");
    app.add_option("--max-connections", settings.most_connections, "clients logged in at a time")
        ->check(CLI::Range(1, 100'000))
        ->capture_default_str();
    add_seconds(app, "--login-timeout", "time for a new connection to log in", [&](auto time) {
        settings.login_timeout = time;
    })->default_str("10");
    add_seconds(app, "--request-timeout", "longest silence in the middle of a request", [&](auto time) {
        settings.request_timeout = time;
    })->default_str("5");
    add_seconds(app, "--statement-timeout", "end commands that run longer with an error; default: no limit",
                [&](auto time) { settings.statement_timeout = time; });
    app.add_option("--port-file", port_file, "file to write the port number to once listening")
        ->type_name("FILE");
    app.add_option("--protocol", settings.protocol, "version of the login answer")
        ->check(CLI::IsMember({201, 301}))
        ->capture_default_str();
    app.add_option("--fault", faults, "a deliberate failure; may be repeated")
        ->type_name("FAULT")
        ->allow_extra_args(false);
    try {
        parse(app, tarnlite::command_line(argc, argv));
    } catch (const CLI::ParseError& error) {
        return app.exit(error);
    }
    if (*user) settings.credentials = credentials;

    try {
        for (const std::string& fault : faults)
            tarnlite::add_fault(settings.faults, fault);
        serve_until_stopped(settings, port_file);
    } catch (const std::exception& error) {
        fmt::print(stderr, "tarnlite: {}\n", error.what());
        return 1;
    }
    return 0;
}
