// Stream sockets: one contract, implemented in net_posix.cpp and net_win32.cpp, the only sources with socket
// calls.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace tarnlite {

#ifdef _WIN32
using Descriptor = std::uintptr_t;
#else
using Descriptor = int;
#endif

class Socket {
  public:
    Socket() = default;
    explicit Socket(Descriptor descriptor) : descriptor_(descriptor) {}
    Socket(Socket&& other) noexcept : descriptor_(std::exchange(other.descriptor_, none)) {}
    Socket& operator=(Socket&& other) noexcept {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
    ~Socket() { close(); }

    bool is_open() const { return descriptor_ != none; }
    // The number of bytes received; 0 when the peer has closed or the connection failed.
    std::size_t receive(char* into, std::size_t capacity);
    bool send_all(std::string_view bytes);
    // False when nothing (not even the end of the stream) arrived within the time.
    bool wait_readable(std::chrono::milliseconds time);
    // True when the peer has closed its side or the connection failed, even if earlier bytes are left to
    // receive. May be called from another thread.
    bool peer_has_gone() const;
    void shut_sending();
    // Wakes a thread that waits in receive or send on this socket; may be called from another thread.
    void shut_both();
    void close();

  private:
    static constexpr Descriptor none = static_cast<Descriptor>(-1);
    Descriptor descriptor_ = none;
};

class Listener {
  public:
    // Binds and listens; port 0 lets the system pick. Throws std::runtime_error with a readable reason.
    Listener(const std::string& address, std::uint16_t port);

    std::uint16_t port() const { return port_; }
    // A new connection with TCP_NODELAY and SO_KEEPALIVE set; a closed Socket when accepting one failed.
    Socket accept();
    // Makes a waiting accept return; may be called from another thread.
    void interrupt();

  private:
    Descriptor descriptor_{}; // owned by socket_
    Socket socket_;
    std::uint16_t port_ = 0;
};

} // namespace tarnlite
