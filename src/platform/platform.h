// What the library needs of the operating system: a blocking TCP stream, a lock that any thread may give back, the start of
// the sockets layer, and pages of memory. One implementation lives in posix/, one in win32/; no other source includes a
// system header.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tarn::platform {

// Starts the sockets layer once for the process; further calls do nothing.
void start_sockets() noexcept;

// A connected stream; 0 means none.
using Socket = uintptr_t;

// The address in network order that a dotted text stands for; no_address for anything else.
inline constexpr uint32_t no_address = 0xFFFFFFFF;
uint32_t parse_address(const char* dotted) noexcept;

// Connects with address reuse, no delay, keep-alive, the receive time-out (when above 0) and linger time 0: closing resets
// the connection at once. Gives 0 on any failure.
Socket connect_stream(uint32_t address, uint16_t port, int32_t recv_timeout_ms) noexcept;

// How long receive_some waits before it gives -1; 0 and less: without limit.
void set_receive_timeout(Socket socket, int32_t timeout_ms) noexcept;

// One blocking call each. The bytes moved, 0 at the end of the stream, -1 on failure or time-out. Signals are not seen: where a
// system lets them cut a call short, it is repeated, and a send goes on with what is left.
ptrdiff_t send_some(Socket socket, const void* data, size_t size) noexcept;
ptrdiff_t receive_some(Socket socket, void* data, size_t size) noexcept;

void close_stream(Socket socket) noexcept;

// Admits one holder at a time; created free. acquire waits without limit.
struct Lock;
Lock* create_lock() noexcept;
void destroy_lock(Lock* lock) noexcept;
void acquire(Lock* lock) noexcept;
void give_back(Lock* lock) noexcept;

// Blocks of memory for content that is large or whose size shows only while it arrives. Resizing keeps the content up to the
// smaller size; a large block grows by its pages being moved or added, not by its bytes being copied. Null makes a new block.
// On failure it gives null and the block stays.
void* resize_block(void* block, size_t size) noexcept;
void release_block(void* block) noexcept;

// Has the system provide the pages of memory that is about to be written, all at once instead of one by one as they are
// touched. Only speed depends on it: where there is no such call it does nothing.
void prepare_pages(void* memory, size_t size) noexcept;

} // namespace tarn::platform
