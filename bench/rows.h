// The rows that every client receives. They are made from a fixed seed and repeat in blocks, so that a long
// reply needs no more memory than a short one. Here too: such rows as a TARNDBMS server sends them.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "values.h"

namespace bench {

struct Null {};
using Cell = std::variant<Null, int32_t, int64_t, double, std::string, std::chrono::sys_days>;

struct Table {
    uint64_t rows;
    std::vector<Kind> kinds; // of the columns
    uint64_t block_rows;     // row i is row i % block_rows of the block
    std::vector<Cell> cells; // of the block, row by row

    size_t columns() const { return kinds.size(); }
    std::span<const Cell> row(uint64_t index) const {
        return std::span(cells).subspan(index % block_rows * columns(), columns());
    }
};

Table make_table(uint64_t rows, std::vector<Kind> kinds);

void add_cell(Checksum& sum, const Cell& cell);
uint64_t checksum_of(const Table& table); // of all values

// As a server writes it in a reply of texts; nothing for a null.
std::optional<std::string> text_of(const Cell& cell);

// A length of 32 bits, -1 for a null, and the value, most significant byte first. Days are counted from
// day_zero.
void put_counted_cell(std::string& to, const Cell& cell, std::chrono::sys_days day_zero);

// The head of a result, up to its first row; and one row. "K" ends the result.
std::string tarnsql_head(const std::vector<Kind>& kinds);
void put_tarnsql_row(std::string& to, std::span<const Cell> row);

// A whole result.
std::string tarnsql_reply(const Table& table);

} // namespace bench
