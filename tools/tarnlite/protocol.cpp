#include "protocol.h"

#include "bytes.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

namespace tarnlite {

namespace {

constexpr std::uint32_t longest_text = 64U * 1024 * 1024;
constexpr std::size_t longest_piece = 1024 * 1024;

} // namespace

std::optional<Command> read_command(Transport& transport) {
    char opening = transport.await_byte();
    while (opening == '.')
        opening = transport.await_byte();
    if (opening != '?') return std::nullopt;

    const std::uint32_t length = transport.read_u32();
    if (length > longest_text) {
        throw ProtocolError(fmt::format("command text of {} bytes is longer than {}", length, longest_text));
    }
    Command command;
    command.text = transport.read_bytes(length);
    if (transport.read_byte() != '\0') throw ProtocolError("command text without its terminator");
    // One word of 32 bits.
    command.batch_rows = transport.read_u16();
    command.parameter_count = transport.read_u16();
    return command;
}

void Reply::columns(const std::vector<ColumnDescription>& columns) {
    std::string message(1, 'A');
    put_integer(message, static_cast<std::uint32_t>(columns.size()));
    for (const ColumnDescription& column : columns) {
        put_text(message, column.name);
        put_integer(message, static_cast<std::uint32_t>(column.type.wire));
        put_integer(message, column.type.modifier);
        put_integer(message, column.flags);
    }
    transport_.write(message);
    in_rows_ = true;
}

void Reply::row(std::string_view values) {
    transport_.write("R");
    transport_.write(values);
}

void Reply::parameters(const std::vector<ParameterDescription>& parameters) {
    std::string message(1, '$');
    put_integer(message, static_cast<std::uint32_t>(parameters.size()));
    for (const ParameterDescription& parameter : parameters) {
        put_text(message, parameter.name);
        put_integer(message, parameter.position);
        put_integer(message, parameter.api_type);
        put_integer(message, parameter.size);
    }
    transport_.write(message);
    in_rows_ = false;
}

// A nonzero word precedes every piece; 0 ends them.
void Reply::pieces(std::string_view content) {
    transport_.write("R");
    std::string word;
    for (; !content.empty(); content.remove_prefix(std::min(content.size(), longest_piece))) {
        const std::string_view piece = content.substr(0, longest_piece);
        word.clear();
        put_integer(word, std::uint32_t{1});
        put_integer(word, static_cast<std::uint32_t>(piece.size()));
        transport_.write(word);
        transport_.write(piece);
    }
    word.clear();
    put_integer(word, std::uint32_t{0});
    transport_.write(word);
    in_rows_ = false;
}

void Reply::count(char letter, std::int64_t rows) {
    in_rows_ = false;
    std::string message(1, letter);
    put_integer(message, static_cast<std::int32_t>(
                             std::min<std::int64_t>(rows, std::numeric_limits<std::int32_t>::max())));
    transport_.write(message);
}

// A text right after rows belongs to those rows; a separator makes it a separate item.
void Reply::server_text(char letter, std::string_view content) {
    if (in_rows_) transport_.write(";");
    text(letter, content);
}

// No separator even after rows: the client's procedure calls do not know it.
void Reply::output(std::size_t slot, WireType type, std::string_view value) {
    in_rows_ = false;
    std::string message(1, 'P');
    put_integer(message, static_cast<std::uint32_t>(slot));
    put_integer(message, static_cast<std::uint32_t>(type));
    transport_.write(message.append(value));
}

void Reply::returned(WireType type, std::string_view value) {
    in_rows_ = false;
    std::string message(1, 'O');
    put_integer(message, static_cast<std::uint32_t>(type));
    transport_.write(message.append(value));
}

void Reply::text(char letter, std::string_view content) {
    in_rows_ = false;
    std::string message(1, letter);
    put_text(message, content);
    transport_.write(message);
}

void Reply::end() {
    transport_.write("K");
    transport_.flush();
}

} // namespace tarnlite
