// Interactive output: rows that fit the screen are shown directly, more go to a pager.
#pragma once

#include "output.h"

#include <memory>
#include <string>

namespace tarnsh {

// TARNSH_PAGER, PAGER, or "less -S"; empty when there is none.
std::string pager_command();

class Pager final : public Output {
  public:
    Pager(std::string command, Output& screen);

    void flush() override {} // whether the rows fit is known at their end
    void close() override;

  private:
    void write_out() override;
    bool fits() const;

    std::string command_;
    Output& screen_;
    std::unique_ptr<Output> program_;
};

} // namespace tarnsh
