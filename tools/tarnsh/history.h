// The history of what was typed, and its file. An entry may have several lines.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnsh {

class History {
  public:
    // Reads the file, if there is one; without a path nothing is kept beyond the session.
    void open(const std::string& path);
    // Keeps an entry and writes it to the file at once. Entries that begin with a blank, repeat the last one
    // or hold a password are not kept.
    void add(const std::string& entry);

    std::size_t size() const { return entries_.size(); }
    const std::string& at(std::size_t index) const { return entries_[index]; }
    // The last entry before the index that holds the text, or that begins with it; nothing when there is
    // none.
    std::optional<std::size_t> find(std::string_view text, std::size_t before) const;
    std::optional<std::size_t> find_beginning(std::string_view text, std::size_t before) const;

  private:
    std::string path_;
    std::vector<std::string> entries_;
};

} // namespace tarnsh
