// Stream sockets of POSIX systems. Writing to a closed peer never raises SIGPIPE.
#include "platform/platform.h"

#include <arpa/inet.h>
#include <cerrno>
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

// A stream that is none of the standard descriptors, which a process may have closed: 0 stands for "none", and what is printed
// goes to 1 and 2. -1 on failure.
static int open_stream() {
    constexpr int first_own = 3;
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0 || fd >= first_own) return fd;
    const int moved = fcntl(fd, F_DUPFD_CLOEXEC, first_own);
    close(fd);
    return moved;
}

static void set_flag(int fd, int level, int option) {
    const int on = 1;
    setsockopt(fd, level, option, &on, sizeof on);
}

// An interrupted connect goes on in the background: wait for its end and ask how it ended.
static bool finish_connect(int fd) {
    pollfd waiting{fd, POLLOUT, 0};
    while (poll(&waiting, 1, -1) < 0)
        if (errno != EINTR) return false;
    int error = 0;
    socklen_t size = sizeof error;
    return getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &size) == 0 && error == 0;
}

void set_receive_timeout(Socket socket, int32_t timeout_ms) noexcept {
    const int32_t limit_ms = timeout_ms > 0 ? timeout_ms : 0;
    const timeval limit{limit_ms / 1000, limit_ms % 1000 * 1000};
    setsockopt(descriptor(socket), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
}

Socket connect_stream(uint32_t address, uint16_t port, int32_t recv_timeout_ms) noexcept {
    const int fd = open_stream();
    if (fd < 0) return 0;
    set_flag(fd, SOL_SOCKET, SO_REUSEADDR);
    set_flag(fd, IPPROTO_TCP, TCP_NODELAY);
    set_flag(fd, SOL_SOCKET, SO_KEEPALIVE);
    set_receive_timeout(static_cast<Socket>(fd), recv_timeout_ms);
    sockaddr_in peer{};
    peer.sin_family = AF_INET;
    peer.sin_port = htons(port);
    peer.sin_addr.s_addr = address;
    if (connect(fd, reinterpret_cast<const sockaddr*>(&peer), sizeof peer) != 0 &&
        !(errno == EINTR && finish_connect(fd))) {
        close(fd);
        return 0;
    }
    const linger reset_on_close{1, 0};
    setsockopt(fd, SOL_SOCKET, SO_LINGER, &reset_on_close, sizeof reset_on_close);
    return static_cast<Socket>(fd);
}

// A signal can cut a blocking send short: what is left then follows, as if it had not been interrupted.
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

void close_stream(Socket socket) noexcept {
    if (socket) close(descriptor(socket));
}

} // namespace tarn::platform
