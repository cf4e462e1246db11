// The byte stream of one connection: buffered reading and writing over its socket. Whatever changes bytes on
// their way (an enciphered channel) belongs between these buffers and the socket. A connection that ends or fails
// is told by the exception ConnectionLost, which ends the session.
#pragma once

#include "net.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>
#include <string_view>

namespace tarnlite {

class ConnectionLost : public std::exception {
  public:
    const char* what() const noexcept override { return "the connection was lost"; }
};

class Transport {
  public:
    using Clock = std::chrono::steady_clock;

    explicit Transport(Socket& socket) : socket_(socket) {}

    // What has arrived and was not consumed yet; valid until the next reading call.
    std::string_view arrived() const { return std::string_view(input_).substr(consumed_); }
    // Waits for more bytes and adds them to arrived(); false at the deadline.
    bool wait_for_more(Clock::time_point deadline);
    void consume(std::size_t count) { consumed_ += count; }

    char read_byte();
    std::uint32_t read_u32();
    // Memory grows with the bytes that really arrive, never with the length that was announced.
    std::string read_bytes(std::size_t count);

    // Goes into a bounded buffer, which is sent whenever it is full.
    void write(std::string_view bytes);
    void flush();
    // Sends what is left and lets the peer read it before the connection goes: closing at once while unread
    // input is waiting would reset the connection and destroy the answer on its way.
    void finish();

  private:
    void receive_more();

    Socket& socket_;
    std::string input_;
    std::size_t consumed_ = 0;
    std::string output_;
};

} // namespace tarnlite
