#include "progress.h"

#include "terminal.h"
#include "text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>

namespace tarnsh {

namespace {

constexpr double bar_width = 24;

std::string bar(double part) {
    const auto filled = static_cast<std::size_t>(std::lround(part * bar_width));
    return std::string(filled, '#') + std::string(static_cast<std::size_t>(bar_width) - filled, '.');
}

// A duration as "1:05", "2:00:00".
std::string clock_text(double seconds) {
    const auto whole = static_cast<std::int64_t>(std::ceil(seconds));
    if (whole < 3600) return fmt::format("{}:{:02}", whole / 60, whole % 60);
    return fmt::format("{}:{:02}:{:02}", whole / 3600, whole / 60 % 60, whole % 60);
}

} // namespace

Progress::Progress(std::uintmax_t total, bool quiet)
    : total_(total), visible_(!quiet && is_terminal(stderr)) {}

void Progress::erase() {
    if (shown_ > 0) fmt::print(stderr, "\r{:{}}\r", "", shown_);
    shown_ = 0;
}

double Progress::seconds() const {
    return std::chrono::duration<double>(Clock::now() - start_).count();
}

void Progress::show(std::uintmax_t done, std::int64_t rows) {
    const auto now = Clock::now();
    if (!visible_ || (shown_ > 0 && now - last_ < std::chrono::milliseconds(100))) return;
    last_ = now;
    const double passed = std::max(seconds(), 1e-3);
    const auto rate = static_cast<std::int64_t>(static_cast<double>(rows) / passed);
    std::string line;
    if (total_ > 0) {
        const double part = std::min(1.0, static_cast<double>(done) / static_cast<double>(total_));
        line = fmt::format("[{}] {:3.0f}%  ", bar(part), part * 100);
    }
    line += fmt::format("{}  {} rows/s", counted(rows, "row"), grouped(rate));
    if (total_ > 0 && done > 0) {
        const double left =
            passed * static_cast<double>(total_ - std::min(done, total_)) / static_cast<double>(done);
        line += fmt::format("  {} left", clock_text(left));
    }
    fmt::print(stderr, "\r{:{}}", line, shown_);
    shown_ = std::max(shown_, line.size());
    std::fflush(stderr);
}

} // namespace tarnsh
