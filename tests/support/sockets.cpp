/*
 * Loopback sockets over POSIX sockets or Windows Sockets. Sends never raise a signal.
 */
#include "sockets.h"

#include <stdexcept>

#ifdef _WIN32
#include <winsock2.h>
#else
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>
#endif

namespace test_support {

namespace {

#ifdef _WIN32
using native_socket = SOCKET;
using address_length = int;
using buffer_length = int;
constexpr int send_flags = 0, shut_sending = SD_SEND;

void start_sockets() {
    static const int started = [] {
        WSADATA data;
        return WSAStartup(MAKEWORD(2, 2), &data);
    }();
    if (started != 0) throw std::runtime_error("the sockets layer did not start");
}

void close_native(native_socket socket) {
    closesocket(socket);
}
void set_nonblocking(native_socket socket) {
    u_long on = 1;
    ioctlsocket(socket, FIONBIO, &on);
}
#else
using native_socket = int;
using address_length = socklen_t;
using buffer_length = std::size_t;
constexpr int send_flags = MSG_NOSIGNAL, shut_sending = SHUT_WR;

void start_sockets() {}
void close_native(native_socket socket) {
    close(socket);
}
void set_nonblocking(native_socket socket) {
    fcntl(socket, F_SETFL, O_NONBLOCK);
}
#endif

native_socket native(socket_handle socket) {
    return static_cast<native_socket>(socket);
}

socket_handle bound_socket(std::uint16_t& port, int host = 1) {
    start_sockets();
    const auto socket = static_cast<socket_handle>(::socket(AF_INET, SOCK_STREAM, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK - 1 + static_cast<std::uint32_t>(host));
    address.sin_port = htons(port);
    address_length length = sizeof address;
    const int on = 1; /* a port that was given may have connections at their end */
    if (port != 0)
        setsockopt(native(socket), SOL_SOCKET, SO_REUSEADDR, reinterpret_cast<const char*>(&on), sizeof on);
    if (socket == no_socket || bind(native(socket), reinterpret_cast<sockaddr*>(&address), length) != 0 ||
        getsockname(native(socket), reinterpret_cast<sockaddr*>(&address), &length) != 0)
        throw std::runtime_error("no loopback port to be had");
    port = ntohs(address.sin_port);
    return socket;
}

} // namespace

socket_handle listen_on_loopback(std::uint16_t& port, int host) {
    const socket_handle socket = bound_socket(port, host);
    if (listen(native(socket), 16) != 0) throw std::runtime_error("the loopback port does not listen");
    return socket;
}

FullBacklog::FullBacklog() {
    sockets_[0] = bound_socket(port_);
    listen(native(sockets_[0]), 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port_);
    for (socket_handle& waiting : sockets_) {
        if (&waiting == sockets_) continue;
        waiting = static_cast<socket_handle>(::socket(AF_INET, SOCK_STREAM, 0));
        set_nonblocking(native(waiting));
        connect(native(waiting), reinterpret_cast<sockaddr*>(&address), sizeof address);
    }
}

FullBacklog::~FullBacklog() {
    for (const socket_handle socket : sockets_)
        close_native(native(socket));
}

socket_handle accept_client(socket_handle listener) {
    const auto client = static_cast<socket_handle>(accept(native(listener), nullptr, nullptr));
    if (client == no_socket) return no_socket;
    const int on = 1;
    setsockopt(native(client), IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&on), sizeof on);
    return client;
}

bool wait_readable(socket_handle socket, std::chrono::milliseconds limit) {
    fd_set set;
    FD_ZERO(&set);
    FD_SET(native(socket), &set);
    timeval time{};
    time.tv_sec = static_cast<decltype(time.tv_sec)>(limit.count() / 1000);
    time.tv_usec = static_cast<decltype(time.tv_usec)>(limit.count() % 1000 * 1000);
    return select(static_cast<int>(socket) + 1, &set, nullptr, nullptr, &time) > 0;
}

long receive_some(socket_handle socket, char* buffer, std::size_t size) {
    return static_cast<long>(recv(native(socket), buffer, static_cast<buffer_length>(size), 0));
}

bool send_all(socket_handle socket, std::string_view bytes) {
    while (!bytes.empty()) {
        const auto sent =
            send(native(socket), bytes.data(), static_cast<buffer_length>(bytes.size()), send_flags);
        if (sent <= 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

void end_sending(socket_handle socket) {
    shutdown(native(socket), shut_sending);
}

void close_socket(socket_handle socket) {
    close_native(native(socket));
}

void reset_socket(socket_handle socket) {
    linger at_once{};
    at_once.l_onoff = 1;
    setsockopt(native(socket), SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&at_once),
               sizeof at_once);
    close_native(native(socket));
}

} // namespace test_support

uint16_t test_refusing_port(void) {
    static const std::uint16_t port = [] {
        std::uint16_t bound = 0;
        test_support::bound_socket(bound);
        return bound;
    }();
    return port;
}
