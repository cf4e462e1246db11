/*
 * A peer for thousands of connections: one thread on a port of the system's choosing that plays recorded
 * bytes to each client and takes no notice of what the client sends. No wait is without limit.
 */
#ifndef TEST_SUPPORT_REPLAY_PEER_H
#define TEST_SUPPORT_REPLAY_PEER_H

#include "sockets.h"

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

namespace test_support {

enum class Ending {
    orderly, /* nothing more is sent; the connection stays until the client closes it */
    reset
};

struct Recording {
    std::string bytes;
    Ending ending = Ending::orderly;
    std::size_t piece = SIZE_MAX; /* the most that one send hands over */
    /* The bytes begin with the public numbers of a key agreement; what follows is sent encrypted. */
    bool key_agreement = false;
};

class ReplayPeer {
  public:
    ReplayPeer() : listener_(listen_on_loopback(port_)), thread_([this] { work(); }) {}
    ~ReplayPeer();
    ReplayPeer(const ReplayPeer&) = delete;
    ReplayPeer& operator=(const ReplayPeer&) = delete;

    std::uint16_t port() const { return port_; }

    /* What every client gets that connects from now on. */
    void serve(Recording recording);

  private:
    void work();

    std::uint16_t port_ = 0;
    socket_handle listener_;
    std::mutex mutex_;
    Recording recording_;
    std::atomic<bool> ended_ = false;
    std::thread thread_;
};

} // namespace test_support

#endif
