#include "library_lines.h"

#include "tarnsql_ext.h"
#include "text.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <utility>

namespace tarnsh {

namespace {

std::string caught; // the lines of the current call: all calls are made on one thread

void take_line(void*, std::int32_t kind, const char* line) {
    if (kind == TRNX_LINE_PRINTED)
        caught.append(line).append("\n");
    else
        fmt::print(stderr, "{}\n", line); // the protocol trace, which was asked for
}

enum class LineKind {
    error,
    warning,
    message,
    network,
    none,
};

struct LineStart {
    std::string_view text;
    LineKind kind;
};

constexpr LineStart line_starts[] = {
    {"Server Error ", LineKind::error},     {"[EC031]Error in recv result :", LineKind::error},
    {"Server Warning ", LineKind::warning}, {"[EC032]Server Warning in recv result :", LineKind::warning},
    {"Server Message ", LineKind::message}, {"Net Error ", LineKind::network}};

LineStart start_of(std::string_view line) {
    for (const LineStart& start : line_starts)
        if (line.starts_with(start.text)) return start;
    return {"", LineKind::none};
}

void finish_line(Session& session, LineKind kind, std::string_view text, Printed& printed) {
    text = trim(text);
    if (kind == LineKind::error) {
        if (!printed.error.empty()) printed.error += '\n';
        printed.error += text;
    } else if (kind == LineKind::network) {
        printed.lost = true;
        printed.network = text;
    } else if (!text.empty()) {
        printed.warned = printed.warned || kind != LineKind::none;
        if (!session.silent)
            say(fmt::format("{}: {}", kind == LineKind::warning ? "warning" : "notice", text));
    }
}

} // namespace

// A text of the server may hold line feeds: a line without a known start continues the one before.
Printed take_printed(Session& session) {
    Printed printed;
    const std::string all = std::exchange(caught, "");
    std::string text;
    LineKind kind = LineKind::none;
    for (std::string_view rest = all; !rest.empty();) {
        const std::string_view line = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(std::min(rest.size(), line.size() + 1));
        const LineStart start = start_of(line);
        if (start.kind != LineKind::none) {
            finish_line(session, kind, text, printed);
            kind = start.kind;
            text.clear();
        } else {
            text += '\n';
        }
        text += line.substr(start.text.size());
    }
    finish_line(session, kind, text, printed);
    return printed;
}

void catch_library_lines() {
    TRNX_SetTrace(take_line, nullptr);
}

void drop_library_lines() {
    caught.clear();
}

} // namespace tarnsh
