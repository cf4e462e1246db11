#include "peer.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <thread>
#include <utility>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "crypto/turing.h"
#include "measure.h"

namespace bench {

void put_big_endian(std::string& bytes, uint64_t value, unsigned width) {
    while (width-- > 0)
        bytes += static_cast<char>(value >> width * 8);
}

void put_u16(std::string& bytes, uint64_t value) {
    put_big_endian(bytes, value, 2);
}
void put_u32(std::string& bytes, uint64_t value) {
    put_big_endian(bytes, value, 4);
}
void put_u64(std::string& bytes, uint64_t value) {
    put_big_endian(bytes, value, 8);
}
void put_counted(std::string& bytes, std::string_view value) {
    put_u32(bytes, value.size());
    bytes += value;
}

std::string result_head(const std::vector<int32_t>& wire_types) {
    std::string bytes = "A";
    put_u32(bytes, wire_types.size());
    for (const int32_t type : wire_types) {
        put_counted(bytes, "c");
        put_u32(bytes, static_cast<uint32_t>(type));
        put_u64(bytes, 0); // modifier and flags
    }
    return bytes;
}

int listen_on_loopback(uint16_t& port) {
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    sockaddr* const any = reinterpret_cast<sockaddr*>(&address);
    check(bind(listener, any, size) == 0 && listen(listener, SOMAXCONN) == 0 &&
              getsockname(listener, any, &size) == 0,
          "the peer cannot listen");
    port = ntohs(address.sin_port);
    return listener;
}

Link::Link(int socket) : socket_(socket) {
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

Link::Link(Link&& other) noexcept
    : socket_(std::exchange(other.socket_, -1)), receiving_(std::move(other.receiving_)),
      sending_(std::move(other.sending_)) {}

Link::~Link() {
    if (socket_ >= 0) close(socket_);
}

bool Link::send(const void* bytes, size_t size) {
    if (!sending_) return send_as_is(bytes, size);
    std::string encrypted(static_cast<const char*>(bytes), size);
    encrypt(encrypted.data(), size);
    return send_as_is(encrypted.data(), size);
}

void Link::encrypt(void* bytes, size_t size) {
    tarn::apply_keystream(*sending_, static_cast<uint8_t*>(bytes), size);
}

bool Link::send_as_is(const void* bytes, size_t size) {
    const char* from = static_cast<const char*>(bytes);
    for (size_t sent = 0; sent < size;) {
        const ssize_t step = ::send(socket_, from + sent, size - sent, MSG_NOSIGNAL);
        if (step <= 0) return false;
        sent += static_cast<size_t>(step);
    }
    return true;
}

bool Link::receive(void* bytes, size_t size) {
    char* to = static_cast<char*>(bytes);
    for (size_t received = 0; received < size;) {
        const ssize_t step = recv(socket_, to + received, size - received, 0);
        if (step <= 0) return false;
        received += static_cast<size_t>(step);
    }
    if (receiving_) tarn::apply_keystream(*receiving_, static_cast<uint8_t*>(bytes), size);
    return true;
}

bool Link::receive_u32(uint32_t& value) {
    if (!receive(&value, sizeof value)) return false;
    value = ntohl(value);
    return true;
}

bool Link::drop(size_t size) {
    static thread_local char dropped[65536];
    while (size) {
        const ssize_t step = recv(socket_, dropped, std::min(size, sizeof dropped), 0);
        if (step <= 0) return false;
        size -= static_cast<size_t>(step);
    }
    return true;
}

// With an exponent of 1 the client's blocks arrive unencrypted: the session key, then the login text, which
// ends in the first block with a zero byte.
bool Link::agree_on_key() {
    std::string numbers(64, '\0');
    numbers[0] = 1;
    std::fill(numbers.begin() + 32, numbers.end(), '\xFF');
    uint8_t key[tarn::turing_key_size];
    char block[32];
    if (!send(numbers) || !receive(key, sizeof key)) return false;
    do {
        if (!receive(block, sizeof block)) return false;
    } while (std::string_view(block, sizeof block).find('\0') == std::string_view::npos);
    receiving_ = std::make_unique<tarn::TuringState>();
    sending_ = std::make_unique<tarn::TuringState>();
    tarn::set_up_keystream(*receiving_, key);
    tarn::set_up_keystream(*sending_, key);
    return true;
}

// A plain login is an unframed text whose last clause is the version. The client waits for the answer, so
// nothing follows it.
bool Link::take_login() {
    std::string text;
    while (text != "~ssl~" && !text.ends_with("version = '301'")) {
        char piece[1024];
        const ssize_t size = recv(socket_, piece, sizeof piece, 0);
        if (size <= 0) return false;
        text.append(piece, static_cast<size_t>(size));
    }
    return text != "~ssl~" || agree_on_key();
}

bool Link::accept_login() {
    return take_login() && send(login_answer);
}

bool Link::take_request() {
    char request[65536];
    return recv(socket_, request, sizeof request, 0) > 0;
}

bool Link::receive_command(std::string& text, uint32_t& parameter_word) {
    char mark;
    uint32_t length;
    if (!receive(&mark, 1) || mark != '?' || !receive_u32(length)) return false;
    text.resize(length + 1);
    if (!receive(text.data(), text.size())) return false;
    text.pop_back();
    return receive_u32(parameter_word);
}

Service replay(std::vector<std::string> replies) {
    return [replies = std::move(replies)](Link& link) {
        std::string text;
        uint32_t word;
        while (link.receive_command(text, word) && link.send(replies[std::stoul(text)])) {
        }
    };
}

static void serve(int listener, const Service& service) {
    for (;;) {
        const int client = accept(listener, nullptr, nullptr);
        if (client < 0) _exit(1);
        Link link(client);
        if (link.accept_login()) service(link);
    }
}

Peer::Peer(const std::function<Service()>& prepare, int cpu, int at_a_time) {
    const int listener = listen_on_loopback(port_);
    process_ = fork();
    check(process_ >= 0, "the peer cannot be started");
    if (process_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (cpu != any_cpu) pin_to_cpu(cpu);
        const Service service = prepare();
        for (int i = 1; i < at_a_time; ++i)
            std::thread(serve, listener, std::cref(service)).detach();
        serve(listener, service);
    }
    close(listener);
}

Peer::~Peer() {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
}

std::string Peer::settings(const std::string& keys) const {
    return "server=127.0.0.1;port=" + std::to_string(port_) + ";db=d;user=u;password=p" + keys;
}

TRN_HANDLE Peer::open(const std::string& keys) const {
    TRN_HANDLE conn = nullptr;
    check(TRN_OpenConn(settings(keys).c_str(), &conn) == TRN_OPENED, "the connection cannot be opened");
    return conn;
}

Link Peer::connect() const {
    const int stream = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port_);
    check(::connect(stream, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0,
          "the stream cannot be opened");
    Link link(stream);
    char answer[login_answer.size()];
    check(link.send("version = '301'") && link.receive(answer, sizeof answer), "the login got no answer");
    return link;
}

} // namespace bench
