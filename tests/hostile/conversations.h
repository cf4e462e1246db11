/*
 * Recorded conversations: the bytes of a server, from its answer to the login on, and the calls that they
 * answer. Between them they hold every kind of message. Each can be had again with other bytes: cut off,
 * damaged or in pieces.
 */
#ifndef CONVERSATIONS_H
#define CONVERSATIONS_H

#include "read_all.h"
#include "replay_peer.h"

#include <string>
#include <vector>

/* One client. Every call's status is noted; when logging, everything that it handed over is too. */
class Client {
  public:
    Client(std::size_t longest_value, bool logging) : longest_value_(longest_value), logging_(logging) {}
    ~Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    void open(const std::string& connection_string);
    void status(std::int32_t status);
    void bytes(const void* data, std::size_t size);
    void results(TRN_HANDLE* result);
    void errors();

    TRN_HANDLE handle = nullptr;
    std::string statuses; /* "2 0 -1": of the open and of each call that talks to the server */
    std::string log;
    bool known = true; /* every status was one of the interface's */

  private:
    std::string* log_or_none() { return logging_ ? &log : nullptr; }
    std::size_t longest_value_;
    bool logging_;
    void* addresses_ = nullptr;
};

struct Conversation {
    std::string name, settings, bytes;
    std::vector<void (*)(Client&)> calls;
    std::string statuses; /* when all bytes arrive */
    bool encrypted = false;
};

/* Of at most a kilobyte each, and two with large values. */
const std::vector<Conversation>& conversations();
const std::vector<Conversation>& large_conversations();

/* Opens, and makes the calls whatever came of it. */
void converse(test_support::ReplayPeer& peer, const Conversation& conversation,
              test_support::Recording recording, Client& client);
inline test_support::Recording whole(const Conversation& conversation) {
    return {conversation.bytes, test_support::Ending::orderly, SIZE_MAX, conversation.encrypted};
}

/* The bytes damaged: one of them changed in three ways; the four from there on, a length or a count if any is
 * there, changed into numbers that cannot be. */
std::vector<std::string> flipped(const std::string& bytes, std::size_t offset);
std::vector<std::string> recounted(const std::string& bytes, std::size_t offset);

/* Connects a connection in any state to a sound server, asks it and closes; "" or what went wrong. */
std::string fault_after(test_support::ReplayPeer& peer, const Conversation& conversation, Client& client);

#endif
