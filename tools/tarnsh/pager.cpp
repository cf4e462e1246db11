#include "pager.h"

#include "terminal.h"
#include "text.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <utility>

namespace tarnsh {

std::string pager_command() {
    for (const char* const name : {"TARNSH_PAGER", "PAGER"})
        if (const char* const command = std::getenv(name))
            return std::string_view(command) == "less" ? "less -S" : command;
    return has_program("less") ? "less -S" : has_program("more") ? "more" : "";
}

Pager::Pager(std::string command, Output& screen) : command_(std::move(command)), screen_(screen) {}

bool Pager::fits() const {
    const TerminalSize size = terminal_size();
    std::size_t rows = 0;
    for (std::string_view rest = text_; !rest.empty(); ++rows) {
        const std::string_view line = rest.substr(0, rest.find('\n'));
        if (rows + 2 >= size.rows || text_width(line) > size.columns) return false;
        rest.remove_prefix(std::min(rest.size(), line.size() + 1));
    }
    return true;
}

// What does not fit the buffer does not fit the screen.
void Pager::write_out() {
    screen_.log(text_);
    if (!program_) program_ = std::make_unique<Output>("|" + command_);
    program_->write(text_);
    text_.clear();
}

void Pager::close() {
    if (!program_ && fits()) {
        screen_.write(text_);
        text_.clear();
        screen_.flush();
        return;
    }
    write_out();
    program_->close();
}

} // namespace tarnsh
