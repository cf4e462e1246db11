#include "sql_guard.h"

#include "values.h"

#include <fmt/format.h>

#include <algorithm>

namespace tarnlite {

namespace {

// All other virtual table modules are dropped: in some builds of SQLite they can read files.
const char* const kept_modules[] = {
    "bytecode",  "completion",  "dbstat",          "fts3",    "fts3tokenize", "fts4",      "fts4aux",
    "fts5",      "fts5vocab",   "generate_series", "geopoly", "json_each",    "json_tree", "rtree",
    "rtree_i32", "sqlite_stmt", "tables_used",     nullptr,
};

// These set file locations, for all connections of the process.
constexpr std::string_view file_pragmas[] = {"temp_store_directory", "data_store_directory",
                                             "lock_proxy_file"};

// Added by the sqlite3 shell and some builds.
constexpr std::string_view file_functions[] = {"readfile", "writefile", "edit"};

// The first calls an address in the process, the second loads a library.
constexpr std::string_view process_functions[] = {"fts3_tokenizer", "load_extension"};

// SQLite's names, in any case.
bool is_same(std::string_view name, std::string_view other) {
    return name.size() == other.size() &&
           sqlite3_strnicmp(name.data(), other.data(), static_cast<int>(name.size())) == 0;
}

bool is_one_of(std::string_view name, auto& names) {
    return std::ranges::any_of(names, [name](std::string_view one) { return is_same(name, one); });
}

// SQLite accepts a prefix of a mode.
bool is_unsafe_journal(std::string_view mode) {
    const auto begins = [mode](std::string_view unsafe) {
        return is_same(mode, unsafe.substr(0, mode.size()));
    };
    return !mode.empty() && (begins("memory") || begins("off"));
}

} // namespace

// Only plain names: "%" and "#" are special in a URI, and of an option given twice the last counts.
bool names_memory(std::string_view name, bool memory_vfs) {
    if (name.empty() || name == ":memory:") return true;
    constexpr std::string_view scheme = "file:";
    const std::size_t query = name.find('?');
    if (!name.starts_with(scheme)) return memory_vfs;
    if (name.find_first_of("%#") != std::string_view::npos) return false;
    bool in_memory = memory_vfs || name.substr(0, query) == "file::memory:";
    if (query == std::string_view::npos) return in_memory;
    for (std::string_view options = name.substr(query + 1);;) {
        const std::size_t end = options.find('&');
        const std::string_view option = options.substr(0, end);
        if (option == "mode=memory" || option == "vfs=memdb") {
            in_memory = true;
        } else if (option != "cache=shared" && option != "cache=private") {
            return false;
        }
        if (end == std::string_view::npos) return in_memory;
        options.remove_prefix(end + 1);
    }
}

void SqlGuard::watch(sqlite3* database) {
    sqlite3_db_config(database, SQLITE_DBCONFIG_ENABLE_LOAD_EXTENSION, 0, nullptr);
    sqlite3_db_config(database, SQLITE_DBCONFIG_ENABLE_FTS3_TOKENIZER, 0, nullptr);
    // No writes to sqlite_schema and the tables behind virtual ones, which can make SQLite read out of
    // bounds.
    sqlite3_db_config(database, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    if (!allow_files_) sqlite3_drop_modules(database, const_cast<const char**>(kept_modules));
    sqlite3_vfs* vfs = nullptr;
    sqlite3_file_control(database, "main", SQLITE_FCNTL_VFS_POINTER, &vfs);
    memory_vfs_ = vfs != nullptr && std::string_view(vfs->zName) == "memdb";
    sqlite3_set_authorizer(database, judge, this);
}

int SqlGuard::judge(void* guard, int action, const char* first, const char* second, const char*,
                    const char*) {
    auto& self = *static_cast<SqlGuard*>(guard);
    switch (action) {
    case SQLITE_ATTACH: return self.judge_attach(first);
    case SQLITE_PRAGMA: return self.judge_pragma(first, second);
    case SQLITE_FUNCTION: return self.judge_function(second);
    default: return SQLITE_OK;
    }
}

// VACUUM gets here too, with the name after INTO or an empty one. A name that is not a literal is known only
// later.
int SqlGuard::judge_attach(const char* name) {
    if (allow_files_ || (name != nullptr && names_memory(name, memory_vfs_))) return SQLITE_OK;
    if (name == nullptr)
        return refuse("ATTACH takes only a name in quotes: the server runs without --allow-files");
    return refuse(
        fmt::format("the file {} cannot be opened: the server runs without --allow-files", shown_text(name)));
}

int SqlGuard::judge_pragma(std::string_view name, const char* value) {
    if (value == nullptr) return SQLITE_OK;
    // It would replace the wait that lock_timeout limits and that ends with the server.
    if (is_same(name, "busy_timeout")) return SQLITE_IGNORE;
    if (!memory_vfs_ && is_same(name, "journal_mode") && is_unsafe_journal(value))
        return refuse("this journal_mode is refused: a killed server would leave the database file damaged");
    if (allow_files_ || !is_one_of(name, file_pragmas)) return SQLITE_OK;
    return refuse(fmt::format("PRAGMA {} is not changed: the server runs without --allow-files", name));
}

int SqlGuard::judge_function(std::string_view name) {
    if (is_one_of(name, process_functions)) return refuse(fmt::format("the function {} is disabled", name));
    if (allow_files_ || !is_one_of(name, file_functions)) return SQLITE_OK;
    return refuse(fmt::format("the function {} is refused: the server runs without --allow-files", name));
}

int SqlGuard::refuse(std::string reason) {
    refusal_ = std::move(reason);
    return SQLITE_DENY;
}

} // namespace tarnlite
