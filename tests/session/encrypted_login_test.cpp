/*
 * What only an encrypted login has: its bytes, and servers that break the key agreement off or spoil it.
 * (That the text, the filler and the key keep to their form is checked at every login of an encrypted run.)
 */
#include "session_fixture.h"

namespace {

Step swallow(std::size_t blocks) {
    return {"swallow", [blocks](ScriptedServer& server) { server.receive(blocks * cipher_block_size); }};
}

class encrypted_login : public testing::Test {
  protected:
    void expect_refused(Script script) {
        ScriptedServer server(std::move(script));
        Connection connection(connection_string(server.port()));
        EXPECT_EQ(connection.opened, TRN_ERR_LOGIN);
        EXPECT_EQ(error_text(connection.handle).substr(0, 7), "[EC012]");
        OutputCapture output;
        for (const Call call : all_calls)
            EXPECT_EQ(run(call, connection, "x"), TRN_ERR_NETWORK);
    }
    const OnlyOver encrypted_{Channel::encrypted};
    const std::size_t blocks_ = 1 + login_blocks(login_on_channel("D", "U", "P")).size() / cipher_block_size;
};

TEST_F(encrypted_login, fills_whole_blocks_with_the_key_the_text_and_its_end) {
    const std::size_t shortest = login_on_channel("", "", "").size();
    ASSERT_LT(shortest, 149u);
    /* Characters of text and bytes on the wire: 30 characters a block, and the end in a block of its own. */
    const std::pair<std::size_t, std::size_t> sizes[] = {{149, 192}, {150, 224}, {151, 224}, {179, 224},
                                                         {180, 256}, {181, 256}, {209, 256}, {210, 288}};
    for (const auto& [length, bytes] : sizes) {
        SCOPED_TRACE(length);
        const std::string database(length - shortest, 'd');
        const std::string text = login_on_channel(database, "", "");
        EXPECT_EQ(cipher_block_size + login_blocks(text).size(), bytes);
        /* Nothing may follow the last block: the next bytes are those of the command. */
        ScriptedServer server({expect_login(text), send("K"), expect_command("x"), send(U(3) + K)});
        Connection connection(connection_string(server.port(), "db=" + database));
        EXPECT_EQ(connection.run("x"), 3);
    }
}

TEST_F(encrypted_login, fails_when_the_server_goes_away_at_any_stage) {
    for (const Step& ending : {close_connection(), reset_connection()}) {
        expect_refused({expect("~ssl~"), ending});
        for (const std::size_t sent : {0, 1, 31, 32, 33, 63, 64})
            expect_refused({expect("~ssl~"), send(public_numbers().substr(0, sent)), ending});
        expect_refused({expect("~ssl~"), send(public_numbers()), swallow(1), ending});
        expect_refused({expect("~ssl~"), send(public_numbers()), swallow(blocks_), ending});
        expect_refused({expect_login(), ending});
        expect_refused({expect_login(), send("N12"), ending});
    }
}

TEST_F(encrypted_login, fails_in_order_with_any_public_numbers) {
    const auto number = [](const std::string& low) {
        return low + std::string(cipher_block_size - low.size(), '\0');
    };
    const std::string numbers[] = {number(""),
                                   number("\1"),
                                   number("\2"),
                                   number("\3"),
                                   number("\x10"),
                                   std::string(32, '\xff'),
                                   public_numbers().substr(32),
                                   std::string(31, '\0') + "\x80"};
    for (const std::string& exponent : numbers) {
        for (const std::string& modulus : numbers) {
            SCOPED_TRACE(hex_difference(exponent, modulus));
            expect_refused({expect("~ssl~"), send(exponent + modulus), swallow(blocks_), close_connection()});
        }
    }
}

} // namespace
