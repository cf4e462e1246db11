// What the enciphered channel costs: one query's reply, prebuilt and sent by a thread over loopback, received by the client
// plain and enciphered. Times are CPU times of the client's thread.
//
//     channel_bench [VALUES] [BYTES-A-VALUE] [ROUNDS]
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "crypto/turing.h"
#include "tarnsql.h"

namespace {

void put_u32(std::string& bytes, uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes += static_cast<char>(value >> shift);
}

std::string build_reply(uint32_t values, uint32_t size) {
    std::string reply = "A";
    put_u32(reply, 1);
    put_u32(reply, 1);
    reply += "v";
    put_u32(reply, TRN_WIRE_BLOB);
    put_u32(reply, 0);
    put_u32(reply, 0);
    for (uint32_t i = 0; i < values; ++i) {
        reply += "R";
        put_u32(reply, size);
        reply.append(size, static_cast<char>(i));
    }
    return reply + "K";
}

void send_all(int peer, const std::string& bytes) {
    for (size_t sent = 0; sent < bytes.size();) {
        const ssize_t step = send(peer, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (step <= 0) std::exit(1);
        sent += static_cast<size_t>(step);
    }
}

std::string receive_some(int peer, size_t least) {
    std::string bytes;
    char buffer[4096];
    while (bytes.size() < least) {
        const ssize_t step = recv(peer, buffer, sizeof buffer, 0);
        if (step <= 0) std::exit(1);
        bytes.append(buffer, static_cast<size_t>(step));
    }
    return bytes;
}

// With an exponent of 1 the client's blocks arrive as they are, and begin with the session key.
void serve(int listener, const std::string& reply, bool enciphered) {
    const int peer = accept(listener, nullptr, nullptr);
    std::string answer = "N0000K" + reply;
    if (enciphered) {
        receive_some(peer, 5);
        std::string numbers(64, '\0');
        numbers[0] = 1;
        std::fill(numbers.begin() + 32, numbers.end(), '\xFF');
        send_all(peer, numbers);
        const std::string blocks = receive_some(peer, 64);
        tarn::TuringState state{};
        tarn::set_up_keystream(state, reinterpret_cast<const uint8_t*>(blocks.data()));
        tarn::apply_keystream(state, reinterpret_cast<uint8_t*>(answer.data()), answer.size());
    } else {
        receive_some(peer, 1);
    }
    send_all(peer, answer.substr(0, 6));
    receive_some(peer, 1);
    send_all(peer, answer.substr(6));
    char rest;
    recv(peer, &rest, 1, 0);
    close(peer);
}

double cpu_seconds() {
    timespec now;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

double receive_once(const std::string& reply, bool enciphered) {
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (bind(listener, reinterpret_cast<sockaddr*>(&address), size) != 0 || listen(listener, 1) != 0)
        std::exit(1);
    getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size);
    std::thread server(serve, listener, reply, enciphered);

    const std::string settings = "server=127.0.0.1;port=" + std::to_string(ntohs(address.sin_port)) +
                                 ";db=d;user=u;password=p" + (enciphered ? ";use_ssl=on" : "");
    TRN_HANDLE conn = nullptr;
    TRN_HANDLE result = nullptr;
    if (TRN_OpenConn(settings.c_str(), &conn) != TRN_OPENED) std::exit(1);
    const double start = cpu_seconds();
    if (TRN_ExecwithDataReader(&conn, "q", &result, nullptr, nullptr, nullptr) < 0) std::exit(1);
    const double spent = cpu_seconds() - start;
    TRN_FreeRowset(&result);
    TRN_CloseConn(&conn);
    server.join();
    close(listener);
    return spent;
}

double median(std::vector<double> times) {
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

} // namespace

int main(int argc, char** argv) {
    const auto argument = [&](int i, int otherwise) { return argc > i ? std::atoi(argv[i]) : otherwise; };
    const std::string reply =
        build_reply(static_cast<uint32_t>(argument(1, 64)), static_cast<uint32_t>(argument(2, 1024 * 1024)));
    std::vector<double> plain, enciphered;
    for (int round = 0; round < argument(3, 9); ++round) {
        plain.push_back(receive_once(reply, false));
        enciphered.push_back(receive_once(reply, true));
    }
    const double megabytes = static_cast<double>(reply.size()) / 1e6;
    std::printf("%.1f MB: plain %.1f ms (%.0f MB/s), enciphered %.1f ms (%.0f MB/s), ratio %.3f\n", megabytes,
                median(plain) * 1e3, megabytes / median(plain), median(enciphered) * 1e3,
                megabytes / median(enciphered), median(enciphered) / median(plain));
}
