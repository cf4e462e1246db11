// The end-to-end client, run by end_to_end_peer: prints one line of JSON with the cost of the result. Exits
// with 1 when the values read are not the values sent.
//
//     end_to_end_client FORM ROWS COLUMNS PORT CHECKSUM REPLY-SIZE
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

#include "client.h"

namespace bench {

int64_t part_boundary() {
    timespec now;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return now.tv_sec * int64_t{1'000'000'000} + now.tv_nsec;
}

void fail(std::string_view what, std::string_view why) {
    std::fprintf(stderr, "%.*s: %.*s\n", static_cast<int>(what.size()), what.data(),
                 static_cast<int>(why.size()), why.data());
    std::exit(2);
}

} // namespace bench

using namespace bench;

static Costs measure_form(const Task& task) {
    if (task.form == "tarnsql") return measure_tarnsql(task);
    if (task.form == "tarnsql-encrypted") return measure_tarnsql_encrypted(task);
    if (task.form == "libpq-text") return measure_libpq_text(task);
    if (task.form == "libpq-binary") return measure_libpq_binary(task);
    if (task.form == "mariadb-text") return measure_mariadb_text(task);
    if (task.form == "mariadb-prepared") return measure_mariadb_prepared(task);
    fail("unknown form", task.form);
}

static void print(const Task& task, const Costs& costs, uint64_t reply_size) {
    const auto number = [](const char* name, auto value) {
        std::printf(", \"%s\": %lld", name, static_cast<long long>(value));
    };
    std::printf("{\"form\": \"%s\"", task.form.data());
    number("rows", task.rows);
    number("columns", task.kinds.size());
    number("wire_bytes", reply_size);
    number("cpu_ns", costs.receive_ns + costs.read_ns + costs.free_ns);
    number("receive_ns", costs.receive_ns);
    number("read_ns", costs.read_ns);
    number("free_ns", costs.free_ns);
    number("heap_bytes", costs.held.heap);
    number("resident_bytes", costs.held.resident);
    std::printf("}\n");
}

int main(int argc, char** argv) {
    if (argc != 7) fail("usage", "end_to_end_client FORM ROWS COLUMNS PORT CHECKSUM REPLY-SIZE");
    const Task task{argv[1], number_of<uint64_t>(argv[2]), kinds_of(argv[3]), number_of<uint16_t>(argv[4])};
    const Costs costs = measure_form(task);
    if (costs.checksum != number_of<uint64_t>(argv[5])) {
        std::fprintf(stderr, "%s: the values read are not the values sent\n", argv[1]);
        return 1;
    }
    print(task, costs, number_of<uint64_t>(argv[6]));
}
