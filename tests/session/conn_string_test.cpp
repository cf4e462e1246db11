/*
 * Connection strings, seen from the server: each row opens a connection and compares the login text byte for
 * byte. "@" stands for the server's port.
 */
#include "session_fixture.h"

namespace {

void expect_opened(std::string text, const std::string& login) {
    SCOPED_TRACE(text);
    ScriptedServer server({expect_login(login), send("K")});
    if (const std::size_t mark = text.find('@'); mark != std::string::npos)
        text.replace(mark, 1, std::to_string(server.port()));
    if (channel == Channel::encrypted) text += text.find(';') == std::string::npos ? ",ssl=on" : ";ssl=on";
    EXPECT_EQ(Connection(text).opened, TRN_OPENED);
}

// clang-format off
TEST(connection_string, is_split_trimmed_and_matched_without_letter_case) {
    const std::string all = "server=127.0.0.1;port=@;db=D;user=U;pwd=P";
    const auto x = [](std::size_t count) { return std::string(count, 'x'); };
    const struct { std::string text, database, user, password; } rows[] = {
        {all, "D", "U", "P"}, {all + ";", "D", "U", "P"}, {";;" + all + ";;x", "D", "U", "P"},
        {"  SERVER  =  127.0.0.1  ; Port = @ ;DATABASE= D;User ID =U ;PassWord=  P  ", "D", "U", "P"},
        {"ip=127.0.0.1,port=@,DataBase=D,uid=U,PWD=P", "D", "U", "P"},
        {"IP=127.0.0.1;PORT=@;db=D,E;userid=U,pwd=Q;password=P", "D,E", "U,pwd=Q", "P"},
        {"Server=127.1;port=@ or so;Db=D;USERID=U;pwd=P", "D", "U", "P"},
        {all + ";pwd=a=b = c=", "D", "U", "a=b = c="}, {all + ";user=\tT\t", "D", "\tT\t", "P"},
        {all + ";\tuser=T", "D", "U", "P"}, {all + ";user=first;user=second", "D", "second", "P"},
        {all + ";user=;pwd=   ", "D", "", ""}, {"server=127.0.0.1;port=@", "", "", ""},
        {all + ";users=X;use r=X;user_id=X;=X;user;colour=red", "D", "U", "P"},
        {all + ";db=" + x(124), x(124), "U", "P"}, {all + ";user=" + x(122), "D", x(63), "P"},
        {all + ";user=T;pwd=" + x(124), "D", "T", "P"}, {x(200) + ";" + all, "D", "U", "P"},
        {all + ";IPS=10.0.0.1:1,10.0.0.2:2;user=T", "D", "T", "P"},
        {all + ";user=TIPS=X;pwd=Qips=X", "D", "U", "P"}, {all + ";Ips=10.0.0.1,10.0.0.2", "D", "U", "P"},
    };
    for (const auto& each : rows)
        expect_opened(each.text, login_on_channel(each.database, each.user, each.password));
}

TEST(connection_string, settings_appear_as_login_clauses) {
    const std::string lock = " lock_timeout = 300", cursor = " return_cursor_id  = 'on'", commit = " auto_commit = 'on'";
    const std::string rest = lock + commit + cursor, behind = commit + cursor, long_name(112, 's');
    const std::string by_hand = lock + " auto_commit = 'off'" + cursor, descriptor = rest + " lob_ret  =descriptor";
    const struct { std::string settings, clauses; } rows[] = {
        {"char_set=utf8", " char_set = 'utf8'" + rest}, {"CHARACTER_SET=gbk", " char_set = 'gbk'" + rest},
        {"CharSet=a", " char_set = 'a'" + rest}, {"character set=a", " char_set = 'a'" + rest}, {"char_set=", rest},
        {"ISO_LEVEL=read committed", " iso_level = 'read committed'" + rest},
        {"iso level=x", " iso_level = 'x'" + rest}, {"isolevel=x", " iso_level = 'x'" + rest},
        {"CURRENT_SCHEMA=" + long_name, " current_schema = '" + long_name.substr(0, 63) + "'" + rest},
        {"current_schema=s" + long_name, rest}, {"Keyword_Filter=k", " keyword_filter='k'" + rest},
        {"LOCK_TIMEOUT=60", " lock_timeout = 60" + behind}, {"locktimeout=60s", " lock_timeout = 60" + behind},
        {"lock timeout=-5", " lock_timeout = -5" + behind}, {"lock_timeout=0", behind}, {"lock_timeout=soon", behind},
        {"AUTO_COMMIT=OFF", by_hand}, {"auto commit=False", by_hand}, {"autocommit=off", by_hand},
        {"autocommit=off;autocommit=on", rest}, {"auto_commit=no", rest},
        {"return_cursor_id=Off", lock + commit}, {"RETURN CURSOR_ID=false", lock + commit},
        {"return_cursorid=off", lock + commit}, {"return_cursor_id=no", rest},
        {"LOB_RET=descriptor", descriptor}, {"lob ret=off", descriptor}, {"lobret=", descriptor},
        {"use_ssl=1;ssl=off;usessl=;use ssl=no", rest}, {"use_ssl=on;SSL=false", rest},
        {"time_zone=+8;time zone=x;timezone=x", rest},
        {"return_rowid=on;return rowid=on;return row_id=true;return_row_id=on;use_srvcursor=off", rest},
        {"lob_ret=1;auto_commit=off;lock_timeout=7;keyword_filter=k;current_schema=s;iso_level=i;char_set=c",
         " char_set = 'c' iso_level = 'i' current_schema = 's' keyword_filter='k' lock_timeout = 7"
         " auto_commit = 'off' return_cursor_id  = 'on' lob_ret  =descriptor"},
    };
    for (const auto& each : rows)
        expect_opened("server=127.0.0.1;port=@;" + account + ";" + each.settings,
                      login_on_channel("D", "U", "P", each.clauses));
}
// clang-format on

TEST(connection_string, every_name_and_word_of_the_cipher_setting_asks_for_it) {
    const OnlyOver plain(Channel::plain); /* the channel's own setting must not be among them */
    for (const char* setting : {"use_ssl=on", "SSL=Yes", "UseSSL=TRUE", "use ssl=on", "ssl=off;ssl=on"}) {
        SCOPED_TRACE(setting);
        ScriptedServer server({expect("~ssl~"), close_connection()});
        EXPECT_EQ(Connection(connection_string(server.port(), account + ";" + setting)).opened,
                  TRN_ERR_LOGIN);
    }
}

TEST(connection_string, more_than_a_hundred_addresses_are_reported_and_leave_99) {
    for (const int count : {1, 19, 20, 21, 99, 100, 101, 150}) {
        SCOPED_TRACE(count);
        std::string list = "10.0.0.1:1";
        for (int i = 1; i < count; ++i)
            list += ",10.0.0.2:2";
        ScriptedServer server({expect_login(), send("K")});
        OutputCapture output;
        Connection connection(connection_string(server.port(), account + ";IPS=" + list));
        EXPECT_EQ(output.text(), count > 100 ? "set ips error \n" : "");
        EXPECT_EQ(connection.opened, TRN_OPENED);
        std::string kept(list.size() + 10, '\0');
        EXPECT_EQ(TRN_GetAttr(&connection.handle, 7, kept.data(), 0, nullptr, nullptr), 0);
        EXPECT_EQ(std::stoi(kept), count > 100 ? 99 : count);
    }
}

TEST(connection_string, a_login_text_beyond_the_limit_of_its_channel_is_never_sent) {
    const std::size_t limit = channel == Channel::plain ? 511 : 479;
    const std::string text(63, 'x');
    const std::string clauses = " char_set = '" + text + "' iso_level = '" + text + "' current_schema = '" +
                                text + "' keyword_filter='" + text + "'" + default_settings;
    const std::string settings = "user=U;char_set=" + text + ";iso_level=" + text +
                                 ";current_schema=" + text + ";keyword_filter=" + text;
    const std::string database(limit - login_on_channel("", "U", "", clauses).size(), 'd');
    ASSERT_LT(database.size(), 120u);
    {
        ScriptedServer server({expect_login(login_on_channel(database, "U", "", clauses)), send("K")});
        const std::string fitting = connection_string(server.port(), settings + ";db=" + database);
        EXPECT_EQ(Connection(fitting).opened, TRN_OPENED);
    }
    ScriptedServer server({expect_end()});
    Connection connection(connection_string(server.port(), settings + ";db=d" + database));
    EXPECT_EQ(connection.opened, TRN_ERR_LOGIN);
    EXPECT_EQ(error_text(connection.handle), "[EC012]Error in build-database-connect LOGIN database Failure");
}

} // namespace
