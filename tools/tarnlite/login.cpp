#include "login.h"

#include <algorithm>
#include <cctype>
#include <charconv>

namespace tarnlite {

namespace {

constexpr std::string_view opening = "login database = ";
constexpr std::string_view after_database = " user='";

struct Clause {
    std::string name;
    std::string value;
};

// Takes one clause, name [blanks] = [blanks] value, off the front of the text. A text that ends inside the
// clause is incomplete.
LoginState take_clause(std::string_view& text, Clause& clause) {
    std::size_t at = 0;
    const auto skip_blanks = [&] {
        while (at < text.size() && text[at] == ' ')
            ++at;
    };
    skip_blanks();
    const std::size_t name = at;
    while (at < text.size() && (std::isalpha(static_cast<unsigned char>(text[at])) != 0 || text[at] == '_'))
        ++at;
    clause.name = text.substr(name, at - name);
    skip_blanks();
    if (at == text.size()) return LoginState::incomplete;
    if (clause.name.empty() || text[at++] != '=') return LoginState::malformed;
    skip_blanks();
    if (at == text.size()) return LoginState::incomplete;

    const bool quoted = text[at] == '\'';
    const std::size_t value = quoted ? ++at : at;
    if (quoted) {
        at = text.find('\'', at);
        // The closing quote of the version ends the text, whatever follows.
        while (clause.name != "version" && at < text.size() - 1 && text[at + 1] != ' ')
            at = text.find('\'', at + 1);
    } else {
        at = text.find(' ', at);
    }
    if (at == std::string_view::npos) return LoginState::incomplete;
    clause.value = text.substr(value, at - value);
    text.remove_prefix(quoted ? at + 1 : at);
    return LoginState::complete;
}

// Clauses with other names are skipped.
bool keep_clause(const Clause& clause, Login& login) {
    const auto& [name, value] = clause;
    if (name == "user") login.user = value;
    if (name == "password") login.password = value;
    if (name == "char_set") login.char_set = value;
    if (name == "iso_level") login.iso_level = value;
    if (name == "current_schema") login.current_schema = value;
    if (name == "keyword_filter") login.keyword_filter = value;
    if (name == "auto_commit") login.auto_commit = value != "off";
    if (name == "return_cursor_id") login.return_cursor_id = value == "on";
    if (name == "lob_ret") login.lobs_by_descriptor = value == "descriptor";
    if (name == "version") login.version = value;
    if (name != "lock_timeout") return true;
    const auto [end, failure] =
        std::from_chars(value.data(), value.data() + value.size(), login.lock_timeout);
    return failure == std::errc() && end == value.data() + value.size();
}

} // namespace

LoginState parse_login(std::string_view text, Login& login) {
    const std::size_t common = std::min(text.size(), opening.size());
    if (text.substr(0, common) != opening.substr(0, common)) return LoginState::malformed;
    const std::size_t user = text.find(after_database);
    if (common < opening.size() || user == std::string_view::npos) return LoginState::incomplete;
    if (user < opening.size()) return LoginState::malformed;

    login = Login{};
    login.database = text.substr(opening.size(), user - opening.size());
    std::string_view rest = text.substr(user);
    Clause clause;
    do {
        const LoginState state = take_clause(rest, clause);
        if (state != LoginState::complete) return state;
        if (!keep_clause(clause, login)) return LoginState::malformed;
    } while (clause.name != "version");
    login.length = text.size() - rest.size();
    return LoginState::complete;
}

} // namespace tarnlite
