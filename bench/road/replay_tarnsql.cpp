// The reply as a TARNDBMS server sends it over the plain channel: column descriptions behind "A", each row
// behind "R", "K" at the end; every value is preceded by its length, -1 for a null.
#include "replay.h"
#include "tarnsql.h"

namespace road {

namespace {

constexpr uint32_t wire_types[kind_count] = {TRN_WIRE_INTEGER, TRN_WIRE_BIGINT, TRN_WIRE_DOUBLE,
                                             TRN_WIRE_CHAR,    TRN_WIRE_DATE,   TRN_WIRE_CHAR};

void put_frame(Replay& replay, const Table& table) {
    replay.answers = {"N0000K"};
    replay.head = "A";
    put_big_endian(replay.head, table.columns, 4);
    for (unsigned column = 0; column < table.columns; ++column) {
        put_sized_text(replay.head, "c" + std::to_string(column));
        put_big_endian(replay.head, wire_types[column % kind_count], 4);
        put_big_endian(replay.head, 0, 8); // modifier and flags
    }
    replay.tail = "K";
}

void put_row(std::string& to, std::span<const Cell> row, uint64_t) {
    to += "R";
    for (const Cell& cell : row)
        put_sized_cell(to, cell, std::chrono::sys_days());
}

} // namespace

const Protocol tarnsql_protocol = {"tarnsql", put_frame, put_row};

} // namespace road
