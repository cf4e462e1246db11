// Stream sockets of POSIX systems. Writing to a closed peer never raises SIGPIPE.
#include "platform/platform.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace tarn::platform {

void start_sockets() noexcept {}

uint32_t parse_address(const char* dotted) noexcept {
    return inet_addr(dotted);
}

static int descriptor(Socket socket) {
    return static_cast<int>(socket);
}

// A socket whose descriptor is above 2: a process may have closed the standard descriptors, but 0 means
// "no stream", and lines are printed to 1 and 2. -1 on failure.
static int open_stream() {
    constexpr int first_own = 3;
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0 || fd >= first_own) return fd;
    const int moved = fcntl(fd, F_DUPFD_CLOEXEC, first_own);
    close(fd);
    return moved;
}

static void set_number(int fd, int level, int option, int number) {
    setsockopt(fd, level, option, &number, sizeof number);
}

static void set_keep_alive(int fd, const KeepAlive& keep_alive) {
    set_number(fd, SOL_SOCKET, SO_KEEPALIVE, 1);
    if (keep_alive.idle_s) set_number(fd, IPPROTO_TCP, TCP_KEEPIDLE, keep_alive.idle_s);
    if (keep_alive.interval_s) set_number(fd, IPPROTO_TCP, TCP_KEEPINTVL, keep_alive.interval_s);
    if (keep_alive.count) set_number(fd, IPPROTO_TCP, TCP_KEEPCNT, keep_alive.count);
}

static void set_blocking(int fd, bool blocking) {
    const int flags = fcntl(fd, F_GETFL);
    fcntl(fd, F_SETFL, blocking ? flags & ~O_NONBLOCK : flags | O_NONBLOCK);
}

Socket begin_connect(uint32_t address, uint16_t port, const KeepAlive& keep_alive, int32_t& error) noexcept {
    const int fd = open_stream();
    if (fd < 0) {
        error = errno;
        return 0;
    }
    set_number(fd, SOL_SOCKET, SO_REUSEADDR, 1);
    set_number(fd, IPPROTO_TCP, TCP_NODELAY, 1);
    set_keep_alive(fd, keep_alive);
    set_blocking(fd, false);
    sockaddr_in peer{};
    peer.sin_family = AF_INET;
    peer.sin_port = htons(port);
    peer.sin_addr.s_addr = address;
    const bool begun = connect(fd, reinterpret_cast<const sockaddr*>(&peer), sizeof peer) == 0 ||
                       errno == EINPROGRESS || errno == EINTR;
    if (begun) return static_cast<Socket>(fd);
    error = errno;
    close(fd);
    return 0;
}

Connecting wait_connected(Socket socket, int32_t wait_ms, int32_t& error) noexcept {
    const int fd = descriptor(socket);
    pollfd waiting{fd, POLLOUT, 0};
    const int ready = poll(&waiting, 1, wait_ms);
    if (ready == 0 || (ready < 0 && errno == EINTR)) return Connecting::waiting;
    error = errno;
    socklen_t size = sizeof error;
    if (ready < 0 || getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &size) != 0 || error != 0)
        return Connecting::failed;
    set_blocking(fd, true);
    const linger reset_on_close{1, 0};
    setsockopt(fd, SOL_SOCKET, SO_LINGER, &reset_on_close, sizeof reset_on_close);
    return Connecting::connected;
}

void describe_error(int32_t error, char* area, size_t size) noexcept {
    std::snprintf(area, size, "%s", std::strerror(error));
}

void set_receive_timeout(Socket socket, int32_t timeout_ms) noexcept {
    const int32_t limit_ms = timeout_ms > 0 ? timeout_ms : 0;
    const timeval limit{limit_ms / 1000, limit_ms % 1000 * 1000};
    setsockopt(descriptor(socket), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
}

// A signal can cut a blocking send short: the rest is then sent as if it had not been interrupted.
ptrdiff_t send_some(Socket socket, const void* data, size_t size) noexcept {
    if (!socket) return -1;
    size_t done = 0;
    ssize_t sent;
    do {
        sent = send(descriptor(socket), static_cast<const char*>(data) + done, size - done, MSG_NOSIGNAL);
        if (sent > 0) done += static_cast<size_t>(sent);
    } while ((sent < 0 && errno == EINTR) || (sent > 0 && done < size));
    return sent < 0 && done == 0 ? -1 : static_cast<ptrdiff_t>(done);
}

ptrdiff_t receive_some(Socket socket, void* data, size_t size) noexcept {
    if (!socket) return -1;
    ssize_t received;
    do
        received = recv(descriptor(socket), data, size, 0);
    while (received < 0 && errno == EINTR);
    return received;
}

void abort_stream(Socket socket) noexcept {
    shutdown(descriptor(socket), SHUT_RDWR);
}

void close_stream(Socket socket) noexcept {
    if (socket) close(descriptor(socket));
}

} // namespace tarn::platform
