// Sockets of POSIX systems. No call raises SIGPIPE, and interrupted calls are repeated.
#include "net.h"

#include <fmt/format.h>

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace tarnlite {

namespace {

sockaddr_in socket_address(const std::string& address, std::uint16_t port) {
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_port = htons(port);
    if (inet_pton(AF_INET, address.c_str(), &result.sin_addr) != 1) {
        throw std::runtime_error(fmt::format("{} is not a numeric IPv4 address", address));
    }
    return result;
}

[[noreturn]] void throw_system_error(std::string_view what) {
    throw std::runtime_error(fmt::format("{}: {}", what, std::strerror(errno)));
}

} // namespace

std::size_t Socket::receive(char* into, std::size_t capacity) {
    ssize_t got = 0;
    do {
        got = ::recv(descriptor_, into, capacity, 0);
    } while (got < 0 && errno == EINTR);
    return got > 0 ? static_cast<std::size_t>(got) : 0;
}

bool Socket::send_all(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = ::send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) continue;
        if (sent <= 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

bool Socket::wait_readable(std::chrono::milliseconds time) {
    const auto deadline = std::chrono::steady_clock::now() + time;
    pollfd entry{descriptor_, POLLIN, 0};
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        const int ready = ::poll(&entry, 1, left.count() > 0 ? static_cast<int>(left.count()) : 0);
        if (ready >= 0) return ready > 0;
        if (errno != EINTR) return false;
    }
}

bool Socket::peer_has_gone() const {
    pollfd entry{descriptor_, POLLRDHUP, 0}; // failures are always reported
    return ::poll(&entry, 1, 0) > 0;
}

void Socket::shut_sending() {
    if (is_open()) ::shutdown(descriptor_, SHUT_WR);
}

void Socket::shut_both() {
    if (is_open()) ::shutdown(descriptor_, SHUT_RDWR);
}

void Socket::close() {
    if (is_open()) ::close(std::exchange(descriptor_, none));
}

Listener::Listener(const std::string& address, std::uint16_t port) {
    sockaddr_in place = socket_address(address, port);
    descriptor_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (descriptor_ < 0) throw_system_error("cannot make a socket");
    socket_ = Socket(descriptor_);
    const int on = 1;
    ::setsockopt(descriptor_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    auto* const generic = reinterpret_cast<sockaddr*>(&place);
    if (::bind(descriptor_, generic, sizeof place) != 0 || ::listen(descriptor_, SOMAXCONN) != 0) {
        throw_system_error(fmt::format("cannot listen on {}:{}", address, port));
    }
    socklen_t length = sizeof place;
    if (::getsockname(descriptor_, generic, &length) != 0) throw_system_error("cannot learn the port");
    port_ = ntohs(place.sin_port);
}

Socket Listener::accept() {
    const int accepted = ::accept4(descriptor_, nullptr, nullptr, SOCK_CLOEXEC);
    if (accepted < 0) {
        // Out of descriptors or memory: the condition lasts, so the caller's loop must not spin on it.
        if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) ::poll(nullptr, 0, 50);
        return Socket();
    }
    const int on = 1;
    ::setsockopt(accepted, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    ::setsockopt(accepted, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
    return Socket(accepted);
}

void Listener::interrupt() {
    socket_.shut_both();
}

} // namespace tarnlite
