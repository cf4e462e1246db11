// Aligned columns. Widths come from the first rows, up to two limits; a wider cell later pushes its line out,
// or is wrapped or cut when the table's width is limited.
#include "layout.h"
#include "printers.h"
#include "text.h"

#include <string_view>
#include <utility>

namespace tarnsh {

namespace {

constexpr std::size_t measured_rows = 1000, measured_bytes = 4 << 20;

using Line = std::vector<std::string>;

// What is written between the cells of a line, and around them.
struct Frame {
    std::string_view left, between, right;
};

struct Style {
    Frame cells, top, rule, bottom;
    std::string_view dash;
};

constexpr Style table_style{{"", " | ", ""}, {}, {"", "-+-", ""}, {}, "-"};
constexpr Style box_style{
    {"│ ", " │ ", " │"}, {"┌─", "─┬─", "─┐"}, {"├─", "─┼─", "─┤"}, {"└─", "─┴─", "─┘"}, "─"};

class TablePrinter final : public Printer {
  public:
    TablePrinter(const PrintSettings& settings, Output& output)
        : Printer(settings, output), target_(output),
          style_(settings.format == Format::box ? box_style : table_style) {}

  private:
    void print_head() override {
        held_.clear();
        bytes_ = 0;
        measured_ = false;
        vertical_.reset();
    }

    void print_row(const std::vector<Cell>& cells) override {
        bool is_long = false;
        for (const Cell& cell : cells)
            is_long = is_long || cell.rest;
        if (!measured_ && !(is_long && !limited())) {
            held_.push_back(shown(cells));
            for (const std::string& text : held_.back())
                bytes_ += text.size();
            if (held_.size() >= measured_rows || bytes_ >= measured_bytes) print_held();
            return;
        }
        if (!measured_) print_held();
        if (vertical_)
            vertical_->row(cells);
        else if (limited())
            print_limited(shown(cells));
        else
            print_cells(cells);
    }

    void print_end() override {
        if (!measured_) print_held();
        if (!vertical_) print_rule(style_.bottom);
    }

    bool limited() const { return settings_.width > 0 && settings_.overflow != Overflow::off; }

    // Where the table is limited, the first piece of a long value is enough.
    Line shown(const std::vector<Cell>& cells) {
        Line line;
        for (const Cell& cell : cells) {
            std::string& text = line.emplace_back();
            if (cell.null)
                text = null_;
            else
                add_printable(cell.rest ? cell.rest->next() : cell.text, text);
            if (cell.rest) text += "...";
        }
        return line;
    }

    void print_held() {
        measured_ = true;
        const Line names = shown_names();
        widths_.assign(columns_.size(), 1);
        if (settings_.header) widen(names, widths_);
        for (const Line& line : held_)
            widen(line, widths_);
        fit();
        if (!vertical_) print_head_lines(names);
        for (const Line& line : std::exchange(held_, {})) {
            if (vertical_)
                vertical_->row(as_cells(line));
            else if (limited())
                print_limited(line);
            else
                print_line(line);
            commit();
        }
    }

    // Narrows the columns to the width, or switches to vertical rows.
    void fit() {
        if (settings_.width == 0) return;
        const std::size_t between = text_width(style_.cells.between);
        const std::size_t frame =
            text_width(style_.cells.left) + text_width(style_.cells.right) + between * (columns_.size() - 1);
        const bool fits = fits_width(widths_, frame, settings_.width);
        if (!fits && settings_.vertical_when_wide) {
            vertical_ = make_vertical_printer(settings_, target_);
            vertical_->begin(columns_);
        } else if (!fits && limited()) {
            narrow(widths_, frame, settings_.width);
        }
    }

    static std::vector<Cell> as_cells(const Line& line) {
        std::vector<Cell> cells;
        for (const std::string& text : line)
            cells.push_back({false, text});
        return cells;
    }

    void print_head_lines(const Line& names) {
        print_rule(style_.top);
        if (!settings_.header) return;
        if (limited())
            print_limited(names);
        else
            print_line(names);
        print_rule(style_.rule);
    }

    void print_rule(const Frame& frame) {
        if (frame.between.empty()) return;
        out() += frame.left;
        for (std::size_t i = 0; i < widths_.size(); ++i) {
            if (i > 0) out() += frame.between;
            for (std::size_t n = 0; n < widths_[i]; ++n)
                out() += style_.dash;
        }
        out() += frame.right;
        out() += '\n';
    }

    void pad(std::size_t have, std::size_t want) {
        if (have < want) out().append(want - have, ' ');
    }

    // The last column of a table without a frame is not padded.
    bool is_padded(std::size_t column) const {
        return column + 1 < columns_.size() || !style_.cells.right.empty();
    }

    void print_cell(std::size_t column, std::string_view text) {
        const std::size_t width = text_width(text);
        out() += column > 0 ? style_.cells.between : style_.cells.left;
        const bool right = is_number(columns_[column].type);
        if (right) pad(width, widths_[column]);
        out() += text;
        if (!right && is_padded(column)) pad(width, widths_[column]);
    }

    void end_line() {
        out() += style_.cells.right;
        out() += '\n';
    }

    void print_line(const Line& line) {
        for (std::size_t i = 0; i < line.size(); ++i)
            print_cell(i, line[i]);
        end_line();
    }

    void print_cells(const std::vector<Cell>& cells) {
        for (std::size_t i = 0; i < cells.size(); ++i) {
            const Cell& cell = cells[i];
            if (cell.rest) {
                out() += i > 0 ? style_.cells.between : style_.cells.left;
                add_shown(cell);
                continue;
            }
            if (!cell.null && is_plain(cell.text)) {
                print_cell(i, cell.text);
                continue;
            }
            text_.clear();
            if (cell.null)
                text_ = null_;
            else
                add_printable(cell.text, text_);
            print_cell(i, text_);
        }
        end_line();
    }

    // As many lines as the widest cell needs, or one.
    void print_limited(const Line& line) {
        std::vector<std::string_view> rests(line.begin(), line.end());
        const bool cuts = settings_.overflow == Overflow::cut;
        for (bool more = true; more;) {
            more = false;
            for (std::size_t i = 0; i < rests.size(); ++i) {
                if (cuts) {
                    print_cell(i, cut_to_width(rests[i], widths_[i]));
                    continue;
                }
                const std::size_t size = prefix_of_width(rests[i], widths_[i]);
                print_cell(i, rests[i].substr(0, size));
                rests[i].remove_prefix(size);
                more = more || !rests[i].empty();
            }
            end_line();
        }
    }

    Output& target_;
    const Style& style_;
    bool measured_ = false;
    std::vector<Line> held_;
    std::size_t bytes_ = 0;
    std::vector<std::size_t> widths_;
    std::string text_;
    std::unique_ptr<Printer> vertical_;
};

} // namespace

std::unique_ptr<Printer> make_table_printer(const PrintSettings& settings, Output& output) {
    return std::make_unique<TablePrinter>(settings, output);
}

} // namespace tarnsh
