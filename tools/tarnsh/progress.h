// The progress of a copy, on one line of a terminal on standard error; nothing is shown elsewhere.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace tarnsh {

class Progress {
  public:
    // total in the unit of done; 0 when it is not known.
    Progress(std::uintmax_t total, bool quiet);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress() { erase(); }

    void show(std::uintmax_t done, std::int64_t rows);
    void erase();
    double seconds() const;

  private:
    using Clock = std::chrono::steady_clock;

    std::uintmax_t total_;
    bool visible_;
    std::size_t shown_ = 0; // characters on the line
    Clock::time_point start_ = Clock::now(), last_{};
};

} // namespace tarnsh
