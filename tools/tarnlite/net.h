// The operating system's side of the server: stream sockets and the signals that end the process.
// Everything that knows a socket call or a signal stands in this pair of files. No call here raises SIGPIPE,
// and an interrupted system call is taken up again.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tarnlite {

class Socket {
  public:
    Socket() = default;
    explicit Socket(int descriptor) : descriptor_(descriptor) {}
    Socket(Socket&& other) noexcept;
    Socket& operator=(Socket&& other) noexcept;
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
    ~Socket() { close(); }

    bool is_open() const { return descriptor_ != none; }
    // The number of bytes received; 0 when the peer has ended or the connection failed.
    std::size_t receive(char* into, std::size_t capacity);
    bool send_all(std::string_view bytes);
    // False when nothing (not even the end of the stream) arrived within the time.
    bool wait_readable(std::chrono::milliseconds time);
    void shut_sending();
    // Wakes a thread that waits in receive or send on this socket; may be called from another thread.
    void shut_both();
    void close();

  private:
    static constexpr int none = -1;
    int descriptor_ = none;
};

class Listener {
  public:
    // Binds and listens; port 0 lets the system pick. Throws std::runtime_error with a readable reason.
    Listener(const std::string& address, std::uint16_t port);

    std::uint16_t port() const { return port_; }
    // A new connection with TCP_NODELAY set; a closed Socket when none could be had this time.
    Socket accept();
    // Makes a waiting accept return; may be called from another thread.
    void interrupt() { socket_.shut_both(); }

  private:
    int descriptor_ = -1; // owned by socket_
    Socket socket_;
    std::uint16_t port_ = 0;
};

// To be called before any other thread starts, so that all of them leave the stop signals to the main thread.
void hold_stop_signals();
// Returns when SIGINT or SIGTERM arrives.
void wait_for_stop_signal();

} // namespace tarnlite
