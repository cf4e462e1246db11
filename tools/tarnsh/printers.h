// The formats of rows.
#pragma once

#include "output.h"
#include "rows.h"

#include <array>
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

// In the order of Format.
constexpr std::array<const char*, 5> format_names{"table", "csv", "json", "markdown", "vertical"};
// Nothing when there is no format of this name.
std::optional<Format> format_of(std::string_view name);

struct PrintSettings {
    Format format = Format::table;
    std::optional<std::string> null_text; // otherwise NULL, and nothing in CSV; JSON has its own
    bool header = true;
};

class Printer : public RowSink {
  public:
    Printer(const PrintSettings& settings, Output& output);
    std::int64_t rows() const { return rows_; } // of all results
    bool used() const { return used_; }

    void begin(const std::vector<Column>& columns) final;
    void row(const std::vector<Cell>& cells) final;
    void end() final;

  protected:
    std::int64_t row_number() const { return row_number_; } // in this result, from 1
    void put(std::string_view text) { output_.write(text); }
    // As a terminal may get it.
    std::string shown(const Cell& cell) const;
    std::vector<std::string> shown_names() const;

    bool header_;
    std::string null_;
    std::vector<Column> columns_;

  private:
    virtual void print_head() = 0;
    virtual void print_row(const std::vector<Cell>& cells) = 0;
    virtual void print_end() {}

    Output& output_;
    std::int64_t rows_ = 0, row_number_ = 0;
    bool used_ = false;
};

std::unique_ptr<Printer> make_printer(const PrintSettings& settings, Output& output);

} // namespace tarnsh
