// Parallel connections: 1 thread, one per processor, and 64, each with its own connection, together receive
// the same number of rows. The peer is another process on the same processors, so rows per second cannot
// scale with all of them; but the CPU time per row in the client's threads must stay level if connections
// share nothing.
#include <algorithm>
#include <atomic>
#include <thread>

#include <sys/resource.h>

#include "measure.h"
#include "peer.h"

using namespace bench;

namespace {

constexpr int64_t rows_in_reply = 20000;

std::string build_reply() {
    Random random;
    std::string reply =
        result_head({TRN_WIRE_INTEGER, TRN_WIRE_BIGINT, TRN_WIRE_DOUBLE, TRN_WIRE_CHAR, TRN_WIRE_DATE});
    for (int64_t row = 0; row < rows_in_reply; ++row) {
        reply += 'R';
        put_u32(reply, 4);
        put_u32(reply, static_cast<uint64_t>(row));
        for (int wide = 0; wide < 2; ++wide) {
            put_u32(reply, 8);
            put_u64(reply, random.next());
        }
        put_counted(reply, random.letters(20));
        put_u32(reply, 4);
        put_u32(reply, random.next() % 20000);
    }
    return reply + 'K';
}

// Receives the reply that many times; returns the sum of the first column.
int64_t receive_replies(TRN_HANDLE* conn, int replies) {
    int64_t sum = 0;
    for (int i = 0; i < replies; ++i) {
        TRN_HANDLE result = nullptr;
        TRN_ExecwithDataReader(conn, "0", &result, nullptr, nullptr, nullptr);
        while (TRN_ReadNext(&result) == TRN_OK) {
            int32_t number = 0;
            TRN_GetData(&result, 1, TRN_TYPE_INTEGER, &number, sizeof number, nullptr);
            sum += number;
        }
        TRN_FreeRowset(&result);
    }
    return sum;
}

double cpu_seconds_of_process() {
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

struct Spent {
    double wall, cpu;
};

Spent receive_in_threads(const Peer& peer, int threads, int replies) {
    std::vector<TRN_HANDLE> conns;
    for (int i = 0; i < threads; ++i)
        conns.push_back(peer.open());
    std::atomic<int64_t> sum = 0;
    const double start = wall_seconds(), cpu = cpu_seconds_of_process();
    std::vector<std::thread> running;
    for (TRN_HANDLE& conn : conns)
        running.emplace_back([&] { sum += receive_replies(&conn, replies / threads); });
    for (std::thread& thread : running)
        thread.join();
    const Spent spent{wall_seconds() - start, cpu_seconds_of_process() - cpu};
    check(sum == replies / threads * threads * (rows_in_reply * (rows_in_reply - 1) / 2), "rows are missing");
    for (TRN_HANDLE& conn : conns)
        TRN_CloseConn(&conn);
    return spent;
}

} // namespace

int main(int argc, char** argv) {
    const Options options = parse_options(argc, argv);
    const int cores = static_cast<int>(std::max(std::thread::hardware_concurrency(), 1U));
    const int most = 64;
    const int replies = options.quick ? most : 4 * most;
    const Peer peer([] { return replay({build_reply()}); }, Peer::any_cpu, most);

    std::vector<int> counts{1, cores, most};
    std::vector<double> cpus(counts.size());
    std::vector<Measurement> measurements;
    for (size_t i = 0; i < counts.size(); ++i) {
        measurements.push_back([&, i] {
            const Spent spent = receive_in_threads(peer, counts[i], replies);
            cpus[i] = spent.cpu;
            return spent.wall;
        });
        measurements.push_back([&, i] { return cpus[i]; });
    }
    const std::vector<double> seconds = medians(options.quick ? 1 : 7, measurements);

    Figures figures;
    figures.add("threads/cores", cores, "processors");
    for (size_t i = 0; i < counts.size(); ++i) {
        const std::string name = "threads/" + std::to_string(counts[i]);
        const double rows = static_cast<double>(replies / counts[i] * counts[i] * rows_in_reply);
        figures.add(name + "/rate", rows / seconds[2 * i], "rows/s");
        figures.add(name + "/cpu", seconds[2 * i + 1] / rows * 1e9, "ns/row");
        if (i == 0) continue;
        figures.add(name + "/scaling", seconds[0] / seconds[2 * i] / std::min(counts[i], cores),
                    "of the processors");
        figures.add(name + "/cpu_ratio", seconds[2 * i + 1] / seconds[1], "of one thread");
    }
    figures.report(options);
}
