// The formats of rows.
#pragma once

#include "output.h"
#include "rows.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace tarnsh {

enum class Format {
    table,
    csv,
    json,
    markdown,
    vertical,
};

// Nothing when there is no format of this name.
std::optional<Format> format_of(std::string_view name);

struct PrintSettings {
    Format format = Format::table;
    std::optional<std::string> null_text; // otherwise NULL, and nothing in CSV; JSON has its own
    bool header = true;
};

class Printer : public RowSink {
  public:
    explicit Printer(Output& output) : output_(output) {}
    std::int64_t rows() const { return rows_; } // of all results
    bool used() const { return used_; }

    void begin(const std::vector<Column>& columns) final;
    void row(const std::vector<Cell>& cells) final;
    void end() final;

  private:
    virtual void print_head() = 0;
    virtual void print_row(const std::vector<Cell>& cells) = 0;
    virtual void print_end() {}

    std::int64_t rows_ = 0;
    bool used_ = false;

  protected:
    std::int64_t row_number() const { return row_number_; } // in this result, from 1
    void put(std::string_view text) { output_.write(text); }

    std::vector<Column> columns_;

  private:
    std::int64_t row_number_ = 0;
    Output& output_;
};

std::unique_ptr<Printer> make_printer(const PrintSettings& settings, Output& output);

} // namespace tarnsh
