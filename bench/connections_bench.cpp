// Opening and closing connections, thousands of times: memory and open files of the process must not grow
// between the hundredth cycle and the last; also the time of a cycle, plain and encrypted.
#include <filesystem>
#include <iterator>

#include "measure.h"
#include "peer.h"

using namespace bench;

namespace {

struct Held {
    Memory memory;
    int64_t files;
};

Held held_now() {
    const std::filesystem::directory_iterator files("/proc/self/fd");
    return {memory_in_use(), std::distance(begin(files), end(files))};
}

void cycle(const Peer& peer, const char* keys, int times) {
    for (int i = 0; i < times; ++i) {
        TRN_HANDLE conn = peer.open(keys);
        check(TRN_CloseConn(&conn) == TRN_OK && !conn, "a connection cannot be closed");
    }
}

// True when nothing has grown.
bool measure(Figures& figures, const Peer& peer, const char* name, const char* keys, int cycles) {
    constexpr int settled = 100;
    held_now(); // the first measurement itself takes memory
    cycle(peer, keys, settled);
    const Held before = held_now();
    const double cpu = process_cpu_seconds(), start = wall_seconds();
    cycle(peer, keys, cycles - settled);
    const double wall = wall_seconds() - start, spent = process_cpu_seconds() - cpu;
    const Held after = held_now();
    const Memory grown = after.memory - before.memory;

    const auto add = [&](const char* what, double figure, const char* unit) {
        figures.add(std::string("connections/") + name + "/" + what, figure, unit);
    };
    add("cycles", cycles, "cycles");
    add("resident_growth", static_cast<double>(grown.resident) / 1024, "kB");
    add("heap_growth", static_cast<double>(grown.heap), "bytes");
    add("file_growth", static_cast<double>(after.files - before.files), "files");
    add("cycle", wall / (cycles - settled) * 1e6, "us");
    add("cycle_cpu", spent / (cycles - settled) * 1e6, "us");
    // A page or two may still be touched for the first time; a leak of one byte per cycle shows in the heap.
    return grown.heap <= 0 && after.files == before.files && grown.resident <= 64 * 1024;
}

} // namespace

int main(int argc, char** argv) {
    const Options options = parse_options(argc, argv);
    const int cycles = options.quick ? 2000 : 10000;
    // A connection that is not really closed keeps one of the peer's servers busy, and must not stop the next
    // ones.
    const Peer peer([] { return replay({}); }, 1, 64);
    pin_to_cpu(0);
    Figures figures;
    bool steady = measure(figures, peer, "plain", "", cycles);
    steady = measure(figures, peer, "encrypted", ";use_ssl=on", cycles / 10) && steady;
    figures.report(options);
    check(steady, "memory or files have grown");
}
