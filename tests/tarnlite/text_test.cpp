// What the server reads out of SQL and login texts.

#include "command_text.h"
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
    const struct {
        const char* sql;
        const char* verb;
    } cases[] = {
        {" -- a note\n/* insert */ update t set a=1", "UPDATE"},
        {"with a as (select 1), b(x) as (delete) insert into t select * from a", "INSERT"},
        {"WITH RECURSIVE a AS (select ')') delete from t", "DELETE"},
        {"replace into t values(1)", "REPLACE"},
        {"/* never ends", ""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(tarnlite::statement_verb(c.sql), c.verb) << c.sql;
}

TEST(tarnlite_sql, control_texts_are_told_from_statements) {
    using Kind = tarnlite::CommandText::Kind;
    const struct {
        const char* text;
        Kind kind;
        const char* name;
        const char* sql;
    } cases[] = {
        {"\n Show /**/ VERSION ; ", Kind::show_version, "", ""},
        {"PREPARE stc0 AS select 1; -- x", Kind::prepare, "STC0", " select 1; -- x"},
        {"? stc0 ", Kind::execute, "STC0", ""},
        {"Deallocate STC0 ;", Kind::deallocate, "STC0", ""},
        {"get lob 'C1' offset 7 limit 80 ", Kind::get_lob, "C1", ""},
        {"DECLARE  stc0_CUR CURSOR FOR stc0 ", Kind::declare, "STC0_CUR", " stc0 "},
        {"OPEN c1 ;", Kind::open, "C1", ""},
        {"FETCH  20000  FROM  c1 ", Kind::fetch, "C1", ""},
        {"close c1", Kind::close, "C1", ""},
        {"execute f", Kind::call, "F", ""},
        {"Exec f ((1, 2), ':,)') ; ", Kind::call, "F", ""},
        {"exec f(1,)", Kind::sql, "", "exec f(1,)"},
        {"exec f(1", Kind::sql, "", "exec f(1"},
        {"fetch -1 from c1", Kind::sql, "", "fetch -1 from c1"},
        {"close \"c1\"", Kind::sql, "", "close \"c1\""},
        {"show version; select 1", Kind::sql, "", "show version; select 1"},
        {"prepare a b", Kind::sql, "", "prepare a b"},
        {"? a b", Kind::sql, "", "? a b"},
        {"get lob 'C1' offset 7 limit 8x", Kind::sql, "", "get lob 'C1' offset 7 limit 8x"},
        {"get lob 'C1", Kind::sql, "", "get lob 'C1"},
    };
    for (const auto& c : cases) {
        const auto read = tarnlite::read_command_text(c.text);
        EXPECT_EQ(read.kind, c.kind) << c.text;
        EXPECT_EQ(read.name, c.name) << c.text;
        EXPECT_EQ(read.sql, c.sql) << c.text;
    }
}

TEST(tarnlite_login, all_clauses_are_read_and_what_follows_the_version_is_left_alone) {
    const std::string text = "login database = my data user='U' password='it's = 'so' char_set = 'UTF8' "
                             "iso_level = '' current_schema = 'S'"
                             " keyword_filter='K' lock_timeout = -5 auto_commit = 'off' "
                             "return_cursor_id  = 'on' lob_ret=descriptor"
                             " version = '201'";
    Login login;
    ASSERT_EQ(tarnlite::parse_login(text + "?'rest'", login), LoginState::complete);
    EXPECT_EQ(login.database, "my data");
    EXPECT_EQ(login.user + ',' + login.password, "U,it's = 'so");
    EXPECT_EQ(login.char_set + ',' + login.iso_level + ',' + login.current_schema + ',' +
                  login.keyword_filter,
              "UTF8,,S,K");
    EXPECT_EQ(login.lock_timeout, -5);
    EXPECT_FALSE(login.auto_commit);
    EXPECT_TRUE(login.return_cursor_id);
    EXPECT_TRUE(login.lobs_by_descriptor);
    EXPECT_EQ(login.version, "201");
    EXPECT_EQ(login.length, text.size());
    for (std::size_t part = 0; part < text.size(); ++part) {
        EXPECT_EQ(tarnlite::parse_login(text.substr(0, part), login), LoginState::incomplete) << part;
    }
    EXPECT_EQ(tarnlite::parse_login("login database =  user='' lob_ret  =descriptor version = ''", login),
              LoginState::complete);
    EXPECT_TRUE(login.lobs_by_descriptor);
    EXPECT_EQ(login.database, "");
    for (const char* wrong :
         {"logout", "login database = d user='u' = 'x'", "login database = d user='u' lock_timeout = x ",
          "login database = d user='u' ?='1'"}) {
        EXPECT_EQ(tarnlite::parse_login(wrong, login), LoginState::malformed) << wrong;
    }
}
