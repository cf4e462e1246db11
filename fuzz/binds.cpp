// Binding with any sizes and types, and sending what was bound.
#include "peer.h"

#include <algorithm>
#include <array>
#include <vector>

using namespace fuzz;

// The application's memory: bound values stay until the run ends. Lengths are sometimes wrong, but sizes
// never, and a value bound as a large object is one: both are up to the application.
struct Memory {
    Memory() {
        TRN_Create_Lob(&lob);
        TRN_Put_Lob_data(&lob, "content", 7);
        TRN_Put_Lob_data(&lob, nullptr, TRN_LOB_END);
    }
    ~Memory() { TRN_Distroy_Lob(&lob); }
    Memory(const Memory&) = delete;
    Memory& operator=(const Memory&) = delete;

    TRN_HANDLE lob = nullptr;
    TRN_HANDLE no_lob = nullptr;
    std::vector<std::vector<char>> values;
    std::vector<std::vector<int32_t>> lengths;
};

static bool is_lob(int32_t type) {
    return type == TRN_TYPE_BLOB_PARAMETER || type == TRN_TYPE_CLOB || type == TRN_TYPE_BLOB;
}

static void bind_single(TRN_HANDLE* target, Input& input, Memory& memory) {
    const int32_t size = std::clamp(input.number(), 0, 4096), type = input.number(),
                  direction = input.number() % 8;
    memory.values.emplace_back(static_cast<size_t>(size) + 16);
    memory.lengths.push_back({input.number()});
    const std::string_view content = input.text(static_cast<size_t>(size));
    content.copy(memory.values.back().data(), content.size());
    void* value = memory.values.back().data();
    if (is_lob(type)) value = input.byte() % 4 ? &memory.lob : &memory.no_lob;
    if (input.byte() % 8 == 0) value = nullptr;
    int32_t* length = input.byte() % 8 ? memory.lengths.back().data() : nullptr;
    // Without a size the length is trusted.
    if (length && size == 0) *length = std::min(*length, 8);
    if (input.byte() % 2)
        TRN_BindParamByPos(target, input.number(), direction, type, value, size, length);
    else
        TRN_BindParamByName(target, std::string(input.text(3)).c_str(), direction, type, value, size, nullptr,
                            length);
}

static void bind_array(TRN_HANDLE* target, Input& input, Memory& memory) {
    const int32_t rows = std::clamp(input.number(), -1, 300), type = input.number(),
                  count = input.number() % 8;
    const int32_t size = std::clamp(input.number() % 256 * 16, 0, 4096);
    memory.values.emplace_back(static_cast<size_t>(size));
    auto& lengths = memory.lengths.emplace_back(static_cast<size_t>(std::max(rows, 1)));
    for (int32_t& length : lengths)
        length = input.number();
    const std::string_view content = input.text(static_cast<size_t>(size));
    content.copy(memory.values.back().data(), content.size());
    if (input.byte() % 2)
        TRN_BindParamArrayByPos(target, input.number() % 9, count, TRN_DIRECTION_IN, type, rows,
                                memory.values.back().data(), size, lengths.data());
    else
        TRN_BindParamArrayByName(target, std::string(input.text(2)).c_str(), count, TRN_DIRECTION_IN, type,
                                 rows, memory.values.back().data(), size, lengths.data());
}

static void execute(TRN_HANDLE* conn, Input& input) {
    serve("K", 1);
    char cursor[32];
    switch (input.byte() % 6) {
    case 0: TRN_Execute_no_query(conn, "x"); break;
    case 1: TRN_ExecBatch(conn, "x", input.number()); break;
    case 2: TRN_Execute_procesure(conn, "x", nullptr); break;
    case 3: TRN_Execute2(conn, "s", cursor, nullptr); break;
    case 4: TRN_ExecwithServerCursorReader(conn, "x", "c", nullptr, nullptr); break;
    default: TRN_Reset(conn);
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    Memory memory;
    Session session;
    TRN_HANDLE set = nullptr;
    TRN_CreateParams(&set);
    while (!input.empty()) {
        const uint8_t choice = input.byte();
        TRN_HANDLE* target = choice & 0x80 ? &set : session.handle();
        switch (choice % 8) {
        case 0:
        case 1:
        case 2: bind_single(target, input, memory); break;
        case 3:
        case 4: bind_array(target, input, memory); break;
        case 5: TRN_BindParams2Conn(session.handle(), &set); break;
        case 6: TRN_ResetParams(target); break;
        default: execute(session.handle(), input);
        }
    }
    execute(session.handle(), input);
    TRN_Drop(&set);
    read_error(session.handle());
    return 0;
}
