/*
 * A server that plays a list of steps to the client under test: one thread on 127.0.0.1 and a port of the
 * system's choosing. The first step that needs a client accepts one. A step that does not come true, steps left
 * over and bytes that the script does not know fail the test when the server is destroyed or finish() is called;
 * the connection is reset at the first failure, so that the client fails quickly too. No wait is without limit.
 * The client must have closed its connection before finish() or the destructor runs.
 */
#ifndef TEST_SUPPORT_SCRIPTED_SERVER_H
#define TEST_SUPPORT_SCRIPTED_SERVER_H

#include "sockets.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace test_support {

/* Changes the bytes of one session on their way, in stream order; an empty function leaves them alone. */
struct Transport {
    std::function<std::string(std::string)> decode;
    std::function<std::string(std::string)> encode;
};

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
Step expect_end();   /* the client closes, having sent nothing more */
Step expect_reset(); /* the same, and the close arrives as a reset */
Step send(std::string bytes);
Step send_in_pieces(std::string bytes, std::size_t piece);
Step serve_commands(std::size_t count, Responder respond); /* each command must come alone */
Step close_connection();
Step reset_connection();
Step next_connection(); /* expect_end, then another client */

class ScriptedServer {
  public:
    explicit ScriptedServer(Script script, Transport transport = {});
    ~ScriptedServer();
    ScriptedServer(const ScriptedServer&) = delete;
    ScriptedServer& operator=(const ScriptedServer&) = delete;

    std::uint16_t port() const { return port_; }

    /* Waits for the script's end and reports its failure. */
    void finish();

    /* For the steps; each throws std::runtime_error when it does not come true. */
    void accept_next();
    std::string receive(std::size_t count, std::string_view expected_start = {});
    void send_bytes(std::string_view bytes, std::size_t piece);
    bool receive_end(); /* true when the end was a reset */
    void drop(bool reset);
    bool has_pending_bytes();

  private:
    void play();
    long fill();

    Script script_;
    Transport transport_;
    std::uint16_t port_ = 0;
    socket_handle listener_;
    socket_handle client_ = no_socket;
    std::string pending_; /* received and not yet consumed, still encoded */
    std::string failure_;
    std::atomic<bool> finishing_ = false;
    std::thread thread_;
};

} // namespace test_support

#endif
