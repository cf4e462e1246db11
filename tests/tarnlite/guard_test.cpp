// What SQL may reach beside the database: nothing that lies in files, unless they are allowed.

#include "raw_client.h"
#include "server.h"
#include "server_process.h"
#include "sql_guard.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace {

class tarnlite_guard : public testing::Test {
  protected:
    tarnlite_guard() {
        const tarnlite::Database made = tarnlite::open_database(secret_);
        tarnlite::execute(made.get(), "create table t(a); insert into t values('secret')");
    }
    // The statement with the place of the secret file for each "@", and of one that is not there for each
    // "#".
    std::string with_files(std::string sql) const {
        for (std::size_t at = 0; (at = sql.find_first_of("@#", at)) != std::string::npos;)
            sql.replace(at, 1, sql[at] == '@' ? secret_ : new_);
        return sql;
    }
    static std::string error_of(const std::vector<Item>& items) {
        return !items.empty() && items.back().letter == 'E' ? items.back().text : "";
    }

    Folder folder_;
    const std::string secret_ = folder_ / "secret.db";
    const std::string new_ = folder_ / "new.db";
    tarnlite::Settings settings_{.port = 0};
};

struct Refused {
    const char* sql;
    const char* reason;
    bool in_memory_too = true; // false: over a database in memory the name is one in memory as well
};

constexpr Refused with_file[] = {
    {"attach '@' as s", "the file '@' cannot be opened: the server runs without --allow-files", false},
    {"attach 'file:@?vfs=unix' as s", "the file 'file:@?vfs=unix' cannot be opened"},
    {"attach 'file:@?vfs=unix&mode=memory&mode=ro' as s", "cannot be opened"},
    {"attach 'file:@?mode=memory&mod%65=ro' as s", "cannot be opened"},
    {"attach 'file:@?mode=ro#?vfs=memdb' as s", "cannot be opened"},
    {"attach '' || '@' as s", "ATTACH takes only a name in quotes"},
    {"select 1; attach \"@\" as s", "cannot be opened", false},
    {"attach 'file:@?mode=ro' as s", "cannot be opened"},
    {"vacuum into '#'", "the file '#' cannot be opened", false},
    {"vacuum into 'file:#?vfs=unix'", "cannot be opened"},
    {"vacuum into 'file:' || '#?vfs=unix'", "cannot be opened"},
    {"prepare s as attach 'file:@?vfs=unix' as s", "cannot be opened"},
    {"pragma temp_store_directory = '/tmp'", "PRAGMA temp_store_directory is not changed"},
};

constexpr Refused always[] = {
    {"select load_extension('@')", "the function load_extension is disabled"},
    {"select fts3_tokenizer('simple')", "the function fts3_tokenizer is disabled"},
    {"pragma s.journal_mode = 'OFF'", "this journal_mode is refused"},
    {"pragma journal_mode(mem)", "this journal_mode is refused"},
    {"pragma writable_schema = on; update sqlite_schema set sql = ''", "may not be modified"},
};

} // namespace

TEST_F(tarnlite_guard, statements_that_reach_files_are_refused) {
    const tarnlite::Database made = tarnlite::open_database(folder_ / "own.db");
    for (const char* const database : {"", "own.db"}) {
        settings_.database_file = *database ? folder_ / database : "";
        tarnlite::Server server(settings_);
        RawClient client(server.port());
        client.log_in();
        for (const auto& [sql, reason, in_memory_too] : with_file) {
            const std::string error = error_of(client.run(with_files(sql)));
            if (!*database && !in_memory_too) {
                EXPECT_EQ(error, "") << sql;
                EXPECT_NE(error_of(client.run("select a from s.t")), "") << sql;
                client.run("detach s");
                continue;
            }
            EXPECT_NE(error.find(with_files(reason)), std::string::npos) << sql << ": " << error;
        }
        EXPECT_EQ(client.value("select count(*) from pragma_database_list where name = 's'").back(), '\0');
        EXPECT_FALSE(std::filesystem::exists(new_));
        client.send(command("select fts3_tokenizer(?, ?)", 2) + entry(30, "simple") + entry(33, "12345678"));
        EXPECT_EQ(error_of(client.receive_reply()), always[1].reason);
        client.send(command("attach ? as s", 1) + entry(30, secret_));
        EXPECT_NE(error_of(client.receive_reply()).find("a name in quotes"), std::string::npos);
        EXPECT_EQ(error_of(client.run("select absent")),
                  "no such column: absent"); // the reason is not kept
    }
}

TEST_F(tarnlite_guard, allowing_files_allows_files_alone) {
    settings_.allow_files = true;
    settings_.database_file = folder_ / "own.db";
    tarnlite::Server server(settings_);
    RawClient client(server.port());
    client.log_in();
    client.run(with_files("attach 'file:@?vfs=unix' as s"));
    EXPECT_EQ(client.value("select a from s.t"), "secret");
    EXPECT_EQ(error_of(client.run(with_files("vacuum s into 'file:#?vfs=unix'"))), "");
    EXPECT_TRUE(std::filesystem::exists(new_));
    for (const auto& [sql, reason, in_memory_too] : always) {
        const std::string error = error_of(client.run(with_files(sql)));
        EXPECT_NE(error.find(reason), std::string::npos) << sql << ": " << error;
    }
}

TEST_F(tarnlite_guard, databases_in_memory_and_temporary_tables_need_no_leave) {
    tarnlite::Server server(settings_);
    RawClient client(server.port());
    RawClient other(server.port());
    client.log_in();
    other.log_in();
    for (const char* sql :
         {"attach '' as a1", "attach ':memory:' as a2", "attach 'file:one?mode=memory&cache=shared' as a3",
          "attach '/named' as a5", "create table a5.x(a); insert into a5.x values('named')",
          "attach 'file:/shared?vfs=memdb' as a4", "create temp table k(a)", "create table a1.x(a)",
          "create table a4.x(a); insert into a4.x values('shared')", "vacuum",
          "create virtual table f using fts5(a)", "create virtual table r using rtree(a, b, c)",
          "select * from json_each('[1]'), dbstat", "pragma user_version = 7", "pragma temp_store = memory",
          "vacuum into 'file:/copy?vfs=memdb'", "detach a1"})
        EXPECT_EQ(error_of(client.run(sql)), "") << sql;
    other.run("attach 'file:/shared?vfs=memdb' as s");
    EXPECT_EQ(other.value("select a from s.x"), "shared");
    other.run("attach '/named' as n");
    EXPECT_EQ(other.value("select a from n.x"), "named");
}

TEST_F(tarnlite_guard, the_login_alone_says_how_long_to_wait_for_locks) {
    tarnlite::Server server(settings_);
    RawClient client(server.port());
    client.log_in();
    EXPECT_EQ(error_of(client.run("pragma busy_timeout = 3600000")), "");
    EXPECT_EQ(client.value("pragma busy_timeout").back(), '\0');
}

TEST(tarnlite_guard_names, only_plain_names_of_memory_are_taken_for_them) {
    for (const char* name :
         {"", ":memory:", "file::memory:", "file::memory:?cache=shared", "file:x?mode=memory",
          "file:/x?vfs=memdb&cache=private", "file:x?cache=shared&vfs=memdb&mode=memory"})
        EXPECT_TRUE(tarnlite::names_memory(name, false)) << name;
    for (const char* name :
         {"x", "/x", "file:x", "file:x?", "file:x?cache=shared", "x?vfs=memdb", "FILE:x?vfs=memdb",
          "file:x?vfs=memdb&vfs=unix", "file:x?vfs=memdb&", "file:x?mode=memory#", "file::memory:x",
          "file:x?mode=memory&immutable=1", "file:%00?mode=memory"})
        EXPECT_FALSE(tarnlite::names_memory(name, false)) << name;
    for (const char* name : {"x", "/x?vfs=unix", "FILE:x?vfs=unix", "file:/x", "file:x?cache=shared"})
        EXPECT_TRUE(tarnlite::names_memory(name, true)) << name;
    for (const char* name : {"file:x?vfs=unix", "file:x#?", "file:x?mode=ro", "file:x?v%66s=unix"})
        EXPECT_FALSE(tarnlite::names_memory(name, true)) << name;
}
