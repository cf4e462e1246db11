// The login with any answer of the server, and once more as a reconnect. Built once for each channel, because
// the arithmetic makes the encrypted one a hundred times slower.
#include "peer.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Input input(data, size);
    const uint8_t choice = input.byte();
    const size_t piece = 1 + input.byte();
    std::string text = "server=127.0.0.1;port=1;db=d;user=u;pwd=";
    text += input.text(choice % 16);
#ifdef ENCRYPTED
    text += ";use_ssl=on";
#endif
    fuzz::serve(input.rest(), piece);
    TRN_HANDLE handle = nullptr;
    if (TRN_OpenConn(text.c_str(), &handle) == TRN_OPENED) TRN_Execute_no_query(&handle, "x");
    TRN_ReconnectConn(&handle);
    fuzz::read_error(&handle);
    TRN_CloseConn(&handle);
    return 0;
}
