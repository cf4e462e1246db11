// The rows of a batch. The first is sent as the command's parameter entries; the others follow in blocks,
// each a u32 length and that many bytes of whole rows. A value of such a row is
//
//   u8 wire type    absent in protocol 201: it is that of the first row
//   i32 length, value
//
// Rows are read on demand, and only one is held at a time.
#pragma once

#include "parameters.h"
#include "transport.h"

#include <cstddef>
#include <cstdint>

namespace tarnlite {

class BatchRows {
  public:
    BatchRows(Transport& transport, Parameters first, std::size_t count, bool typed)
        : transport_(transport), row_(std::move(first)), left_(count), typed_(typed) {}

    const Parameters& row() const { return row_; }
    // Moves to the next row; false when there is none. Throws ProtocolError for a row that cannot be read.
    bool next();

  private:
    void read_row();
    void read_value(Parameter& parameter, std::uint64_t& allowance);
    // Reads bytes of the current row; they must be inside the block.
    void take_from_block(std::size_t count);

    Transport& transport_;
    Parameters row_;
    std::size_t left_; // rows, including the current one
    bool typed_;
    std::uint32_t block_left_ = 0;
};

} // namespace tarnlite
