// Counts of the holders of a record, which any thread may change.
#pragma once

#include <atomic>
#include <cstdint>

namespace tarn {

inline void add_reference(int32_t& references) noexcept {
    std::atomic_ref(references).fetch_add(1, std::memory_order_relaxed);
}

// True when that was the last one: the caller must then release the record.
inline bool remove_reference(int32_t& references) noexcept {
    return std::atomic_ref(references).fetch_sub(1, std::memory_order_acq_rel) == 1;
}

} // namespace tarn
