// A client that knows only bytes: it sends what it is told to and takes replies apart by itself, with nothing
// of the server's code but the keystream. Every wait is bounded; a reply that does not come or has no sense
// throws std::runtime_error.
#pragma once

#include "crypto/turing.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

inline constexpr const char* endless =
    "with recursive n(i) as (select 1 union all select 2 from n) select max(i) from n";

struct Item {
    char letter = 0;
    std::string text;                           // of I, E, W and M; the value of P and O
    std::uint32_t slot = 0;                     // of P
    std::vector<std::uint32_t> columns;         // their wire types; the one of P and O
    std::vector<std::vector<std::string>> rows; // values without their length
};

class RawClient {
  public:
    explicit RawClient(std::uint16_t port);
    RawClient(const RawClient&) = delete;
    RawClient& operator=(const RawClient&) = delete;
    ~RawClient();

    // Offers a login text in encrypted blocks; what is behind it goes out with them. From then on all bytes
    // are encrypted.
    void open_encrypted(std::string_view login, std::string_view behind = "");
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
    struct Keystreams {
        tarn::TuringState received{};
        tarn::TuringState sent{};
    };

    int socket_;
    std::optional<Keystreams> keystreams_;
};

std::string login_text(std::string_view user, std::string_view password, std::string_view clauses = "");
std::string command(std::string_view sql, std::size_t parameters = 0, std::size_t batch_rows = 0);
// A parameter, of direction 1 (in), 2 (out) or 3 (both), and a value of a batch's later row.
std::string entry(unsigned wire_type, std::string_view value, std::string_view name = "",
                  unsigned direction = 1);
std::string row_value(unsigned wire_type, std::string_view value);
std::string block(std::string_view rows);
