/*
 * The scripted server; see the header.
 */
#include "scripted_server.h"

#include "wire_bytes.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <stdexcept>
#include <utility>

namespace test_support {

namespace {

using namespace std::chrono_literals;
constexpr auto accept_slice = 20ms; /* how soon a server that waits in vain notices that the test is over */

std::uint32_t from_be32(std::string_view bytes) {
    std::uint32_t value = 0;
    for (const char byte : bytes)
        value = value << 8 | static_cast<unsigned char>(byte);
    return value;
}

std::string receive_command(ScriptedServer& server) {
    const std::uint32_t length = from_be32(server.receive(5, "?").substr(1));
    const std::string rest = server.receive(std::size_t{length} + 5);
    if (rest.substr(length) != std::string(5, '\0'))
        throw std::runtime_error(hex_difference(std::string(5, '\0'), rest.substr(length)));
    return rest.substr(0, length);
}

} // namespace

Step expect(std::string bytes) {
    return {"expect bytes", [bytes = std::move(bytes)](ScriptedServer& server) {
                const std::string received = server.receive(bytes.size(), bytes);
                if (received != bytes) throw std::runtime_error(hex_difference(bytes, received));
            }};
}

Step expect_command(std::string_view text) {
    Step step = expect(command(text));
    step.name = "expect command \"" + std::string(text.substr(0, 60)) + "\"";
    return step;
}

Step expect_reset() {
    return {"expect reset", [](ScriptedServer& server) {
                if (!server.receive_end()) throw std::runtime_error("an orderly end instead of a reset");
            }};
}

Step send(std::string bytes) {
    const std::size_t whole = bytes.size();
    return send_in_pieces(std::move(bytes), whole);
}

Step send_in_pieces(std::string bytes, std::size_t piece) {
    return {"send bytes", [bytes = std::move(bytes), piece](ScriptedServer& server) {
                server.send_bytes(bytes, std::max<std::size_t>(piece, 1));
            }};
}

Step serve_commands(std::size_t count, Responder respond) {
    return {"serve commands", [count, respond = std::move(respond)](ScriptedServer& server) {
                for (std::size_t i = 0; i < count; ++i) {
                    const std::string text = receive_command(server);
                    if (server.has_pending_bytes())
                        throw std::runtime_error("a second request before the reply to \"" + text + "\"");
                    const std::string reply = respond(text);
                    server.send_bytes(reply, reply.size());
                }
            }};
}

ScriptedServer::ScriptedServer(Script script, std::uint16_t port, int host)
    : script_(std::move(script)), port_(port), listener_(listen_on_loopback(port_, host)),
      thread_([this] { play(); }) {}

ScriptedServer::~ScriptedServer() {
    finish();
}

void ScriptedServer::finish() {
    if (!thread_.joinable()) return;
    finishing_ = true;
    thread_.join();
    if (!failure_.empty()) ADD_FAILURE() << "scripted server: " << failure_;
}

void ScriptedServer::play() {
    std::size_t done = 0;
    try {
        for (; done < script_.size(); ++done)
            script_[done].run(*this);
        if (client_ != no_socket) receive_end();
    } catch (const std::runtime_error& error) {
        failure_ =
            (done < script_.size() ? "step " + std::to_string(done + 1) + " of " +
                                         std::to_string(script_.size()) + " (" + script_[done].name + ")"
                                   : "after the last step") +
            ": " + error.what();
        if (client_ != no_socket) drop(true);
    }
    close_socket(listener_);
}

void ScriptedServer::need_client() {
    if (client_ != no_socket) return;
    const auto give_up = std::chrono::steady_clock::now() + idle_limit;
    while (!wait_readable(listener_, accept_slice)) {
        if (finishing_ || std::chrono::steady_clock::now() > give_up)
            throw std::runtime_error("no client came");
    }
    client_ = accept_client(listener_);
    if (client_ == no_socket) throw std::runtime_error("the client could not be accepted");
}

long ScriptedServer::fill() {
    if (!wait_readable(client_, idle_limit)) throw std::runtime_error("the client is silent");
    char block[16384];
    const long count = receive_some(client_, block, sizeof block);
    if (count > 0) pending_.append(block, static_cast<std::size_t>(count));
    return count;
}

std::string ScriptedServer::receive(std::size_t count, std::string_view expected_start) {
    need_client();
    std::string received;
    while (received.size() < count) {
        if (pending_.empty() && fill() <= 0)
            throw std::runtime_error("the client went away\n" + hex_difference(expected_start, received));
        const std::size_t taken = std::min(count - received.size(), pending_.size());
        const std::string taken_bytes = pending_.substr(0, taken);
        received += decode_ ? decode_(taken_bytes) : taken_bytes;
        pending_.erase(0, taken);
        const std::size_t known = std::min(received.size(), expected_start.size());
        if (received.compare(0, known, expected_start, 0, known) != 0)
            throw std::runtime_error(hex_difference(expected_start, received));
    }
    return received;
}

void ScriptedServer::open_channel(const std::string& login) {
    receive(5, "~ssl~");
    send_bytes(public_numbers(), 31); /* in pieces that are no numbers */
    const std::string key = decrypt_blocks(receive(cipher_block_size)), expected = login_blocks(login);
    if (key.find('\0') != std::string::npos || (key.back() & 0x80) != 0)
        throw std::runtime_error("a session key of another form\n" + hex_difference(key, {}));
    const std::string received = decrypt_blocks(receive(expected.size()));
    if (received != expected) throw std::runtime_error(hex_difference(expected, received));
    decode_ = encode_ = keystream(key);
}

void ScriptedServer::send_bytes(std::string_view bytes, std::size_t piece) {
    need_client();
    for (std::size_t sent = 0; sent < bytes.size(); sent += piece) {
        std::string part(bytes.substr(sent, piece));
        if (encode_) part = encode_(std::move(part));
        if (!send_all(client_, part))
            throw std::runtime_error("the client went away before byte " + std::to_string(sent) + " of " +
                                     std::to_string(bytes.size()));
    }
}

bool ScriptedServer::receive_end() {
    need_client();
    long ended = 0;
    if (pending_.empty()) ended = fill();
    if (!pending_.empty())
        throw std::runtime_error("bytes that the script does not know\n" + hex_difference({}, pending_));
    drop(false);
    return ended < 0;
}

void ScriptedServer::drop(bool reset) {
    if (reset)
        reset_socket(client_);
    else
        close_socket(client_);
    client_ = no_socket;
    pending_.clear();
    decode_ = encode_ = nullptr;
}

void ScriptedServer::turn_clients_away() {
    while (!finishing_)
        if (wait_readable(listener_, accept_slice)) close_socket(accept_client(listener_));
}

bool ScriptedServer::has_pending_bytes() {
    return !pending_.empty() || wait_readable(client_, 0ms);
}

} // namespace test_support
