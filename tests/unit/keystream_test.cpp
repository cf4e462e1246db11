// The keystream as the channel consumes it, in pieces of any length, against a version that takes one byte at a time.
#include <cstring>

#include <gtest/gtest.h>

#include "crypto/turing.h"
#include "crypto_support.h"

using namespace tarn;

namespace {

const char* const key_hex = "030a11181f262d343b424950575e656c737a81888f969da4abb2b9c0c7ced5dc";

// The plain keystream kept as one long text: byte n of the channel is taken from block n / 3400.
class Reference {
  public:
    uint8_t byte_at(size_t position) {
        const size_t block = position / 3400;
        while (stream_.size() < (block + 1) * 340) {
            uint8_t generated[turing_block_size];
            turing_generate(state_, generated);
            stream_.insert(stream_.end(), generated, generated + sizeof generated);
        }
        return stream_[block * 340 + position % 3400 % 340];
    }

  private:
    static TuringState keyed() {
        TuringState state{};
        turing_set_key(state, bytes_of_hex(key_hex).data(), 32);
        turing_set_iv(state, nullptr, 0);
        return state;
    }
    TuringState state_ = keyed();
    Bytes stream_;
};

TuringState set_up() {
    TuringState state;
    std::memset(&state, 0xEE, sizeof state); // the set-up relies on nothing that was there before
    set_up_keystream(state, bytes_of_hex(key_hex).data());
    return state;
}

} // namespace

TEST(keystream, every_block_serves_ten_times) {
    TuringState state = set_up();
    Bytes bytes(3 * 3400);
    apply_keystream(state, bytes.data(), bytes.size());
    const char* const block_starts[] = {"a00d433ea303ceca94a8c898666b0c22e4e0ed66",
                                        "157281c6f351b5924bce8b49f7a26b0811509021",
                                        "dca6af2f839540b0ee4e162e2b951eb49ccb5087"};
    for (size_t use = 0; use < 30; ++use) {
        const auto from = bytes.begin() + static_cast<std::ptrdiff_t>(use * 340);
        EXPECT_EQ(Bytes(from, from + 20), bytes_of_hex(block_starts[use / 10])) << use;
    }
}

// Applies pieces of the given lengths one after the other, each in memory of its own with bytes around it that must not
// change, and checks every byte.
class KeystreamPieces : public testing::Test {
  protected:
    void apply(size_t length) {
        constexpr size_t margin = 16;
        const size_t shift = source_.below(margin); // so that pieces begin at any alignment
        Bytes memory(margin + shift + length + margin);
        for (uint8_t& byte : memory)
            byte = static_cast<uint8_t>(source_.below(256));
        Bytes expected = memory;
        for (size_t i = 0; i < length; ++i)
            expected[margin + shift + i] ^= reference_.byte_at(position_ + i);
        apply_keystream(state_, memory.data() + margin + shift, length);
        position_ += length;
        ASSERT_EQ(memory, expected) << length << " bytes up to position " << position_;
        ASSERT_EQ(static_cast<size_t>(state_.ks_used), position_ % 3400);
    }
    TuringState state_ = set_up();
    Reference reference_;
    NumberSource source_;
    size_t position_ = 0;
};

TEST_F(KeystreamPieces, of_every_length_up_to_7000) {
    for (size_t length = 0; length <= 7000 && !HasFatalFailure(); ++length) {
        apply(length);
        apply(source_.below(3400)); // the next one begins anywhere
    }
}

TEST_F(KeystreamPieces, that_end_before_at_and_after_every_boundary) {
    for (const size_t boundary : {4u, 16u, 32u, 340u, 680u, 3060u, 3400u, 6800u}) {
        for (size_t first = boundary - 2; first <= boundary + 2 && !HasFatalFailure(); ++first) {
            apply(first);
            apply(1);
            apply(0);
            apply(6800 - (first + 1) % 3400); // back to the start of a block
            ASSERT_EQ(state_.ks_used, 0);
        }
    }
}

TEST_F(KeystreamPieces, of_small_values) {
    for (int32_t i = 0; i < 20000 && !HasFatalFailure(); ++i)
        apply(source_.below(12));
}
