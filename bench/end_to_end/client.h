// The end-to-end client, shared by its readers: one function for each form, which connects, runs the query,
// receives the whole result, reads every value, releases the result, and reports the cost of each part.
//
// Measures the CPU time of the process, user and system, from before the query is sent until the result is
// released. Connecting, preparing a statement and closing the connection do not count.
#pragma once

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "measure.h"
#include "values.h"

namespace bench {

struct Task {
    std::string_view form;
    uint64_t rows;
    std::vector<Kind> kinds; // of the columns
    uint16_t port;
};

struct Costs {
    int64_t receive_ns;
    int64_t read_ns;
    int64_t free_ns;
    Memory held; // growth, once everything is received
    uint64_t checksum;
};

Costs measure_tarnsql(const Task& task);
Costs measure_tarnsql_encrypted(const Task& task);
Costs measure_libpq_text(const Task& task);
Costs measure_libpq_binary(const Task& task);
Costs measure_mariadb_text(const Task& task);
Costs measure_mariadb_prepared(const Task& task);

// CPU time of the process. A function of its own so that a profiler can divide its counts where it is called.
[[gnu::noinline]] int64_t part_boundary();

// Ends the program.
[[noreturn]] void fail(std::string_view what, std::string_view why);

template <class Number> Number number_of(std::string_view text) {
    Number number{};
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (stop != end || error != std::errc()) fail("not a number", text);
    return number;
}

// "YYYY-MM-DD"
inline Date date_of_text(const char* text) {
    const auto digit = [text](int i) { return static_cast<unsigned>(text[i] - '0'); };
    const unsigned year = digit(0) * 1000 + digit(1) * 100 + digit(2) * 10 + digit(3);
    return {static_cast<int>(year), digit(5) * 10 + digit(6), digit(8) * 10 + digit(9)};
}

// A value as returned by libraries that return texts.
inline void add_text_of(Checksum& sum, Kind kind, const char* text, size_t size) {
    switch (kind) {
    case Kind::integer: return sum.add_integer(number_of<int32_t>({text, size}));
    case Kind::bigint: return sum.add_integer(number_of<int64_t>({text, size}));
    case Kind::real: return sum.add_real(number_of<double>({text, size}));
    case Kind::date: return sum.add_date(date_of_text(text));
    case Kind::text:
    case Kind::short_text:
    case Kind::nullable_text: return sum.add_text({text, size});
    }
}

// The reader is connected; it has receive(), read(sum) and release().
template <class Reader> Costs measure(Reader& reader) {
    Costs costs{};
    Checksum sum;
    const Memory before = memory_in_use();
    const int64_t start = part_boundary();
    reader.receive();
    const int64_t received = part_boundary();
    costs.held = memory_in_use() - before;
    const int64_t reading = part_boundary();
    reader.read(sum);
    const int64_t read = part_boundary();
    reader.release();
    const int64_t released = part_boundary();
    costs.receive_ns = received - start;
    costs.read_ns = read - reading;
    costs.free_ns = released - read;
    costs.checksum = sum.value();
    return costs;
}

} // namespace bench
