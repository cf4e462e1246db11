// How a connection is opened: settings that become a connection string, and time-outs.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "../tarnsql_ext.h"
#include "error.hpp"

namespace tarnsql {

/// A connection string, key by key, for values from outside: a value cannot smuggle in another key. Empty
/// members are left out.
struct connection_settings {
    std::string server = "127.0.0.1"; ///< dotted IPv4 address; names are not resolved
    int port = 5139;                  ///< 1 to 65535
    std::string database;             ///< at most 127 bytes; the others at most 63
    std::string user;                 ///< the user name
    std::string password;             ///< the user's
    bool encrypted = false;           ///< use_ssl: see the guide on what it is worth
    bool auto_commit = true;          ///< off: the server begins transactions by itself
    bool lobs_by_descriptor = false;  ///< lob_ret: large objects are fetched when they are read
    std::vector<std::pair<std::string, std::string>>
        other; ///< further keys of the connection string, with their values

    /// The connection string. Throws usage_error for a value that it cannot hold: one with ";" or a zero
    /// byte, or with a blank at either end, which would be dropped. Other mistakes are reported by the open.
    std::string to_string() const {
        std::string text;
        add(text, "server", server);
        add(text, "port", std::to_string(port));
        add(text, "db", database);
        add(text, "user", user);
        add(text, "password", password);
        if (encrypted) add(text, "use_ssl", "on");
        if (!auto_commit) add(text, "auto_commit", "off");
        if (lobs_by_descriptor) add(text, "lob_ret", "descriptor");
        for (const auto& [key, value] : other)
            add(text, key, value);
        return text;
    }

  private:
    static void add(std::string& text, const std::string& key, const std::string& value) {
        if (value.empty()) return;
        const bool cut = value.front() == ' ' || value.back() == ' ';
        if (cut || value.find(';') != std::string::npos || value.find('\0') != std::string::npos)
            throw usage_error(TRN_ERR_ARGUMENT, key + ": a connection string cannot hold the value");
        text.append(key).append("=").append(value).append(";");
    }
};

/// Time-outs and keep-alive. Zero keeps the default of each.
struct connect_options {
    std::chrono::milliseconds
        connect_timeout{}; ///< for the connection, each address by itself, and each wait of the login
    std::chrono::milliseconds receive_timeout{}; ///< for the next bytes of a reply; then the link is closed
    std::chrono::seconds keepalive_idle{};       ///< silence before the system's first probe
    std::chrono::seconds keepalive_interval{};   ///< between two probes
    int keepalive_count = 0;                     ///< unanswered probes that end the connection
    bool ignore_unknown_keys = false;            ///< ignore unknown keys of the connection string
};

namespace detail {

template <class Duration> int32_t timeout_of(Duration wait) {
    if (wait.count() < 0 || wait.count() > INT32_MAX)
        throw range_error(TRN_ERR_ARGUMENT, "a time-out out of range");
    return static_cast<int32_t>(wait.count());
}

inline TRNX_OPTIONS options_of(const connect_options& from) {
    TRNX_OPTIONS options;
    std::memset(&options, 0, sizeof options);
    options.size = sizeof options;
    options.flags = from.ignore_unknown_keys ? TRNX_IGNORE_UNKNOWN_KEYS : 0;
    options.connect_timeout_ms = timeout_of(from.connect_timeout);
    options.receive_timeout_ms = timeout_of(from.receive_timeout);
    options.keepalive_idle_s = timeout_of(from.keepalive_idle);
    options.keepalive_interval_s = timeout_of(from.keepalive_interval);
    options.keepalive_count = from.keepalive_count;
    return options;
}

} // namespace detail
} // namespace tarnsql
