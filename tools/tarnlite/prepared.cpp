#include "prepared.h"

#include "values.h"

#include <fmt/format.h>

#include <utility>

namespace tarnlite {

namespace {

[[noreturn]] void throw_unknown(const std::string& name) {
    throw SqlError(fmt::format("there is no prepared statement {}", shown_text(name)));
}

} // namespace

sqlite3_stmt* PreparedStatements::add(const std::string& name, Statement statement) {
    if (statements_.size() >= most_statements) {
        throw SqlError(fmt::format("there are already {} prepared statements", most_statements));
    }
    const auto [place, added] = statements_.try_emplace(name, std::move(statement));
    if (!added) throw SqlError(fmt::format("the prepared statement {} already exists", shown_text(name)));
    return place->second.get();
}

sqlite3_stmt* PreparedStatements::find(const std::string& name) const {
    const auto found = statements_.find(name);
    if (found == statements_.end()) throw_unknown(name);
    return found->second.get();
}

void PreparedStatements::remove(const std::string& name) {
    if (statements_.erase(name) == 0) throw_unknown(name);
}

} // namespace tarnlite
