// The letters that open the messages of the protocol, in both directions.
#pragma once

#include <cstdint>

namespace tarn {

// A server may send other values.
enum class MessageType : uint8_t {
    none = 0,

    // requests
    command = '?',
    more_rows = '.', // alone, without a body

    // answers to a login
    accepted_301 = 'N', // followed by four bytes without meaning here, and "K"
    accepted_201 = 'K',

    // replies
    query = 'A', // column descriptions, then rows
    update_count = 'U',
    delete_count = 'D',
    insert_id = 'I',
    error = 'E',
    fatal_error = 'F',
    warning = 'W',
    notice = 'M',
    output_value = 'P', // of a procedure's parameter
    return_value = 'O',
    parameters = '$', // of a prepared statement
    end_of_reply = 'K',

    // rows of a query
    row = 'R',
    row_with_id = '*',
};

// A text of the server, which may come among other messages: an error, a warning or a notice.
inline bool is_text(MessageType type) noexcept {
    return type == MessageType::error || type == MessageType::fatal_error || type == MessageType::warning ||
           type == MessageType::notice;
}

} // namespace tarn
