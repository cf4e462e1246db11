// The formats for programs that read columns: CSV, TSV and lists.
#include "printers.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace tarnsh {

namespace {

// What stands in quotes when the value is long.
void add_quoted(std::string_view text, char quote, std::string& out) {
    for (const char c : text)
        out.append(c == quote ? 2 : 1, c);
}

class CsvPrinter final : public Printer {
  public:
    using Printer::Printer;

  private:
    void print_head() override {
        is_bare_.clear();
        for (const Column& column : columns_)
            is_bare_.push_back(never_needs_quotes(column.type));
        if (!settings_.header) return;
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            if (i > 0) out() += settings_.csv.delimiter;
            add_csv_field(columns_[i].name, null_, settings_.csv, out());
        }
        out() += '\n';
    }

    void print_row(const std::vector<Cell>& cells) override {
        std::size_t longest = 1;
        bool is_long = false;
        for (const Cell& cell : cells) {
            longest += 2 * std::max(cell.text.size(), null_.size()) + step + 3;
            is_long = is_long || cell.rest;
        }
        if (is_long) return print_long_row(cells);
        // Without a look at the string's end for every value.
        std::string& line = out();
        const std::size_t before = line.size();
        line.resize(before + longest);
        char* const end = write_row(cells, line.data() + before);
        line.resize(static_cast<std::size_t>(end - line.data()));
    }

    char* write_row(const std::vector<Cell>& cells, char* to) {
        for (std::size_t i = 0; i < cells.size(); ++i) {
            const Cell& cell = cells[i];
            if (cell.null)
                to = std::ranges::copy(null_, to).out;
            else if (is_bare_[i] || !padded_needs_quotes(cell.text, null_, settings_.csv))
                to = write_padded(cell.text, to);
            else
                to = write_quoted(cell.text, settings_.csv, to);
            *to++ = settings_.csv.delimiter;
        }
        to[-1] = '\n';
        return to;
    }

    // Short values are copied in one step, with what lies behind them.
    static char* write_padded(std::string_view text, char* to) {
        std::memcpy(to, text.data(), step);
        if (text.size() > step) std::memcpy(to + step, text.data() + step, text.size() - step);
        return to + text.size();
    }

    void print_long_row(const std::vector<Cell>& cells) {
        for (std::size_t i = 0; i < cells.size(); ++i) {
            if (i > 0) out() += settings_.csv.delimiter;
            if (cells[i].rest)
                add_long(cells[i], is_binary(columns_[i].type));
            else if (cells[i].null)
                out() += null_;
            else
                add_csv_field(cells[i].text, null_, settings_.csv, out());
        }
        out() += '\n';
    }

    // Text is put in quotes, for nobody has seen the whole of it.
    void add_long(const Cell& cell, bool binary) {
        if (!binary) out() += settings_.csv.quote;
        each_piece(cell, [this](std::string_view piece) {
            add_quoted(piece, settings_.csv.quote, out());
            commit();
        });
        if (!binary) out() += settings_.csv.quote;
    }

    // Values of these types are written with the first characters alone, and are no null text.
    bool never_needs_quotes(std::int32_t type) const {
        constexpr std::string_view written_with = "0123456789+-.:einfax TF";
        const bool is_plain = (type >= TRN_TYPE_TINYINT && type <= TRN_TYPE_DOUBLE) ||
                              type == TRN_TYPE_DATE || type == TRN_TYPE_DATETIME;
        return is_plain && null_.empty() && written_with.find(settings_.csv.delimiter) == written_with.npos &&
               written_with.find(settings_.csv.quote) == written_with.npos;
    }

    static constexpr std::size_t step = 16;
    std::vector<char> is_bare_;
};

// A line for each row: what could be taken for a tab or the end of a line is escaped.
class TsvPrinter final : public Printer {
  public:
    using Printer::Printer;

  private:
    void print_head() override {
        if (!settings_.header) return;
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            if (i > 0) out() += '\t';
            add_escaped(columns_[i].name);
        }
        out() += '\n';
    }

    void print_row(const std::vector<Cell>& cells) override {
        for (std::size_t i = 0; i < cells.size(); ++i) {
            if (i > 0) out() += '\t';
            if (cells[i].null)
                out() += null_;
            else
                each_piece(cells[i], [this](std::string_view piece) { add_escaped(piece); });
        }
        out() += '\n';
    }

    void add_escaped(std::string_view text) {
        std::string& line = out();
        for (const char c : text) {
            switch (c) {
            case '\t': line += "\\t"; break;
            case '\n': line += "\\n"; break;
            case '\r': line += "\\r"; break;
            case '\\': line += "\\\\"; break;
            default: line += c;
            }
        }
        if (text.size() > 4096) commit();
    }
};

// Values as they are, with a separator between them.
class ListPrinter final : public Printer {
  public:
    using Printer::Printer;

  private:
    void print_head() override {
        if (!settings_.header) return;
        for (std::size_t i = 0; i < columns_.size(); ++i)
            out() += (i > 0 ? settings_.separator : "") + columns_[i].name;
        out() += '\n';
    }

    void print_row(const std::vector<Cell>& cells) override {
        for (std::size_t i = 0; i < cells.size(); ++i) {
            if (i > 0) out() += settings_.separator;
            if (cells[i].null) {
                out() += null_;
                continue;
            }
            each_piece(cells[i], [this](std::string_view piece) {
                out() += piece;
                commit();
            });
        }
        out() += '\n';
    }
};

} // namespace

std::unique_ptr<Printer> make_csv_printer(const PrintSettings& settings, Output& output) {
    return std::make_unique<CsvPrinter>(settings, output);
}

std::unique_ptr<Printer> make_tsv_printer(const PrintSettings& settings, Output& output) {
    return std::make_unique<TsvPrinter>(settings, output);
}

std::unique_ptr<Printer> make_list_printer(const PrintSettings& settings, Output& output) {
    return std::make_unique<ListPrinter>(settings, output);
}

} // namespace tarnsh
