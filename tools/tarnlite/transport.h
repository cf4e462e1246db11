// The byte stream of one connection: buffered reading and writing over its socket, with the keystreams of an
// encrypted channel between these buffers and the socket. A connection that ends or fails is told by the
// exception ConnectionLost, which ends the session.
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

// The peer fell silent where it owes more.
class PeerSilent : public std::exception {
  public:
    const char* what() const noexcept override { return "the rest of the request did not come in time"; }
};

using SessionKey = std::array<std::uint8_t, tarn::turing_key_size>;

class Transport {
  public:
    using Clock = std::chrono::steady_clock;

    explicit Transport(Socket& socket) : socket_(socket) {}

    // What has arrived and was not consumed yet; valid until the next reading call.
    std::string_view arrived() const { return std::string_view(input_).substr(consumed_); }
    // Waits for more bytes and adds them to arrived(); false at the deadline.
    bool wait_for_more(Clock::time_point deadline);
    void consume(std::size_t count) { consumed_ += count; }

    // From here on the calls that follow throw PeerSilent when nothing arrives for so long; before, they wait
    // on.
    void limit_silence(std::chrono::milliseconds longest) { longest_silence_ = longest; }
    char read_byte();
    std::uint16_t read_u16();
    std::uint32_t read_u32();
    // Memory grows with the bytes that really arrive, never with the length that was announced.
    std::string read_bytes(std::size_t count);

    // As read_byte, but waits as long as it takes.
    char await_byte();

    // Goes into a bounded buffer, which is sent whenever it is full.
    void write(std::string_view bytes);
    void flush();
    // Sends what is left and lets the peer read it before the connection goes: closing at once while unread
    // input is waiting would reset the connection and destroy the answer on its way.
    void finish();
    // From here on no more than that many bytes are sent; then the connection is finished and counts as lost.
    void drop_after(std::uint64_t bytes) { left_to_send_ = bytes; }

    // From here on every byte passes through the keystreams of the key, those too that have arrived and were
    // not consumed yet; what was written before still goes out in the clear.
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
    std::optional<std::uint64_t> left_to_send_; // without it there is no limit
    std::optional<Keystreams> keystreams_;
};

} // namespace tarnlite
