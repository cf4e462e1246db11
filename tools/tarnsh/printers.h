// The formats of rows.
#pragma once

#include "csv.h"
#include "output.h"
#include "rows.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnsh {

enum class Format {
    table,
    box,
    csv,
    tsv,
    list,
    json,
    html,
    markdown,
    vertical,
};

// In the order of Format.
constexpr std::array<const char*, 9> format_names{"table", "box",  "csv",      "tsv",     "list",
                                                  "json",  "html", "markdown", "vertical"};
// Nothing for an unknown name.
std::optional<Format> format_of(std::string_view name);

// What happens to a table that is too wide.
enum class Overflow {
    off,
    wrap,
    cut,
};
constexpr std::array<const char*, 3> overflow_names{"off", "wrap", "cut"};

struct PrintSettings {
    Format format = Format::table;
    std::optional<std::string>
        null_text; // otherwise NULL, and nothing in CSV, TSV and lists; JSON has its own
    bool header = true;
    CsvMarks csv{};
    std::string separator = "|";        // of lists
    std::size_t width = 0;              // of a table at most; 0: any
    Overflow overflow = Overflow::wrap; // when there is a width
    bool vertical_when_wide = false;    // in place of a table that does not fit the width

    std::string null_shown() const;
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
    std::string& out() { return output_.text(); }
    void commit() { output_.commit(); }
    // Adds the text of a cell, safe for a terminal.
    void add_shown(const Cell& cell);
    std::vector<std::string> shown_names() const;

    const PrintSettings settings_;
    const std::string null_;
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

// One for each format.
std::unique_ptr<Printer> make_table_printer(const PrintSettings& settings, Output& output);
std::unique_ptr<Printer> make_csv_printer(const PrintSettings& settings, Output& output);
std::unique_ptr<Printer> make_tsv_printer(const PrintSettings& settings, Output& output);
std::unique_ptr<Printer> make_list_printer(const PrintSettings& settings, Output& output);
std::unique_ptr<Printer> make_json_printer(const PrintSettings& settings, Output& output);
std::unique_ptr<Printer> make_html_printer(const PrintSettings& settings, Output& output);
std::unique_ptr<Printer> make_markdown_printer(const PrintSettings& settings, Output& output);
std::unique_ptr<Printer> make_vertical_printer(const PrintSettings& settings, Output& output);

} // namespace tarnsh
