// A client that knows only bytes: it sends what it is told to and takes replies apart by itself, with nothing of the
// server's code. Every wait is bounded; a reply that does not come or has no sense throws std::runtime_error.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

struct ReceivedColumn {
    std::string name;
    std::uint32_t wire_type = 0;
    std::uint32_t modifier = 0;
    std::uint32_t flags = 0;
};

struct Item {
    char letter = 0;
    std::string text;        // of I and E
    std::uint32_t count = 0; // of U and D
    std::vector<ReceivedColumn> columns;
    std::vector<std::vector<std::string>> rows; // values without their length
};

class RawClient {
  public:
    explicit RawClient(std::uint16_t port);
    RawClient(const RawClient&) = delete;
    RawClient& operator=(const RawClient&) = delete;
    ~RawClient();

    void send(std::string_view bytes);
    std::string receive(std::size_t count);
    std::uint32_t receive_u32();
    std::string receive_text();
    // No byte more, and the connection is closed or reset.
    bool ended_by_server();
    // The same, but not by a reset, which can destroy an answer on its way.
    bool ended_in_order();

    // A login with the given clauses between password and version, accepted in protocol 301.
    void log_in(std::string_view clauses = "");
    std::vector<Item> run(std::string_view sql);
    std::vector<Item> receive_reply();
    // One value of one row of one result, the only item.
    std::string value(std::string_view sql);

  private:
    int socket_;
};

std::string login_text(std::string_view user, std::string_view password, std::string_view clauses = "");
std::string command(std::string_view sql, std::uint32_t parameter_word = 0);
