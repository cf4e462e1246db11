/*
 * What the library asks of the system, and what it makes of the answers: options of its sockets, descriptors,
 * calls that signals interrupt, sends and receives of a few bytes, silence. The library is linked statically
 * and its calls come through here; only those of the test's own thread are looked at or changed. Linux only:
 * the system is the subject.
 */
#include "client.h"
#include "conn/conn.h"
#include "conversations.h"
#include "encrypted_channel.h"
#include "output_capture.h"
#include "wire_bytes.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <semaphore.h>
#include <set>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace test_support;

namespace {

struct System {
    /* How it behaves. */
    bool interrupts = false;             /* two of three calls that can be interrupted are */
    std::size_t piece = SIZE_MAX;        /* the most that a send takes or a receive brings */
    std::size_t silent_after = SIZE_MAX; /* so many bytes have been received */
    std::size_t silent_receives = SIZE_MAX;
    int socket_error = 0, duplicate_error = 0, connect_error = 0, pending_error = 0;

    /* What it has seen. */
    std::string sent;
    std::size_t received = 0, silences = 0, receives = 0, interrupted = 0, calls = 0;
    std::set<int> open; /* descriptors that the library has made and not closed */
    std::set<time_t> receive_timeouts;
    std::uint32_t random_word = 0;
    int locks_taken = 0, locks_given_back = 0;
    bool inheritable = false, raises_signals = false;

    bool interrupt() {
        if (!interrupts || ++calls % 3 == 0) return false;
        ++interrupted;
        errno = EINTR;
        return true;
    }
};
thread_local System* system_here = nullptr;

/* The library's calls are those that are made between construction and destruction. */
class Watched {
  public:
    explicit Watched(System& system) { system_here = &system; }
    ~Watched() { system_here = nullptr; }
    Watched(const Watched&) = delete;
    Watched& operator=(const Watched&) = delete;
};

int fail(int error) {
    errno = error;
    return -1;
}

} // namespace

/* Names that the linker gives: a call of recv comes to __wrap_recv, and __real_recv is recv. */
extern "C" {
int __real_socket(int domain, int type, int protocol);
int __real_fcntl(int fd, int command, ...);
int __real_close(int fd);
int __real_connect(int fd, const sockaddr* peer, socklen_t size);
int __real_getsockopt(int fd, int level, int option, void* value, socklen_t* size);
int __real_poll(pollfd* waiting, nfds_t count, int timeout);
ssize_t __real_send(int fd, const void* data, size_t size, int flags);
ssize_t __real_recv(int fd, void* data, size_t size, int flags);
int __real_sem_wait(sem_t* semaphore);
int __real_sem_post(sem_t* semaphore);

int __wrap_socket(int domain, int type, int protocol) {
    if (!system_here) return __real_socket(domain, type, protocol);
    if (system_here->socket_error) return fail(system_here->socket_error);
    system_here->inheritable |= !(type & SOCK_CLOEXEC);
    const int fd = __real_socket(domain, type, protocol);
    if (fd >= 0) system_here->open.insert(fd);
    return fd;
}
int __wrap_fcntl(int fd, int command, ...) {
    va_list rest;
    va_start(rest, command);
    const long argument = va_arg(rest, long);
    va_end(rest);
    const bool duplicates = command == F_DUPFD || command == F_DUPFD_CLOEXEC;
    if (!system_here || !duplicates) return __real_fcntl(fd, command, argument);
    if (system_here->duplicate_error) return fail(system_here->duplicate_error);
    system_here->inheritable |= command == F_DUPFD;
    const int made = __real_fcntl(fd, command, argument);
    if (made >= 0) system_here->open.insert(made);
    return made;
}
int __wrap_close(int fd) {
    if (system_here) system_here->open.erase(fd);
    return __real_close(fd);
}
/* An interrupted connect goes on in the background. */
int __wrap_connect(int fd, const sockaddr* peer, socklen_t size) {
    if (!system_here) return __real_connect(fd, peer, size);
    if (system_here->connect_error) return fail(system_here->connect_error);
    const int outcome = __real_connect(fd, peer, size);
    return outcome == 0 && system_here->interrupt() ? -1 : outcome;
}
int __wrap_getsockopt(int fd, int level, int option, void* value, socklen_t* size) {
    const int outcome = __real_getsockopt(fd, level, option, value, size);
    if (system_here && option == SO_ERROR && system_here->pending_error)
        std::memcpy(value, &system_here->pending_error, sizeof(int));
    return outcome;
}
int __wrap_poll(pollfd* waiting, nfds_t count, int timeout) {
    if (system_here && system_here->interrupt()) return -1;
    return __real_poll(waiting, count, timeout);
}
ssize_t __wrap_send(int fd, const void* data, size_t size, int flags) {
    if (!system_here) return __real_send(fd, data, size, flags);
    system_here->raises_signals |= !(flags & MSG_NOSIGNAL);
    if (system_here->interrupt()) return -1;
    const ssize_t sent = __real_send(fd, data, std::min(size, system_here->piece), flags);
    if (sent > 0) system_here->sent.append(static_cast<const char*>(data), static_cast<std::size_t>(sent));
    return sent;
}
ssize_t __wrap_recv(int fd, void* data, size_t size, int flags) {
    if (!system_here) return __real_recv(fd, data, size, flags);
    System& system = *system_here;
    ++system.receives;
    timeval limit{};
    socklen_t limit_size = sizeof limit;
    __real_getsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, &limit_size);
    system.receive_timeouts.insert(limit.tv_sec);
    if (system.interrupt()) return -1;
    if (system.received >= system.silent_after && system.silences < system.silent_receives) {
        ++system.silences;
        return fail(EAGAIN);
    }
    const std::size_t left =
        system.received < system.silent_after ? system.silent_after - system.received : SIZE_MAX;
    const ssize_t received = __real_recv(fd, data, std::min({size, system.piece, left}), flags);
    if (received > 0) system.received += static_cast<std::size_t>(received);
    return received;
}
int __wrap_sem_wait(sem_t* semaphore) {
    if (!system_here) return __real_sem_wait(semaphore);
    if (system_here->interrupt()) return -1;
    ++system_here->locks_taken;
    return __real_sem_wait(semaphore);
}
int __wrap_sem_post(sem_t* semaphore) {
    if (system_here) ++system_here->locks_given_back;
    return __real_sem_post(semaphore);
}
/* The session keys are the same in every run. */
std::uint32_t __wrap__ZNSt13random_device9_M_getvalEv(void*) {
    static std::uint32_t always;
    std::uint32_t& word = system_here ? system_here->random_word : always;
    return word += 0x9E3779B9;
}
}

namespace {

int descriptor_of(TRN_HANDLE handle) {
    return static_cast<int>(static_cast<tarn::Conn*>(handle)->channel.sock);
}

template <class T> T option(int fd, int level, int name) {
    T value{};
    socklen_t size = sizeof value;
    EXPECT_EQ(getsockopt(fd, level, name, &value, &size), 0);
    return value;
}

class system_calls : public testing::Test {
  protected:
    std::string to_peer(const std::string& settings = "") const {
        return "server=127.0.0.1;port=" + std::to_string(peer_.port()) + ";" + settings;
    }
    ReplayPeer peer_;
    OutputCapture output_; /* the library prints what servers say */
};

void expect_options(TRN_HANDLE handle) {
    const int fd = descriptor_of(handle);
    const auto limit = option<timeval>(fd, SOL_SOCKET, SO_RCVTIMEO);
    EXPECT_EQ(limit.tv_sec, 30 * 60);
    EXPECT_EQ(limit.tv_usec, 0);
    EXPECT_NE(option<int>(fd, SOL_SOCKET, SO_KEEPALIVE), 0);
    EXPECT_NE(option<int>(fd, SOL_SOCKET, SO_REUSEADDR), 0);
    EXPECT_NE(option<int>(fd, IPPROTO_TCP, TCP_NODELAY), 0);
    const auto at_close = option<linger>(fd, SOL_SOCKET, SO_LINGER);
    EXPECT_NE(at_close.l_onoff, 0);
    EXPECT_EQ(at_close.l_linger, 0);
    EXPECT_NE(fcntl(fd, F_GETFD) & FD_CLOEXEC, 0);
}

void expect_limits(TRN_HANDLE handle) {
    const auto socket = static_cast<tarn::Conn*>(handle)->channel.sock;
    const std::pair<std::int32_t, std::int64_t> limits[] = {{1, 1000}, {1999, 1999000}, {0, 0}, {-1, 0}};
    for (const auto& [milliseconds, microseconds] : limits) {
        tarn::platform::set_receive_timeout(socket, milliseconds);
        const auto limit = option<timeval>(descriptor_of(handle), SOL_SOCKET, SO_RCVTIMEO);
        /* The system rounds up to its clock's ticks. */
        EXPECT_NEAR(double(limit.tv_sec) * 1e6 + double(limit.tv_usec), double(microseconds), 10000);
        EXPECT_EQ(limit.tv_sec == 0 && limit.tv_usec == 0, microseconds == 0);
    }
}

TEST_F(system_calls, give_every_socket_its_options) {
    peer_.serve({"K", Ending::orderly, SIZE_MAX, false});
    System system;
    {
        const Watched watched(system);
        TRN_HANDLE handle = nullptr, listed = nullptr;
        void* addresses = nullptr;
        ASSERT_EQ(TRN_OpenConn(to_peer().c_str(), &handle), TRN_OPENED);
        expect_options(handle);
        ASSERT_EQ(TRN_ReconnectConn(&handle), TRN_RECONNECTED);
        expect_options(handle);
        EXPECT_EQ(TRN_CloseConn(&handle), 0);
        ASSERT_EQ(TRN_OpenConn_Ips(to_peer("IPS=127.0.0.1").c_str(), 1, &addresses, &listed), 0);
        expect_options(listed);
        expect_limits(listed);
        EXPECT_EQ(TRN_CloseConn(&listed), 0);
        EXPECT_EQ(Release_IpsAttrs(&addresses), 0);
    }
    EXPECT_FALSE(system.inheritable);
    EXPECT_EQ(system.receive_timeouts, std::set<time_t>{30 * 60}); /* from the login on */
    EXPECT_TRUE(system.open.empty());
}

/* In a child process that has closed standard descriptors: opens, and tells what it found. */
int standard_descriptors_used(const std::string& text, unsigned closed, bool duplicate_fails) {
    const pid_t child = fork();
    if (child == 0) {
        System system;
        system.duplicate_error = duplicate_fails ? EMFILE : 0;
        for (int fd = 0; fd < 3; ++fd)
            if (closed & 1u << fd) __real_close(fd);
        const Watched watched(system);
        TRN_HANDLE handle = nullptr;
        const std::int32_t status = TRN_OpenConn(text.c_str(), &handle);
        unsigned used = 0;
        for (int fd = 0; fd < 3; ++fd)
            if (closed & 1u << fd && __real_fcntl(fd, F_GETFD) != -1) used |= 1u << fd;
        const bool right = status == (duplicate_fails ? TRN_ERR_CONNECT : TRN_OPENED) &&
                           system.open.size() == (duplicate_fails ? 0 : 1) && !system.inheritable;
        _exit(static_cast<int>(used | (right ? 0u : 8u)));
    }
    int outcome = 0;
    EXPECT_EQ(waitpid(child, &outcome, 0), child);
    return outcome;
}

TEST_F(system_calls, leave_the_standard_descriptors_alone) {
    peer_.serve({"K", Ending::orderly, SIZE_MAX, false});
    for (unsigned closed = 0; closed < 8; ++closed) {
        EXPECT_EQ(standard_descriptors_used(to_peer(), closed, false), 0) << closed;
        if (closed & 1) {
            EXPECT_EQ(standard_descriptors_used(to_peer(), closed, true), 0) << closed;
        }
    }
}

TEST_F(system_calls, that_fail_while_connecting_lose_no_descriptor) {
    peer_.serve({"E" + wire_text("no"), Ending::orderly, SIZE_MAX, false});
    const struct {
        std::string name;
        void (*spoil)(System&);
        std::int32_t status;
    } cases[] = {
        {"no socket", [](System& s) { s.socket_error = EMFILE; }, TRN_ERR_CONNECT},
        {"refused", [](System& s) { s.connect_error = ECONNREFUSED; }, TRN_ERR_CONNECT},
        {"unreachable", [](System& s) { s.connect_error = ENETUNREACH; }, TRN_ERR_CONNECT},
        {"refused behind an interruption",
         [](System& s) {
             s.interrupts = true;
             s.pending_error = ECONNREFUSED;
         },
         TRN_ERR_CONNECT},
        {"interrupted", [](System& s) { s.interrupts = true; }, TRN_ERR_LOGIN},
        {"login refused", [](System&) {}, TRN_ERR_LOGIN},
    };
    for (const auto& [name, spoil, status] : cases)
        for (const bool listed : {false, true}) {
            SCOPED_TRACE(name + (listed ? ", address list" : ""));
            System system;
            spoil(system);
            const Watched watched(system);
            TRN_HANDLE handle = nullptr;
            void* addresses = nullptr;
            const std::string text = to_peer(listed ? "IPS=127.0.0.1,127.0.0.1" : "");
            EXPECT_EQ(listed ? TRN_OpenConn_Ips(text.c_str(), 0, &addresses, &handle)
                             : TRN_OpenConn(text.c_str(), &handle),
                      status);
            EXPECT_EQ(TRN_ReconnectConn(&handle), status);
            EXPECT_TRUE(system.open.empty());
            EXPECT_EQ(TRN_CloseConn(&handle), 0);
            Release_IpsAttrs(&addresses);
        }
}

/* What the server got and the application was handed, of one conversation. */
std::string transcript(ReplayPeer& peer, const Conversation& conversation, System& system) {
    Client client;
    client.logging = true;
    const Watched watched(system);
    converse(peer, conversation, whole(conversation), client);
    TRN_CloseConn(&client.connection.handle);
    return client.statuses + "\n" + client.log + "\n" + system.sent;
}

TEST_F(system_calls, may_be_interrupted_or_move_a_byte_at_a_time) {
    for (const auto* list : {&conversations(), &large_conversations()})
        for (const Conversation& conversation : *list) {
            System usual, interrupting, sparing;
            interrupting.interrupts = sparing.interrupts = true;
            sparing.piece =
                conversation.bytes.size() > 10000 || conversation.name == "large object sent" ? 4099 : 1;
            const std::string expected = transcript(peer_, conversation, usual);
            for (System* system : {&interrupting, &sparing}) {
                EXPECT_TRUE(transcript(peer_, conversation, *system) == expected) << conversation.name;
                EXPECT_GT(system->interrupted, 4u);
            }
            for (const System* system : {&usual, &interrupting, &sparing}) {
                EXPECT_EQ(system->locks_taken, system->locks_given_back) << conversation.name;
                EXPECT_FALSE(system->raises_signals);
                EXPECT_TRUE(system->open.empty());
            }
        }
}

/* A wait that ends without a byte is repeated twice on a plain channel, never on an encrypted one. */
TEST_F(system_calls, are_repeated_after_silence_as_the_protocol_says) {
    for (const bool encrypted : {false, true})
        for (std::size_t silent = 0; silent <= 4; ++silent) {
            SCOPED_TRACE(std::to_string(silent) + (encrypted ? " encrypted" : ""));
            const std::string login = (encrypted ? public_numbers() : "") + "K";
            peer_.serve({login + update_count(5) + "K", Ending::orderly, SIZE_MAX, encrypted});
            System system;
            system.silent_after = login.size();
            system.silent_receives = silent;
            const Watched watched(system);
            Connection connection(to_peer(encrypted ? "use_ssl=on" : ""));
            ASSERT_EQ(connection.opened, TRN_OPENED);
            system.receives = 0;
            const std::size_t tries = encrypted ? 1 : 3;
            EXPECT_EQ(connection.run("q"), silent < tries ? 5 : TRN_ERR_NETWORK);
            EXPECT_EQ(system.silences, std::min(silent, tries));
            if (silent >= tries) {
                EXPECT_EQ(system.receives, tries);
            }
        }
}

/* A server that falls silent anywhere costs so many waits in all, whatever is called then. */
TEST_F(system_calls, wait_for_a_silent_server_three_times_or_once_and_never_again) {
    for (const Conversation& conversation : conversations())
        for (std::size_t cut = 0; cut < conversation.bytes.size(); ++cut) {
            System system;
            system.silent_after = cut;
            Client client;
            const Watched watched(system);
            converse(peer_, conversation, whole(conversation), client);
            ASSERT_TRUE(client.known) << conversation.name << ", byte " << cut;
            TRN_CloseConn(&client.connection.handle);
            /* What follows the last byte that a call asks for is not waited for. */
            const std::size_t most = conversation.encrypted ? 1 : 3;
            ASSERT_TRUE(system.silences == most || (system.silences == 0 && system.received == cut))
                << conversation.name << ", byte " << cut << ": " << system.silences;
        }
}

} // namespace
