// Stream sockets of Windows Sockets 2.
// winsock2.h must come before windows.h, which standard headers may include.
#include <winsock2.h>
#include <ws2tcpip.h>

#include <windows.h>

#include "platform/platform.h"

#include <climits>
#include <cstdio>

namespace tarn::platform {

// Options of TCP that Windows has since version 10 and older headers do not name.
static constexpr int keep_idle = 3, keep_count = 16, keep_interval = 17;

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

static void set_number(SOCKET stream, int level, int option, DWORD number) {
    set_option(stream, level, option, &number, sizeof number);
}

static void set_keep_alive(SOCKET stream, const KeepAlive& keep_alive) {
    set_number(stream, SOL_SOCKET, SO_KEEPALIVE, 1);
    const auto seconds = [](int32_t value) { return static_cast<DWORD>(value); };
    if (keep_alive.idle_s) set_number(stream, IPPROTO_TCP, keep_idle, seconds(keep_alive.idle_s));
    if (keep_alive.interval_s) set_number(stream, IPPROTO_TCP, keep_interval, seconds(keep_alive.interval_s));
    if (keep_alive.count) set_number(stream, IPPROTO_TCP, keep_count, seconds(keep_alive.count));
}

static void set_blocking(SOCKET stream, bool blocking) {
    u_long does_not_block = !blocking;
    ioctlsocket(stream, FIONBIO, &does_not_block);
}

Socket begin_connect(uint32_t address, uint16_t port, const KeepAlive& keep_alive, int32_t& error) noexcept {
    const SOCKET stream = socket(AF_INET, SOCK_STREAM, 0);
    if (stream == INVALID_SOCKET) {
        error = WSAGetLastError();
        return 0;
    }
    set_number(stream, SOL_SOCKET, SO_REUSEADDR, 1);
    set_number(stream, IPPROTO_TCP, TCP_NODELAY, 1);
    set_keep_alive(stream, keep_alive);
    set_blocking(stream, false);
    sockaddr_in peer{};
    peer.sin_family = AF_INET;
    peer.sin_port = htons(port);
    peer.sin_addr.s_addr = address;
    if (connect(stream, reinterpret_cast<const sockaddr*>(&peer), sizeof peer) == 0) return stream;
    error = WSAGetLastError();
    if (error == WSAEWOULDBLOCK) {
        error = 0;
        return stream;
    }
    closesocket(stream);
    return 0;
}

// Winsock reports a refused connect as an exceptional condition, not as writability.
Connecting wait_connected(Socket socket, int32_t wait_ms, int32_t& error) noexcept {
    fd_set writable, failed;
    FD_ZERO(&writable);
    FD_SET(socket, &writable);
    failed = writable;
    timeval limit{wait_ms / 1000, wait_ms % 1000 * 1000};
    const int ready = select(0, nullptr, &writable, &failed, &limit);
    if (ready == 0) return Connecting::waiting;
    error = WSAGetLastError();
    int size = sizeof error;
    if (ready < 0 || getsockopt(socket, SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&error), &size) != 0 ||
        error != 0 || !FD_ISSET(socket, &writable))
        return Connecting::failed;
    set_blocking(socket, true);
    const linger reset_on_close{1, 0};
    set_option(socket, SOL_SOCKET, SO_LINGER, &reset_on_close, sizeof reset_on_close);
    return Connecting::connected;
}

void describe_error(int32_t error, char* area, size_t size) noexcept {
    constexpr DWORD flags =
        FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK;
    DWORD length =
        FormatMessageA(flags, nullptr, static_cast<DWORD>(error), 0, area, static_cast<DWORD>(size), nullptr);
    while (length > 0 && area[length - 1] == ' ')
        area[--length] = 0;
    if (length == 0) std::snprintf(area, size, "error %d", static_cast<int>(error));
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

// A shutdown does not wake a receive that is already waiting: cancel its I/O.
void abort_stream(Socket socket) noexcept {
    shutdown(socket, SD_BOTH);
    CancelIoEx(reinterpret_cast<HANDLE>(socket), nullptr);
}

void close_stream(Socket socket) noexcept {
    if (socket) closesocket(socket);
}

} // namespace tarn::platform
