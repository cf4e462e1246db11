#include "screen.h"

#include "terminal.h"
#include "text.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace tarnsh {

namespace {

constexpr std::size_t tab_size = 8;

// Rows of a text that is laid out character by character.
class RowWriter {
  public:
    explicit RowWriter(std::size_t columns) : columns_(columns) { rows_.emplace_back(); }

    void add(std::string_view text, std::size_t width, Colour colour) {
        if (column_ + width > columns_ && column_ > 0) new_row();
        if (colour != colour_) {
            rows_.back() += sequence_of(Colour::none);
            if (colour != Colour::none) rows_.back() += sequence_of(colour);
        }
        colour_ = colour;
        rows_.back() += text;
        column_ += width;
    }
    void new_row() {
        plain();
        rows_.emplace_back();
        column_ = 0;
    }
    void plain() {
        if (colour_ != Colour::none) rows_.back() += sequence_of(Colour::none);
        colour_ = Colour::none;
    }
    // A full row has no place for a cursor behind it.
    void make_room() {
        if (column_ >= columns_) new_row();
    }

    std::size_t row() const { return rows_.size() - 1; }
    std::size_t column() const { return column_; }
    std::vector<std::string>& rows() { return rows_; }

  private:
    std::size_t columns_, column_ = 0;
    Colour colour_ = Colour::none;
    std::vector<std::string> rows_;
};

void add_character(RowWriter& rows, std::string_view text, Colour colour, std::size_t line_begin) {
    if (text == "\t") {
        const std::size_t width = tab_size - (rows.column() - std::min(rows.column(), line_begin)) % tab_size;
        rows.add(std::string(width, ' '), width, colour);
        return;
    }
    const std::string shown = printable(text);
    rows.add(shown, text_width(shown), colour);
}

} // namespace

Screen::Layout Screen::lay_out(const EditView& view, std::size_t columns) {
    RowWriter rows(columns);
    const std::vector<Colour> colours = view.coloured ? colours_of(view.text) : std::vector<Colour>{};
    Layout layout;
    const auto begin_line = [&rows](std::string_view prompt) {
        rows.add(prompt, text_width(prompt), Colour::none);
        return rows.column();
    };
    std::size_t line_begin = begin_line(view.first_prompt);
    for (std::size_t at = 0; at <= view.text.size();) {
        if (at == view.cursor) {
            rows.make_room();
            layout.cursor = {rows.row(), rows.column()};
        }
        if (at == view.text.size()) break;
        if (view.text[at] == '\n') {
            rows.new_row();
            line_begin = begin_line(view.next_prompt);
            ++at;
            continue;
        }
        const std::size_t size = first_character(view.text.substr(at)).size;
        add_character(rows, view.text.substr(at, size), view.coloured ? colours[at] : Colour::none,
                      line_begin);
        at += size;
    }
    rows.plain();
    for (std::string_view hint = view.hint; !hint.empty() && hint[0] != '\n';) {
        const std::size_t size = first_character(hint).size;
        if (rows.column() + 2 >= columns) break;
        add_character(rows, hint.substr(0, size), Colour::hint, line_begin);
        hint.remove_prefix(size);
    }
    rows.plain();
    layout.end = {rows.row(), rows.column()};
    layout.rows = std::move(rows.rows());
    return layout;
}

// Of more rows than the terminal has, those around the cursor.
void Screen::show_part(Layout& layout, std::size_t height) {
    if (layout.rows.size() <= height) {
        top_ = 0;
        return;
    }
    top_ = std::clamp(top_, layout.cursor.row - std::min(layout.cursor.row, height - 1), layout.cursor.row);
    top_ = std::min(top_, layout.rows.size() - height);
    const auto first = layout.rows.begin() + static_cast<std::ptrdiff_t>(top_);
    layout.rows = std::vector<std::string>(first, first + static_cast<std::ptrdiff_t>(height));
    layout.cursor.row -= top_;
    layout.end = {height - 1, 0};
}

void Screen::move_to(Place place, std::string& out) {
    if (place.row < at_.row) out += fmt::format("\x1b[{}A", at_.row - place.row);
    if (place.row > at_.row) out += fmt::format("\x1b[{}B", place.row - at_.row);
    if (place.row != at_.row || place.column != at_.column) {
        out += '\r';
        if (place.column > 0) out += fmt::format("\x1b[{}C", place.column);
    }
    at_ = place;
}

void Screen::redraw(const Layout& layout, std::size_t from, std::string& out) {
    move_to({from, 0}, out);
    out += "\r\x1b[J";
    for (std::size_t i = from; i < layout.rows.size(); ++i) {
        if (i > from) out += '\n';
        out += layout.rows[i];
    }
    at_ = layout.end;
}

void Screen::draw(const EditView& view) {
    const TerminalSize size = terminal_size();
    Layout layout = lay_out(view, size.columns);
    show_part(layout, size.rows);
    const auto [old_end, new_end] = std::ranges::mismatch(rows_, layout.rows);
    const auto same = static_cast<std::size_t>(old_end - rows_.begin());
    std::string out;
    const bool is_added = same + 1 == rows_.size() && same + 1 == layout.rows.size() &&
                          !rows_[same].empty() && layout.rows[same].starts_with(rows_[same]) &&
                          at_.row == end_.row && at_.column == end_.column;
    if (is_added) {
        out += layout.rows[same].substr(rows_[same].size());
        at_ = layout.end;
    } else if (same < rows_.size() || same < layout.rows.size()) {
        if (same < rows_.size() || same == 0) {
            redraw(layout, same, out);
        } else { // only rows behind those that are there
            move_to(end_, out);
            for (std::size_t i = same; i < layout.rows.size(); ++i)
                out += '\n' + layout.rows[i];
            at_ = layout.end;
        }
    }
    end_ = layout.end;
    rows_ = std::move(layout.rows);
    move_to(layout.cursor, out);
    if (!out.empty()) write_terminal(out);
}

void Screen::finish() {
    std::string out;
    move_to(end_, out);
    write_terminal(out + '\n');
    forget();
}

void Screen::forget() {
    rows_.clear();
    at_ = end_ = {};
    top_ = 0;
}

} // namespace tarnsh
