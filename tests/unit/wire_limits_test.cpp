// What does not fit its field on the wire, where the real thing would take gigabytes.
#include <gtest/gtest.h>

#include "stmt/encode.h"

using namespace tarn;

TEST(wire_limits, a_large_object_has_a_32_bit_length) {
    Lob lob{};
    lob.head.kind = TRN_KIND_LOB;
    TRN_HANDLE handle = &lob;
    ParamSlot slots[3]{};
    ParamSet set{};
    set.slots = slots;
    set.count = 3;
    const struct {
        uint32_t type;
        LobState state;
        int32_t direction;
        int64_t length;
        int32_t status;
    } cases[] = {
        {TRN_TYPE_BLOB, LobState::complete, TRN_DIRECTION_IN, UINT32_MAX, TRN_OK},
        {TRN_TYPE_BLOB, LobState::complete, TRN_DIRECTION_IN, int64_t{UINT32_MAX} + 1, TRN_ERR_ARGUMENT},
        {TRN_TYPE_CLOB, LobState::complete, TRN_DIRECTION_INOUT, int64_t{1} << 33, TRN_ERR_ARGUMENT},
        {TRN_TYPE_BLOB_PARAMETER, LobState::complete, TRN_DIRECTION_OUT, INT64_MAX, TRN_ERR_ARGUMENT},
        {TRN_TYPE_CLOB, LobState::growing, TRN_DIRECTION_IN, INT64_MAX, TRN_OK},      // travels empty
        {TRN_TYPE_CLOB, LobState::complete, TRN_DIRECTION_RETURN, INT64_MAX, TRN_OK}, // does not travel
    };
    for (const auto& [type, state, direction, length, status] : cases) {
        SCOPED_TRACE(testing::Message() << type << " " << direction << " " << length);
        lob.state = state;
        lob.total_len = length;
        slots[1] = {};
        slots[1].data_type = type;
        slots[1].direction = direction;
        if (direction == TRN_DIRECTION_IN) slots[1].lob = &lob;
        slots[1].value = &handle;
        EXPECT_EQ(check_entries(set), status);
    }
}

// Texts of a batch by position: only their lengths are looked at.
TEST(wire_limits, a_row_of_a_batch_has_a_32_bit_length) {
    uint8_t byte = 0;
    int32_t large_first[] = {INT32_MAX, 1}, large_last[] = {1, INT32_MAX}, small[] = {1, 1};
    ParamSlot slots[3]{};
    for (ParamSlot& slot : slots) {
        slot.data_type = TRN_TYPE_DATETIME;
        slot.direction = TRN_DIRECTION_IN;
        slot.value = &byte;
        slot.value_bytes = INT32_MAX;
        slot.rows = 2;
        slot.by_position = true;
    }
    ParamSet set{};
    set.slots = slots;
    set.count = 3;
    set.array_size = 2;
    const struct {
        int32_t *first, *second, *third;
        int32_t status;
    } cases[] = {
        {large_last, large_last, large_last, TRN_ERR_ARGUMENT},
        {large_first, large_first, large_first, TRN_ERR_ARGUMENT},
        {large_first, small, large_last, TRN_OK},
        {small, small, small, TRN_OK},
    };
    for (const auto& [first, second, third, status] : cases) {
        slots[0].length = first;
        slots[1].length = second;
        slots[2].length = third;
        EXPECT_EQ(check_rows(set), status);
    }
}
