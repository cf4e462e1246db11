// The peer of the end-to-end client: builds the reply to one query in memory, runs a client and sends the
// reply on every connection until the client exits.
//
//     end_to_end_peer FORM ROWS COLUMNS CLIENT...
//
// COLUMNS has a letter for the kind of each column (values.h). CLIENT... is run with the arguments FORM ROWS
// COLUMNS PORT CHECKSUM REPLY-SIZE appended (the checksum of all values and the size of the reply to the
// query). The peer exits with the client's status.
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
extern "C" { // the first releases of this header do not say so themselves
#include <sys/pidfd.h>
}

#include "measure.h"
#include "peer.h"
#include "replay.h"

using namespace bench;

namespace {

bool send_reply(Link& link, const Replay& replay) {
    if (!link.send(replay.head)) return false;
    for (uint64_t block = 0; block < replay.whole_blocks; ++block)
        if (!link.send(replay.block)) return false;
    return link.send(replay.block.data(), replay.part_of_block) && link.send(replay.tail);
}

bool play(Link& link, const Replay& replay) {
    if (!link.send(replay.greeting)) return false;
    for (const std::string& answer : replay.answers)
        if (!link.take_request() || !link.send(answer)) return false;
    return link.take_request() && send_reply(link, replay);
}

// The reply is encrypted before the login is answered: the client's clock starts when it is logged in.
bool play_encrypted(Link& link, const Replay& replay) {
    std::string answer = replay.answers.front(), reply = replay.head;
    reply.reserve(replay.reply_size());
    for (uint64_t block = 0; block < replay.whole_blocks; ++block)
        reply += replay.block;
    reply.append(replay.block, 0, replay.part_of_block).append(replay.tail);
    if (!link.take_login()) return false;
    link.encrypt(answer.data(), answer.size());
    link.encrypt(reply.data(), reply.size());
    return link.send_as_is(answer.data(), answer.size()) && link.take_request() &&
           link.send_as_is(reply.data(), reply.size());
}

pid_t run_client(std::vector<std::string> words) {
    const pid_t client = fork();
    check(client >= 0, "the client cannot be started");
    if (client > 0) return client;
    std::vector<char*> pointers;
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    execvp(pointers[0], pointers.data());
    std::perror(pointers[0]);
    _exit(127);
}

void serve_until_end(int listener, pid_t client, bool (*serve)(Link&, const Replay&), const Replay& replay) {
    const int ending = pidfd_open(client, 0);
    check(ending >= 0, "the client cannot be waited for");
    pollfd awaited[] = {{listener, POLLIN, 0}, {ending, POLLIN, 0}};
    for (;;) {
        check(poll(awaited, 2, -1) > 0, "poll failed");
        if (awaited[1].revents) return;
        const int connection = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        check(connection >= 0, "a connection cannot be accepted");
        Link link(connection);
        if (serve(link, replay))
            while (link.take_request()) {
            }
    }
}

int status_of(pid_t client) {
    int status = 0;
    check(waitpid(client, &status, 0) == client, "the client's status is not known");
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

int run(const std::string& form, uint64_t rows, const std::string& columns,
        std::vector<std::string> client_words) {
    const Table table = make_table(rows, kinds_of(columns));
    const Replay replay = make_replay(form, table);
    uint16_t port = 0;
    const int listener = listen_on_loopback(port);
    for (const std::string& word : {form, std::to_string(rows), columns, std::to_string(port),
                                    std::to_string(checksum_of(table)), std::to_string(replay.reply_size())})
        client_words.push_back(word);

    const pid_t client = run_client(std::move(client_words));
    serve_until_end(listener, client, form == tarnsql_encrypted_protocol.form ? play_encrypted : play,
                    replay);
    return status_of(client);
}

} // namespace

int main(int argc, char** argv) {
    try {
        if (argc < 5) throw std::invalid_argument("end_to_end_peer FORM ROWS COLUMNS CLIENT...");
        const uint64_t rows = std::stoull(argv[2]);
        const size_t columns = kinds_of(argv[3]).size();
        if (rows == 0 || columns == 0 || columns > 1000)
            throw std::invalid_argument("rows from 1, columns 1 to 1000, of the letters " +
                                        std::string(kind_letters));
        return run(argv[1], rows, argv[3], {argv + 4, argv + argc});
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 2;
    }
}
