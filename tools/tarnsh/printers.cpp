#include "printers.h"

#include "text.h"

#include <algorithm>

namespace tarnsh {

std::optional<Format> format_of(std::string_view name) {
    const auto* const found = std::ranges::find(format_names, name);
    if (found == format_names.end()) return std::nullopt;
    return static_cast<Format>(found - format_names.begin());
}

std::string PrintSettings::null_shown() const {
    const bool is_bare = format == Format::csv || format == Format::tsv || format == Format::list;
    return null_text.value_or(is_bare ? "" : "NULL");
}

Printer::Printer(const PrintSettings& settings, Output& output)
    : settings_(settings), null_(settings.null_shown()), output_(output) {}

void Printer::add_shown(const Cell& cell) {
    if (cell.null)
        out() += null_;
    else
        each_piece(cell, [this](std::string_view piece) {
            add_printable(piece, out());
            if (piece.size() > 4096) commit(); // of a long value
        });
}

std::vector<std::string> Printer::shown_names() const {
    std::vector<std::string> names;
    names.reserve(columns_.size());
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
    commit();
}

void Printer::end() {
    print_end();
    output_.flush();
}

std::unique_ptr<Printer> make_printer(const PrintSettings& settings, Output& output) {
    switch (settings.format) {
    case Format::table:
    case Format::box: break;
    case Format::csv: return make_csv_printer(settings, output);
    case Format::tsv: return make_tsv_printer(settings, output);
    case Format::list: return make_list_printer(settings, output);
    case Format::json: return make_json_printer(settings, output);
    case Format::html: return make_html_printer(settings, output);
    case Format::markdown: return make_markdown_printer(settings, output);
    case Format::vertical: return make_vertical_printer(settings, output);
    }
    return make_table_printer(settings, output);
}

} // namespace tarnsh
