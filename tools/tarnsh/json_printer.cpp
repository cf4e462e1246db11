// The formats for programs that read a tree: JSON and HTML.
#include "printers.h"
#include "text.h"

#include <fmt/format.h>

#include <string_view>

namespace tarnsh {

namespace {

void add_json_characters(std::string_view text, std::string& out) {
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
}

bool is_plain_json(std::string_view text) {
    for (const char c : text)
        if (static_cast<unsigned char>(c) - 0x20U >= 0x5F || c == '"' || c == '\\') return false;
    return true;
}

void add_json_text(std::string_view text, std::string& out) {
    if (is_plain_json(text))
        out += text;
    else
        add_json_characters(text, out);
}

// The server may write decimals in ways that JSON does not allow.
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
    void print_head() override {
        out() += '[';
        heads_.clear();
        for (const Column& column : columns_) {
            std::string& head = heads_.emplace_back(heads_.empty() ? "{\"" : ",\"");
            add_json_text(column.name, head);
            head += "\":";
        }
    }

    void print_row(const std::vector<Cell>& cells) override {
        out() += row_number() > 1 ? ",\n" : "\n";
        for (std::size_t i = 0; i < cells.size(); ++i) {
            out() += heads_[i];
            add_value(cells[i], columns_[i].type);
        }
        out() += '}';
    }

    void print_end() override { out() += row_number() > 0 ? "\n]\n" : "]\n"; }

    void add_value(const Cell& cell, std::int32_t type) {
        const std::string_view text = cell.text;
        if (cell.null) {
            out() += "null";
        } else if (type == TRN_TYPE_BOOLEAN && (text == "T" || text == "F")) {
            out() += text == "T" ? "true" : "false";
        } else if (is_number(type) && is_json_number(text)) {
            out() += text;
        } else {
            out() += '"';
            each_piece(cell, [this](std::string_view piece) {
                add_json_text(piece, out());
                commit();
            });
            out() += '"';
        }
    }

    std::vector<std::string> heads_;
};

void add_html(std::string_view text, std::string& out) {
    for (const char c : text) {
        switch (c) {
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        case '&': out += "&amp;"; break;
        case '"': out += "&quot;"; break;
        default: out += c;
        }
    }
}

// One table, a row a line.
class HtmlPrinter final : public Printer {
  public:
    using Printer::Printer;

  private:
    void print_head() override {
        out() += "<table>\n";
        if (!settings_.header) return;
        out() += "<tr>";
        for (const std::string& name : shown_names()) {
            out() += "<th>";
            add_html(name, out());
            out() += "</th>";
        }
        out() += "</tr>\n";
    }

    void print_row(const std::vector<Cell>& cells) override {
        out() += "<tr>";
        for (std::size_t i = 0; i < cells.size(); ++i) {
            out() += is_number(columns_[i].type) ? "<td align=\"right\">" : "<td>";
            if (cells[i].null)
                add_html(null_, out());
            else
                each_piece(cells[i], [this](std::string_view piece) {
                    add_html(printable(piece, true), out());
                    commit();
                });
            out() += "</td>";
        }
        out() += "</tr>\n";
    }

    void print_end() override { out() += "</table>\n"; }
};

} // namespace

std::unique_ptr<Printer> make_json_printer(const PrintSettings& settings, Output& output) {
    return std::make_unique<JsonPrinter>(settings, output);
}

std::unique_ptr<Printer> make_html_printer(const PrintSettings& settings, Output& output) {
    return std::make_unique<HtmlPrinter>(settings, output);
}

} // namespace tarnsh
