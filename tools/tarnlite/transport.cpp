#include "transport.h"

#include "bytes.h"

#include <algorithm>
#include <array>

namespace tarnlite {

namespace {

constexpr std::size_t receive_size = 64 * 1024;
constexpr std::size_t output_limit = 64 * 1024;
constexpr std::chrono::seconds longest_farewell{1};

} // namespace

Transport::Keystreams::Keystreams(const SessionKey& key) {
    tarn::set_up_keystream(received, key.data());
    tarn::set_up_keystream(sent, key.data());
}

void Transport::apply(tarn::TuringState& keystream, std::string& bytes, std::size_t from) {
    tarn::apply_keystream(keystream, reinterpret_cast<std::uint8_t*>(bytes.data()) + from,
                          bytes.size() - from);
}

void Transport::encrypt(const SessionKey& key) {
    flush();
    keystreams_.emplace(key);
    apply(keystreams_->received, input_, consumed_);
}

void Transport::receive_more() {
    if (consumed_ > 0) {
        input_.erase(0, consumed_);
        consumed_ = 0;
    }
    std::array<char, receive_size> chunk;
    const std::size_t got = socket_.receive(chunk.data(), chunk.size());
    if (got == 0) throw ConnectionLost();
    input_.append(chunk.data(), got);
    if (keystreams_) apply(keystreams_->received, input_, input_.size() - got);
}

bool Transport::wait_for_more(Clock::time_point deadline) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    if (left.count() <= 0 || !socket_.wait_readable(left)) return false;
    receive_more();
    return true;
}

void Transport::receive_in_time() {
    if (longest_silence_ && !socket_.wait_readable(*longest_silence_)) throw PeerSilent();
    receive_more();
}

char Transport::read_byte() {
    if (arrived().empty()) receive_in_time();
    return input_[consumed_++];
}

char Transport::await_byte() {
    if (arrived().empty()) receive_more();
    return input_[consumed_++];
}

std::uint16_t Transport::read_u16() {
    return integer_of<std::uint16_t>(read_bytes(sizeof(std::uint16_t)));
}

std::uint32_t Transport::read_u32() {
    return integer_of<std::uint32_t>(read_bytes(sizeof(std::uint32_t)));
}

std::string Transport::read_bytes(std::size_t count) {
    std::string bytes;
    while (bytes.size() < count) {
        if (arrived().empty()) receive_in_time();
        const std::string_view part = arrived().substr(0, count - bytes.size());
        bytes.append(part);
        consume(part.size());
    }
    return bytes;
}

void Transport::write(std::string_view bytes) {
    while (!bytes.empty()) {
        const std::size_t part = std::min(bytes.size(), output_limit - output_.size());
        output_.append(bytes.substr(0, part));
        bytes.remove_prefix(part);
        if (output_.size() == output_limit) flush();
    }
}

void Transport::flush() {
    if (keystreams_) apply(keystreams_->sent, output_, 0);
    send(output_);
    output_.clear();
}

void Transport::send(std::string_view bytes) {
    const bool last = left_to_send_ && bytes.size() >= *left_to_send_;
    if (last) bytes = bytes.substr(0, *left_to_send_);
    if (!socket_.send_all(bytes)) throw ConnectionLost();
    if (left_to_send_) *left_to_send_ -= bytes.size();
    if (!last) return;
    take_leave();
    throw ConnectionLost();
}

void Transport::finish() {
    flush();
    take_leave();
}

void Transport::take_leave() {
    socket_.shut_sending();
    const auto deadline = Clock::now() + longest_farewell;
    for (;;) {
        consume(arrived().size());
        if (!wait_for_more(deadline)) return;
    }
}

} // namespace tarnlite
