// Large-object values of a session that asked for descriptors: a marker and the content, or a descriptor
// under which the content is kept for a later request.
//
//   c content, b content        CLOB and BLOB of up to 64 KiB
//   Cnnnnnnnnnnnn:length        a larger CLOB: the name of 13 characters, one more, the length in decimal
//   Bnnnnnnnnnnnn:length        a larger BLOB
//
// The memory for kept contents is limited: the oldest are dropped first.
#pragma once

#include "protocol.h"
#include "values.h"

#include <cstdint>
#include <map>
#include <string>

namespace tarnlite {

class LobStore {
  public:
    static constexpr std::size_t longest_inline = 64 * 1024;

    // The newest content is kept even if it alone is larger than that.
    explicit LobStore(std::size_t most_kept = 256 * 1024 * 1024) : most_kept_(most_kept) {}

    static bool is_large_object(WireType type) { return type == WireType::clob || type == WireType::blob; }

    // Appends the wire form of a value in a column of a large-object type.
    void append_value(std::string& row, WireType type, const Value& value);

    struct Lob {
        WireType type;
        std::string content;
    };
    // Throws SqlError for a name that is not kept.
    const Lob& find(const std::string& name) const;
    // Replies a part of a kept content.
    void reply_content(const std::string& name, std::uint64_t offset, std::uint64_t limit,
                       Reply& reply) const;

  private:
    std::string keep(WireType type, std::string content);

    std::map<std::uint64_t, Lob> lobs_; // the oldest first
    std::uint64_t made_ = 0;
    std::size_t kept_ = 0; // bytes
    std::size_t most_kept_;
};

} // namespace tarnlite
