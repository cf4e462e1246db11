#include "history.h"

#include "output.h"
#include "terminal.h"
#include "text.h"

#include <algorithm>

namespace tarnsh {

namespace {

constexpr std::size_t most_entries = 2000;
constexpr char line_mark = '\x1e'; // stands for a line feed in the file, which has a line for each entry

bool holds_password(const std::string& entry) {
    const std::string text = upper(entry);
    return text.find("PASSWORD=") != text.npos || text.find("PWD=") != text.npos;
}

void write_entry(std::FILE* file, std::string entry) {
    std::ranges::replace(entry, '\n', line_mark);
    entry += '\n';
    std::fwrite(entry.data(), 1, entry.size(), file);
}

} // namespace

void History::open(const std::string& path) {
    path_ = path;
    const File file(path.empty() ? nullptr : open_file(path, "rb"));
    if (!file) return;
    std::string entry;
    for (int c; (c = std::getc(file.get())) != EOF;) {
        if (c != '\n') {
            entry += c == line_mark ? '\n' : static_cast<char>(c);
            continue;
        }
        if (!trim(entry).empty()) entries_.push_back(entry);
        entry.clear();
    }
    if (entries_.size() <= most_entries) return;
    entries_.erase(entries_.begin(), entries_.end() - most_entries / 2);
    const File shorter(open_file(path, "wb")); // the file keeps its permissions
    for (const std::string& kept : entries_)
        if (shorter) write_entry(shorter.get(), kept);
}

void History::add(const std::string& entry) {
    if (trim(entry).empty() || entry.starts_with(' ') || holds_password(entry)) return;
    if (!entries_.empty() && entries_.back() == entry) return;
    entries_.push_back(entry);
    const File file(path_.empty() ? nullptr : open_private_file(path_));
    if (file) write_entry(file.get(), entry);
}

std::optional<std::size_t> History::find(std::string_view text, std::size_t before) const {
    for (std::size_t i = std::min(before, entries_.size()); i-- > 0;)
        if (entries_[i].find(text) != std::string::npos) return i;
    return std::nullopt;
}

std::optional<std::size_t> History::find_beginning(std::string_view text, std::size_t before) const {
    for (std::size_t i = std::min(before, entries_.size()); i-- > 0;)
        if (entries_[i].size() > text.size() && entries_[i].starts_with(text)) return i;
    return std::nullopt;
}

} // namespace tarnsh
