// Stream sockets of Windows Sockets 2.
// winsock2.h has to come before windows.h, which standard headers may include.
#include <winsock2.h>

#include <windows.h>

#include "platform/platform.h"

#include <climits>

namespace tarn::platform {

// WSACleanup is never called: the sockets layer lives as long as the process.
void start_sockets() noexcept {
    static const int started = [] {
        WSADATA data;
        return WSAStartup(MAKEWORD(2, 2), &data);
    }();
    (void)started;
}

uint32_t parse_address(const char* dotted) noexcept {
    return inet_addr(dotted);
}

static void set_option(SOCKET stream, int level, int option, const void* value, int size) {
    setsockopt(stream, level, option, static_cast<const char*>(value), size);
}

void set_receive_timeout(Socket socket, int32_t timeout_ms) noexcept {
    const DWORD limit = timeout_ms > 0 ? static_cast<DWORD>(timeout_ms) : 0;
    set_option(socket, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
}

Socket connect_stream(uint32_t address, uint16_t port, int32_t recv_timeout_ms) noexcept {
    const SOCKET stream = socket(AF_INET, SOCK_STREAM, 0);
    if (stream == INVALID_SOCKET) return 0;
    const DWORD on = 1;
    set_option(stream, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    set_option(stream, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    set_option(stream, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
    set_receive_timeout(stream, recv_timeout_ms);
    sockaddr_in peer{};
    peer.sin_family = AF_INET;
    peer.sin_port = htons(port);
    peer.sin_addr.s_addr = address;
    if (connect(stream, reinterpret_cast<const sockaddr*>(&peer), sizeof peer) != 0) {
        closesocket(stream);
        return 0;
    }
    const linger reset_on_close{1, 0};
    set_option(stream, SOL_SOCKET, SO_LINGER, &reset_on_close, sizeof reset_on_close);
    return stream;
}

// Winsock counts in int; nothing that is sent or received in one call comes near its limit.
static int call_size(size_t size) {
    return size > INT_MAX ? INT_MAX : static_cast<int>(size);
}

ptrdiff_t send_some(Socket socket, const void* data, size_t size) noexcept {
    if (!socket) return -1;
    return send(socket, static_cast<const char*>(data), call_size(size), 0);
}

ptrdiff_t receive_some(Socket socket, void* data, size_t size) noexcept {
    if (!socket) return -1;
    return recv(socket, static_cast<char*>(data), call_size(size), 0);
}

void close_stream(Socket socket) noexcept {
    if (socket) closesocket(socket);
}

} // namespace tarn::platform
