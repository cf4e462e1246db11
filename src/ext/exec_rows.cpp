// TRNX_ExecRows: a batch whose values are in one block of memory, row after row.
#include <algorithm>

#include "conn/call.h"
#include "stmt/batch.h"
#include "stmt/param_types.h"
#include "stmt/put_value.h"
#include "stmt/row_blocks.h"
#include "tarnsql_ext.h"

namespace tarn {

namespace {

// The arguments of the call.
struct Rows {
    int32_t parameters;
    const int32_t* types;
    int32_t count;
    const TRNX_VALUE* values;
    const uint8_t* data;
    uint32_t size;

    size_t value_count() const noexcept {
        return static_cast<size_t>(count) * static_cast<size_t>(parameters);
    }
};

struct Parameter {
    uint16_t wire_type;
    ValueForm form;
    uint32_t size; // of every value; 0: any
};

// Small blocks stay in the processor's cache on their way to the socket.
constexpr size_t block_size = 1 << 17;
constexpr size_t short_value = value_head_size + short_run;
constexpr int32_t most_short_parameters = 100;
constexpr size_t short_values = most_short_parameters * short_value;

class RowEncoder {
  public:
    RowEncoder(Conn& conn, const Rows& rows) noexcept;
    bool ready() const noexcept { return parameters_ && blocks_.ready(); }
    bool accepts_values() const noexcept;

    // Writes the next rows, the first as entries and the others in blocks. If memory runs out on the way the
    // link is closed.
    void encode(int32_t rows) noexcept;

  private:
    bool accepts_row(const TRNX_VALUE* row) const noexcept;
    void put_row() noexcept;
    bool stage_rows(int32_t rows) noexcept;
    int32_t stage_short_runs(Staging& at, const TRNX_VALUE* row) const noexcept;
    bool stage_value(Staging& at, Parameter parameter, TRNX_VALUE value) noexcept;

    Channel& channel_;
    const Rows& rows_;
    Owned<Parameter[]> parameters_;
    RowBlocks blocks_;
    const TRNX_VALUE* next_;
    const uint8_t* last_run_ = nullptr; // the last address where short_run bytes can be read; null: none
    int32_t short_parameters_ = 0;      // those that stage_short_runs handles
};

} // namespace

static bool are_batch_types(const Rows& rows) noexcept {
    return std::all_of(rows.types, rows.types + rows.parameters, [](int32_t type) {
        return param_type(static_cast<uint32_t>(type)).batch != ValueForm::unknown;
    });
}

static ParamType type_of(const Rows& rows, int32_t parameter) noexcept {
    return param_type(static_cast<uint32_t>(rows.types[parameter]));
}

RowEncoder::RowEncoder(Conn& conn, const Rows& rows) noexcept
    : channel_(conn.channel), rows_(rows),
      parameters_(allocate_array<Parameter>(static_cast<size_t>(rows.parameters))),
      blocks_(conn, block_size + short_values, short_values), next_(rows.values) {
    if (rows.size >= short_run) last_run_ = rows.data + rows.size - short_run;
    for (int32_t i = 0; parameters_ && i < rows.parameters; ++i) {
        const ParamType type = type_of(rows, i);
        parameters_[static_cast<size_t>(i)] = {type.wire_type, type.batch,
                                               static_cast<uint32_t>(own_size(type))};
        if (blocks_.type_size() == 1 && type.batch == ValueForm::bytes && i == short_parameters_ &&
            i < most_short_parameters)
            ++short_parameters_;
    }
}

// Whether all values are inside the data: the sign of the bytes left behind each. Offset and length are read
// as one number, so that the compiler can take several values at once.
static bool are_inside_data(const Rows& rows) noexcept {
    const int64_t size = rows.size;
    int64_t left = 0;
    for (size_t i = 0, end = rows.value_count(); i < end; ++i) {
        const uint64_t value = load<uint64_t>(rows.values + i);
        left |= size - static_cast<int64_t>((value & UINT32_MAX) + (value >> 32));
    }
    return left >= 0;
}

// Whether the values have their types' sizes, and the row fits the 32-bit length of a block that other rows
// have begun.
bool RowEncoder::accepts_row(const TRNX_VALUE* row) const noexcept {
    uint64_t staged = 0;
    for (int32_t i = 0; i < rows_.parameters; ++i) {
        const uint32_t length = row[i].length, size = parameters_[static_cast<size_t>(i)].size;
        if (length > INT32_MAX || (size && length && length != size)) return false;
        staged += value_head_size + length;
    }
    return staged <= UINT32_MAX - block_size - short_values;
}

bool RowEncoder::accepts_values() const noexcept {
    if (!are_inside_data(rows_)) return false;
    // Rows of short data are short.
    const bool any_size = short_parameters_ == rows_.parameters;
    constexpr uint32_t short_data = UINT32_MAX / most_short_parameters - short_value;
    if (any_size && rows_.size < short_data) return true;
    for (int32_t row = 0; row < rows_.count; ++row)
        if (!accepts_row(rows_.values + static_cast<size_t>(row) * static_cast<size_t>(rows_.parameters)))
            return false;
    return true;
}

void RowEncoder::put_row() noexcept {
    ParamSlot slot{};
    slot.direction = TRN_DIRECTION_IN;
    for (int32_t i = 0; i < rows_.parameters; ++i, ++next_) {
        const Parameter parameter = parameters_[static_cast<size_t>(i)];
        const int32_t length = static_cast<int32_t>(next_->length);
        put_entry_head(channel_, slot);
        put_u16(channel_, parameter.wire_type);
        put_u32(channel_, static_cast<uint32_t>(length));
        put_value(channel_, parameter.form, {rows_.data + next_->offset, length, length});
    }
}

inline bool RowEncoder::stage_value(Staging& at, Parameter parameter, TRNX_VALUE value) noexcept {
    const size_t size = value.length;
    const uint8_t* bytes = rows_.data + value.offset;
    if (!blocks_.reserve(at, size)) return false;
    at.put_head(parameter.wire_type, static_cast<uint32_t>(size));
    if (parameter.form == ValueForm::bytes)
        at.put_run(bytes, size, last_run_);
    else if (size == 8)
        at.put_number<uint64_t>(bytes);
    else if (size == 4)
        at.put_number<uint32_t>(bytes);
    else if (size == 2)
        at.put_number<uint16_t>(bytes);
    return true;
}

// Stages the short runs at the start of a row, up to one that is longer or too close to the end of the data
// to be copied in one piece. A row starts with half a block of room, which is enough for them. Returns the
// first parameter not staged.
inline int32_t RowEncoder::stage_short_runs(Staging& at, const TRNX_VALUE* row) const noexcept {
    Staging typed{at.to, at.end, 1};
    const Parameter* const parameters = parameters_.get();
    const uint8_t *const data = rows_.data, *const last_run = last_run_;
    int32_t i = 0;
    for (const int32_t end = short_parameters_; i < end; ++i) {
        const size_t size = row[i].length;
        const uint8_t* bytes = data + row[i].offset;
        if (size > short_run || bytes > last_run) break;
        typed.put_head(parameters[i].wire_type, static_cast<uint32_t>(size));
        typed.put_short_run(bytes, size);
    }
    at.to = typed.to;
    return i;
}

bool RowEncoder::stage_rows(int32_t rows) noexcept {
    Staging at = blocks_.begin();
    for (const int32_t count = rows_.parameters; rows > 0; --rows, next_ += count) {
        for (int32_t i = stage_short_runs(at, next_); i < count; ++i)
            if (!stage_value(at, parameters_[static_cast<size_t>(i)], next_[i])) return false;
        blocks_.end_row(at);
    }
    blocks_.send();
    return true;
}

void RowEncoder::encode(int32_t rows) noexcept {
    put_row();
    if (!stage_rows(rows - 1)) close_channel(channel_);
}

} // namespace tarn

using namespace tarn;

int32_t TRNX_ExecRows(TRN_HANDLE* handle, const char* sql, int32_t parameters, const int32_t* types,
                      int32_t rows, const TRNX_VALUE* values, const void* data, uint32_t size) {
    if (parameters < 1 || parameters > UINT16_MAX || !types || rows < 1 || !values || (!data && size > 0))
        return TRN_ERR_ARGUMENT;
    const Rows given{parameters, types, rows, values, static_cast<const uint8_t*>(data ? data : ""), size};
    if (!are_batch_types(given)) return TRN_ERR_ARGUMENT;
    const RunningCall conn(handle, sql);
    if (!conn) return TRN_ERR_ARGUMENT;
    RowEncoder encoder(*conn, given);
    if (!encoder.ready()) return TRN_ERR_MEMORY;
    if (!encoder.accepts_values()) return TRN_ERR_ARGUMENT;
    return execute_batch(*conn, sql, static_cast<uint32_t>(parameters), rows, encoder);
}
