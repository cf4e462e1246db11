// Keeps SQL inside the database: away from the files that the server's user may read and write, and from the
// functions that reach into the process; and keeps the database whole when the process is killed. Allowing
// files lifts the first of these only.
#pragma once

#include <sqlite3.h>
#include <string>
#include <string_view>

namespace tarnlite {

// Whether ATTACH of this name opens no file: a temporary database, or one in memory, perhaps with a name. A
// connection to a database of the memory VFS looks for all names there that do not tell another one.
bool names_memory(std::string_view name, bool memory_vfs);

class SqlGuard {
  public:
    explicit SqlGuard(bool allow_files) : allow_files_(allow_files) {}
    SqlGuard(const SqlGuard&) = delete; // SQLite holds its address
    SqlGuard& operator=(const SqlGuard&) = delete;

    // From here on statements of the database are judged as SQLite compiles them. The guard outlives the
    // database.
    void watch(sqlite3* database);

    // Why a statement was refused since the last call of forget; empty when none was. SQLite's own text says
    // "not authorized" only.
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
