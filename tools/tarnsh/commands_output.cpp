// Commands about rows: where they go, and how they look.
#include "commands.h"
#include "text.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <iterator>

namespace tarnsh {

namespace {

constexpr std::string_view switch_names[] = {"off", "on", "auto"};

std::string_view name_of(bool on) {
    return on ? "on" : "off";
}

bool set_switch(std::string_view text, bool& on) {
    if (text != "on" && text != "off") return false;
    on = text == "on";
    return true;
}

bool set_mark(std::string_view text, char& mark) {
    if (text == "\\t") text = "\t";
    if (text.size() != 1) return false;
    mark = text[0];
    return true;
}

bool set_switch(std::string_view text, Switch& value) {
    const auto* const found = std::ranges::find(switch_names, text);
    if (found == std::end(switch_names)) return false;
    value = static_cast<Switch>(found - switch_names);
    return true;
}

bool set_width(std::string_view text, std::optional<std::size_t>& width) {
    std::size_t number = 0;
    const auto [end, failed] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool is_number = failed == std::errc() && end == text.data() + text.size();
    width = is_number ? std::optional(number) : std::nullopt;
    return is_number || text == "auto";
}

bool set_overflow(std::string_view text, Overflow& overflow) {
    const auto* const found = std::ranges::find(overflow_names, text);
    if (found == overflow_names.end()) return false;
    overflow = static_cast<Overflow>(found - overflow_names.begin());
    return true;
}

struct Setting {
    std::string_view name, values;
    bool (*set)(Shell&, const std::string&);
    std::string (*shown)(const Shell&);
};

const Setting settings[] = {
    {"colour", "on, off", [](Shell& s, const std::string& v) { return set_switch(v, s.coloured); },
     [](const Shell& s) { return std::string(name_of(s.coloured)); }},
    {"delimiter", "a character, of CSV",
     [](Shell& s, const std::string& v) { return set_mark(v, s.print.csv.delimiter); },
     [](const Shell& s) {
         return s.print.csv.delimiter == '\t' ? "\\t" : std::string(1, s.print.csv.delimiter);
     }},
    {"echo", "on, off: every statement before it runs",
     [](Shell& s, const std::string& v) { return set_switch(v, s.echo); },
     [](const Shell& s) { return std::string(name_of(s.echo)); }},
    {"expanded", "on, off, auto: a line for each value",
     [](Shell& s, const std::string& v) { return set_switch(v, s.expanded); },
     [](const Shell& s) { return std::string(switch_names[static_cast<std::size_t>(s.expanded)]); }},
    {"format", "as \\format has them",
     [](Shell& s, const std::string& v) {
         const std::optional<Format> format = format_of(v);
         s.print.format = format.value_or(s.print.format);
         return format.has_value();
     },
     [](const Shell& s) { return std::string(format_names[static_cast<std::size_t>(s.print.format)]); }},
    {"header", "on, off", [](Shell& s, const std::string& v) { return set_switch(v, s.print.header); },
     [](const Shell& s) { return std::string(name_of(s.print.header)); }},
    {"hints", "on, off: what was typed before",
     [](Shell& s, const std::string& v) { return set_switch(v, s.hinting); },
     [](const Shell& s) { return std::string(name_of(s.hinting)); }},
    {"null", "a text",
     [](Shell& s, const std::string& v) {
         s.print.null_text = v;
         return true;
     },
     [](const Shell& s) { return s.print.null_shown(); }},
    {"overflow", "off, wrap, cut: of tables that are too wide",
     [](Shell& s, const std::string& v) { return set_overflow(v, s.print.overflow); },
     [](const Shell& s) { return std::string(overflow_names[static_cast<std::size_t>(s.print.overflow)]); }},
    {"pager", "on, off", [](Shell& s, const std::string& v) { return set_switch(v, s.pager); },
     [](const Shell& s) { return std::string(name_of(s.pager)); }},
    {"prompt", "a text",
     [](Shell& s, const std::string& v) {
         s.prompt = v;
         return true;
     },
     [](const Shell& s) { return s.prompt; }},
    {"quote", "a character, of CSV",
     [](Shell& s, const std::string& v) { return set_mark(v, s.print.csv.quote); },
     [](const Shell& s) { return std::string(1, s.print.csv.quote); }},
    {"separator", "a text, of lists",
     [](Shell& s, const std::string& v) {
         s.print.separator = v;
         return true;
     },
     [](const Shell& s) { return s.print.separator; }},
    {"width", "of tables: columns, 0 for any, auto for the terminal's",
     [](Shell& s, const std::string& v) {
         const bool good = set_width(v, s.width);
         if (good) s.print.width = s.width.value_or(0);
         return good;
     },
     [](const Shell& s) { return s.width ? std::to_string(*s.width) : "auto"; }},
};

} // namespace

bool redirect(Shell& shell, const Call& call) {
    std::string_view words = call.arguments;
    const std::string target = words.starts_with('|') ? std::string(words) : take_word(words);
    if (const auto before = std::exchange(shell.redirected, nullptr)) before->close();
    if (!target.empty()) shell.redirected = std::make_unique<Output>(target);
    return words.empty() || target.starts_with('|');
}

bool tee(Shell& shell, const Call& call) {
    std::string_view words = call.arguments;
    const std::string path = take_word(words);
    if (path.empty())
        shell.standard.stop_copying();
    else
        shell.standard.copy_to(path);
    return words.empty();
}

bool echo(Shell& shell, const Call& call) {
    std::string text;
    for (std::string_view words = call.arguments; !words.empty();)
        text += (text.empty() ? "" : " ") + take_word(words);
    shell.rows().write(text + "\n");
    shell.rows().flush();
    return true;
}

bool set_format(Shell& shell, const Call& call) {
    const std::optional<Format> format = format_of(call.arguments);
    shell.print.format = format.value_or(shell.print.format);
    return format.has_value();
}

bool set_expanded(Shell& shell, const Call& call) {
    if (call.arguments.empty())
        shell.expanded = shell.expanded == Switch::off ? Switch::on : Switch::off;
    else if (!set_switch(call.arguments, shell.expanded))
        return false;
    note(shell.session,
         fmt::format("expanded is {}", switch_names[static_cast<std::size_t>(shell.expanded)]));
    return true;
}

bool set_print(Shell& shell, const Call& call) {
    std::string_view words = call.arguments;
    const std::string name = take_word(words);
    for (const Setting& setting : settings)
        if (name.empty())
            shell.rows().write(
                fmt::format("{:<10} {:<10} {}\n", setting.name, setting.shown(shell), setting.values));
        else if (setting.name == name && !words.empty())
            return setting.set(shell, take_word(words)) && words.empty();
        else if (setting.name == name)
            shell.rows().write(fmt::format("{} {}\n", name, setting.shown(shell)));
    shell.rows().flush();
    return name.empty() || std::ranges::find(settings, name, &Setting::name) != std::end(settings);
}

std::vector<std::string> print_setting_names() {
    std::vector<std::string> names;
    for (const Setting& setting : settings)
        names.emplace_back(setting.name);
    return names;
}

} // namespace tarnsh
