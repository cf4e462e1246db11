// Rows on their way into a table: the values of each column as arrays are bound, and the prepared statement that takes them.
#pragma once

#include "session.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace tarnsh {

struct Target {
    std::string table;
    std::vector<Column> columns;
};

// The values of one column: a length of four bytes before each.
class ColumnValues {
  public:
    static constexpr std::size_t step = 16;

    void add(std::string_view value) {
        char* const place = room(value.size());
        std::memcpy(place, value.data(), value.size());
        take(value.size());
    }
    // The same for a value behind which 16 more bytes can be read: most are copied in one step.
    void add_padded(std::string_view value) {
        if (value.size() > step) return add(value);
        std::memcpy(room(step), value.data(), step);
        take(value.size());
    }
    void clear() {
        size_ = 0;
        lengths_.clear();
    }
    std::int32_t length(std::size_t row) const { return lengths_[row]; }
    std::int32_t* lengths() { return lengths_.data(); }
    char* bytes() { return bytes_.data(); }
    std::size_t size() const { return size_; }

  private:
    static constexpr std::size_t prefix_size = sizeof(std::int32_t);

    // Room for a value, and a step more.
    char* room(std::size_t size) {
        const std::size_t needed = size_ + prefix_size + size + step;
        if (bytes_.size() < needed) [[unlikely]]
            bytes_.resize(std::max(2 * bytes_.size(), needed));
        return bytes_.data() + size_ + prefix_size;
    }
    void take(std::size_t size) {
        const auto length = static_cast<std::int32_t>(size);
        std::memcpy(bytes_.data() + size_, &length, prefix_size);
        size_ += prefix_size + size;
        lengths_.push_back(length);
    }

    std::vector<char> bytes_; // larger than what is in use
    std::size_t size_ = 0;
    std::vector<std::int32_t> lengths_;
};

struct Batch {
    std::vector<ColumnValues> columns;
    std::vector<std::size_t> lines; // where each row begins in its file
    std::size_t bytes = 0;

    explicit Batch(std::size_t count) : columns(count) {}
    std::size_t rows() const { return lines.size(); }
    bool full() const;
    void clear();
};

// The statement is ended when its owner goes.
class Insert {
  public:
    Insert(Session& session, const Target& target);
    Insert(const Insert&) = delete;
    Insert& operator=(const Insert&) = delete;
    ~Insert();

    // Stores all rows of the batch and empties it. A refused batch is sent again in halves, until the row that the server
    // refuses stands alone: those before it are stored then, and the failure names its line, and its column when
    // that can be told.
    void store(Batch& batch, const std::string& file);
    std::int64_t stored() const { return stored_; }

  private:
    void send(Batch& batch, std::size_t first, std::size_t count);
    std::string blame(Batch& batch, std::size_t row, const std::string& reason) const;
    std::string text_of(Batch& batch, std::size_t column, std::size_t row) const;

    Session& session_;
    const Target& target_;
    std::array<char, 32> name_{};
    std::int64_t stored_ = 0;
};

} // namespace tarnsh
