/*
 * Memory that runs out, and servers that ask for too much of it. The library is linked statically and its allocations come
 * through here: any of them can be made to fail, none may be left over, and none may be larger than what has arrived
 * allows. Only the test's own thread is watched; what the C++ library allocates for the test itself does not come here.
 */
#include "conversations.h"
#include "output_capture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <unordered_map>

using namespace test_support;

namespace {

struct Watch {
    std::unordered_map<void*, std::size_t> live;
    std::size_t largest = 0;
    std::size_t taken = 0;                           /* allocations asked for */
    std::size_t first_to_fail = 0, last_to_fail = 0; /* counted from 1 */
};
thread_local Watch* watch = nullptr;

bool denied(std::size_t size) {
    if (watch == nullptr) return false;
    watch->largest = std::max(watch->largest, size);
    ++watch->taken;
    return watch->taken >= watch->first_to_fail && watch->taken <= watch->last_to_fail;
}

void* kept(void* block, std::size_t size) {
    if (watch != nullptr && block != nullptr) watch->live[block] = size;
    return block;
}

} // namespace

/* Names that the linker gives: a call of malloc comes to __wrap_malloc, and __real_malloc is malloc. */
extern "C" {
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* block, std::size_t size);
void __real_free(void* block);

void* __wrap_malloc(std::size_t size) {
    return denied(size) ? nullptr : kept(__real_malloc(size), size);
}
void* __wrap_calloc(std::size_t count, std::size_t size) {
    return denied(count * size) ? nullptr : kept(__real_calloc(count, size), count * size);
}
void* __wrap_realloc(void* block, std::size_t size) {
    if (denied(size)) return nullptr;
    if (watch != nullptr) watch->live.erase(block);
    return kept(__real_realloc(block, size), size);
}
void __wrap_free(void* block) {
    if (watch != nullptr) watch->live.erase(block);
    __real_free(block);
}
}

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
            Client client(conversation.bytes.size(), false), second(0, false);
            Recording recording = whole(conversation);
            if (cut_short) recording.bytes.resize(recording.bytes.size() / 3); // inside a large one
            converse(peer_, conversation, recording, client);
            EXPECT_TRUE(client.known) << client.statuses;
            watched_.first_to_fail = watched_.last_to_fail = 0;
            needed_ = watched_.taken;
            if (client.handle != nullptr) {
                EXPECT_EQ(fault_after(peer_, conversation, client), "");
            }
            second.open("server=127.0.0.1;port=" + std::to_string(peer_.port()) + ";" +
                        conversation.settings);
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
                    Client client(damaged.size(), false);
                    converse(peer_, conversation, recording, client);
                }
                watch = nullptr;
                ASSERT_LE(watched_.largest, damaged.size() + trusted)
                    << conversation.name << ", byte " << offset;
                ASSERT_EQ(watched_.live.size(), 0u) << conversation.name << ", byte " << offset;
            }
}

} // namespace
