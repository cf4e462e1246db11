// The prepared statements of one session, by name. Names are case-insensitive: they are passed in upper case.
#pragma once

#include "database.h"

#include <map>
#include <string>

namespace tarnlite {

class PreparedStatements {
  public:
    // All throw SqlError: for a name that already exists, for one too many, or for a name that does not
    // exist.
    sqlite3_stmt* add(const std::string& name, Statement statement);
    sqlite3_stmt* find(const std::string& name) const;
    void remove(const std::string& name);

  private:
    static constexpr std::size_t most_statements = 10'000;

    std::map<std::string, Statement> statements_;
};

} // namespace tarnlite
