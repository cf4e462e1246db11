#include "raw_client.h"

#include <arpa/inet.h>
#include <cerrno>
#include <memory>
#include <netinet/in.h>
#include <openssl/bn.h>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

std::string big_endian(std::size_t value, int width = 4) {
    std::string bytes;
    for (int shift = 8 * (width - 1); shift >= 0; shift -= 8)
        bytes.push_back(static_cast<char>(value >> shift & 0xFF));
    return bytes;
}

std::uint8_t* octets(std::string& bytes) {
    return reinterpret_cast<std::uint8_t*>(bytes.data());
}

using Number = std::unique_ptr<BIGNUM, decltype(&BN_free)>;

Number number(std::string bytes) {
    return {BN_lebin2bn(octets(bytes), static_cast<int>(bytes.size()), nullptr), BN_free};
}

std::string encrypted_blocks(const std::string& plain, const Number& exponent, const Number& modulus) {
    const std::unique_ptr<BN_CTX, decltype(&BN_CTX_free)> context(BN_CTX_new(), BN_CTX_free);
    const Number power(BN_new(), BN_free);
    std::string blocks(plain.size(), '\0');
    for (std::size_t at = 0; at < plain.size(); at += 32) {
        BN_mod_exp(power.get(), number(plain.substr(at, 32)).get(), exponent.get(), modulus.get(),
                   context.get());
        BN_bn2lebinpad(power.get(), octets(blocks) + at, 32);
    }
    return blocks;
}

} // namespace

RawClient::RawClient(std::uint16_t port) : socket_(::socket(AF_INET, SOCK_STREAM, 0)) {
    const timeval patience{20, 0};
    ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_port = htons(port);
    place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(socket_, reinterpret_cast<sockaddr*>(&place), sizeof place) != 0) {
        throw std::runtime_error("cannot connect");
    }
}

RawClient::~RawClient() {
    ::close(socket_);
}

void RawClient::open_encrypted(std::string_view login, std::string_view behind) {
    std::string plain = "a key of 32 bytes, none above 7F";
    Keystreams keystreams;
    tarn::set_up_keystream(keystreams.received, octets(plain));
    tarn::set_up_keystream(keystreams.sent, octets(plain));
    for (; login.size() >= 30; login.remove_prefix(30))
        plain.append(login.substr(0, 30)).append("\x07\x07");
    plain.append(login).append(32 - login.size(), '\0');
    std::string request(behind);
    tarn::apply_keystream(keystreams.sent, octets(request), request.size());

    send("~ssl~");
    const Number exponent = number(receive(32));
    const Number modulus = number(receive(32));
    send(encrypted_blocks(plain, exponent, modulus) + request);
    keystreams_ = keystreams;
}

void RawClient::send(std::string_view plain) {
    std::string content(plain);
    if (keystreams_) tarn::apply_keystream(keystreams_->sent, octets(content), content.size());
    std::string_view bytes = content;
    while (!bytes.empty()) {
        const ssize_t sent = ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent <= 0) throw std::runtime_error("cannot send");
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
}

std::string RawClient::receive(std::size_t count) {
    std::string bytes(count, '\0');
    if (count > 0 && ::recv(socket_, bytes.data(), count, MSG_WAITALL) != static_cast<ssize_t>(count)) {
        throw std::runtime_error("the expected bytes did not come");
    }
    if (keystreams_) tarn::apply_keystream(keystreams_->received, octets(bytes), bytes.size());
    return bytes;
}

std::uint32_t RawClient::receive_u32() {
    std::uint32_t value = 0;
    for (const char c : receive(4))
        value = value << 8 | static_cast<unsigned char>(c);
    return value;
}

std::string RawClient::receive_text() {
    return receive(receive_u32());
}

bool RawClient::ended_by_server() {
    return ended_in_order() || errno == ECONNRESET;
}

bool RawClient::ended_in_order() {
    char byte = 0;
    errno = 0;
    return ::recv(socket_, &byte, 1, 0) == 0;
}

void RawClient::log_in(std::string_view clauses) {
    send(login_text("u", "p", clauses));
    const std::string answer = receive(6);
    if (answer.front() != 'N' || answer.back() != 'K') throw std::runtime_error("the login was not accepted");
}

std::vector<Item> RawClient::run(std::string_view sql) {
    send(command(sql));
    return receive_reply();
}

std::vector<Item> RawClient::receive_reply() {
    std::vector<Item> items;
    for (char letter = receive(1).front(); letter != 'K'; letter = receive(1).front()) {
        if (letter == 'R' && !items.empty() && items.back().letter == 'A') {
            auto& row = items.back().rows.emplace_back();
            while (row.size() < items.back().columns.size())
                row.push_back(receive_text());
            continue;
        }
        if (letter == ';') continue; // separates an error from the rows before it
        Item& item = items.emplace_back();
        item.letter = letter;
        switch (letter) {
        case 'U':
        case 'D': receive_u32(); break; // rows
        case 'P': item.slot = receive_u32(); [[fallthrough]];
        case 'O': item.columns.push_back(receive_u32()); [[fallthrough]];
        case 'I':
        case 'E':
        case 'W':
        case 'M': item.text = receive_text(); break;
        case 'A':
            for (std::uint32_t left = receive_u32(); left > 0; --left) {
                receive_text(); // name
                item.columns.push_back(receive_u32());
                receive(8); // modifier and flags
            }
            break;
        case '$':
            for (std::uint32_t left = receive_u32(); left > 0; --left) {
                receive_text(); // name
                receive(12);    // position, type and size
            }
            break;
        default: throw std::runtime_error(std::string("unexpected message ") + letter);
        }
    }
    return items;
}

std::string RawClient::value(std::string_view sql) {
    const auto items = run(sql);
    if (items.size() != 1 || items[0].rows.size() != 1 || items[0].rows[0].size() != 1) {
        throw std::runtime_error("not one value");
    }
    return items[0].rows[0][0];
}

std::string login_text(std::string_view user, std::string_view password, std::string_view clauses) {
    std::string text = "login database = d user='";
    text.append(user).append("' password='").append(password).append("'").append(clauses);
    return text + " version = '301'";
}

std::string command(std::string_view sql, std::size_t parameters, std::size_t batch_rows) {
    std::string bytes = '?' + block(sql);
    bytes.push_back('\0');
    return bytes + big_endian(batch_rows, 2) + big_endian(parameters, 2);
}

std::string entry(unsigned wire_type, std::string_view value, std::string_view name, unsigned direction) {
    std::string bytes = big_endian(name.size(), 2);
    bytes.append(name);
    return bytes + big_endian(direction, 2) + big_endian(wire_type, 2) + block(value);
}

std::string row_value(unsigned wire_type, std::string_view value) {
    return big_endian(wire_type, 1) + block(value);
}

std::string block(std::string_view rows) {
    return big_endian(rows.size()).append(rows);
}
