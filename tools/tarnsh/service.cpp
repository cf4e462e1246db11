#include "service.h"

#include "failure.h"
#include "output.h"
#include "terminal.h"
#include "text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>

namespace tarnsh {

namespace {

std::string service_file() {
    const char* const path = std::getenv("TARNSH_SERVICE_FILE");
    return path && *path ? path : home_directory() + "/.tarnsh_service";
}

bool read_line(std::FILE* file, std::string& line) {
    line.clear();
    int c;
    while ((c = std::getc(file)) != EOF && c != '\n')
        line += static_cast<char>(c);
    return c != EOF || !line.empty();
}

bool is_password(const std::pair<std::string, std::string>& setting) {
    const std::string key = upper(setting.first);
    return key == "PASSWORD" || key == "PWD";
}

} // namespace

std::vector<std::pair<std::string, std::string>> read_service(const std::string& section) {
    const std::string path = service_file(), head = '[' + section + ']';
    const File file = open_to_read(path);
    std::vector<std::pair<std::string, std::string>> settings;
    bool inside = false, found = false;
    std::string text;
    for (std::size_t number = 1; read_line(file.get(), text); ++number) {
        const std::string_view line = trim(text);
        if (line.empty() || line[0] == '#' || line[0] == ';') continue;
        if (line[0] == '[') {
            inside = line == head;
            found = found || inside;
            continue;
        }
        const std::size_t equals = line.find('=');
        if (equals == line.npos || line.find(';') != line.npos)
            fail(exit_shell, fmt::format("{}:{}: this is not \"key = value\"", path, number));
        if (inside) settings.emplace_back(trim(line.substr(0, equals)), trim(line.substr(equals + 1)));
    }
    if (!found) fail(exit_shell, fmt::format("{} has no section {}", path, head));
    if (std::ranges::any_of(settings, is_password) && !is_private(file.get()))
        fail(exit_shell,
             path + " holds a password and can be read by others than its owner; change its permissions");
    return settings;
}

} // namespace tarnsh
