// Inserting rows: the values of each column, laid out for array binding, and the prepared statement that
// stores them.
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

// The values of one column, back to back, with a gap of four bytes before each binary one.
class ColumnValues {
  public:
    ColumnValues(bool binary, std::size_t most_rows);

    // Call once for each row, in order.
    void add(std::size_t row, std::string_view value);
    // The same without a gap, for a value that fits and is followed by 16 readable bytes: it is copied in
    // steps.
    bool fits(std::size_t size) const { return size <= static_cast<std::size_t>(limit_ - end_); }
    void add_padded(std::size_t row, const char* value, std::size_t size) {
        char* const place = end_;
        std::memcpy(place, value, step);
        for (std::size_t at = step; at < size; at += step)
            std::memcpy(place + at, value + at, step);
        end_ = place + size;
        lengths_[row] = static_cast<std::int32_t>(size);
    }
    void clear() { end_ = bytes_.data(); }
    std::int32_t* lengths() { return lengths_.data(); }
    char* bytes() { return bytes_.data(); }
    std::size_t size() const { return static_cast<std::size_t>(end_ - bytes_.data()); }
    // Where the element of a row begins, with its gap.
    std::size_t begin_of(std::size_t row) const;
    std::string_view text(std::size_t row) const {
        return {bytes_.data() + begin_of(row) + gap_, static_cast<std::size_t>(lengths_[row])};
    }

  private:
    static constexpr std::size_t step = 16;

    void grow(std::size_t size);

    // The end of the bytes in use, and the end that values may reach: one more step fits after it.
    char *end_ = nullptr, *limit_ = nullptr;
    std::vector<std::int32_t> lengths_;
    std::vector<char> bytes_;
    std::size_t gap_;
};

class Batch {
  public:
    static constexpr std::size_t most_bytes = 8 << 20; // of the file; its rows may fill it before

    explicit Batch(const Target& target);
    std::size_t rows() const { return rows_; }
    std::size_t most_rows() const { return lines_.size(); }
    // Call when every column has its value of the row; line is where the row begins in the file.
    void end_row(std::size_t line) { lines_[rows_++] = line; }
    std::size_t line(std::size_t row) const { return lines_[row]; }
    void clear();

    std::vector<ColumnValues> columns;

  private:
    std::vector<std::size_t> lines_;
    std::size_t rows_ = 0;
};

// The prepared statement; its destructor releases it.
class Insert {
  public:
    Insert(Session& session, const Target& target);
    Insert(const Insert&) = delete;
    Insert& operator=(const Insert&) = delete;
    ~Insert();

    // Stores all rows of the batch and empties it. A refused batch is sent again in halves until the bad row
    // is alone: the rows before it are stored, and the failure names its line and, where that can be told,
    // its column.
    void store(Batch& batch, const std::string& file);
    std::int64_t stored() const { return stored_; }

  private:
    void send(Batch& batch, std::size_t first, std::size_t count);
    std::string blame(Batch& batch, std::size_t row, const std::string& reason) const;

    Session& session_;
    const Target& target_;
    std::array<char, 32> name_{};
    std::int64_t stored_ = 0;
};

} // namespace tarnsh
