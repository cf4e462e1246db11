// The cost of a result apart from receiving it: the memory of a small one, and the time to read few of its
// columns.
#include <algorithm>

#include "measure.h"
#include "peer.h"
#include "read_values.h"
#include "rows.h"

using namespace bench;

namespace {

constexpr int32_t wide = 100; // columns

// The numbers of the replies.
constexpr const char* small_result = "0";
constexpr const char* wide_result = "1";

TRN_HANDLE query(TRN_HANDLE* conn, const char* reply, uint64_t rows) {
    TRN_HANDLE result = nullptr;
    int64_t received = 0;
    check(TRN_ExecwithDataReader(conn, reply, &result, nullptr, &received, nullptr) >= 0 &&
              received == static_cast<int64_t>(rows),
          "the rows did not arrive");
    return result;
}

// Everything that a query with one row leaves allocated. Many results are held at once: after the first ones
// the allocator has no free blocks left, which it would reuse without counting them.
double measure_small_result(const Peer& peer) {
    constexpr size_t settled = 100, counted = 1000;
    TRN_HANDLE conn = peer.open();
    std::vector<TRN_HANDLE> results(settled + counted);
    Memory before{};
    for (size_t i = 0; i < results.size(); ++i) {
        if (i == settled) before = memory_in_use();
        results[i] = query(&conn, small_result, 1);
    }
    const Memory held = memory_in_use() - before;
    for (TRN_HANDLE& result : results)
        TRN_FreeRowset(&result);
    TRN_CloseConn(&conn);
    return static_cast<double>(std::max(held.heap, held.resident)) / counted;
}

// Reads these columns of every row; returns the seconds spent reading.
double read_columns(TRN_HANDLE* conn, const Table& table, const std::vector<int32_t>& columns) {
    TRN_HANDLE result = query(conn, wide_result, table.rows);
    Checksum sum, expected;
    const double start = process_cpu_seconds();
    while (TRN_ReadNext(&result) == TRN_OK)
        for (const int32_t column : columns)
            add_value(sum, &result, table.kinds[static_cast<size_t>(column - 1)], column);
    const double spent = process_cpu_seconds() - start;
    TRN_FreeRowset(&result);
    for (uint64_t row = 0; row < table.rows; ++row)
        for (const int32_t column : columns)
            add_cell(expected, table.row(row)[static_cast<size_t>(column - 1)]);
    check(sum.value() == expected.value(), "the values read are not the values sent");
    return spent;
}

} // namespace

int main(int argc, char** argv) {
    const Options options = parse_options(argc, argv);
    std::vector<Kind> kinds;
    std::vector<int32_t> all;
    for (int32_t column = 1; column <= wide; ++column) {
        kinds.push_back(kinds_of(six_columns)[static_cast<size_t>(column - 1) % six_columns.size()]);
        all.push_back(column);
    }
    const Table table = make_table(options.quick ? 1000 : 40000, kinds);
    const Peer peer([&] {
        return replay({tarnsql_reply(make_table(1, kinds_of(six_columns))), tarnsql_reply(table)});
    });
    pin_to_cpu(0);

    Figures figures;
    figures.add("result/one_row_of_6_columns", measure_small_result(peer), "bytes");

    TRN_HANDLE conn = peer.open();
    const auto reading = [&](std::vector<int32_t> columns) {
        return [&, columns] { return read_columns(&conn, table, columns); };
    };
    const std::vector<double> seconds =
        medians(options.quick ? 1 : 9, {reading(all), reading({1, 3}), reading({1, wide}), reading({})});
    TRN_CloseConn(&conn);
    const auto add = [&](const std::string& name, double spent) {
        figures.add("result/" + name, spent / static_cast<double>(table.rows) * 1e9, "ns/row");
        figures.add("result/" + name + "/ratio", spent / seconds[0], "of reading all");
    };
    figures.add("result/read_100_of_100", seconds[0] / static_cast<double>(table.rows) * 1e9, "ns/row");
    add("read_1_and_3_of_100", seconds[1]);
    add("read_1_and_100_of_100", seconds[2]);
    add("read_none_of_100", seconds[3]);
    figures.report(options);
}
