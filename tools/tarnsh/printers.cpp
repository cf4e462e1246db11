#include "printers.h"

#include "csv.h"
#include "text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <utility>

namespace tarnsh {

namespace {

// Widths are those of the first rows, as many as these bounds admit; a wider cell further on pushes its line
// out.
constexpr std::size_t measured_rows = 1000, measured_bytes = 4 << 20;

std::string padding(std::size_t have, std::size_t want) {
    return std::string(want > have ? want - have : 0, ' ');
}

class TablePrinter final : public Printer {
  public:
    using Printer::Printer;

  private:
    void print_head() override {
        widths_.clear();
        held_.clear();
        bytes_ = 0;
        measured_ = false;
    }

    void print_row(const std::vector<Cell>& cells) override {
        std::vector<std::string> line;
        for (const Cell& cell : cells)
            line.push_back(shown(cell));
        if (measured_) return print_line(line);
        for (const std::string& text : line)
            bytes_ += text.size();
        held_.push_back(std::move(line));
        if (held_.size() >= measured_rows || bytes_ >= measured_bytes) print_held();
    }

    void print_end() override {
        if (!measured_) print_held();
    }

    void print_held() {
        measured_ = true;
        const std::vector<std::string> names = shown_names();
        widths_.assign(columns_.size(), 1);
        if (header_) widen(names);
        for (const auto& line : held_)
            widen(line);
        if (header_) {
            print_line(names);
            print_rule();
        }
        for (const auto& line : held_)
            print_line(line);
        held_ = {};
    }

    void widen(const std::vector<std::string>& line) {
        for (std::size_t i = 0; i < line.size(); ++i)
            widths_[i] = std::max(widths_[i], text_width(line[i]));
    }

    void print_rule() {
        std::string rule;
        for (std::size_t i = 0; i < widths_.size(); ++i)
            rule += (i > 0 ? "-+-" : "") + std::string(widths_[i], '-');
        put(rule + '\n');
    }

    void print_line(const std::vector<std::string>& line) {
        std::string out;
        for (std::size_t i = 0; i < line.size(); ++i) {
            if (i > 0) out += " | ";
            const std::string blanks = padding(text_width(line[i]), widths_[i]);
            const bool is_last = i + 1 == line.size();
            out += is_number(columns_[i].type) ? blanks + line[i] : line[i] + (is_last ? "" : blanks);
        }
        put(out + '\n');
    }

    bool measured_ = false;
    std::vector<std::vector<std::string>> held_;
    std::size_t bytes_ = 0;
    std::vector<std::size_t> widths_;
};

class CsvPrinter final : public Printer {
  public:
    using Printer::Printer;

  private:
    void print_head() override {
        if (!header_) return;
        std::vector<Cell> names;
        for (const Column& column : columns_)
            names.push_back({false, column.name});
        print_row(names);
    }

    void print_row(const std::vector<Cell>& cells) override {
        line_.clear();
        for (std::size_t i = 0; i < cells.size(); ++i) {
            if (i > 0) line_ += ',';
            if (cells[i].null)
                line_ += null_;
            else
                add_csv_field(cells[i].text, null_, line_);
        }
        line_ += '\n';
        put(line_);
    }

    std::string line_;
};

void add_json_text(std::string_view text, std::string& out) {
    out += '"';
    while (!text.empty()) {
        const Character character = first_character(text);
        if (!character.valid)
            out += "\\ufffd"; // JSON is Unicode throughout
        else if (character.code == '"' || character.code == '\\')
            out += {'\\', text.front()};
        else if (character.code < 0x20)
            out += fmt::format("\\u{:04x}", static_cast<unsigned>(character.code));
        else
            out += text.substr(0, character.size);
        text.remove_prefix(character.size);
    }
    out += '"';
}

// Decimal texts of a server may be written in ways that JSON does not know.
bool is_json_number(std::string_view text) {
    const auto digits = [&text] {
        std::size_t count = 0;
        for (; !text.empty() && text.front() >= '0' && text.front() <= '9'; ++count)
            text.remove_prefix(1);
        return count;
    };
    if (text.starts_with('-')) text.remove_prefix(1);
    const bool zero = text.starts_with('0');
    const std::size_t whole = digits();
    if (whole == 0 || (zero && whole > 1)) return false;
    if (text.starts_with('.')) {
        text.remove_prefix(1);
        if (digits() == 0) return false;
    }
    if (text.starts_with('e') || text.starts_with('E')) {
        text.remove_prefix(1);
        if (text.starts_with('+') || text.starts_with('-')) text.remove_prefix(1);
        if (digits() == 0) return false;
    }
    return text.empty();
}

// An array of objects, one on each line.
class JsonPrinter final : public Printer {
  public:
    using Printer::Printer;

  private:
    void print_head() override { put("["); }

    void print_row(const std::vector<Cell>& cells) override {
        line_ = row_number() > 1 ? ",\n{" : "\n{";
        for (std::size_t i = 0; i < cells.size(); ++i) {
            if (i > 0) line_ += ',';
            add_json_text(columns_[i].name, line_);
            line_ += ':';
            add_value(cells[i], columns_[i].type);
        }
        line_ += '}';
        put(line_);
    }

    void print_end() override { put(row_number() > 0 ? "\n]\n" : "]\n"); }

    void add_value(const Cell& cell, std::int32_t type) {
        const std::string& text = cell.text;
        if (cell.null)
            line_ += "null";
        else if (type == TRN_TYPE_BOOLEAN && (text == "T" || text == "F"))
            line_ += text == "T" ? "true" : "false";
        else if (is_number(type) && is_json_number(text))
            line_ += text;
        else
            add_json_text(text, line_);
    }

    std::string line_;
};

class MarkdownPrinter final : public Printer {
  public:
    using Printer::Printer;

  private:
    void print_head() override {
        std::string head = "|", rule = "|";
        for (const Column& column : columns_) {
            head += " " + escaped(column.name) + " |";
            rule += is_number(column.type) ? " ---: |" : " --- |";
        }
        put(head + '\n' + rule + '\n');
    }

    void print_row(const std::vector<Cell>& cells) override {
        std::string line = "|";
        for (const Cell& cell : cells)
            line += ' ' + (cell.null ? null_ : escaped(cell.text)) + " |";
        put(line + '\n');
    }

    static std::string escaped(std::string_view text) {
        std::string out;
        for (const char c : printable(text)) {
            if (c == '|') out += '\\';
            out += c;
        }
        return out;
    }
};

class VerticalPrinter final : public Printer {
  public:
    using Printer::Printer;

  private:
    void print_head() override {
        names_ = shown_names();
        width_ = 0;
        for (const std::string& name : names_)
            width_ = std::max(width_, text_width(name));
    }

    void print_row(const std::vector<Cell>& cells) override {
        std::string out = fmt::format("-- row {}\n", row_number());
        for (std::size_t i = 0; i < cells.size(); ++i) {
            out += names_[i] + padding(text_width(names_[i]), width_) + " | ";
            out += shown(cells[i]) + '\n';
        }
        put(out);
    }

    std::vector<std::string> names_;
    std::size_t width_ = 0;
};

} // namespace

std::optional<Format> format_of(std::string_view name) {
    const auto* const found = std::ranges::find(format_names, name);
    if (found == format_names.end()) return std::nullopt;
    return static_cast<Format>(found - format_names.begin());
}

Printer::Printer(const PrintSettings& settings, Output& output)
    : header_(settings.header),
      null_(settings.null_text.value_or(settings.format == Format::csv ? "" : "NULL")), output_(output) {}

std::string Printer::shown(const Cell& cell) const {
    return cell.null ? null_ : printable(cell.text);
}

std::vector<std::string> Printer::shown_names() const {
    std::vector<std::string> names;
    for (const Column& column : columns_)
        names.push_back(printable(column.name));
    return names;
}

void Printer::begin(const std::vector<Column>& columns) {
    columns_ = columns;
    row_number_ = 0;
    used_ = true;
    print_head();
}

void Printer::row(const std::vector<Cell>& cells) {
    ++row_number_;
    ++rows_;
    print_row(cells);
}

void Printer::end() {
    print_end();
    output_.flush();
}

std::unique_ptr<Printer> make_printer(const PrintSettings& settings, Output& output) {
    switch (settings.format) {
    case Format::table: return std::make_unique<TablePrinter>(settings, output);
    case Format::csv: return std::make_unique<CsvPrinter>(settings, output);
    case Format::json: return std::make_unique<JsonPrinter>(settings, output);
    case Format::markdown: return std::make_unique<MarkdownPrinter>(settings, output);
    case Format::vertical: break;
    }
    return std::make_unique<VerticalPrinter>(settings, output);
}

} // namespace tarnsh
