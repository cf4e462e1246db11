// Sockets of Windows.
// winsock2.h must come before windows.h, which standard headers may include.
#include <winsock2.h>

#include <ws2tcpip.h>

#include "net.h"

#include <fmt/format.h>

#include <algorithm>
#include <climits>
#include <stdexcept>
#include <system_error>

namespace tarnlite {

namespace {

// WSACleanup is never called: the sockets layer lives as long as the process.
void start_sockets() {
    static const int started = [] {
        WSADATA data;
        return WSAStartup(MAKEWORD(2, 2), &data);
    }();
    if (started != 0) throw std::runtime_error("cannot start Windows Sockets");
}

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
    const int error = WSAGetLastError();
    throw std::runtime_error(fmt::format("{}: {} ({})", what, std::system_category().message(error), error));
}

// Winsock counts in int.
int call_size(std::size_t size) {
    return static_cast<int>(std::min<std::size_t>(size, INT_MAX));
}

} // namespace

std::size_t Socket::receive(char* into, std::size_t capacity) {
    const int got = ::recv(descriptor_, into, call_size(capacity), 0);
    return got > 0 ? static_cast<std::size_t>(got) : 0;
}

bool Socket::send_all(std::string_view bytes) {
    while (!bytes.empty()) {
        const int sent = ::send(descriptor_, bytes.data(), call_size(bytes.size()), 0);
        if (sent <= 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

bool Socket::wait_readable(std::chrono::milliseconds time) {
    WSAPOLLFD entry{descriptor_, POLLIN, 0};
    return ::WSAPoll(&entry, 1, static_cast<int>(time.count())) > 0;
}

bool Socket::peer_has_gone() const {
    WSAPOLLFD entry{descriptor_, POLLRDNORM, 0};
    return ::WSAPoll(&entry, 1, 0) > 0 && (entry.revents & (POLLHUP | POLLERR | POLLNVAL)) != 0;
}

void Socket::shut_sending() {
    if (is_open()) ::shutdown(descriptor_, SD_SEND);
}

// shutdown makes later calls fail but does not wake waiting ones; CancelIoEx does.
void Socket::shut_both() {
    if (!is_open()) return;
    ::shutdown(descriptor_, SD_BOTH);
    ::CancelIoEx(reinterpret_cast<HANDLE>(descriptor_), nullptr);
}

void Socket::close() {
    if (is_open()) ::closesocket(std::exchange(descriptor_, none));
}

// Without SO_REUSEADDR: it would let another process take the port away, and the port is free at once anyway.
Listener::Listener(const std::string& address, std::uint16_t port) {
    start_sockets();
    sockaddr_in place = socket_address(address, port);
    descriptor_ = ::socket(AF_INET, SOCK_STREAM, 0);
    if (descriptor_ == INVALID_SOCKET) throw_system_error("cannot make a socket");
    socket_ = Socket(descriptor_);
    auto* const generic = reinterpret_cast<sockaddr*>(&place);
    if (::bind(descriptor_, generic, sizeof place) != 0 || ::listen(descriptor_, SOMAXCONN) != 0) {
        throw_system_error(fmt::format("cannot listen on {}:{}", address, port));
    }
    socklen_t length = sizeof place;
    if (::getsockname(descriptor_, generic, &length) != 0) throw_system_error("cannot learn the port");
    port_ = ntohs(place.sin_port);
}

Socket Listener::accept() {
    const SOCKET accepted = ::accept(descriptor_, nullptr, nullptr);
    if (accepted == INVALID_SOCKET) {
        // Out of descriptors or memory: the condition lasts, so the caller's loop must not spin on it.
        if (WSAGetLastError() == WSAEMFILE || WSAGetLastError() == WSAENOBUFS) Sleep(50);
        return Socket();
    }
    const BOOL on = TRUE;
    ::setsockopt(accepted, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&on), sizeof on);
    ::setsockopt(accepted, SOL_SOCKET, SO_KEEPALIVE, reinterpret_cast<const char*>(&on), sizeof on);
    return Socket(accepted);
}

// Only closing the socket wakes accept. Its number is not reused meanwhile: only accept creates sockets.
void Listener::interrupt() {
    socket_.close();
}

} // namespace tarnlite
