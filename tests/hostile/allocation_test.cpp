/*
 * Memory that runs out, and servers that ask for too much of it: any allocation of the library can be made to
 * fail, none may be left over, and none may be larger than what has arrived allows.
 */
#include "conversations.h"
#include "encrypted_channel.h"
#include "watched_memory.h"

namespace {

class allocation : public testing::Test {
  protected:
    ~allocation() override { watch = nullptr; }
    /* Fails the allocations from the first to the last one; what is asserted holds for any of them. */
    void run(const Conversation& conversation, std::size_t first, std::size_t last, bool cut_short) {
        watched_ = {};
        watched_.first_to_fail = first;
        watched_.last_to_fail = last;
        watch = &watched_;
        {
            Client client, second;
            Recording recording = whole(conversation);
            if (cut_short) recording.bytes.resize(recording.bytes.size() / 3); // inside a large one
            converse(peer_, conversation, recording, client);
            EXPECT_TRUE(client.known) << client.statuses;
            watched_.first_to_fail = watched_.last_to_fail = 0;
            needed_ = watched_.taken;
            if (client.connection.handle != nullptr) {
                EXPECT_EQ(fault_after(peer_, conversation, client), "");
            }
            second.open(peer_.port(), conversation.settings);
            EXPECT_EQ(fault_after(peer_, conversation, second), "");
        }
        watch = nullptr;
    }
    ReplayPeer peer_;
    OutputCapture output_; /* the library prints what servers say */
    Watch watched_;
    std::size_t needed_ = 0;
};

TEST_F(allocation, any_may_fail_alone_or_with_all_that_follow) {
    std::size_t runs = 0;
    const auto fail_each = [&](const Conversation& conversation, bool alone, bool cut_short) {
        for (std::size_t n = 1;; ++n, ++runs) {
            SCOPED_TRACE(conversation.name + (alone ? ", allocation " : ", from allocation ") +
                         std::to_string(n) + (cut_short ? ", cut short" : ""));
            run(conversation, n, alone ? n : SIZE_MAX, cut_short);
            ASSERT_FALSE(HasFailure());
            ASSERT_EQ(watched_.live.size(), 0u);
            if (n > needed_) break;
        }
    };
    for (const auto* list : {&conversations(), &large_conversations()})
        for (const Conversation& conversation : *list)
            for (const bool alone : {true, false}) {
                ASSERT_NO_FATAL_FAILURE(fail_each(conversation, alone, false));
                // The link ends while a value that there is no memory for is passed over.
                if (conversation.bytes.size() > 10000) {
                    ASSERT_NO_FATAL_FAILURE(fail_each(conversation, alone, true));
                }
            }
    RecordProperty("runs", std::to_string(runs));
}

TEST_F(allocation, is_never_larger_than_what_has_arrived_allows) {
    constexpr std::size_t trusted = 1024 * 1024;
    for (const Conversation& conversation : conversations())
        for (std::size_t offset = 0; offset < conversation.bytes.size(); ++offset)
            for (const std::string& damaged : recounted(conversation.bytes, offset)) {
                watched_ = {};
                watch = &watched_;
                {
                    Recording recording = whole(conversation);
                    recording.bytes = damaged;
                    Client client;
                    converse(peer_, conversation, recording, client);
                }
                watch = nullptr;
                ASSERT_LE(watched_.largest, damaged.size() + trusted)
                    << conversation.name << ", byte " << offset;
                ASSERT_EQ(watched_.live.size(), 0u) << conversation.name << ", byte " << offset;
            }
}

/* A reply that ends behind a length of two gigabytes and what has arrived of them. */
struct Claim {
    std::string before, call;
};

TEST_F(allocation, follows_what_arrives_and_not_what_is_claimed) {
    constexpr std::size_t trusted = 1024 * 1024;
    const std::string columns =
        query({{"c", TRN_WIRE_CHAR}, {"n", TRN_WIRE_INTEGER}, {"d", TRN_WIRE_BLOB}}, {});
    const std::string half_row = columns + "R" + wire_text(std::string(70000, 'x')) + null_value();
    const std::string read = "rows and texts", count = "counts", call = "procedure";
    const Claim claims[] = {{columns + "R", read},  {columns + "R", "fetch"},
                            {half_row, read},       {columns + "*", read},
                            {columns + "W", read},  {"E", read},
                            {"W", count},           {"I", count},
                            {"O" + be32(1), count}, {"P" + be32(0) + be32(30), call},
                            {"O" + be32(30), call}, {"$" + be32(1), "prepare"},
                            {columns + "R", count}, {"E", "prepare"}};
    for (const bool encrypted : {false, true})
        for (const Claim& claim : claims)
            for (const std::size_t arrived : {0, 1, 60000, 65536, 200000, 3000000}) {
                SCOPED_TRACE(std::to_string(&claim - claims) + ", bytes: " + std::to_string(arrived));
                Conversation conversation{"claim", encrypted ? "use_ssl=on" : "", "", {}, "", encrypted};
                conversation.bytes = (encrypted ? public_numbers() : "") + "K" + claim.before +
                                     be32(INT32_MAX) + std::string(arrived, 'x');
                watched_ = {};
                watch = &watched_;
                {
                    Client client;
                    converse(peer_, conversation, whole(conversation), client);
                    Hands hands(client.connection);
                    const bool rows_left = claim.call == count && claim.before == columns + "R";
                    EXPECT_EQ(case_named(claim.call).call(hands).status,
                              rows_left ? TRN_OK : TRN_ERR_NETWORK);
                    EXPECT_EQ(client.connection.run("q"), TRN_ERR_NETWORK);
                }
                watch = nullptr;
                EXPECT_LE(watched_.largest, 2 * conversation.bytes.size() + trusted);
                EXPECT_EQ(watched_.live.size(), 0u);
            }
}

} // namespace
