/*
 * Helpers of the session tests; see the header.
 */
#include "session_fixture.h"

#include <cstdlib>
#include <cstring>

static Channel channel_of_run() {
    const char* name = std::getenv("SESSION_CHANNEL");
    return name != nullptr && name == "encrypted"s ? Channel::encrypted : Channel::plain;
}

Channel channel = channel_of_run();

std::string connection_string(std::uint16_t port, const std::string& settings) {
    return "server=127.0.0.1;port=" + std::to_string(port) + ";" + settings +
           (channel == Channel::encrypted ? ";use_ssl=on" : "");
}

static void replace(std::string& text, std::string_view part, std::string_view by) {
    if (const std::size_t at = text.find(part); at != std::string::npos) text.replace(at, part.size(), by);
}

/* An encrypted login has its first two clauses even when they are empty, no time-out below 0, and no blanks
 * in the last clause. */
std::string login_on_channel(const std::string& database, const std::string& user,
                             const std::string& password, const std::string& clauses) {
    if (channel == Channel::plain) return login_text(database, user, password, clauses);
    std::string first, rest = clauses;
    for (const std::string& opening : {" char_set = '"s, " iso_level = '"s}) {
        const std::size_t end = rest.starts_with(opening) ? rest.find('\'', opening.size()) + 1 : 0;
        first += end ? rest.substr(0, end) : opening + "'";
        rest.erase(0, end);
    }
    replace(rest, " lock_timeout = -5", "");
    replace(rest, " lob_ret  =descriptor", " lob_ret=descriptor");
    return login_text(database, user, password, first + rest);
}

Step expect_login(const std::string& login) {
    return channel == Channel::plain ? expect(login) : expect_encrypted_login(login);
}

Step expect_login_again(const std::string& version, const std::string& clauses) {
    std::string text = login_on_channel("D", "U", "P", clauses);
    return expect_login(text.replace(text.size() - 4, 3, version));
}

Script logged_in(Script rest) {
    rest.insert(rest.begin(), {expect_login(), send("K")});
    return rest;
}

Script logged_in(const std::vector<Exchange>& exchanges) {
    Script script;
    for (const Exchange& exchange : exchanges)
        script.insert(script.end(), {expect_command(exchange.sql), send(exchange.reply)});
    return logged_in(script);
}

std::int32_t run(Call call, Connection& connection, const std::string& sql) {
    if (call == no_query) return connection.run(sql);
    if (call == data_reader) return Reader(connection, sql).status;
    SingleValue value(connection, sql);
    if (value.status == TRN_OK) value.take();
    return value.status;
}
