// What the library needs from the operating system: a TCP stream, a lock that any thread may release, the
// start of the sockets layer, pages of memory, an output that raises no signal. One implementation lives in
// posix/, one in win32/; no other source includes a system header.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace tarn::platform {

// Starts the sockets layer, once per process; further calls do nothing.
void start_sockets() noexcept;

// A stream; 0 means none.
using Socket = uintptr_t;

// Parses a dotted IPv4 address into network order; no_address for anything else.
inline constexpr uint32_t no_address = 0xFFFFFFFF;
uint32_t parse_address(const char* dotted) noexcept;

// How the system probes a silent peer; 0 leaves the system's own setting.
struct KeepAlive {
    int32_t idle_s;     // silence before the first probe
    int32_t interval_s; // between two probes
    int32_t count;      // unanswered probes that end the connection
};

// Starts a non-blocking connect, with address reuse, no delay and keep-alive. 0 on failure, with the system's
// error number.
Socket begin_connect(uint32_t address, uint16_t port, const KeepAlive& keep_alive, int32_t& error) noexcept;

enum class Connecting {
    waiting,
    connected,
    failed
};

// Waits for the connection up to the given time. A connected stream is blocking from then on and has linger
// time 0: closing resets the connection at once. A failed one leaves the system's error number and must still
// be closed.
Connecting wait_connected(Socket socket, int32_t wait_ms, int32_t& error) noexcept;

// The system's text for an error number, cut to the area.
void describe_error(int32_t error, char* area, size_t size) noexcept;

// How long receive_some waits before it returns -1; 0 or less: no limit.
void set_receive_timeout(Socket socket, int32_t timeout_ms) noexcept;

// One blocking call each. Returns the bytes moved, 0 at the end of the stream, -1 on failure or time-out.
// Signals are handled here: an interrupted call is repeated, and an interrupted send continues with the rest.
ptrdiff_t send_some(Socket socket, const void* data, size_t size) noexcept;
ptrdiff_t receive_some(Socket socket, void* data, size_t size) noexcept;

// Ends both directions: a call that waits in send_some or receive_some returns at once, and later ones do not
// wait. Any thread and any signal handler may do this while the stream is not being closed.
void abort_stream(Socket socket) noexcept;

void close_stream(Socket socket) noexcept;

// Yields the processor to another thread.
void yield_thread() noexcept;

// Milliseconds of a clock that only moves forward.
int64_t monotonic_ms() noexcept;

// A lock that any thread may release; created unlocked. acquire waits without limit.
struct Lock;
Lock* create_lock() noexcept;
void destroy_lock(Lock* lock) noexcept;
void acquire(Lock* lock) noexcept;
void give_back(Lock* lock) noexcept;

// Writes a text and flushes it. A broken pipe is a failed write, never a signal.
void write_text(std::FILE* file, const char* text) noexcept;

// An environment variable; null when it is not set, or when the process runs with more rights than its user
// (set-user-ID).
const char* environment(const char* name) noexcept;

// Blocks for large content, or content of unknown size. Resizing keeps the content up to the smaller size; a
// large block grows by moving or adding pages, not by copying. Resizing null allocates. Null on failure: the
// block is unchanged.
void* resize_block(void* block, size_t size) noexcept;
void release_block(void* block) noexcept;

// Prefaults memory that is about to be written: one call instead of a page fault for every page. An
// optimisation only; does nothing where the system has no such call.
void prefault_pages(void* memory, size_t size) noexcept;

} // namespace tarn::platform
