#include "measure.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <fcntl.h>
#include <malloc.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bench {

Options parse_options(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--quick") == 0)
            options.quick = true;
        else if (std::strcmp(argv[i], "--json") == 0 && i + 1 < argc)
            options.json = argv[++i];
        else
            check(false, "the arguments are [--quick] [--json FILE]");
    }
    return options;
}

void check(bool good, const char* what) {
    if (good) return;
    std::fprintf(stderr, "benchmark failed: %s\n", what);
    std::exit(1);
}

static double seconds_of(clockid_t clock) {
    timespec now;
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

double wall_seconds() {
    return seconds_of(CLOCK_MONOTONIC);
}
double process_cpu_seconds() {
    return seconds_of(CLOCK_PROCESS_CPUTIME_ID);
}
double thread_cpu_seconds() {
    return seconds_of(CLOCK_THREAD_CPUTIME_ID);
}

// The kernel counts the pages for this file; its cheaper counters lag behind. Read without using the heap,
// which would change what is measured.
static int64_t resident_bytes() {
    char text[4096];
    const int file = open("/proc/self/smaps_rollup", O_RDONLY | O_CLOEXEC);
    const ssize_t size = file < 0 ? -1 : read(file, text, sizeof text - 1);
    check(size > 0, "the resident memory is not told");
    close(file);
    text[size] = '\0';
    const char* const line = std::strstr(text, "\nAnonymous:");
    check(line, "the resident memory is not told");
    return std::strtoll(line + std::strlen("\nAnonymous:"), nullptr, 10) * 1024;
}

Memory memory_in_use() {
    const struct mallinfo2 heap = mallinfo2();
    return {static_cast<int64_t>(heap.uordblks + heap.hblkhd), resident_bytes()};
}

void pin_to_cpu(int cpu) {
    cpu_set_t cpus;
    CPU_ZERO(&cpus);
    CPU_SET(static_cast<size_t>(cpu), &cpus);
    sched_setaffinity(0, sizeof cpus, &cpus);
}

static double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

std::vector<double> medians(int rounds, const std::vector<Measurement>& measurements) {
    std::vector<std::vector<double>> measured(measurements.size());
    for (int round = 0; round <= rounds; ++round)
        for (size_t i = 0; i < measurements.size(); ++i) {
            const double value = measurements[i]();
            if (round > 0) measured[i].push_back(value);
        }
    std::vector<double> results;
    for (const std::vector<double>& values : measured)
        results.push_back(median(values));
    return results;
}

double in_own_process(const Measurement& measurement) {
    int ends[2];
    check(pipe(ends) == 0, "no pipe");
    const pid_t process = fork();
    check(process >= 0, "no process");
    if (process == 0) {
        const double value = measurement();
        _exit(write(ends[1], &value, sizeof value) == sizeof value ? 0 : 1);
    }
    close(ends[1]);
    double value = 0;
    const bool measured = read(ends[0], &value, sizeof value) == sizeof value;
    close(ends[0]);
    waitpid(process, nullptr, 0);
    check(measured, "a process did not end well");
    return value;
}

// Increments and mixes: each multiplication spreads the low bits, each shift brings the high ones back.
uint64_t Random::next() {
    state_ += 0x9E3779B97F4A7C15U;
    uint64_t value = state_;
    value = (value ^ value >> 32) * 0xD6E8FEB86659FD93U;
    value = (value ^ value >> 32) * 0xD6E8FEB86659FD93U;
    return value ^ value >> 32;
}

int64_t Random::between(int64_t low, int64_t high) {
    const uint64_t span = static_cast<uint64_t>(high) - static_cast<uint64_t>(low) + 1;
    return static_cast<int64_t>(static_cast<uint64_t>(low) + (span ? next() % span : next()));
}

std::string Random::letters(size_t size) {
    std::string text(size, ' ');
    for (char& c : text)
        c = static_cast<char>('a' + next() % 26);
    return text;
}

void Figures::add(const std::string& name, double figure, const char* unit) {
    figures_.push_back({name, figure, unit});
}

void Figures::report(const Options& options) const {
    for (const auto& [name, figure, unit] : figures_)
        std::printf("%-44s %14.4g %s\n", name.c_str(), figure, unit.c_str());
    if (!options.json) return;
    std::FILE* file = std::fopen(options.json, "w");
    check(file, "the JSON file cannot be written");
    std::fprintf(file, "{\"benchmarks\": [");
    const char* separator = "\n";
    for (const auto& [name, figure, unit] : figures_) {
        std::fprintf(file, "%s  {\"name\": \"%s\", \"figure\": %.9g, \"unit\": \"%s\"}", separator,
                     name.c_str(), figure, unit.c_str());
        separator = ",\n";
    }
    std::fprintf(file, "\n]}\n");
    check(std::fclose(file) == 0, "the JSON file cannot be written");
}

} // namespace bench
