// Binding arrays: one parameter for all rows of a batch. The bind checks that every element is inside the
// buffer, so later readers need not.
#include <algorithm>
#include <cstring>

#include "base/text.h"
#include "conn/messages.h"
#include "stmt/param_array.h"
#include "stmt/param_set.h"
#include "wire/lines.h"

namespace tarn {

static constexpr int32_t outputs_refused = -8;

namespace {

// One bind call's arguments. The name is null when the parameter is bound by position.
struct ArrayBinding {
    const char* name;
    int32_t position;
    int32_t parameter_count;
    int32_t direction;
    uint32_t data_type;
    int32_t array_size;
    void* values;
    int32_t values_size;
    const int32_t* lengths;
};

} // namespace

static int32_t first_capacity(const ArrayBinding& binding) noexcept {
    return binding.parameter_count > 0 ? std::min(binding.parameter_count, param_limit) : param_growth;
}

// The first array bind lays the set out: with a parameter count, for that many slots of array_size rows;
// without one, for single rows.
static bool lay_out(ParamSet& set, const ArrayBinding& binding) noexcept {
    const int32_t capacity = first_capacity(binding);
    if (set.capacity == 0 && !reserve_slots(set, capacity, capacity)) return false;
    if (set.array_capacity == 0) set.array_capacity = capacity;
    if (set.array_size == 0 && binding.parameter_count > 0) set.array_size = std::max(binding.array_size, 0);
    return true;
}

static bool copies(const ParamType& type, bool by_position) noexcept {
    return type.keep == Keep::copy || (type.keep == Keep::copy_by_position && by_position);
}

// The bytes that a copied array needs: the rows of a fixed-size type, or the whole buffer.
static int32_t bytes_to_copy(const ParamType& type, const ArrayBinding& binding) noexcept {
    if (!type.element_size) return binding.values_size;
    const int64_t rows = int64_t{type.element_size} * binding.array_size;
    return static_cast<int32_t>(std::min<int64_t>(rows, binding.values_size));
}

// The slot's new content; TRN_ERR_ARRAY_TYPE when elements are outside the buffer or the type has no arrays.
static int32_t make_slot(const ArrayBinding& binding, ParamSlot& slot) noexcept {
    const ParamType type = param_type(binding.data_type);
    slot.data_type = binding.data_type;
    slot.direction = TRN_DIRECTION_IN;
    slot.by_position = !binding.name;
    slot.buffer_length = binding.values_size;
    slot.value = binding.values;
    slot.value_bytes = binding.values_size;
    slot.length = const_cast<int32_t*>(binding.lengths);
    slot.rows = binding.array_size;
    if (!array_fits(slot)) return TRN_ERR_ARRAY_TYPE;

    const size_t lengths_size = static_cast<size_t>(binding.array_size) * sizeof(int32_t);
    slot.length = static_cast<int32_t*>(allocate_raw(lengths_size));
    if (!slot.length) return TRN_ERR_MEMORY;
    std::memcpy(slot.length, binding.lengths, lengths_size);
    slot.owns_length = true;
    if (!copies(type, slot.by_position)) return TRN_OK;
    slot.value_bytes = bytes_to_copy(type, binding);
    slot.value = allocate_raw(static_cast<size_t>(slot.value_bytes));
    if (!slot.value) return TRN_ERR_MEMORY;
    slot.owns_value = true;
    std::memcpy(slot.value, binding.values, static_cast<size_t>(slot.value_bytes));
    return TRN_OK;
}

// Makes the slot first and lays the set out last, so that a failed bind leaves the set unchanged.
static int32_t store_array(ParamSet& set, int32_t index, const ArrayBinding& binding) noexcept {
    ParamSlot made{};
    // An array of a different size than the set's has no element for some rows.
    const bool same_rows = set.array_size == 0 || set.array_size == binding.array_size;
    int32_t status = same_rows ? make_slot(binding, made) : TRN_ERR_ARRAY_TYPE;
    if (status == TRN_OK && binding.name && set.mode != ParamMode::described) {
        made.name = copy_text(binding.name, std::strlen(binding.name)).release();
        if (!made.name) status = TRN_ERR_MEMORY;
    }
    if (status == TRN_OK && !(lay_out(set, binding) && reserve_slots(set, index + 1, param_growth)))
        status = TRN_ERR_MEMORY;
    if (status != TRN_OK) {
        if (!made.owns_length) made.length = nullptr;
        release_slot_value(made);
        release(made.name);
        return status;
    }
    ParamSlot& slot = set.slots[index];
    release_slot_value(slot);
    if (!made.name) std::swap(made.name, slot.name);
    release(slot.name);
    slot = made;
    set.count = std::max(set.count, index + 1);
    return TRN_OK;
}

// Arrays are input only. Other directions have no effect by position and only lay the set out by name;
// neither reads the values.
static bool is_input(const ArrayBinding& binding) noexcept {
    return binding.direction == TRN_DIRECTION_IN;
}

// A name is bound once; a described set has its names already.
static int32_t store_by_name(ParamSet& set, const ArrayBinding& binding) noexcept {
    const int32_t found = find_slot(set, binding.name);
    const bool described = set.mode == ParamMode::described;
    if (described ? found < 0 : found >= 0) return TRN_ERR_NAME;
    if (!is_input(binding)) return lay_out(set, binding) ? TRN_OK : TRN_ERR_MEMORY;
    const int32_t index = described ? found : set.count;
    const int32_t announced = set.array_capacity ? set.array_capacity : first_capacity(binding);
    const int32_t status = store_array(set, index, binding);
    if (index >= announced) {
        print_line(message::print_slot_beyond_capacity, index + 1, announced);
        if (status == TRN_OK) set.array_capacity = announced + param_growth;
    }
    return status;
}

static int32_t store_by_position(ParamSet& set, const ArrayBinding& binding) noexcept {
    if (binding.position > slot_limit(set, first_capacity(binding))) return TRN_ERR_POSITION_RANGE;
    return store_array(set, binding.position - 1, binding);
}

static int32_t bind_array(BindTarget& target, const ArrayBinding& binding) noexcept {
    if (!is_input(binding) && !binding.name)
        return binding.direction == TRN_DIRECTION_RETURN ? TRN_OK : outputs_refused;
    const bool has_values =
        binding.values && binding.lengths && binding.array_size >= 1 && binding.values_size >= 0;
    if (is_input(binding) && !has_values) return TRN_ERR_ARGUMENT;
    ParamSet* set = target.set();
    if (!set) return TRN_ERR_MEMORY;
    const int32_t status = binding.name ? store_by_name(*set, binding) : store_by_position(*set, binding);
    if (status == TRN_ERR_ARRAY_TYPE) {
        print_line("%s", message::print_array_type_unsupported);
        target.fail(format_text(bind_error_area, message::array_type_unsupported,
                                static_cast<int32_t>(binding.data_type)));
    }
    return status;
}

} // namespace tarn

using namespace tarn;

int32_t TRN_BindParamArrayByName(TRN_HANDLE* handle, const char* name, int32_t parameter_count,
                                 int32_t direction, int32_t data_type, int32_t array_size, void* values,
                                 int32_t values_size, int32_t* lengths) {
    BindTarget target(handle);
    if (!target.valid() || !name) return TRN_ERR_ARGUMENT;
    if (!is_direction(direction)) {
        target.fail(format_text(bind_error_area, message::direction_invalid, direction));
        return TRN_ERR_DIRECTION;
    }
    return bind_array(target, {name, 0, parameter_count, direction, static_cast<uint32_t>(data_type),
                               array_size, values, values_size, lengths});
}

int32_t TRN_BindParamArrayByPos(TRN_HANDLE* handle, int32_t position, int32_t parameter_count,
                                int32_t direction, int32_t data_type, int32_t array_size, void* values,
                                int32_t values_size, int32_t* lengths) {
    BindTarget target(handle);
    if (!target.valid()) return TRN_ERR_ARGUMENT;
    const auto fail = [&](int32_t status, Owned<char> text) {
        target.fail(std::move(text));
        return status;
    };
    if (!is_direction(direction))
        return fail(TRN_ERR_DIRECTION, format_text(bind_error_area, message::direction_invalid, direction));
    if (position > param_limit)
        return fail(TRN_ERR_POSITION_RANGE,
                    format_text(bind_error_area, message::position_out_of_range, position));
    if (parameter_count > 0 && position > parameter_count)
        return fail(TRN_ERR_POSITION_RANGE,
                    format_text(bind_error_area, message::position_above_count, position, parameter_count));
    if (position < 1)
        return fail(TRN_ERR_POSITION, format_text(bind_error_area, message::position_invalid, position));
    return bind_array(target, {nullptr, position, parameter_count, direction,
                               static_cast<uint32_t>(data_type), array_size, values, values_size, lengths});
}
