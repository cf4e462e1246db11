// What the benchmark programs share: clocks, the processor a process runs on, repeated measurements and their
// medians, and the figures, printed as a table and written as JSON.
//
// Every program takes --quick (small amounts, to see that it works) and --json FILE, and ends with status 1
// when what it measured went wrong.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace bench {

struct Options {
    bool quick = false;
    const char* json = nullptr;
};

Options parse_options(int argc, char** argv);

// Ends the program with status 1 unless all is well.
void check(bool good, const char* what);

double wall_seconds();
double process_cpu_seconds(); // of all threads, in user and kernel mode
double thread_cpu_seconds();

// Memory that the process holds, in bytes: what the allocator has handed out, and what is resident, pages of
// files left out. Memory taken from the system directly shows in the second only; memory of the heap that has
// not been touched shows in the first only.
struct Memory {
    int64_t heap;
    int64_t resident;

    Memory operator-(const Memory& other) const { return {heap - other.heap, resident - other.resident}; }
};
Memory memory_in_use();

// Keeps the process on one processor; nothing happens where there is none of that number.
void pin_to_cpu(int cpu);

// One measurement: it prepares, and returns what it measured.
using Measurement = std::function<double()>;

// Takes the measurements in turn, so that what disturbs the machine disturbs all of them, and gives the
// median of each. The first round is not counted.
std::vector<double> medians(int rounds, const std::vector<Measurement>& measurements);

// The same measurement in a process made for it: the allocator has no memory left over from earlier work.
double in_own_process(const Measurement& measurement);

// Numbers and texts that are the same on every run.
class Random {
  public:
    uint64_t next();
    int64_t between(int64_t low, int64_t high); // both included
    std::string letters(size_t size);

  private:
    uint64_t state_ = 20240229;
};

class Figures {
  public:
    void add(const std::string& name, double figure, const char* unit);
    // Prints the table, and writes the file when the options name one.
    void report(const Options& options) const;

  private:
    struct Figure {
        std::string name;
        double figure;
        std::string unit;
    };
    std::vector<Figure> figures_;
};

} // namespace bench
