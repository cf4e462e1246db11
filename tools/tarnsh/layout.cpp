#include "layout.h"

#include "text.h"

#include <algorithm>
#include <numeric>

namespace tarnsh {

namespace {

constexpr std::size_t narrowest = 8;

} // namespace

void widen(const std::vector<std::string>& line, std::vector<std::size_t>& widths) {
    for (std::size_t i = 0; i < line.size(); ++i)
        widths[i] = std::max(widths[i], text_width(line[i]));
}

bool fits_width(const std::vector<std::size_t>& widths, std::size_t frame, std::size_t width) {
    return std::accumulate(widths.begin(), widths.end(), frame) <= width;
}

void narrow(std::vector<std::size_t>& widths, std::size_t frame, std::size_t width) {
    std::vector<std::size_t> order(widths);
    std::ranges::sort(order);
    std::size_t left = width > frame ? width - frame : 0;
    std::size_t limit = narrowest;
    // Columns narrower than an equal share of the rest keep their width.
    for (std::size_t i = 0; i < order.size(); ++i) {
        const std::size_t share = left / (order.size() - i);
        if (order[i] > share) {
            limit = std::max(share, narrowest);
            break;
        }
        left -= order[i];
    }
    for (std::size_t& column : widths)
        column = std::min(column, limit);
}

std::size_t prefix_of_width(std::string_view text, std::size_t width) {
    std::size_t size = 0;
    while (size < text.size()) {
        const Character character = first_character(text.substr(size));
        const std::size_t columns = text_width(text.substr(size, character.size));
        if (columns > width && size > 0) break;
        width -= std::min(columns, width);
        size += character.size;
    }
    return size;
}

std::string cut_to_width(std::string_view text, std::size_t width) {
    if (text_width(text) <= width) return std::string(text);
    const std::size_t size = width > 1 ? prefix_of_width(text, width - 1) : 0;
    return std::string(text.substr(0, size)) + "…";
}

} // namespace tarnsh
