/*
 * The client's own end of a link, which tests that are linked with the library's objects reach through the
 * connection's record. With it a server sends a piece when the one before it has been received, and
 * shortens the client's wait for the next.
 */
#ifndef CLIENT_SOCKET_H
#define CLIENT_SOCKET_H

#include "conn/conn.h"
#include "scripted_server.h"

#include <algorithm>
#include <atomic>
#include <stdexcept>
#include <string_view>
#include <thread>

class ClientSocket {
  public:
    /* Before the first request that a server answers with it. */
    void set(TRN_HANDLE handle) { socket_ = static_cast<tarn::Conn*>(handle)->channel.sock; }

    /* A wait that has begun keeps its length. */
    void shorten_wait() const { tarn::platform::set_receive_timeout(socket_, 1); }

    void wait_until_empty() const {
        const auto give_up = std::chrono::steady_clock::now() + test_support::idle_limit;
        while (test_support::wait_readable(static_cast<test_support::socket_handle>(socket_.load()),
                                           std::chrono::milliseconds(0))) {
            if (std::chrono::steady_clock::now() > give_up)
                throw std::runtime_error("the client does not receive");
            std::this_thread::yield();
        }
    }

    /* Up to the first cut, on to the next one, and so on to the end. */
    void send_cut(test_support::ScriptedServer& server, std::string_view bytes,
                  std::initializer_list<std::size_t> cuts) const {
        std::size_t sent = 0;
        for (const std::size_t cut : cuts)
            if (cut > sent && cut < bytes.size()) {
                server.send_bytes(bytes.substr(sent, cut - sent), cut - sent);
                wait_until_empty();
                sent = cut;
            }
        server.send_bytes(bytes.substr(sent), std::max<std::size_t>(bytes.size() - sent, 1));
    }

  private:
    std::atomic<tarn::platform::Socket> socket_ = 0;
};

#endif
