#include "peer.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstdio>
#include <cstdlib>

#include "platform/platform.h"

static std::string_view stream;
static size_t piece_size = 1;

namespace tarn::platform {

void start_sockets() noexcept {}

uint32_t parse_address(const char* dotted) noexcept {
    return inet_addr(dotted);
}

Socket begin_connect(uint32_t, uint16_t, const KeepAlive&, int32_t&) noexcept {
    return 1;
}

Connecting wait_connected(Socket, int32_t, int32_t&) noexcept {
    return Connecting::connected;
}

void describe_error(int32_t, char*, size_t) noexcept {}

void set_receive_timeout(Socket, int32_t) noexcept {}

void abort_stream(Socket) noexcept {}

ptrdiff_t send_some(Socket socket, const void* data, size_t size) noexcept {
    // The sanitizers see whether every byte sent was there.
    static volatile char sink;
    for (size_t i = 0; i < size; ++i)
        sink = static_cast<const char*>(data)[i];
    return socket ? static_cast<ptrdiff_t>(size) : -1;
}

ptrdiff_t receive_some(Socket socket, void* data, size_t size) noexcept {
    if (!socket) return -1;
    const size_t received = stream.copy(static_cast<char*>(data), std::min(size, piece_size));
    stream.remove_prefix(received);
    return static_cast<ptrdiff_t>(received);
}

void close_stream(Socket) noexcept {}

} // namespace tarn::platform

// The library prints the server's texts, which are useless in a million runs.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
    if (!std::freopen("/dev/null", "w", stdout)) std::abort();
    return 0;
}

namespace fuzz {

void serve(std::string_view bytes, size_t piece) {
    stream = bytes;
    piece_size = std::max<size_t>(piece, 1);
}

uint8_t Input::byte() {
    if (left_.empty()) return 0;
    const uint8_t first = static_cast<uint8_t>(left_.front());
    left_.remove_prefix(1);
    return first;
}

int32_t Input::number() {
    const uint8_t first = byte();
    if (first < 0xF0) return first % 70 - 2;
    int32_t number = 0;
    left_.remove_prefix(left_.copy(reinterpret_cast<char*>(&number), sizeof number));
    return number;
}

std::string_view Input::text(size_t size) {
    const std::string_view text = left_.substr(0, size);
    left_.remove_prefix(text.size());
    return text;
}

Session::Session(const char* settings) {
    serve("K", 1);
    const std::string text = std::string("server=127.0.0.1;port=1;db=d;user=u;pwd=p;") + settings;
    if (TRN_OpenConn(text.c_str(), &handle_) != TRN_OPENED) std::abort();
}

void Session::receive(Input& input) {
    static constexpr size_t pieces[] = {1, 2, 7, 8191, 8192, 8193};
    const size_t piece = pieces[input.byte() % std::size(pieces)];
    serve(input.rest(), piece);
}

} // namespace fuzz
