/*
 * Nothing a server does breaks the process: conversations that are damaged at any byte. Every call gives a
 * status of the interface, and the connection closes.
 */
#include "conversations.h"
#include "output_capture.h"

namespace {

/* The emulator that the Windows programs run in is slow where connections are many. */
#ifdef _WIN32
constexpr std::size_t from_damage_to_damage = 3;
#else
constexpr std::size_t from_damage_to_damage = 1;
#endif

class hostile : public testing::Test {
  protected:
    ReplayPeer peer_;
    OutputCapture output_; /* the library prints what servers say */
};

std::string at(const Conversation& conversation, std::size_t offset, const std::string& what) {
    return conversation.name + ", byte " + std::to_string(offset) + ": " + what;
}

TEST_F(hostile, conversations_are_what_they_should_be) {
    for (const auto* list : {&conversations(), &large_conversations()})
        for (const Conversation& conversation : *list) {
            Client client;
            converse(peer_, conversation, whole(conversation), client);
            EXPECT_EQ(client.statuses, conversation.statuses) << conversation.name;
            EXPECT_EQ(fault_after(peer_, conversation, client), "") << conversation.name;
        }
}

TEST_F(hostile, any_byte_may_be_wrong) {
    for (const Conversation& conversation : conversations())
        for (std::size_t offset = 0; offset < conversation.bytes.size(); offset += from_damage_to_damage)
            for (const auto damage : {flipped, recounted})
                for (const std::string& bytes : damage(conversation.bytes, offset)) {
                    Recording recording = whole(conversation);
                    recording.bytes = bytes;
                    Client client;
                    converse(peer_, conversation, recording, client);
                    ASSERT_TRUE(client.known) << at(conversation, offset, client.statuses);
                    ASSERT_EQ(TRN_CloseConn(&client.connection.handle), TRN_OK);
                }
}

} // namespace
