// Confines SQL to the database: keeps it from the files that the server's user may read and write, and from
// functions that reach into the process; and keeps the database intact when the process is killed. Allowing
// files lifts only the first of these.
#pragma once

#include <sqlite3.h>
#include <string>
#include <string_view>

namespace tarnlite {

// Whether ATTACH of this name opens no file: a temporary database, or one in memory, perhaps with a name. A
// connection to a database of the memory VFS uses that VFS for all names that do not specify another.
bool names_memory(std::string_view name, bool memory_vfs);

class SqlGuard {
  public:
    explicit SqlGuard(bool allow_files) : allow_files_(allow_files) {}
    SqlGuard(const SqlGuard&) = delete; // SQLite holds its address
    SqlGuard& operator=(const SqlGuard&) = delete;

    // From now on statements of the database are checked as SQLite compiles them. The guard must outlive the
    // database.
    void watch(sqlite3* database);

    // Why a statement was refused since the last call of forget; empty when none was. SQLite's own text is
    // only "not authorized".
    const std::string& refusal() const { return refusal_; }
    void forget() { refusal_.clear(); }

  private:
    static int judge(void* guard, int action, const char* first, const char* second, const char* schema,
                     const char* trigger);
    int judge_attach(const char* name);
    int judge_pragma(std::string_view name, const char* value);
    int judge_function(std::string_view name);
    int refuse(std::string reason);

    bool allow_files_;
    bool memory_vfs_ = false;
    std::string refusal_;
};

} // namespace tarnlite
