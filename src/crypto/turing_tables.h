// The fixed tables of the published Turing cipher.
#pragma once

#include <cstdint>

namespace tarn {

extern const uint8_t turing_sbox[256];
extern const uint32_t turing_qbox[256];
extern const uint32_t turing_multab[256];

} // namespace tarn
