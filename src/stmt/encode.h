// Parameters on the wire: the entries that follow a command frame, and the blocks of a batch.
//
// An entry is a 16-bit name length, the name, a 16-bit direction, a 16-bit wire type, a 32-bit value length
// and the value. Return-value slots are not sent. A block is a 32-bit length and the values of whole rows.
#pragma once

#include "conn/conn.h"
#include "stmt/param_array.h"
#include "stmt/param_set.h"
#include "stmt/row_blocks.h"

namespace tarn {

// The number of entries that a set sends.
uint32_t entry_count(const ParamSet& set) noexcept;

// Checks that the set fits its fields on the wire when sent as single values: the number of entries and name
// lengths have 16 bits, the length of a large object 32. TRN_OK or TRN_ERR_ARGUMENT.
int32_t check_entries(const ParamSet& set) noexcept;

// The same for the rows of a batch: the length of a block has 32 bits, and each row is in one block. Also
// TRN_ERR_MEMORY.
int32_t check_rows(const ParamSet& set) noexcept;

// Writes the entries of single values. An array-bound set writes none: arrays are sent only in batches.
// -1 when a binary large object could not be sent: the entries after it were not written.
int32_t encode_params(Channel& channel, const ParamSet& set) noexcept;

// Encodes the rows of an array-bound set. Made before the command is written, so that a lack of memory is
// noticed before anything is sent.
class BatchEncoder {
  public:
    BatchEncoder(Conn& conn, const ParamSet& set) noexcept;
    bool ready() const noexcept { return columns_ && blocks_.ready(); }

    // Writes the next rows, the first as entries and the others in blocks. If memory runs out on the way the
    // link is closed.
    void encode(int32_t rows) noexcept;

  private:
    void put_row() noexcept;
    bool stage_rows(int32_t end) noexcept;
    ArrayColumn* stage_short_runs(Staging& at, int32_t row) noexcept;
    bool stage_value(Staging& at, ArrayColumn& column, int32_t row) noexcept;
    template <class T> bool stage_number(Staging& at, ArrayColumn& column, int32_t length) noexcept;
    bool stage_whole(Staging& at, ArrayColumn& column, int32_t length) noexcept;
    bool stage_bytes(Staging& at, ArrayColumn& column, int32_t length) noexcept;
    bool stage_run(Staging& at, const ArrayColumn& column, const uint8_t* bytes, size_t size) noexcept;
    bool stage_empty(Staging& at, const ArrayColumn& column) noexcept;

    Channel& channel_;
    const ParamSet& set_;
    Owned<ArrayColumn[]> columns_; // positioned at the row's elements, one per slot
    RowBlocks blocks_;
    int32_t short_columns_ = 0; // those that stage_short_runs handles
    int32_t row_ = 0;           // the next one
};

} // namespace tarn
