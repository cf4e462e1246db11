// The byte stream of one connection: buffered reading and writing over its socket, with the keystreams of an
// encrypted channel between these buffers and the socket. When the connection ends or fails ConnectionLost is
// thrown, which ends the session.
#pragma once

#include "base/wipe.h"
#include "crypto/turing.h"
#include "net.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <string_view>

namespace tarnlite {

class ConnectionLost : public std::exception {
  public:
    const char* what() const noexcept override { return "the connection was lost"; }
};

// The peer fell silent in the middle of a message.
class PeerSilent : public std::exception {
  public:
    const char* what() const noexcept override { return "the rest of the request did not come in time"; }
};

using SessionKey = std::array<std::uint8_t, tarn::turing_key_size>;

class Transport {
  public:
    using Clock = std::chrono::steady_clock;

    explicit Transport(Socket& socket) : socket_(socket) {}

    // Bytes that have arrived and are not consumed; valid until the next reading call.
    std::string_view arrived() const { return std::string_view(input_).substr(consumed_); }
    // Waits for more bytes and adds them to arrived(); false at the deadline.
    bool wait_for_more(Clock::time_point deadline);
    void consume(std::size_t count) { consumed_ += count; }

    // From now on the calls below throw PeerSilent when nothing arrives for that long; before, they wait
    // without limit.
    void limit_silence(std::chrono::milliseconds longest) { longest_silence_ = longest; }
    char read_byte();
    std::uint16_t read_u16();
    std::uint32_t read_u32();
    // Memory grows with the bytes that arrive, not with the announced length.
    std::string read_bytes(std::size_t count);

    // Like read_byte, but waits without limit.
    char await_byte();

    // Goes into a fixed-size buffer, which is sent whenever it is full.
    void write(std::string_view bytes);
    void flush();
    // Sends the rest and lets the peer read it before closing: closing at once with unread input would reset
    // the connection and destroy the answer in transit.
    void finish();
    // From now on at most that many bytes are sent; then the connection is ended and counts as lost.
    void drop_after(std::uint64_t bytes) { left_to_send_ = bytes; }

    // From now on every byte is encrypted with the key, including those that have arrived and are not
    // consumed; what was written before is still sent in the clear.
    void encrypt(const SessionKey& key);
    bool is_encrypted() const { return keystreams_.has_value(); }

  private:
    // Both directions run the same keystream, each from its own position.
    struct Keystreams {
        explicit Keystreams(const SessionKey& key);
        Keystreams(const Keystreams&) = delete;
        Keystreams& operator=(const Keystreams&) = delete;
        ~Keystreams() { tarn::wipe(this, sizeof *this); }

        tarn::TuringState received{};
        tarn::TuringState sent{};
    };

    void receive_more();
    void receive_in_time();
    void send(std::string_view bytes);
    void take_leave();
    static void apply(tarn::TuringState& keystream, std::string& bytes, std::size_t from);

    Socket& socket_;
    std::string input_;
    std::size_t consumed_ = 0;
    std::string output_;
    std::optional<std::chrono::milliseconds> longest_silence_;
    std::optional<std::uint64_t> left_to_send_; // none: no limit
    std::optional<Keystreams> keystreams_;
};

} // namespace tarnlite
