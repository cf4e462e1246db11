/*
 * Recorded conversations: the bytes of a server, from its answer to the login on, and the calls that they
 * answer. Between them they hold every call that waits for a reply, and every kind of message. Each can be
 * had again with other bytes: cut off, damaged or in pieces.
 */
#ifndef CONVERSATIONS_H
#define CONVERSATIONS_H

#include "replay_peer.h"
#include "session/exchanges.h"

/* One client. Every call's status is noted; when logging, everything that it handed over is too. */
struct Client {
    ~Client();
    void open(std::uint16_t port, const std::string& settings);
    void note(std::int32_t status);

    Connection connection;
    std::string statuses; /* "2 0 -1": of the open and of each call */
    std::string log;
    bool logging = false;
    bool known = true; /* every status was one of the interface's */
    void* addresses = nullptr;
};

struct Conversation {
    std::string name, settings, bytes;
    std::vector<std::function<Given(Hands&)>> calls;
    std::string statuses; /* when all bytes arrive */
    bool encrypted = false;
};

/* Of at most a kilobyte each, and two with large values. */
const std::vector<Conversation>& conversations();
const std::vector<Conversation>& large_conversations();

/* Opens, and makes the calls whatever came of it. */
void converse(ReplayPeer& peer, const Conversation& conversation, Recording recording, Client& client);
inline Recording whole(const Conversation& conversation) {
    return {conversation.bytes, Ending::orderly, SIZE_MAX, conversation.encrypted};
}

/* The bytes damaged: one of them changed in three ways; the four from there on, a length or a count if any is
 * there, changed into numbers that cannot be. */
std::vector<std::string> flipped(const std::string& bytes, std::size_t offset);
std::vector<std::string> recounted(const std::string& bytes, std::size_t offset);

/* Connects a connection in any state to a sound server, asks it and closes; "" or what went wrong. */
std::string fault_after(ReplayPeer& peer, const Conversation& conversation, Client& client);

#endif
