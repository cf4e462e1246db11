#include "stmt/output_value.h"

#include <algorithm>
#include <cstring>

#include "base/bytes.h"
#include "reply/type_codes.h"
#include "result/calendar.h"
#include "result/value.h"
#include "stmt/param_types.h"

namespace tarn {

// The types that arrive in network order and have a text: the fixed ones from TINYINT to DATETIME. NUMERIC
// and TIME_TZ between them are byte runs, and so is a value whose length is not its type's.
static bool is_convertible(int32_t type, size_t length) noexcept {
    const size_t width = wire_type(type).width;
    return type >= TRN_WIRE_TINYINT && type <= TRN_WIRE_DATETIME && width != 0 && width == length;
}

static int32_t copy_out(const ParamSlot& slot, const void* bytes, size_t length) noexcept {
    const size_t room = static_cast<size_t>(slot.value_bytes);
    std::memcpy(slot.value, bytes, std::min(length, room));
    *slot.length = static_cast<int32_t>(length);
    return length > room ? TRN_TRUNCATED : TRN_OK;
}

static int32_t copy_text_out(const ParamSlot& slot, const Value& value) noexcept {
    constexpr size_t time_text_length = 12; // whatever the hours
    WorkingText text;
    add_value_text(value, TextStyle::of_outputs, text);
    const size_t length = text.text().size();
    return copy_out(slot, text.text().data(),
                    value.wire_type == TRN_WIRE_TIME ? std::min(length, time_text_length) : length);
}

static int32_t copy_fields_out(const ParamSlot& slot, const Value& value) noexcept {
    if (value.wire_type == TRN_WIRE_DATE) {
        const Date date = date_of_days(value.as<int32_t>());
        const int32_t fields[] = {date.year, date.month, date.day};
        return copy_out(slot, fields, sizeof fields);
    }
    const TimeOfDay time = time_of_milliseconds(value.as<int32_t>());
    const int32_t fields[] = {time.hour, time.minute, time.second, time.millisecond};
    return copy_out(slot, fields, sizeof fields);
}

// The buffer of such a slot is a handle, not room for bytes.
static int32_t fill_object(const ParamSlot& slot, const uint8_t* bytes, size_t length) noexcept {
    Lob* lob = lob_of_value(slot.value).lob;
    if (!lob) return TRN_OK;
    if (!fill_lob(*lob, bytes, length)) return TRN_ERR_MEMORY;
    *slot.length = static_cast<int32_t>(length);
    return TRN_OK;
}

int32_t deliver_output(const ParamSlot& slot, int32_t type, const uint8_t* received, size_t length) noexcept {
    if (!slot.value || !slot.length) return TRN_OK;
    if (param_type(slot.data_type).single == ValueForm::lob) return fill_object(slot, received, length);
    if (!is_convertible(type, length)) return copy_out(slot, received, length);
    const Value value{type, static_cast<uint32_t>(length), received};
    if (slot.data_type == TRN_TYPE_TEXT) return copy_text_out(slot, value);
    if (type == TRN_WIRE_DATE || type == TRN_WIRE_TIME) return copy_fields_out(slot, value);
    return copy_out(slot, HostBytes(received, length).data(), length);
}

} // namespace tarn
