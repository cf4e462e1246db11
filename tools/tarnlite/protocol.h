// The messages: incoming commands and outgoing replies. A reply is a sequence of result items, ended by "K".
#pragma once

#include "transport.h"
#include "types.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace tarnlite {

// The client's bytes cannot be parsed further: the text is the last answer, then the connection ends.
class ProtocolError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

struct Command {
    std::string text;
    std::size_t parameter_count = 0; // entries that follow
    std::size_t batch_rows = 0;      // of which the entries are the first; 0: no batch
};

// Waits for the next command without limit; a lone "." before it is skipped. Nothing when the next byte does
// not begin a command. Throws ProtocolError for a frame that cannot be accepted.
std::optional<Command> read_command(Transport& transport);

struct ParameterDescription {
    std::string name; // without its prefix; empty when it has none
    std::uint32_t position = 0;
    std::uint32_t api_type = 0;
    std::uint32_t size = 0;
};

struct ColumnDescription {
    std::string name; // table.column%label, or %label alone
    ColumnType type;
    std::uint32_t flags = 0;
};

constexpr std::uint32_t flag_not_null = 1;
constexpr std::uint32_t flag_primary_key = 2;
constexpr std::size_t longest_column_name = 1024;

class Reply {
  public:
    explicit Reply(Transport& transport) : transport_(transport) {}

    void columns(const std::vector<ColumnDescription>& columns);
    // The wire forms of all the row's values, one after another.
    void row(std::string_view values);
    void updated(std::int64_t rows) { count('U', rows); }
    void deleted(std::int64_t rows) { count('D', rows); }
    void inserted(std::string_view identifier) { text('I', identifier); }
    void error(std::string_view message) { server_text('E', message); }
    void warning(std::string_view message) { server_text('W', message); }
    void notice(std::string_view message) { server_text('M', message); }
    // `value` in its wire form, of an output parameter or of a function.
    void output(std::size_t slot, WireType type, std::string_view value);
    void returned(WireType type, std::string_view value);
    void parameters(const std::vector<ParameterDescription>& parameters);
    // A row whose only value is sent in pieces.
    void pieces(std::string_view content);
    // Ends the reply and sends what the buffer holds.
    void end();

  private:
    void count(char letter, std::int64_t rows);
    void text(char letter, std::string_view content);
    void server_text(char letter, std::string_view content);

    Transport& transport_;
    bool in_rows_ = false; // the last message was a row, or the columns of a result without rows
};

} // namespace tarnlite
