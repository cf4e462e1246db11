// The only table of parameter types: for every API type code that differs from plain bytes, how its values
// are sent and how its arrays are walked.
//
// What differs on purpose, besides the columns themselves:
// - single values: the length field of code 5 is 4 or 0 whatever the bound length;
// - the first row of a batch: the bound length is sent for code 5 too;
//   - later rows of a batch: the length field of codes 5 and 7 is 4.
#pragma once

#include <array>
#include <cstdint>

#include "tarnsql.h"

namespace tarn {

// The form of a value after its length field.
enum class ValueForm : uint8_t {
    none,
    bytes,
    u16,
    u32,
    u64,
    lob,     // the content of a large object
    unknown, // batches only: the entry breaks off before its wire type, a later row has only its type byte
};

// The distance from one element of a bound array to the next.
enum class Step : uint8_t {
    refused,     // no arrays of this type
    fixed,       // element_size bytes
    prefixed,    // a 32-bit length in host order and its bytes
    length,      // the row's length
    length_and_4 // the row's length and 4 bytes
};

// Whether a bound array is copied, so that the application may reuse its memory at once.
enum class Keep : uint8_t {
    copy,
    reference,
    copy_by_position, // a reference when bound by name
};

struct ParamType {
    uint32_t api_code;
    uint16_t wire_type;
    ValueForm single;
    ValueForm batch;
    uint8_t batch_skip;   // bytes before the value inside an array element
    uint8_t element_size; // of a fixed-size type; copied arrays have this many bytes per row
    Step by_name;
    Step by_position;
    Keep keep;
};

inline constexpr ParamType param_types[] = {
    {0, 1, ValueForm::none, ValueForm::unknown, 0, 0, Step::refused, Step::refused, Keep::reference},
    {1, 3, ValueForm::bytes, ValueForm::bytes, 0, 1, Step::fixed, Step::fixed, Keep::copy},
    {2, 30, ValueForm::bytes, ValueForm::bytes, 4, 0, Step::prefixed, Step::prefixed, Keep::copy},
    {3, 3, ValueForm::bytes, ValueForm::bytes, 0, 1, Step::fixed, Step::fixed, Keep::copy},
    {4, 4, ValueForm::u16, ValueForm::u16, 0, 2, Step::fixed, Step::fixed, Keep::copy},
    {5, 5, ValueForm::u32, ValueForm::u32, 0, 4, Step::fixed, Step::fixed, Keep::copy},
    {6, 6, ValueForm::u64, ValueForm::u64, 0, 8, Step::fixed, Step::fixed, Keep::copy},
    {7, 8, ValueForm::u32, ValueForm::u32, 0, 4, Step::refused, Step::fixed, Keep::copy},
    {8, 9, ValueForm::u64, ValueForm::u64, 0, 8, Step::fixed, Step::fixed, Keep::copy},
    {9, 30, ValueForm::bytes, ValueForm::bytes, 0, 41, Step::length, Step::length, Keep::copy},
    {10, 30, ValueForm::bytes, ValueForm::bytes, 0, 0, Step::length, Step::length, Keep::reference},
    {11, 30, ValueForm::bytes, ValueForm::bytes, 0, 0, Step::length, Step::length, Keep::reference},
    {12, 30, ValueForm::bytes, ValueForm::unknown, 0, 0, Step::length, Step::length, Keep::reference},
    {13, 30, ValueForm::bytes, ValueForm::bytes, 0, 0, Step::length, Step::length, Keep::reference},
    {14, 30, ValueForm::bytes, ValueForm::unknown, 0, 0, Step::length, Step::length, Keep::reference},
    {15, 33, ValueForm::bytes, ValueForm::bytes, 4, 0, Step::length, Step::length_and_4,
     Keep::copy_by_position},
    {23, 13, ValueForm::u64, ValueForm::u64, 0, 8, Step::fixed, Step::fixed, Keep::copy},
    {28, 30, ValueForm::bytes, ValueForm::unknown, 0, 0, Step::length, Step::length_and_4, Keep::reference},
    {31, 30, ValueForm::bytes, ValueForm::unknown, 0, 0, Step::length, Step::length_and_4, Keep::reference},
    {40, 34, ValueForm::lob, ValueForm::unknown, 0, 0, Step::refused, Step::refused, Keep::reference},
    {41, 32, ValueForm::lob, ValueForm::unknown, 0, 0, Step::refused, Step::refused, Keep::reference},
    {42, 34, ValueForm::lob, ValueForm::unknown, 0, 0, Step::refused, Step::refused, Keep::reference},
    {58, 1008, ValueForm::none, ValueForm::unknown, 0, 0, Step::refused, Step::refused, Keep::reference},
    {62, 30, ValueForm::bytes, ValueForm::bytes, 4, 0, Step::prefixed, Step::prefixed, Keep::copy},
    {63, 30, ValueForm::bytes, ValueForm::bytes, 0, 1, Step::fixed, Step::fixed, Keep::copy},
};

// Every other code is sent as text and has no arrays.
constexpr ParamType unlisted_param_type(uint32_t api_code) noexcept {
    return {api_code,       30, ValueForm::bytes, ValueForm::unknown, 0, 0, Step::refused, Step::refused,
            Keep::reference};
}

// The table indexed by code, for batches, which use it for every value.
inline constexpr auto param_types_by_code = [] {
    std::array<ParamType, 64> types{};
    for (uint32_t code = 0; code < types.size(); ++code)
        types[code] = unlisted_param_type(code);
    for (const ParamType& type : param_types)
        types[type.api_code] = type;
    return types;
}();

constexpr ParamType param_type(uint32_t api_code) noexcept {
    return api_code < param_types_by_code.size() ? param_types_by_code[api_code]
                                                 : unlisted_param_type(api_code);
}

// The size of every value of a fixed-size type, 0 for the others.
constexpr int32_t own_size(const ParamType& type) noexcept {
    return type.by_position == Step::fixed ? type.element_size : 0;
}

} // namespace tarn
