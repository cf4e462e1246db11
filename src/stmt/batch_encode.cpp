// The rows of a batch: the first as entries straight into the send buffer, the others staged and sent in
// blocks of whole rows.
#include <algorithm>
#include <cstring>

#include "base/bytes.h"
#include "stmt/encode.h"
#include "stmt/param_array.h"
#include "stmt/put_value.h"
#include "wire/send.h"

namespace tarn {

static constexpr size_t staging_size = 512000;
static constexpr size_t staging_reserve = 64000; // a row that reaches it ends its block
static constexpr int32_t most_short_columns = staging_reserve / (value_head_size + short_run);

// Whether every row has an element that ends with a value of the row's length. The bind has checked that all
// of them can be read; for types with an element size fewer bytes may have been copied.
static bool is_whole(const ArrayColumn& column, int32_t rows) noexcept {
    const bool ends_with_value = (column.step == Step::length && column.skip == 0) ||
                                 (column.step == Step::length_and_4 && column.skip == 4);
    return ends_with_value && column.form == ValueForm::bytes && column.element_size == 0 &&
           column.rows >= rows;
}

BatchEncoder::BatchEncoder(Conn& conn, const ParamSet& set) noexcept
    : channel_(conn.channel), set_(set),
      columns_(allocate_array<ArrayColumn>(static_cast<size_t>(set.count) + 1)),
      blocks_(conn, staging_size, staging_reserve) {
    for (int32_t i = 0; columns_ && i < set.count; ++i) {
        ArrayColumn& column = columns_[static_cast<size_t>(i)];
        column = array_column(set.slots[i]);
        column.whole = is_whole(column, set.array_size);
        if (column.end - column.element >= static_cast<ptrdiff_t>(short_run))
            column.last_run = column.end - short_run;
        if (blocks_.type_size() == 1 && column.whole && i == short_columns_ && i < most_short_columns)
            ++short_columns_;
    }
}

// Returns the current element, whose length may be wrong, and moves to the next.
static inline BoundValue take_element(ArrayColumn& column, int32_t length) noexcept {
    const uint8_t* bytes = column.element + column.skip;
    const int64_t readable = std::max<int64_t>(column.end - bytes, 0);
    column.element += std::clamp<int64_t>(element_step(column, length), 0, column.end - column.element);
    return {bytes, static_cast<int32_t>(readable), length};
}

void BatchEncoder::put_row() noexcept {
    for (int32_t i = 0; i < set_.count; ++i) {
        const ParamSlot& slot = set_.slots[i];
        ArrayColumn& column = columns_[static_cast<size_t>(i)];
        BoundValue value{};
        if (row_ < column.rows) value = take_element(column, column.lengths[row_]);
        if (slot.direction == TRN_DIRECTION_RETURN) continue;
        put_entry_head(channel_, slot);
        if (column.form == ValueForm::unknown) continue;
        if (column.form == ValueForm::bytes) value.length = std::min(value.length, value.readable);
        put_u16(channel_, column.wire_type);
        put_u32(channel_, static_cast<uint32_t>(value.length));
        put_value(channel_, column.form, value);
    }
    ++row_;
}

inline bool BatchEncoder::stage_empty(Staging& at, const ArrayColumn& column) noexcept {
    if (!blocks_.reserve(at, 0)) return false;
    if (column.form == ValueForm::unknown)
        at.put_type_alone(column.wire_type);
    else
        at.put_head(column.wire_type, 0);
    return true;
}

// Arrays of numbers have elements of the number's size, and the bind has checked that all are there.
template <class T>
inline bool BatchEncoder::stage_number(Staging& at, ArrayColumn& column, int32_t length) noexcept {
    const uint8_t* element = column.element;
    column.element += sizeof(T);
    if (length <= 0) return stage_empty(at, column);
    if (!blocks_.reserve(at, sizeof(T))) return false;
    at.put_head(column.wire_type, sizeof(T) == 4 ? uint32_t{4} : static_cast<uint32_t>(length));
    at.put_number<T>(element);
    return true;
}

inline bool BatchEncoder::stage_run(Staging& at, const ArrayColumn& column, const uint8_t* bytes,
                                    size_t size) noexcept {
    if (!blocks_.reserve(at, size)) return false;
    at.put_head(column.wire_type, static_cast<uint32_t>(size));
    at.put_run(bytes, size, column.last_run);
    return true;
}

inline bool BatchEncoder::stage_whole(Staging& at, ArrayColumn& column, int32_t length) noexcept {
    const uint8_t* bytes = column.element + column.skip;
    const size_t size = static_cast<size_t>(std::max(length, 0));
    column.element = bytes + size;
    return stage_run(at, column, bytes, size);
}

inline bool BatchEncoder::stage_bytes(Staging& at, ArrayColumn& column, int32_t length) noexcept {
    const BoundValue value = take_element(column, length);
    return stage_run(at, column, value.bytes,
                     static_cast<size_t>(std::max(std::min(length, value.readable), 0)));
}

inline bool BatchEncoder::stage_value(Staging& at, ArrayColumn& column, int32_t row) noexcept {
    if (column.whole) return stage_whole(at, column, column.lengths[row]);
    if (row >= column.rows) return stage_empty(at, column);
    const int32_t length = column.lengths[row];
    switch (column.form) {
    case ValueForm::u16: return stage_number<uint16_t>(at, column, length);
    case ValueForm::u32: return stage_number<uint32_t>(at, column, length);
    case ValueForm::u64: return stage_number<uint64_t>(at, column, length);
    case ValueForm::bytes: return stage_bytes(at, column, length);
    default: return stage_empty(at, column);
    }
}

// Stages the short runs at the start of a row, up to one that is longer or too close to the end of its array
// to be copied in one piece. A row starts with at least staging_reserve bytes of room, which is enough for
// them. Returns the first column not staged.
inline ArrayColumn* BatchEncoder::stage_short_runs(Staging& at, int32_t row) noexcept {
    Staging typed{at.to, at.end, 1};
    ArrayColumn* column = columns_.get();
    for (ArrayColumn* const end = column + short_columns_; column != end; ++column) {
        const size_t size = static_cast<uint32_t>(column->lengths[row]); // large for a negative length
        const uint8_t* bytes = column->element + column->skip;
        if (size > short_run || bytes > column->last_run) break;
        column->element = bytes + size;
        typed.put_head(column->wire_type, static_cast<uint32_t>(size));
        typed.put_short_run(bytes, size);
    }
    at.to = typed.to;
    return column;
}

bool BatchEncoder::stage_rows(int32_t end) noexcept {
    Staging at = blocks_.begin();
    ArrayColumn* const columns_end = columns_.get() + set_.count;
    for (int32_t row = row_; row < end; ++row) {
        for (ArrayColumn* column = stage_short_runs(at, row); column != columns_end; ++column)
            if (!stage_value(at, *column, row)) return false;
        blocks_.end_row(at);
    }
    blocks_.send();
    row_ = end;
    return true;
}

void BatchEncoder::encode(int32_t rows) noexcept {
    const int32_t end = row_ + rows;
    put_row();
    if (!stage_rows(end)) close_channel(channel_);
}

} // namespace tarn
