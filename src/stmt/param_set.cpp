#include "stmt/param_set.h"

#include <algorithm>

#include "base/bytes.h"
#include "base/memory.h"
#include "base/references.h"
#include "base/text.h"
#include "stmt/prepared.h"

namespace tarn {

ParamSet* create_params(ParamMode mode) noexcept {
    ParamSet* set = allocate_record<ParamSet>();
    if (!set) return nullptr;
    set->head.kind = TRN_KIND_PARAMETERS;
    set->mode = mode;
    set->references = 1;
    return set;
}

void release_slot_value(ParamSlot& slot) noexcept {
    if (slot.owns_value) release(slot.value);
    if (slot.owns_length) release(slot.length);
    drop_reference(slot.lob);
    slot.lob = nullptr;
    slot.value = nullptr;
    slot.length = nullptr;
    slot.value_bytes = slot.rows = 0;
    slot.owns_value = slot.owns_length = false;
}

void release_params_content(ParamSet& set) noexcept {
    for (int32_t i = 0; i < set.capacity; ++i) {
        release_slot_value(set.slots[i]);
        release(set.slots[i].name);
    }
    release(set.slots);
    set.slots = nullptr;
    set.count = set.capacity = set.array_size = set.array_capacity = 0;
}

void release_used_values(ParamSet* set) noexcept {
    if (set && set->mode != ParamMode::explicit_) release_params_content(*set);
}

// A described set without bound values has no directions, so no outputs.
static bool holds_inputs_only(const ParamSet& set) noexcept {
    const auto all_have = [&](int32_t direction) {
        return std::all_of(set.slots, set.slots + set.count,
                           [=](const ParamSlot& slot) { return slot.direction == direction; });
    };
    return set.array_size == 0 && (all_have(TRN_DIRECTION_IN) || all_have(0));
}

void release_sent_inputs(ParamSet* set) noexcept {
    if (set && holds_inputs_only(*set)) release_used_values(set);
}

void drop_params_reference(ParamSet* set) noexcept {
    if (!set || !remove_reference(set->references)) return;
    release_params_content(*set);
    release(set->head.error_text);
    release(set);
}

void drop_params(TRN_HANDLE* handle) noexcept {
    ParamSet* set = static_cast<ParamSet*>(*handle);
    if (set->mode != ParamMode::explicit_) return;
    // A connection that it is attached to finds it empty.
    release_params_content(*set);
    drop_params_reference(set);
    *handle = nullptr;
}

void detach_params(Conn& conn) noexcept {
    drop_params_reference(conn.bound_params);
    conn.bound_params = nullptr;
}

void attach_params(Conn& conn, ParamSet* set) noexcept {
    detach_params(conn);
    conn.bound_params = set;
}

BoundParams::BoundParams(Conn& conn) noexcept : set_(conn.bound_params) {
    conn.bound_params = nullptr;
}

BoundParams::~BoundParams() {
    drop_params_reference(set_);
}

// A record begins with its kind, a small number followed by four zero bytes; a handle variable holds null or
// an address, and no record is in the first page.
LobValue lob_of_value(void* value) noexcept {
    if (!value) return {};
    constexpr uint32_t first_page = 4096;
    const auto kind = load<uint32_t>(value);
    const bool is_record =
        kind < first_page && load<uint32_t>(static_cast<uint8_t*>(value) + sizeof kind) == 0;
    TRN_HANDLE handle = is_record && kind != 0 ? value : load<TRN_HANDLE>(value);
    Lob* lob = lob_of(&handle);
    return {lob, handle && !lob};
}

bool reserve_slots(ParamSet& set, int32_t number, int32_t first_capacity) noexcept {
    if (number > slot_limit(set, first_capacity)) return false;
    int32_t capacity = set.capacity ? set.capacity : first_capacity;
    if (number > capacity) capacity += param_growth;
    if (capacity == set.capacity) return true;
    void* slots = resize_zeroed(set.slots, static_cast<size_t>(set.capacity) * sizeof(ParamSlot),
                                static_cast<size_t>(capacity) * sizeof(ParamSlot));
    if (!slots) return false;
    set.slots = static_cast<ParamSlot*>(slots);
    set.capacity = capacity;
    return true;
}

BindTarget::BindTarget(TRN_HANDLE* handle) noexcept {
    if (Conn* conn = unlocked_conn_of(handle)) {
        conn_ = conn;
        set_ = conn->bound_params;
        errors_ = &conn->head;
    } else if (kind_of(handle) == TRN_KIND_PARAMETERS) {
        set_ = static_cast<ParamSet*>(*handle);
        errors_ = &set_->head;
    }
}

ParamSet* BindTarget::set() noexcept {
    if (!set_) set_ = conn_->bound_params = create_params(ParamMode::implicit);
    return set_;
}

int32_t find_slot(const ParamSet& set, const char* name) noexcept {
    for (int32_t i = 0; i < set.count; ++i)
        if (set.slots[i].name && equal_ignoring_case(set.slots[i].name, name)) return i;
    return -1;
}

} // namespace tarn

using namespace tarn;

int32_t TRN_CreateParams(TRN_HANDLE* out_handle) {
    if (!out_handle) return TRN_ERR_ARGUMENT;
    ParamSet* set = create_params(ParamMode::explicit_);
    if (!set) return TRN_ERR_MEMORY;
    *out_handle = set;
    return TRN_OK;
}

int32_t TRN_BindParams2Conn(TRN_HANDLE* conn_handle, TRN_HANDLE* set_handle) {
    Conn* conn = unlocked_conn_of(conn_handle);
    if (!conn || kind_of(set_handle) != TRN_KIND_PARAMETERS) return TRN_ERR_ARGUMENT;
    ParamSet* set = static_cast<ParamSet*>(*set_handle);
    add_reference(set->references);
    attach_params(*conn, set);
    return TRN_OK;
}

int32_t TRN_ResetParams(TRN_HANDLE* handle) {
    if (Conn* conn = unlocked_conn_of(handle)) {
        detach_params(*conn);
        return TRN_OK;
    }
    if (kind_of(handle) != TRN_KIND_PARAMETERS) return TRN_ERR_ARGUMENT;
    release_params_content(*static_cast<ParamSet*>(*handle));
    return TRN_OK;
}
