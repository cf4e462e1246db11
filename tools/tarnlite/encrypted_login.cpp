#include "encrypted_login.h"

#include "base/wipe.h"
#include "rsa_key.h"

#include <algorithm>
#include <string>
#include <string_view>

namespace tarnlite {

namespace {

constexpr std::size_t longest_text = 4096;
constexpr std::size_t characters_per_block = 30;
constexpr std::uint8_t filler = 0x07;

std::string_view bytes_of(const RsaBlock& block) {
    return {reinterpret_cast<const char*>(block.data()), block.size()};
}

bool receive_block(Transport& transport, Transport::Clock::time_point deadline, const RsaKey& key,
                   RsaBlock& block) {
    while (transport.arrived().size() < block.size()) {
        if (!transport.wait_for_more(deadline)) return false;
    }
    std::copy_n(transport.arrived().begin(), block.size(), block.begin());
    transport.consume(block.size());
    return key.decrypt(block);
}

std::optional<std::string> receive_text(Transport& transport, Transport::Clock::time_point deadline,
                                        const RsaKey& key) {
    RsaBlock block{};
    const tarn::WipeOnExit wiped(block);
    std::string text;
    while (text.size() < longest_text && receive_block(transport, deadline, key, block)) {
        const std::string_view characters = bytes_of(block).substr(0, characters_per_block);
        const std::size_t end = characters.find('\0');
        text.append(characters.substr(0, end));
        if (end != std::string_view::npos) return text;
        if (block[characters_per_block] != filler || block[characters_per_block + 1] != filler) break;
    }
    return std::nullopt;
}

} // namespace

std::optional<Login> receive_encrypted_login(Transport& transport, Transport::Clock::time_point deadline) {
    const RsaKey key;
    transport.write(bytes_of(key.exponent()));
    transport.write(bytes_of(key.modulus()));
    transport.flush();
    SessionKey session_key{};
    const tarn::WipeOnExit wiped(session_key);
    if (!receive_block(transport, deadline, key, session_key)) return std::nullopt;
    const auto text = receive_text(transport, deadline, key);
    Login login;
    if (!text || parse_login(*text, login) != LoginState::complete || login.length != text->size()) {
        return std::nullopt;
    }
    transport.encrypt(session_key);
    return login;
}

} // namespace tarnlite
