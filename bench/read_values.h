// Reading values through tarnsql: TRN_GetData with native targets; dates in stored form, in days.
#pragma once

#include <cstddef>
#include <cstdint>

#include "measure.h"
#include "tarnsql.h"
#include "values.h"

namespace bench {

// False for a null.
inline bool get_value(TRN_HANDLE* result, int32_t column, int32_t target, void* destination, size_t size,
                      int32_t* length = nullptr) {
    const int32_t status =
        TRN_GetData(result, column, target, destination, static_cast<int32_t>(size), length);
    if (status != TRN_OK && status != TRN_NULL_VALUE) check(false, "a value cannot be read");
    return status == TRN_OK;
}

template <class T> T get_number(TRN_HANDLE* result, int32_t column, int32_t target) {
    T value{};
    get_value(result, column, target, &value, sizeof value);
    return value;
}

// Reads a value of the current row. Inlined, so that the reader's work is counted with that of the library.
[[gnu::always_inline]] inline void add_value(Checksum& sum, TRN_HANDLE* result, Kind kind, int32_t column) {
    char text[longest_text + 1];
    int32_t length = 0;
    switch (kind) {
    case Kind::integer: return sum.add_integer(get_number<int32_t>(result, column, TRN_TYPE_INTEGER));
    case Kind::bigint: return sum.add_integer(get_number<int64_t>(result, column, TRN_TYPE_BIGINT));
    case Kind::real: return sum.add_real(get_number<double>(result, column, TRN_TYPE_DOUBLE));
    case Kind::date: return sum.add_date(date_of_day(get_number<int32_t>(result, column, TRN_TYPE_NUMERIC)));
    case Kind::text:
        get_value(result, column, TRN_TYPE_TEXT, text, text_size + 1, &length);
        return sum.add_text({text, static_cast<size_t>(length)});
    case Kind::short_text:
        get_value(result, column, TRN_TYPE_TEXT, text, short_text_size + 1, &length);
        return sum.add_text({text, static_cast<size_t>(length)});
    case Kind::nullable_text:
        if (!get_value(result, column, TRN_TYPE_TEXT, text, sizeof text, &length)) return sum.add_null();
        return sum.add_text({text, static_cast<size_t>(length)});
    }
}

} // namespace bench
