#include "completion.h"

#include "commands.h"
#include "highlight.h"
#include "terminal.h"
#include "text.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <string_view>

namespace tarnsh {

namespace {

constexpr std::string_view word_breaks = " \t\n\"'`();,=<>+-*|&{}[]";

bool begins_alike(std::string_view candidate, std::string_view word) {
    return candidate.size() >= word.size() && upper(candidate.substr(0, word.size())) == upper(word);
}

std::string in_case_of(std::string_view word, std::string_view keyword) {
    std::string text(keyword);
    if (!word.empty() && std::islower(static_cast<unsigned char>(word.back())))
        std::ranges::transform(text, text.begin(), [](char c) {
            return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        });
    return text;
}

void add_names(const Shell& shell, const std::string& word, std::vector<std::string>& found) {
    const std::size_t dot = word.find('.');
    for (const TableNames& table : shell.names) {
        const bool is_chosen = dot != word.npos && upper(table.name) == upper(word.substr(0, dot));
        if (dot == word.npos && begins_alike(table.name, word)) found.push_back(table.name);
        for (const std::string& column : table.columns) {
            if (is_chosen && begins_alike(column, word.substr(dot + 1)))
                found.push_back(word.substr(0, dot + 1) + column);
            if (dot == word.npos && begins_alike(column, word)) found.push_back(column);
        }
    }
}

void add_sql_names(Shell& shell, const std::string& word, std::vector<std::string>& found) {
    if (!shell.names_known && shell.session.connected) {
        shell.names = read_names(shell.session);
        shell.names_known = true;
    }
    add_names(shell, word, found);
}

void add_files(const std::string& word, std::vector<std::string>& found) {
    const std::size_t slash = word.find_last_of('/');
    const std::string folder = slash == word.npos ? "" : word.substr(0, slash + 1);
    const std::string shown = folder.starts_with("~/") ? home_directory() + folder.substr(1)
                              : folder.empty()         ? "."
                                                       : folder;
    std::error_code failed;
    for (const auto& entry :
         std::filesystem::directory_iterator(std::u8string(shown.begin(), shown.end()), failed)) {
        const std::u8string name = entry.path().filename().u8string();
        const std::string text(name.begin(), name.end());
        if (!text.starts_with(word.substr(folder.size())) ||
            (text.starts_with('.') && word.size() == folder.size()))
            continue;
        found.push_back(folder + text + (entry.is_directory(failed) ? "/" : ""));
    }
}

template <typename Names>
void add_words(const Names& names, const std::string& word, std::vector<std::string>& found) {
    for (const std::string_view name : names)
        if (name.starts_with(word)) found.emplace_back(name);
}

// The words of a command, without the one that is completed.
std::vector<std::string> words_of(std::string_view text) {
    std::vector<std::string> words;
    while (!text.empty())
        words.push_back(take_word(text));
    return words;
}

void add_setting_values(const std::string& setting, const std::string& word,
                        std::vector<std::string>& found) {
    constexpr std::array<std::string_view, 3> switches{"on", "off", "auto"};
    if (setting == "format")
        add_words(format_names, word, found);
    else if (setting == "overflow")
        add_words(overflow_names, word, found);
    else
        add_words(switches, word, found);
}

void add_arguments(Shell& shell, const std::vector<std::string>& words, const std::string& word,
                   std::vector<std::string>& found) {
    constexpr std::array<std::string_view, 2> switches{"on", "off"};
    constexpr std::array<std::string_view, 9> of_files{"i",  "ir", "o",  "tee",       "e",
                                                       "cd", "g",  "gx", "lob_import"};
    const std::string name = words[0].substr(1), last = upper(words.back());
    if (name == "format")
        add_words(format_names, word, found);
    else if (name == "pset" && words.size() == 1)
        add_words(print_setting_names(), word, found);
    else if (name == "pset")
        add_setting_values(words[1], word, found);
    else if (name == "timing" || name == "x")
        add_words(switches, word, found);
    else if (last == "FROM" || last == "TO" ||
             (std::ranges::find(of_files, name) != of_files.end() &&
              !(name == "lob_import" && words.size() == 1)))
        add_files(word, found);
    else
        add_sql_names(shell, word, found);
}

} // namespace

Completion complete(Shell& shell, const std::string& text) {
    const std::size_t feed = text.rfind('\n');
    const std::string line = feed == text.npos ? text : text.substr(feed + 1);
    const std::size_t last_break = line.find_last_of(word_breaks);
    const std::size_t begin = last_break == line.npos ? 0 : last_break + 1;
    const std::string word = line.substr(begin), before = line.substr(0, begin);
    Completion completion{text.size() - word.size(), {}};
    std::vector<std::string>& found = completion.candidates;
    const std::vector<std::string> words = words_of(trim(before));
    if (word.starts_with('\\')) {
        for (const std::string& name : command_names())
            if (name.starts_with(word.substr(1))) found.push_back('\\' + name);
    } else if (!words.empty() && words[0].starts_with('\\')) {
        add_arguments(shell, words, word, found);
    } else {
        add_sql_names(shell, word, found);
        if (!word.empty())
            for (const std::string_view keyword : keywords())
                if (begins_alike(keyword, word)) found.push_back(in_case_of(word, keyword));
    }
    std::ranges::sort(found);
    found.erase(std::ranges::unique(found).begin(), found.end());
    return completion;
}

} // namespace tarnsh
