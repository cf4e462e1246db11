// Shared by the benchmark programs: clocks, CPU affinity, repeated measurements and their medians, and the
// figures, printed as a table and written as JSON.
//
// Every program takes --quick (small amounts, to see that it works) and --json FILE, and exits with status 1
// when something went wrong.
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

// Exits with status 1 unless the condition holds.
void check(bool good, const char* what);

double wall_seconds();
double process_cpu_seconds(); // of all threads, in user and kernel mode
double thread_cpu_seconds();

// Memory of the process in bytes: what the allocator has handed out, and what is resident, without file
// pages. Memory taken from the system directly shows only in the second; untouched heap memory only in the
// first.
struct Memory {
    int64_t heap;
    int64_t resident;

    Memory operator-(const Memory& other) const { return {heap - other.heap, resident - other.resident}; }
};
Memory memory_in_use();

// Pins the process to one processor; does nothing if there is none of that number.
void pin_to_cpu(int cpu);

// One measurement: prepares, and returns the figure.
using Measurement = std::function<double()>;

// Runs the measurements in turn, so that disturbances of the machine affect all of them, and returns the
// median of each. The first round is not counted.
std::vector<double> medians(int rounds, const std::vector<Measurement>& measurements);

// The same measurement in a new process, where the allocator has no memory left over from earlier work.
double in_own_process(const Measurement& measurement);

// Numbers and texts that are the same on every run.
class Random {
  public:
    uint64_t next();
    int64_t between(int64_t low, int64_t high); // inclusive
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
