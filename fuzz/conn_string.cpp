// Connection strings, and address lists in them.
#include "peer.h"

#include <vector>

using namespace fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    const int32_t number = input.number();
    const std::string text(input.rest());
    std::vector<char> room(size + 1024);
    serve(number % 2 ? "K" : "E", 1);
    TRN_HANDLE one = nullptr, any = nullptr;
    void* state = nullptr;
    TRN_OpenConn(text.c_str(), &one);
    for (int32_t id = 2; id <= 13; ++id) {
        int32_t type, length;
        TRN_GetAttr(&one, id, room.data(), static_cast<int32_t>(room.size()), &type, &length);
    }
    for (int i = 0; i < 2; ++i) {
        serve("K", 1);
        TRN_OpenConn_Ips(text.c_str(), i ? number : -1, &state, &any);
        read_error(&any);
        TRN_Drop(&any);
        if (number < 2) Release_IpsAttrs(&state);
    }
    Release_IpsAttrs(&state);
    TRN_Drop(&one);
    return 0;
}
