// The login text: "login database = D user='U' password='P' ... version = 'V'". It has no frame; its last
// clause, version, ends it.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tarnlite {

struct Login {
    std::string database;
    std::string user;
    std::string password;
    std::string char_set;
    std::string iso_level;
    std::string current_schema;
    std::string keyword_filter;
    int lock_timeout = 0; // seconds; 0 when the clause is absent
    bool auto_commit = true;
    bool return_cursor_id = false;
    bool lobs_by_descriptor = false;
    std::string version;
    std::size_t length = 0; // bytes of the text
};

enum class LoginState {
    incomplete,
    complete,
    malformed,
};

// Reads a text that may have arrived only in part. The client does not escape quoted values: such a value
// ends at the first quote followed by a blank or the end of the text.
LoginState parse_login(std::string_view text, Login& login);

} // namespace tarnlite
