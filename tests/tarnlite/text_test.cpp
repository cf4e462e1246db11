// What the server reads out of SQL and login texts.

#include "login.h"
#include "sql_text.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

using tarnlite::Login;
using tarnlite::LoginState;

TEST(tarnlite_sql, only_interval_types_have_their_to_quoted) {
    using tarnlite::accept_interval_types;
    EXPECT_EQ(accept_interval_types(
                  "create table t(a interval year to month, b INTERVAL DAY /* to */ TO\nSECOND(6))"),
              "create table t(a interval year \"TO\" month, b INTERVAL DAY /* to */ \"TO\"\nSECOND(6))");
    for (const char* same :
         {"alter table a rename to b", "select 'interval year to month'", "rollback to day",
          "select 1 -- interval year to month", "\"interval\" year to month", ""}) {
        EXPECT_EQ(accept_interval_types(same), same);
    }
}

TEST(tarnlite_sql, the_verb_stands_after_comments_and_common_table_expressions) {
    using tarnlite::statement_verb;
    EXPECT_EQ(statement_verb(" -- a note\n/* insert */ update t set a=1"), "UPDATE");
    EXPECT_EQ(statement_verb("with a as (select 1), b(x) as (delete) insert into t select * from a"),
              "INSERT");
    EXPECT_EQ(statement_verb("WITH RECURSIVE a AS (select ')') delete from t"), "DELETE");
    EXPECT_EQ(statement_verb("replace into t values(1)"), "REPLACE");
    EXPECT_EQ(statement_verb("/* never ends"), "");
    EXPECT_TRUE(tarnlite::is_show_version("\n Show /**/ VERSION ; "));
    EXPECT_FALSE(tarnlite::is_show_version("show version; select 1"));
    EXPECT_FALSE(tarnlite::is_show_version("show versions"));
}

TEST(tarnlite_login, all_clauses_are_read) {
    const std::string_view text = "login database = my data user='U' password='it's = 'so' char_set = 'UTF8' "
                                  "iso_level = '' current_schema = 'S'"
                                  " keyword_filter='K' lock_timeout = -5 auto_commit = 'off' "
                                  "return_cursor_id  = 'on' lob_ret  =descriptor"
                                  " version = '201'";
    Login login;
    ASSERT_EQ(tarnlite::parse_login(text, login), LoginState::complete);
    EXPECT_EQ(login.database, "my data");
    EXPECT_EQ(login.user, "U");
    EXPECT_EQ(login.password, "it's = 'so");
    EXPECT_EQ(login.char_set, "UTF8");
    EXPECT_EQ(login.iso_level, "");
    EXPECT_EQ(login.current_schema, "S");
    EXPECT_EQ(login.keyword_filter, "K");
    EXPECT_EQ(login.lock_timeout, -5);
    EXPECT_FALSE(login.auto_commit);
    EXPECT_TRUE(login.return_cursor_id);
    EXPECT_TRUE(login.lobs_by_descriptor);
    EXPECT_EQ(login.version, "201");
    EXPECT_EQ(login.length, text.size());
    for (std::size_t part = 0; part < text.size(); ++part) {
        EXPECT_EQ(tarnlite::parse_login(text.substr(0, part), login), LoginState::incomplete) << part;
    }
}

TEST(tarnlite_login, what_follows_the_version_is_left_alone) {
    Login login;
    ASSERT_EQ(tarnlite::parse_login("login database =  user='' password='' version = '301'?'rest'", login),
              LoginState::complete);
    EXPECT_EQ(login.length, std::string_view("login database =  user='' password='' version = '301'").size());
    EXPECT_EQ(login.database, "");
}

TEST(tarnlite_login, other_texts_are_malformed) {
    Login login;
    for (const char* wrong :
         {"logout", "login database = d user='u' = 'x'", "login database = d user='u' lock_timeout = x ",
          "login database = d user='u' ?='1'"}) {
        EXPECT_EQ(tarnlite::parse_login(wrong, login), LoginState::malformed) << wrong;
    }
}
