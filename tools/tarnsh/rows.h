// The rows of a result as texts. Texts are exact: numbers read back as the same number, binary values are
// hexadecimal, and a DATETIME keeps its milliseconds.
#pragma once

#include "tarnsql.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tarnsh {

struct Column {
    std::string name;
    std::int32_t type; // TRN_TYPE_*
};

struct Cell {
    bool null = false;
    std::string text;
};

// What takes the rows of a query, one result after the other.
class RowSink {
  public:
    virtual ~RowSink() = default;
    virtual void begin(const std::vector<Column>& columns) = 0;
    virtual void row(const std::vector<Cell>& cells) = 0;
    virtual void end() = 0;
};

// Owns a result with all the items behind it.
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

// A large object of the library's.
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

bool is_number(std::int32_t type);
bool is_binary(std::int32_t type);

std::vector<Column> columns_of(Result& result);

// Reads one value of the current row. Large objects that come as descriptors are fetched through the handle
// lob, which is null otherwise. Returns the status of TRN_GetData, TRN_OK for a null.
std::int32_t read_value(Result& result, std::int32_t column, std::int32_t type, Lob* lob, Cell& cell);
// The same, with binary values as hexadecimal digits.
std::int32_t read_cell(Result& result, std::int32_t column, std::int32_t type, Lob* lob, Cell& cell);

} // namespace tarnsh
