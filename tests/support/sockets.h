/*
 * The socket calls of the tests, the same on both platforms. Every socket lives on a loopback address,
 * 127.0.0.1 unless another is asked for, and on a port of the system's choosing. The only place of the tests
 * that knows a system's socket interface is sockets.cpp.
 */
#ifndef TEST_SUPPORT_SOCKETS_H
#define TEST_SUPPORT_SOCKETS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* A loopback port that is taken but refuses every connection for as long as the process lives. */
uint16_t test_refusing_port(void);

#ifdef __cplusplus
}

#include <chrono>
#include <cstddef>
#include <string_view>

namespace test_support {

using socket_handle = std::intptr_t;
constexpr socket_handle no_socket = -1;

/* A listening socket and its port; on 127.0.0.host and the port given when that is not 0. On
 * test_refusing_port() the hosts from 2 on are this process's own. Fails by throwing std::runtime_error. */
socket_handle listen_on_loopback(std::uint16_t& port, int host = 1);

/* A listening port whose queue is full: a connect to it neither succeeds nor is refused while the record
 * lives. */
class FullBacklog {
  public:
    FullBacklog();
    ~FullBacklog();
    FullBacklog(const FullBacklog&) = delete;
    FullBacklog& operator=(const FullBacklog&) = delete;
    std::uint16_t port() const { return port_; }

  private:
    std::uint16_t port_ = 0;
    socket_handle sockets_[5]; /* the listener, and who waits there */
};

/* Accepts a waiting client with Nagle's algorithm off; no_socket when there is none. */
socket_handle accept_client(socket_handle listener);

/* How long a peer waits for a client that does nothing, so that no test hangs. An emulated client on a busy
 * machine may be slow to come, and to work through a large reply. */
inline constexpr std::chrono::seconds idle_limit{120};

/* True when the socket has bytes, an end or a client to accept within the time given. */
bool wait_readable(socket_handle socket, std::chrono::milliseconds limit);

/* Bytes received, 0 at an orderly end, -1 when the peer reset the connection. */
long receive_some(socket_handle socket, char* buffer, std::size_t size);

/* False when the peer is gone before everything was handed to the system. */
bool send_all(socket_handle socket, std::string_view bytes);

/* The peer sees an orderly end; what it sends still arrives. */
void end_sending(socket_handle socket);

void close_socket(socket_handle socket);

/* Closes so that the peer sees a reset instead of an end. */
void reset_socket(socket_handle socket);

/* Whether a reset can be told from an end. The Windows programs run under Wine, which closes every connection
 * in order, whatever its linger time. */
#ifdef _WIN32
constexpr bool resets_arrive = false;
#else
constexpr bool resets_arrive = true;
#endif

} // namespace test_support
#endif

#endif
