/*
 * Connection strings, seen from the server: each row opens a connection and compares the login text byte for
 * byte. "@" stands for the server's port.
 */
#include "session_fixture.h"

#include <algorithm>

namespace {

std::string with_port(std::string text, std::uint16_t port) {
    const std::size_t mark = text.find('@');
    return mark == std::string::npos ? text : text.replace(mark, 1, std::to_string(port));
}

void expect_login(const std::string& text, const std::string& login) {
    SCOPED_TRACE(text);
    ScriptedServer server({expect(login), send("K")});
    Connection connection(with_port(text, server.port()));
    EXPECT_EQ(connection.opened, TRN_OPENED);
}

TEST(connection_string, is_split_trimmed_and_matched_without_letter_case) {
    const std::string account = "server=127.0.0.1;port=@;db=D;user=U;pwd=P";
    const std::string fill(200, 'x');
    const struct {
        std::string text, database, user, password;
    } rows[] = {
        {account, "D", "U", "P"},
        {account + ";", "D", "U", "P"},
        {";;" + account + ";;x", "D", "U", "P"},
        {"  SERVER  =  127.0.0.1  ; Port = @ ;DATABASE= D;User ID =U ;PassWord=  P  ", "D", "U", "P"},
        {"ip=127.0.0.1,port=@,DataBase=D,uid=U,PWD=P", "D", "U", "P"},
        {"IP=127.0.0.1;PORT=@;db=D,E;userid=U,pwd=Q;password=P", "D,E", "U,pwd=Q", "P"},
        {"Server=127.0.0.1;port=@ or so;Db=D;USERID=U;pwd=P", "D", "U", "P"},
        {"server=127.1;port=@;db=D;user=U;pwd=P", "D", "U", "P"},
        {account + ";pwd=a=b = c=", "D", "U", "a=b = c="},
        {account + ";user=\tT\t", "D", "\tT\t", "P"},
        {account + ";\tuser=T", "D", "U", "P"},
        {account + ";user=first;user=second", "D", "second", "P"},
        {account + ";user=;pwd=   ", "D", "", ""},
        {"server=127.0.0.1;port=@", "", "", ""},
        {account + ";users=X;use r=X;user_id=X;=X;user;colour=red", "D", "U", "P"},
        {account + ";db=" + fill.substr(0, 124), fill.substr(0, 124), "U", "P"},
        {account + ";user=" + fill.substr(0, 63), "D", fill.substr(0, 63), "P"},
        {account + ";user=" + fill.substr(0, 122), "D", fill.substr(0, 63), "P"},
        {account + ";user=T;pwd=" + fill.substr(0, 124), "D", "T", "P"},
        {fill + ";" + account, "D", "U", "P"},
        {account + ";IPS=10.0.0.1:1,10.0.0.2:2;user=T", "D", "T", "P"},
        {account + ";user=TIPS=X;pwd=Qips=X", "D", "U", "P"},
        {account + ";Ips=10.0.0.1,10.0.0.2", "D", "U", "P"},
    };
    for (const auto& each : rows)
        expect_login(each.text, login_text(each.database, each.user, each.password));
}

TEST(connection_string, settings_appear_as_login_clauses) {
    const std::string lock = " lock_timeout = 300", commit = " auto_commit = 'on'",
                      cursor = " return_cursor_id  = 'on'", rest = lock + commit + cursor;
    const std::string no_commit = lock + " auto_commit = 'off'" + cursor;
    const std::string descriptor = rest + " lob_ret  =descriptor";
    const struct {
        std::string settings, clauses;
    } rows[] = {
        {"char_set=utf8", " char_set = 'utf8'" + rest},
        {"CHARACTER_SET=gbk", " char_set = 'gbk'" + rest},
        {"CharSet=a", " char_set = 'a'" + rest},
        {"character set=a", " char_set = 'a'" + rest},
        {"char_set=", rest},
        {"ISO_LEVEL=read committed", " iso_level = 'read committed'" + rest},
        {"iso level=x", " iso_level = 'x'" + rest},
        {"isolevel=x", " iso_level = 'x'" + rest},
        {"CURRENT_SCHEMA=s", " current_schema = 's'" + rest},
        {"current_schema=" + std::string(112, 's'),
         " current_schema = '" + std::string(63, 's') + "'" + rest},
        {"current_schema=" + std::string(113, 's'), rest},
        {"Keyword_Filter=k", " keyword_filter='k'" + rest},
        {"LOCK_TIMEOUT=60", " lock_timeout = 60" + commit + cursor},
        {"locktimeout=60s", " lock_timeout = 60" + commit + cursor},
        {"lock timeout=-5", " lock_timeout = -5" + commit + cursor},
        {"lock_timeout=0", commit + cursor},
        {"lock_timeout=", commit + cursor},
        {"lock_timeout=soon", commit + cursor},
        {"AUTO_COMMIT=OFF", no_commit},
        {"auto commit=False", no_commit},
        {"autocommit=off", no_commit},
        {"autocommit=off;autocommit=on", rest},
        {"auto_commit=no", rest},
        {"auto_commit=0", rest},
        {"return_cursor_id=Off", lock + commit},
        {"RETURN CURSOR_ID=false", lock + commit},
        {"return_cursorid=off", lock + commit},
        {"return_cursor_id=no", rest},
        {"LOB_RET=descriptor", descriptor},
        {"lob ret=off", descriptor},
        {"lobret=", descriptor},
        {"use_ssl=1;ssl=off;usessl=;use ssl=no", rest},
        {"use_ssl=on;SSL=false", rest},
        {"time_zone=+8;time zone=x;timezone=x", rest},
        {"return_rowid=on;return rowid=on;return row_id=true;return_row_id=on;use_srvcursor=off", rest},
        {"lob_ret=1;auto_commit=off;lock_timeout=7;keyword_filter=k;current_schema=s;iso_level=i;char_set=c",
         " char_set = 'c' iso_level = 'i' current_schema = 's' keyword_filter='k' lock_timeout = 7"
         " auto_commit = 'off' return_cursor_id  = 'on' lob_ret  =descriptor"},
    };
    for (const auto& each : rows)
        expect_login("server=127.0.0.1;port=@;db=D;user=U;pwd=P;" + each.settings,
                     login_text("D", "U", "P", each.clauses));
}

TEST(connection_string, more_than_a_hundred_addresses_are_reported) {
    for (const int count : {1, 20, 21, 99, 100, 101, 150}) {
        SCOPED_TRACE(count);
        std::string list = "10.0.0.1:1";
        for (int i = 1; i < count; ++i)
            list += ",10.0.0.2:2";
        ScriptedServer server({expect(default_login), send("K")});
        OutputCapture output;
        Connection connection(connection_string(server.port()) + ";IPS=" + list);
        EXPECT_EQ(output.text(), count > 100 ? "set ips error \n" : "");
        EXPECT_EQ(connection.opened, TRN_OPENED);
    }
}

TEST(connection_string, login_text_of_more_than_511_characters_is_never_sent) {
    const std::string text(63, 'x');
    const std::string clauses = " char_set = '" + text + "' iso_level = '" + text + "' current_schema = '" +
                                text + "' keyword_filter='" + text + "'" + default_settings;
    const std::string settings = "user=" + text + ";char_set=" + text + ";iso_level=" + text +
                                 ";current_schema=" + text + ";keyword_filter=" + text;
    const std::size_t shortest = login_text("", text, "", clauses).size();
    ASSERT_LT(shortest, 511u);
    const std::string database(std::min<std::size_t>(511 - shortest, 120), 'd');
    const std::string password(511 - shortest - database.size(), 'p');
    ASSERT_LT(password.size(), 63u);
    const std::string fitting = settings + ";db=" + database + ";pwd=" + password;
    {
        ScriptedServer server({expect(login_text(database, text, password, clauses)), send("K")});
        EXPECT_EQ(Connection(connection_string(server.port(), fitting)).opened, TRN_OPENED);
    }
    ScriptedServer server({expect_end()});
    Connection connection(connection_string(server.port(), fitting + "p"));
    EXPECT_EQ(connection.opened, TRN_ERR_LOGIN);
    EXPECT_EQ(error_text(&connection.handle),
              "[EC012]Error in build-database-connect LOGIN database Failure");
}

} // namespace
