// Rows on their way into a table: the values of each column as arrays are bound, and the prepared statement that takes them.
#pragma once

#include "session.h"

#include <array>
#include <cstddef>
#include <cstdint>
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
    void add(std::string_view value);
    // The same for a value behind which 16 more bytes can be read.
    void add_padded(std::string_view value);
    void clear();
    std::int32_t length(std::size_t row) const { return lengths_[row]; }
    std::int32_t* lengths() { return lengths_.data(); }
    char* bytes() { return bytes_.data(); }
    std::size_t size() const { return size_; }

  private:
    char* room(std::size_t size);
    void take(std::size_t size);

    std::vector<char>
        bytes_; // larger than what is in use, so that short values are copied in steps of a fixed size
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
