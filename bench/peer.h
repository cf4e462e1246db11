// The other end of the benchmarks: a separate process that accepts connections on loopback, handles their
// logins, plain or encrypted, and answers commands with prepared bytes; and a client without a driver, to
// measure the bare stream.
//
// Wire bytes are built here without the driver's own code; only the keystream is the driver's.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

#include "tarnsql.h"

namespace tarn {
struct TuringState;
}

namespace bench {

// The low bytes of a value, the most significant first.
void put_big_endian(std::string& bytes, uint64_t value, unsigned width);
void put_u16(std::string& bytes, uint64_t value);
void put_u32(std::string& bytes, uint64_t value);
void put_u64(std::string& bytes, uint64_t value);
// A 32-bit length and the bytes: the form of texts and of column values.
void put_counted(std::string& bytes, std::string_view value);

// The head of a result with unnamed columns of these types; rows ("R" and a value a column) and an end ("K")
// follow.
std::string result_head(const std::vector<int32_t>& wire_types);

// A listening socket on a port chosen by the system.
int listen_on_loopback(uint16_t& port);

inline constexpr std::string_view login_answer = "N0000K";

// One end of a connection.
class Link {
  public:
    explicit Link(int socket);
    ~Link();
    Link(Link&&) noexcept;

    // All return false when the other end is gone.
    bool send(const void* bytes, size_t size);
    bool send(std::string_view bytes) { return send(bytes.data(), bytes.size()); }
    bool receive(void* bytes, size_t size);
    bool receive_u32(uint32_t& value);
    bool drop(size_t size); // receives and discards, on a plain channel

    // The server's side: reads a login; reads and answers it; reads a command frame up to its parameter word;
    // reads a short request, which arrives in one piece, and ignores it.
    bool take_login();
    bool accept_login();
    bool receive_command(std::string& text, uint32_t& parameter_word);
    bool take_request();

    // Sending in two steps, on an encrypted channel: bytes must be sent in the order they are encrypted.
    void encrypt(void* bytes, size_t size);
    bool send_as_is(const void* bytes, size_t size);

  private:
    bool agree_on_key();
    int socket_;
    std::unique_ptr<tarn::TuringState> receiving_; // null on a plain channel, like the next
    std::unique_ptr<tarn::TuringState> sending_;
};

// How a peer serves a connection that has logged in.
using Service = std::function<void(Link&)>;

// The text of every command is the number of the reply to answer it with.
Service replay(std::vector<std::string> replies);

// A process that is stopped by the destructor.
class Peer {
  public:
    static constexpr int any_cpu = -1;

    // Serves up to that many connections at a time. The service is prepared in the peer's process, so that it
    // does not affect the allocator of the measured process.
    explicit Peer(const std::function<Service()>& prepare, int cpu = 1, int at_a_time = 1);
    ~Peer();
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    // Its connection string; a connection of the driver, with extra keys in the string; a logged-in one
    // without the driver.
    std::string settings(const std::string& keys = "") const;
    TRN_HANDLE open(const std::string& keys = "") const;
    Link connect() const;

  private:
    uint16_t port_ = 0;
    pid_t process_;
};

} // namespace bench
