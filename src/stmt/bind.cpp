// Binding single values, by name and by position.
#include <algorithm>
#include <cstring>

#include "base/text.h"
#include "conn/messages.h"
#include "stmt/param_set.h"
#include "stmt/param_types.h"

namespace tarn {

namespace {

// One bind call's arguments.
struct Binding {
    int32_t direction;
    int32_t data_type;
    void* value;
    int32_t buffer_length;
    int32_t* length;
};

} // namespace

// An input's length: as given, limited to the buffer if the application gave its size, else to the type's
// size; nothing is read from a null value.
static int32_t input_length(const Binding& binding) noexcept {
    if (!binding.value) return 0;
    if (!binding.length) return binding.buffer_length;
    const int32_t size = binding.buffer_length > 0
                             ? binding.buffer_length
                             : own_size(param_type(static_cast<uint32_t>(binding.data_type)));
    return size > 0 ? std::min(*binding.length, size) : *binding.length;
}

// The copy has room for the widest number, so that a number bound with too small a length is read with zeros.
static bool copy_input(ParamSlot& slot, const Binding& binding, int32_t length) noexcept {
    constexpr int32_t widest_number = 8;
    const int32_t bytes = std::max(length, widest_number);
    slot.value = allocate_zeroed(static_cast<size_t>(bytes) + 1);
    if (!slot.value) return false;
    slot.owns_value = true;
    slot.value_bytes = bytes;
    if (binding.value && length > 0) std::memcpy(slot.value, binding.value, static_cast<size_t>(length));
    return true;
}

static bool is_lob(const ParamSlot& slot) noexcept {
    return param_type(slot.data_type).single == ValueForm::lob;
}

static int32_t fill_input(ParamSlot& slot, const Binding& binding) noexcept {
    const int32_t length = input_length(binding);
    slot.length = allocate_record<int32_t>();
    if (!slot.length) return TRN_ERR_MEMORY;
    slot.owns_length = true;
    *slot.length = length;
    if (!is_lob(slot)) return copy_input(slot, binding, length) ? TRN_OK : TRN_ERR_MEMORY;
    // The content of a large object is referenced, not copied: what it is at the execution is sent.
    slot.lob = retain(lob_of_value(binding.value).lob);
    return slot.lob || !binding.value ? TRN_OK : TRN_ERR_ARGUMENT;
}

// The application's buffer and length, read during the execution: a handle of a large object may still be
// null here.
static int32_t fill_reference(ParamSlot& slot, const Binding& binding) noexcept {
    if (is_lob(slot) && lob_of_value(binding.value).wrong) return TRN_ERR_ARGUMENT;
    slot.value = binding.value;
    slot.length = binding.length;
    slot.value_bytes = std::max(binding.buffer_length, 0);
    return TRN_OK;
}

// Builds the slot's new content before releasing the old, so that a failed bind leaves the slot unchanged.
static int32_t fill_slot(ParamSlot& slot, const Binding& binding) noexcept {
    ParamSlot filled{};
    filled.data_type = static_cast<uint32_t>(binding.data_type);
    filled.direction = binding.direction;
    filled.buffer_length = binding.buffer_length;
    const int32_t status =
        binding.direction == TRN_DIRECTION_IN ? fill_input(filled, binding) : fill_reference(filled, binding);
    if (status != TRN_OK) {
        release_slot_value(filled);
        return status;
    }
    release_slot_value(slot);
    filled.rows = filled.length ? 1 : 0;
    filled.name = slot.name;
    slot = filled;
    return TRN_OK;
}

static int32_t store_by_position(ParamSet& set, int32_t position, const Binding& binding) noexcept {
    if (position > slot_limit(set, param_growth)) return TRN_ERR_POSITION_JUMP;
    if (!reserve_slots(set, position, param_growth)) return TRN_ERR_MEMORY;
    const int32_t status = fill_slot(set.slots[position - 1], binding);
    if (status == TRN_OK) set.count = std::max(set.count, position);
    return status;
}

static int32_t store_by_name(ParamSet& set, const char* name, const Binding& binding) noexcept {
    if (set.mode == ParamMode::described) {
        const int32_t index = find_slot(set, name);
        return index < 0 ? TRN_ERR_NAME : fill_slot(set.slots[index], binding);
    }
    Owned<char> copy = copy_text(name, std::strlen(name));
    if (!copy || !reserve_slots(set, set.count + 1, param_growth)) return TRN_ERR_MEMORY;
    ParamSlot& slot = set.slots[set.count];
    const int32_t status = fill_slot(slot, binding);
    if (status != TRN_OK) return status;
    release(slot.name);
    slot.name = copy.release();
    ++set.count;
    return TRN_OK;
}

static int32_t fail_by_name(BindTarget& target, const char* name) noexcept {
    constexpr size_t area = 100;
    if (target.is_connection()) target.fail(format_text(area, message::name_not_prepared, name));
    return -1;
}

} // namespace tarn

using namespace tarn;

int32_t TRN_BindParamByName(TRN_HANDLE* handle, const char* name, int32_t direction, int32_t data_type,
                            void* value, int32_t buffer_length, int32_t*, int32_t* length) {
    BindTarget target(handle);
    if (!target.valid() || !name) return TRN_ERR_ARGUMENT;
    if (!is_direction(direction)) {
        target.fail(format_text(bind_error_area, message::direction_invalid_by_name, direction));
        return TRN_ERR_DIRECTION;
    }
    ParamSet* set = target.set();
    if (!set) return TRN_ERR_MEMORY;
    const int32_t status = store_by_name(*set, name, {direction, data_type, value, buffer_length, length});
    return status == TRN_ERR_NAME ? fail_by_name(target, name) : status;
}

int32_t TRN_BindParamByPos(TRN_HANDLE* handle, int32_t position, int32_t direction, int32_t data_type,
                           void* value, int32_t buffer_length, int32_t* length) {
    BindTarget target(handle);
    if (!target.valid()) return TRN_ERR_ARGUMENT;
    const auto fail = [&](const char* text, int32_t number, int32_t status) {
        target.fail(format_text(bind_error_area, text, number));
        return status;
    };
    if (position > param_limit) return fail(message::position_out_of_range, position, TRN_ERR_POSITION_RANGE);
    if (!is_direction(direction)) return fail(message::direction_invalid, direction, TRN_ERR_DIRECTION);
    if (position < 1) return fail(message::position_invalid, position, TRN_ERR_POSITION);
    ParamSet* set = target.set();
    if (!set) return TRN_ERR_MEMORY;
    const int32_t status =
        store_by_position(*set, position, {direction, data_type, value, buffer_length, length});
    // The number in the text is the status, not the position.
    return status == TRN_ERR_POSITION_JUMP ? fail(message::position_jumps, status, status) : status;
}
