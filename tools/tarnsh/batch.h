// Inserting rows: their values, and the prepared statement that stores them.
#pragma once

#include "session.h"
#include "tarnsql_ext.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tarnsh {

struct Target {
    std::string table;
    std::vector<Column> columns;
};

// Rows of values, which are in one text.
class Batch {
  public:
    static constexpr std::size_t most_bytes = 1 << 21; // of the file; its rows may fill it before
    static constexpr std::size_t spare_values = 8;     // that may be written after those of a row

    explicit Batch(std::size_t columns);
    std::size_t columns() const { return columns_; }
    std::size_t rows() const { return rows_; }
    std::size_t most_rows() const { return most_rows_; }
    // The values of a row. Those of the row after the last may be written.
    TRNX_VALUE* row(std::size_t row) { return values_.get() + row * columns_; }
    // Call when count rows after the last have all their values: the first begins in line first of the file,
    // the others in the lines from next on.
    void end_rows(std::size_t count, std::size_t first, std::size_t next) {
        for (std::size_t i = 0; i < count; ++i)
            lines_[rows_ + i] = i == 0 ? first : next + i - 1;
        rows_ += count;
    }
    std::size_t line(std::size_t row) const { return lines_[row]; }
    std::string_view value(std::size_t row, std::size_t column) const {
        const TRNX_VALUE& value = values_[row * columns_ + column];
        return text.substr(value.offset, value.length);
    }
    void clear() { rows_ = 0; }

    std::string_view text; // the values' offsets are in it

  private:
    std::size_t columns_, most_rows_, rows_ = 0;
    std::unique_ptr<std::size_t[]> lines_;
    std::unique_ptr<TRNX_VALUE[]> values_;
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
    std::string blame(const Batch& batch, std::size_t row, const std::string& reason) const;

    Session& session_;
    const Target& target_;
    std::vector<std::int32_t> types_;
    std::array<char, 32> name_{};
    std::int64_t stored_ = 0;
};

} // namespace tarnsh
