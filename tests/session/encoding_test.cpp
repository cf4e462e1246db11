/*
 * Parameter entries as they travel: every data type, named and by position, in every direction, with every
 * kind of length; how entries meet the send buffer; and which slots do not travel.
 */
#include "parameter_wire.h"

namespace {

/* How a type lies in memory and travels. Numbers travel most significant byte first. */
struct Form {
    std::int32_t wire_type;
    std::string memory, value;
};

// clang-format off
Form form_of(std::int32_t type) {
    const std::string text = "text\0of "s + std::to_string(type), object = "\1large\0object"s;
    switch (type) {
    case 0: return {1, "ignored", ""};
    case 1: case 3: return {TRN_WIRE_TINYINT, "\x85", "\x85"};
    case 4: return {TRN_WIRE_SMALLINT, host_bytes<std::int16_t>(-300), be16(-300)};
    case 5: return {TRN_WIRE_INTEGER, host_bytes<std::int32_t>(-70000), be32(-70000)};
    case 6: return {TRN_WIRE_BIGINT, host_bytes<std::int64_t>(-5000000000), be64(-5000000000)};
    case 7: return {TRN_WIRE_FLOAT, host_bytes(-2.5f), be_float(-2.5f)};
    case 8: return {TRN_WIRE_DOUBLE, host_bytes(3.1e-300), be_double(3.1e-300)};
    case 15: return {TRN_WIRE_BINARY, text, text};
    case 23: return {TRN_WIRE_DATETIME, host_bytes<std::int64_t>(-86400001), be64(-86400001)};
    case 40: case 42: return {TRN_WIRE_BLOB, object, object};
    case 41: return {TRN_WIRE_CLOB, object, object};
    case 58: return {1008, "ignored", ""};
    default: return {TRN_WIRE_CHAR, text, text};
    }
}

/* Left out is a null length variable: the buffer's length for a copied input, none for the others. Halved is
 * the buffer, behind which nothing may be read. */
enum Length { whole, left_out, one, zero, negative, huge, halved, length_kinds };
// clang-format on

std::string halved_or_whole(const std::string& memory, Length length) {
    return length == halved ? memory.substr(0, (memory.size() + 1) / 2) : memory;
}

/* Wire type, length field and value: bytes are cut to what there is of them, numbers filled up with zeros.
 * The length of a number travels as the set holds it: cut for a copied input, as it stands for the others. */
std::string sent_value(std::int32_t type, Length length, std::int32_t direction) {
    const auto [wire_type, memory, value] = form_of(type);
    const bool input = direction == TRN_DIRECTION_IN;
    const std::string head = be16(wire_type);
    if (type == 0 || type == 58) return head + be32(0);
    if (type >= 40 && type <= 42) return head + wire_text(value);
    if (length == zero || (length == left_out && !input)) return head + be32(0);
    if (length == negative) return head + be32(type == 5 ? 0 : -3);
    std::string known = halved_or_whole(memory, length);
    const std::size_t given = length == one ? 1 : length == huge ? INT32_MAX : memory.size();
    const std::size_t cut = std::min(given, known.size());
    if (memory == value) return head + wire_text(value.substr(0, cut));
    if (input) known.resize(cut);
    known.resize(memory.size());
    return head + be32(type == 5 ? 4 : std::int64_t(input ? cut : given)) + reversed(known);
}

TEST(entries, of_every_type_by_name_and_position_are_exact) {
    std::vector<std::int32_t> types{64, 69, 100, 1000000, -1, INT32_MIN, INT32_MAX};
    for (std::int32_t i = 0; i < 128; ++i) /* more than the slots at first, and names that come twice */
        types.push_back(i % 64);
    TRN_HANDLE lob = nullptr;
    EXPECT_EQ(TRN_Create_Lob(&lob), 0);
    EXPECT_EQ(TRN_Put_Lob_data(&lob, form_of(41).value.data(), std::int32_t(form_of(41).value.size())), 0);
    EXPECT_EQ(TRN_Put_Lob_data(&lob, nullptr, TRN_LOB_END), 0);
    for (int i = 0; i < 2 * 3 * length_kinds; ++i) {
        const bool named = i % 2;
        const std::int32_t direction = i / 2 % 3 + 1;
        const auto length = Length(i / 6);
        SCOPED_TRACE((named ? "named, direction " : "direction ") + std::to_string(direction) + ", length " +
                     std::to_string(length));
        std::string entries;
        std::vector<Bytes> buffers;
        std::vector<std::int32_t> lengths;
        for (const std::int32_t type : types) {
            entries += entry_head(named ? std::to_string(type) : "", direction) +
                       sent_value(type, length, direction);
            const std::string memory = form_of(type).memory;
            const std::int32_t given[] = {0, 0, 1, 0, -3, INT32_MAX};
            buffers.push_back(exact(halved_or_whole(memory, length)));
            lengths.push_back(length == whole || length == halved ? std::int32_t(memory.size())
                                                                  : given[length]);
        }
        Session session(asked({{request("q", std::int64_t(types.size()), entries), U(1) + K}}));
        for (std::size_t slot = 0; slot < types.size(); ++slot) {
            const std::int32_t type = types[slot], size = std::int32_t(buffers[slot].size());
            std::int32_t* given = length == left_out ? nullptr : &lengths[slot];
            void* value = type >= 40 && type <= 42 ? static_cast<void*>(&lob) : buffers[slot].data();
            EXPECT_EQ(named ? TRN_BindParamByName(session.handle(), std::to_string(type).c_str(), direction,
                                                  type, value, size, nullptr, given)
                            : TRN_BindParamByPos(session.handle(), std::int32_t(slot) + 1, direction, type,
                                                 value, size, given),
                      0);
        }
        EXPECT_EQ(session.connection.run("q"), 1);
    }
    EXPECT_EQ(TRN_Distroy_Lob(&lob), 0);
}

/* Slots of return values are neither sent nor counted, wherever they stand; arrays are announced and not
 * sent. */
TEST(entries, leave_out_return_values_and_arrays) {
    const std::string name(1000, 'n');
    std::int32_t numbers[] = {9, 9}, lengths[] = {4, 4};
    for (int returns = 0; returns < 8; ++returns) {
        std::string entries;
        std::int64_t count = 0;
        ParamSet set;
        for (int slot = 0; slot < 3; ++slot) {
            const int direction = returns >> slot & 1 ? TRN_DIRECTION_RETURN : TRN_DIRECTION_IN;
            EXPECT_EQ(
                TRN_BindParamByName(&set.handle, name.c_str(), direction, 5, numbers, 4, nullptr, lengths),
                0);
            if (direction == TRN_DIRECTION_IN) entries += integer_entry(9, name), ++count;
        }
        const std::string sent = request("q", count, entries), announced = request("q", 1);
        Session session(
            asked({{sent, K}, {announced, K}, {sent, K}, {announced, K}, {sent, K}, {announced, K}}));
        for (const Call call : all_calls) {
            EXPECT_EQ((Statuses{set.attach(session), run(call, session.connection, "q")}), Statuses(2));
            EXPECT_EQ(TRN_BindParamArrayByPos(session.handle(), 1, 1, 1, 5, 2, numbers, 8, lengths), 0);
            EXPECT_EQ(run(call, session.connection, "q"), 0);
        }
    }
}

} // namespace
