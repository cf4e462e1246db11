// The rows that every form of the reply carries. They are made from a fixed seed and repeat in blocks, so that
// a long reply needs no more memory than a short one.
#ifndef TARNSQL_BENCH_ROAD_ROWS_H
#define TARNSQL_BENCH_ROAD_ROWS_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "values.h"

namespace road {

struct Null {};
using Cell = std::variant<Null, int32_t, int64_t, double, std::string, std::chrono::sys_days>;

struct Table {
    uint64_t rows;
    unsigned columns;
    uint64_t block_rows;     // row i is row i % block_rows of the block
    std::vector<Cell> cells; // of the block, row by row

    std::span<const Cell> row(uint64_t index) const {
        return std::span(cells).subspan(index % block_rows * columns, columns);
    }
};

Table make_table(uint64_t rows, unsigned columns);

uint64_t checksum_of(const Table& table);

Date date_of(std::chrono::sys_days day);

// As a server writes it in a reply of texts; nothing for a null.
std::optional<std::string> text_of(const Cell& cell);

} // namespace road

#endif
