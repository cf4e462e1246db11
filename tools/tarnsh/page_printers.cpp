// The formats for pages and for long rows: Markdown, and a line for each value.
#include "printers.h"
#include "text.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

namespace tarnsh {

namespace {

class MarkdownPrinter final : public Printer {
  public:
    using Printer::Printer;

  private:
    void print_head() override {
        out() += '|';
        for (const Column& column : columns_) {
            out() += ' ';
            add_escaped(column.name);
            out() += " |";
        }
        out() += "\n|";
        for (const Column& column : columns_)
            out() += is_number(column.type) ? " ---: |" : " --- |";
        out() += '\n';
    }

    void print_row(const std::vector<Cell>& cells) override {
        out() += '|';
        for (const Cell& cell : cells) {
            out() += ' ';
            if (cell.null)
                out() += null_;
            else
                each_piece(cell, [this](std::string_view piece) { add_escaped(piece); });
            out() += " |";
        }
        out() += '\n';
    }

    void add_escaped(std::string_view text) {
        if (text.find('|') == text.npos) {
            add_printable(text, out());
        } else {
            for (const char c : printable(text)) {
                if (c == '|') out() += '\\';
                out() += c;
            }
        }
        if (text.size() > 4096) commit();
    }
};

class VerticalPrinter final : public Printer {
  public:
    using Printer::Printer;

  private:
    void print_head() override {
        names_ = shown_names();
        std::size_t width = 0;
        for (const std::string& name : names_)
            width = std::max(width, text_width(name));
        for (std::string& name : names_)
            name.append(width - text_width(name), ' ').append(" | ");
    }

    void print_row(const std::vector<Cell>& cells) override {
        out() += fmt::format("-- row {}\n", row_number());
        for (std::size_t i = 0; i < cells.size(); ++i) {
            out() += names_[i];
            add_shown(cells[i]);
            out() += '\n';
        }
    }

    std::vector<std::string> names_;
};

} // namespace

std::unique_ptr<Printer> make_markdown_printer(const PrintSettings& settings, Output& output) {
    return std::make_unique<MarkdownPrinter>(settings, output);
}

std::unique_ptr<Printer> make_vertical_printer(const PrintSettings& settings, Output& output) {
    return std::make_unique<VerticalPrinter>(settings, output);
}

} // namespace tarnsh
