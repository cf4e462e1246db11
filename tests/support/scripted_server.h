/*
 * A server that plays a list of steps to the client under test: one thread on 127.0.0.1 and a port of the
 * system's choosing, or on another loopback host and port. A step that needs a client and has none, or has it
 * no more, accepts one. A step that does not come true, steps left over and bytes that the script does not
 * know fail the test when the server is destroyed or finish() is called; the connection is reset at the first
 * failure, so that the client fails quickly too. No wait is without limit. The client must have closed its
 * connection before finish() or the destructor runs.
 */
#ifndef TEST_SUPPORT_SCRIPTED_SERVER_H
#define TEST_SUPPORT_SCRIPTED_SERVER_H

#include "encrypted_channel.h"
#include "sockets.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace test_support {

/* Answers one command text with the bytes of a reply. */
using Responder = std::function<std::string(const std::string& text)>;

class ScriptedServer;
struct Step {
    std::string name;
    std::function<void(ScriptedServer&)> run;
};
using Script = std::vector<Step>;

Step expect(std::string bytes);
Step expect_command(std::string_view text);
Step expect_reset(); /* expect_end, and the close arrives as a reset */
Step send(std::string bytes);
Step send_in_pieces(std::string bytes, std::size_t piece);
Step serve_commands(std::size_t count, Responder respond); /* each command must come alone */

class ScriptedServer {
  public:
    explicit ScriptedServer(Script script, std::uint16_t port = 0, int host = 1);
    ~ScriptedServer();
    ScriptedServer(const ScriptedServer&) = delete;
    ScriptedServer& operator=(const ScriptedServer&) = delete;

    std::uint16_t port() const { return port_; }

    /* Waits for the script's end and reports its failure. */
    void finish();

    /* For the steps; each throws std::runtime_error when it does not come true. */
    void open_channel(const std::string& login);
    std::string receive(std::size_t count, std::string_view expected_start = {});
    void send_bytes(std::string_view bytes, std::size_t piece);
    bool receive_end(); /* true when the end was a reset */
    void drop(bool reset);
    void turn_clients_away();
    bool has_pending_bytes();

  private:
    void play();
    void need_client();
    long fill();

    Script script_;
    Coder decode_, encode_; /* empty on a plain channel */
    std::uint16_t port_ = 0;
    socket_handle listener_;
    socket_handle client_ = no_socket;
    std::string pending_; /* received and not yet consumed, still encoded */
    std::string failure_;
    std::atomic<bool> finishing_ = false;
    std::thread thread_;
};

// clang-format off
/* A login within the key agreement: all that follows it is encrypted. */
inline Step expect_encrypted_login(std::string text) { return {"login", [text](ScriptedServer& server) { server.open_channel(text); }}; }
/* The client closes, having sent nothing more. */
inline Step expect_end() { return {"expect end", [](ScriptedServer& server) { server.receive_end(); }}; }
inline Step close_connection() { return {"close", [](ScriptedServer& server) { server.drop(false); }}; }
inline Step reset_connection() { return {"reset", [](ScriptedServer& server) { server.drop(true); }}; }
/* Takes every connection until the test is over, and closes it unheard. */
inline Step turn_clients_away() { return {"turn away", [](ScriptedServer& server) { server.turn_clients_away(); }}; }
// clang-format on

} // namespace test_support

#endif
