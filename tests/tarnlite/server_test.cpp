// The server as a client sees it: bytes over loopback, against a server in this process.

#include "lobs.h"
#include "raw_client.h"
#include "server.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

using namespace std::string_literals;

namespace {

class tarnlite_server : public testing::Test {
  protected:
    tarnlite::Server server_{{.port = 0}};
};

} // namespace

TEST_F(tarnlite_server, login_arriving_byte_by_byte_is_accepted_with_the_command_behind_it) {
    RawClient client(server_.port());
    for (const char byte : login_text("any", "one", " auto_commit = 'on'") + command("select 7")) {
        client.send(std::string(1, byte));
    }
    EXPECT_EQ(client.receive(6).back(), 'K');
    EXPECT_EQ(client.receive_reply().at(0).rows.at(0).at(0), "\0\0\0\0\0\0\0\x07"s);
}

TEST_F(tarnlite_server, encrypted_logins_of_every_length_open_a_channel) {
    for (std::size_t blanks = 1; blanks <= 30; ++blanks) {
        RawClient client(server_.port());
        client.open_encrypted(login_text("u", "p", std::string(blanks, ' ') + "lob_ret=descriptor"),
                              command("select 7"));
        EXPECT_EQ(client.receive(6).back(), 'K') << blanks;
        EXPECT_EQ(client.receive_reply().at(0).rows.at(0).at(0), "\0\0\0\0\0\0\0\x07"s) << blanks;
        EXPECT_EQ(client.value("select '" + std::string(9999, 'y') + "'"), std::string(9999, 'y')) << blanks;
    }
}

TEST(tarnlite_login_answer, logins_that_are_not_admitted_are_refused_with_a_reason) {
    const std::string right = login_text("ada", "right");
    const struct {
        bool require_ssl;
        bool refuse_ssl;
        bool encrypted;
        std::string text;
        bool admitted;
    } cases[] = {
        {false, false, false, right, true},
        {false, false, false, login_text("ada", "wrong"), false},
        {false, false, false, login_text("eve", "right"), false},
        {false, false, false, "GET / HTTP/1.1", false},
        {false, false, true, right, true},
        {false, false, true, login_text("ada", "wrong"), false},
        {true, false, true, right, true},
        {true, false, false, right, false},
        {false, true, false, right, true},
        {false, true, false, "~ssl~", false},
    };
    for (const auto& c : cases) {
        tarnlite::Settings settings{.port = 0};
        settings.credentials = tarnlite::Credentials{"ada", "right"};
        settings.require_ssl = c.require_ssl;
        settings.refuse_ssl = c.refuse_ssl;
        settings.protocol = 201;
        tarnlite::Server server(settings);
        RawClient client(server.port());
        c.encrypted ? client.open_encrypted(c.text) : client.send(c.text);
        EXPECT_EQ(client.receive(1), c.admitted ? "K" : "E") << c.text;
        if (c.admitted) continue;
        EXPECT_FALSE(client.receive_text().empty()) << c.text;
        EXPECT_TRUE(client.ended_by_server()) << c.text;
    }
}

TEST_F(tarnlite_server, encrypted_blocks_without_a_login_end_the_connection_unanswered) {
    RawClient beyond_modulus(server_.port());
    beyond_modulus.send("~ssl~");
    beyond_modulus.receive(64);
    beyond_modulus.send(std::string(64, '\xFF'));
    EXPECT_TRUE(beyond_modulus.ended_by_server());
    for (const std::string& text :
         {""s, "GET / HTTP/1.1"s, login_text("u", "p") + "x", std::string(5000, 'x')}) {
        RawClient client(server_.port());
        client.open_encrypted(text);
        EXPECT_TRUE(client.ended_by_server()) << text.substr(0, 100);
    }
}

TEST_F(tarnlite_server, expressions_take_their_type_from_the_first_rows) {
    RawClient client(server_.port());
    client.log_in();
    const struct {
        const char* sql;
        std::uint32_t wire_type;
        std::string first_value;
    } cases[] = {
        {"values (1), (2)", 6, "\0\0\0\0\0\0\0\x01"s},
        {"values (1), (null), (2.5)", 9, "\x3F\xF0\0\0\0\0\0\0"s},
        {"values (null), ('x')", 30, ""},
        {"values (1), ('x')", 30, "1"},
        {"values (x'00ff'), (null)", 33, "\0\xFF"s},
        {"values (2.0), (x'00')", 30, "2.0"},
        {"select null where 0", 30, ""},
    };
    for (const auto& c : cases) {
        const auto items = client.run(c.sql);
        ASSERT_EQ(items.size(), 1U) << c.sql;
        EXPECT_EQ(items[0].columns.at(0), c.wire_type) << c.sql;
        const std::string first_value = items[0].rows.empty() ? "" : items[0].rows[0][0];
        EXPECT_EQ(first_value, c.first_value) << c.sql;
    }
    EXPECT_EQ(client.run("select 1\0, 2"s).at(0).letter, 'E');
}

TEST_F(tarnlite_server, bytes_that_are_no_command_end_the_connection) {
    for (const std::string& bytes : {"\xFF\0\x01garbage"s, "select 1"s}) {
        RawClient client(server_.port());
        client.log_in();
        client.send(bytes);
        EXPECT_TRUE(client.ended_by_server()) << bytes;
    }
    const std::string batch = command("select ?", 1, 2) + entry(30, "a");
    const struct {
        std::string bytes;
        const char* error;
    } cases[] = {
        {"?\0\0\0\x01xy\0\0\0\0"s, "command text without its terminator"},
        {"?\xFF\xFF\xFF\xFFx"s, "command text of 4294967295 bytes is longer than 67108864"},
        {command("select ?", 1) + std::string(1'000'000, 'e'), "invalid parameter direction 25957"},
        {command("select ?", 1) + entry(7, "1"), "unknown parameter type 7"},
        {command("select ?", 1) + "\0\0\0\1\0\x1E\x7F\xFF\xFF\xFF"s,
         "parameters of more than 1073741824 bytes"},
        {batch + block(""), "a row runs past its block"},
        {batch + block(row_value(30, "b").substr(0, 5)), "a row runs past its block"},
        {batch + block(row_value(30, "b") + "x"), "a block continues after the last row"},
    };
    for (const auto& c : cases) {
        RawClient client(server_.port());
        client.log_in();
        client.send(c.bytes);
        const auto items = client.receive_reply();
        ASSERT_EQ(items.size(), 1U) << c.error;
        EXPECT_EQ(items[0].letter, 'E') << c.error;
        EXPECT_EQ(items[0].text, c.error);
        EXPECT_TRUE(client.ended_in_order()) << c.error;
    }
}

TEST_F(tarnlite_server, a_refused_batch_is_read_to_its_end_and_a_cut_one_leaves_nothing) {
    const std::string rows =
        block(row_value(5, "\0\0\0\2"s)) + block(row_value(5, "\0\0\0\1"s) + row_value(30, "4"));
    const std::string batch = command("insert into t values(:A)", 1, 4) + entry(5, "\0\0\0\1"s, "$a") + rows;
    RawClient client(server_.port());
    client.log_in();
    for (const char* first : {"select 0", "create table t(a int unique)"}) {
        client.run(first);
        client.send(batch);
        const auto items = client.receive_reply();
        ASSERT_EQ(items.size(), 1U);
        EXPECT_EQ(items[0].letter, 'E');
    }
    auto leaving = std::make_unique<RawClient>(server_.port());
    leaving->log_in();
    leaving->send(batch.substr(0, batch.size() - rows.size() + 9));
    leaving.reset();
    client.send(command("insert into t values(?)", 1, 1) + entry(5, "\0\0\0\7"s));
    EXPECT_EQ(client.receive_reply().at(0).text, "1");
    EXPECT_EQ(client.value("select group_concat(a) from t"), "7");
}

TEST(tarnlite_lobs, the_oldest_contents_are_forgotten_beyond_the_bound) {
    tarnlite::LobStore store(200'000);
    const auto sent = [&store](std::size_t size) {
        const std::string content(size, 'x');
        std::string row;
        store.append_value(row, tarnlite::WireType::blob, {tarnlite::Value::Kind::bytes, 0, 0, content});
        return row.substr(4);
    };
    EXPECT_EQ(sent(65'536), 'b' + std::string(65'536, 'x'));
    EXPECT_EQ(sent(65'537), "B000000000001:65537");
    sent(100'000);
    EXPECT_EQ(store.find("B000000000001").content.size(), 65'537U);
    sent(100'000);
    EXPECT_THROW(store.find("B000000000001"), tarnlite::SqlError);
    sent(300'000);
    EXPECT_THROW(store.find("B000000000003"), tarnlite::SqlError);
    EXPECT_EQ(store.find("B000000000004").content.size(), 300'000U);
}

TEST_F(tarnlite_server, a_part_of_a_large_object_is_fetched) {
    RawClient client(server_.port());
    client.log_in(" lob_ret=descriptor");
    client.run("create table t(c clob); insert into t values(printf('%.*c', 70000, 'x') || '12345')");
    EXPECT_EQ(client.value("select c from t"), "C000000000001:70005");
    client.send(command("get lob 'C000000000001' offset 70000 limit 3 "));
    client.receive(25); // the column's description
    EXPECT_EQ(client.receive(17), "R\0\0\0\1"s + block("123") + "\0\0\0\0K"s);
}
