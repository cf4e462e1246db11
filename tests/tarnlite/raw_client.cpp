#include "raw_client.h"

#include <arpa/inet.h>
#include <cerrno>
#include <netinet/in.h>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

std::string big_endian(std::uint32_t value) {
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes.push_back(static_cast<char>(value >> shift & 0xFF));
    return bytes;
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

void RawClient::send(std::string_view bytes) {
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
        case 'D': item.count = receive_u32(); break;
        case 'I':
        case 'E': item.text = receive_text(); break;
        case 'A':
            for (std::uint32_t left = receive_u32(); left > 0; --left) {
                ReceivedColumn& column = item.columns.emplace_back();
                column.name = receive_text();
                column.wire_type = receive_u32();
                column.modifier = receive_u32();
                column.flags = receive_u32();
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

std::string command(std::string_view sql, std::uint32_t parameter_word) {
    std::string bytes(1, '?');
    bytes += big_endian(static_cast<std::uint32_t>(sql.size()));
    bytes.append(sql).push_back('\0');
    return bytes + big_endian(parameter_word);
}
