// The peer of the whole road: makes the reply to one query in memory, runs a client and plays the reply to
// every connection that comes, until the client ends.
//
//     road_peer FORM ROWS COLUMNS CLIENT...
//
// CLIENT... is run with the words FORM ROWS COLUMNS PORT CHECKSUM REPLY-SIZE behind it (the checksum of all
// values and the bytes of the reply to the query). The peer ends with the client's status.
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
extern "C" { // the first releases of this header do not say so themselves
#include <sys/pidfd.h>
}

#include "replay.h"

namespace {

using road::Replay;

void require(bool succeeded, const char* what) {
    if (succeeded) return;
    std::perror(what);
    std::exit(2);
}

bool send_all(int client, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = send(client, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent <= 0) return false;
        bytes.remove_prefix(static_cast<size_t>(sent));
    }
    return true;
}

// Requests are short: each arrives in one piece.
bool take_request(int client) {
    char request[65536];
    return recv(client, request, sizeof request, 0) > 0;
}

bool send_reply(int client, const Replay& replay) {
    if (!send_all(client, replay.head)) return false;
    for (uint64_t block = 0; block < replay.whole_blocks; ++block)
        if (!send_all(client, replay.block)) return false;
    return send_all(client, std::string_view(replay.block).substr(0, replay.part_of_block)) &&
           send_all(client, replay.tail);
}

bool play(int client, const Replay& replay) {
    if (!send_all(client, replay.greeting)) return false;
    for (const std::string& answer : replay.answers)
        if (!take_request(client) || !send_all(client, answer)) return false;
    return take_request(client) && send_reply(client, replay);
}

int listen_on_loopback(uint16_t& port) {
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    require(bind(listener, generic, size) == 0 && listen(listener, 8) == 0 &&
                getsockname(listener, generic, &size) == 0,
            "listening on loopback");
    port = ntohs(address.sin_port);
    return listener;
}

pid_t run_client(std::vector<std::string> words) {
    const pid_t client = fork();
    require(client >= 0, "fork");
    if (client > 0) return client;
    std::vector<char*> pointers;
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    execvp(pointers[0], pointers.data());
    std::perror(pointers[0]);
    _exit(127);
}

void serve_until_end(int listener, pid_t client, const Replay& replay) {
    const int ending = pidfd_open(client, 0);
    require(ending >= 0, "pidfd_open");
    pollfd awaited[] = {{listener, POLLIN, 0}, {ending, POLLIN, 0}};
    for (;;) {
        require(poll(awaited, 2, -1) > 0, "poll");
        if (awaited[1].revents) return;
        const int connection = accept(listener, nullptr, nullptr);
        require(connection >= 0, "accept");
        if (play(connection, replay))
            while (take_request(connection)) {
            }
        close(connection);
    }
}

int status_of(pid_t client) {
    int status = 0;
    require(waitpid(client, &status, 0) == client, "waitpid");
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

int run(const std::string& form, uint64_t rows, unsigned columns, std::vector<std::string> client_words) {
    const road::Table table = road::make_table(rows, columns);
    const Replay replay = road::make_replay(form, table);
    uint16_t port = 0;
    const int listener = listen_on_loopback(port);
    for (const std::string& word :
         {form, std::to_string(rows), std::to_string(columns), std::to_string(port),
          std::to_string(road::checksum_of(table)), std::to_string(replay.reply_size())})
        client_words.push_back(word);

    const pid_t client = run_client(std::move(client_words));
    serve_until_end(listener, client, replay);
    return status_of(client);
}

} // namespace

int main(int argc, char** argv) {
    try {
        if (argc < 5) throw std::invalid_argument("road_peer FORM ROWS COLUMNS CLIENT...");
        const uint64_t rows = std::stoull(argv[2]);
        const unsigned long columns = std::stoul(argv[3]);
        if (rows == 0 || columns == 0 || columns > 1000)
            throw std::invalid_argument("rows from 1, columns 1 to 1000");
        return run(argv[1], rows, static_cast<unsigned>(columns), {argv + 4, argv + argc});
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 2;
    }
}
