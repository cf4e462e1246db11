// The rows of a result as text, without loss: numbers read back as the same number, binary values are
// hexadecimal, and a DATETIME keeps its milliseconds.
#pragma once

#include "tarnsql.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnsh {

struct Column {
    std::string name;
    std::int32_t type; // TRN_TYPE_*
};

// Owns a result and all items after it.
class Result {
  public:
    Result() = default;
    Result(const Result&) = delete;
    Result& operator=(const Result&) = delete;
    ~Result() { release(); }

    TRN_HANDLE* handle() { return &handle_; }
    bool empty() const { return !handle_; }
    bool next_item() { return TRN_NextResult(&handle_) == TRN_OK; }
    void release();

  private:
    TRN_HANDLE handle_ = nullptr;
};

// Owns a large object of the library.
class Lob {
  public:
    Lob(); // fails with exit_shell when memory is short
    Lob(const Lob&) = delete;
    Lob& operator=(const Lob&) = delete;
    ~Lob() { TRN_Distroy_Lob(&handle_); }
    TRN_HANDLE* handle() { return &handle_; }

  private:
    TRN_HANDLE handle_ = nullptr;
};

// A value of the current row that is too long to be held in memory. It is read once, piece by piece.
class LongValue {
  public:
    enum class As {
        text,  // pieces end between characters
        hex,   // "0x" and two digits for every byte
        bytes, // as they are
    };

    // The value is in the result's column, or in the large object when there is one.
    LongValue(Result& result, std::int32_t column, Lob* lob, As as);
    // The next piece, valid until the one after it; empty at the end.
    std::string_view next();

  private:
    std::size_t fill();

    Result& result_;
    std::int32_t column_;
    Lob* lob_;
    As as_;
    std::int32_t offset_ = 0;
    std::vector<char> bytes_;
    std::string digits_;
};

struct Cell {
    bool null = false;
    std::string_view text;     // empty for a long value; 16 more bytes can be read after it
    LongValue* rest = nullptr; // the long value
};

// Calls take(piece) for the text of a cell, in several pieces when it is a long one.
template <typename Take> void each_piece(const Cell& cell, Take take) {
    if (!cell.rest) return take(cell.text);
    for (std::string_view piece; !(piece = cell.rest->next()).empty();)
        take(piece);
}

// The characters between a row's texts and after the last one, where the texts are contiguous.
struct RowMarks {
    char between = 0, behind = 0;
};

// What takes the rows of a query, one result after the other. Cells live until row() returns.
class RowSink {
  public:
    virtual ~RowSink() = default;
    virtual RowMarks marks() const { return {}; }
    virtual void begin(const std::vector<Column>& columns) = 0;
    virtual void row(const std::vector<Cell>& cells) = 0;
    virtual void end() = 0;
};

bool is_number(std::int32_t type);
bool is_binary(std::int32_t type);

std::vector<Column> columns_of(Result& result);

// Reads the rows of one result, reusing its memory for every row.
class RowReader {
  public:
    // descriptors: large objects come as descriptors and are fetched.
    RowReader(Result& result, const std::vector<Column>& columns, bool descriptors, RowMarks marks);
    // Reads the current row. TRN_OK, or the status of the value that could not be read.
    std::int32_t read();
    const std::vector<Cell>& cells() const { return cells_; }

  private:
    enum class Kind {
        integer,
        real4,
        real8,
        date,
        date_time,
        text,
        binary,
        large, // by descriptor
        other, // as the library writes it
    };
    struct Value {
        std::int32_t column;
        Kind kind;
        bool binary;
        std::unique_ptr<Lob> lob{};
        std::optional<LongValue> rest{};
    };

    template <typename Number> std::int32_t get(const Value& value, std::int32_t type, Number& number);
    std::int32_t read_short(const Value& value, char* to, std::size_t& size);
    std::int32_t read_made_text(const Value& value, char* to, std::size_t& size);
    std::int32_t read_any(Value& value, std::size_t& size);
    std::int32_t read_bytes(Value& value, std::size_t& size);
    std::int32_t read_large(Value& value, std::size_t& size);
    std::int32_t keep(const Value& value, std::size_t& size);
    void find_texts();
    char* room(std::size_t size);

    Result& result_;
    RowMarks marks_;
    std::vector<Value> values_;
    std::vector<Cell> cells_;
    // For the short values of a row, each with its mark, and at least 16 bytes more.
    std::size_t short_room_;
    std::vector<char> area_;
    std::size_t used_ = 0;
};

} // namespace tarnsh
