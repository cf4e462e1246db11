// The formats for programs that read columns: CSV, TSV and lists.
#include "printers.h"

#include <algorithm>
#include <string_view>

namespace tarnsh {

namespace {

// What is quoted when the value is long.
void add_quoted(std::string_view text, char quote, std::string& out) {
    for (const char c : text)
        out.append(c == quote ? 2 : 1, c);
}

class CsvPrinter final : public Printer {
  public:
    using Printer::Printer;
    RowMarks marks() const override { return {settings_.csv.delimiter, '\n'}; }

  private:
    void print_head() override {
        looked_at_.clear();
        for (std::size_t i = 0; i < columns_.size(); ++i)
            if (!never_needs_quotes(columns_[i].type)) looked_at_.push_back(i);
        if (!settings_.header) return;
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            if (i > 0) out() += settings_.csv.delimiter;
            add_csv_field(columns_[i].name, null_, settings_.csv, out());
        }
        out() += '\n';
    }

    // With the marks between its cells most rows are a line already; only values written differently are
    // replaced.
    void print_row(const std::vector<Cell>& cells) override {
        if (cells.empty()) return;
        const char* from = cells.front().text.data();
        const auto pass = [&](const char* end) { out().append(from, static_cast<std::size_t>(end - from)); };
        for (const std::size_t i : looked_at_) {
            const Cell& cell = cells[i];
            if (!differs(cell)) [[likely]]
                continue;
            pass(cell.text.data());
            from = cell.text.data() + cell.text.size();
            if (cell.rest)
                add_long(cell, is_binary(columns_[i].type));
            else if (cell.null)
                out() += null_;
            else
                add_csv_quoted(cell.text, settings_.csv, out());
        }
        pass(cells.back().text.data() + cells.back().text.size() + 1);
    }

    bool differs(const Cell& cell) const {
        if (cell.null) return !null_.empty();
        return cell.rest || cell.text == null_ || finder_.finds_in(cell.text);
    }

    // Text is quoted: it has not been seen to its end.
    void add_long(const Cell& cell, bool binary) {
        if (!binary) out() += settings_.csv.quote;
        each_piece(cell, [this](std::string_view piece) {
            add_quoted(piece, settings_.csv.quote, out());
            commit();
        });
        if (!binary) out() += settings_.csv.quote;
    }

    // Values of these types have no other characters, and a null is empty, like its text.
    bool never_needs_quotes(std::int32_t type) const {
        constexpr std::string_view written_with = "0123456789+-.:einfax TF";
        const bool is_plain = (type >= TRN_TYPE_TINYINT && type <= TRN_TYPE_DOUBLE) ||
                              type == TRN_TYPE_DATE || type == TRN_TYPE_DATETIME;
        return is_plain && null_.empty() && written_with.find(settings_.csv.delimiter) == written_with.npos &&
               written_with.find(settings_.csv.quote) == written_with.npos;
    }

    const SpecialFinder finder_{settings_.csv};
    std::vector<std::size_t> looked_at_; // the other columns
};

// A line for each row, with tabs and ends of lines escaped.
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
