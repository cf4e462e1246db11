// The error calls: the whole text, its length, and the text split into code and message.

#include <cstring>
#include <string_view>

#include "conn/handle.h"

namespace tarn {

void set_error_text(Handle& handle, Owned<char> text) noexcept {
    release(handle.error_text);
    handle.error_text = text.release();
}

void set_error_message(Handle& handle, const char* text) noexcept {
    if (Owned<char> copy = copy_text(text, std::strlen(text))) set_error_text(handle, std::move(copy));
}

static bool carries_error_text(const TRN_HANDLE* handle) noexcept {
    const int32_t kind = kind_of(handle);
    return kind == TRN_KIND_CONNECTION || kind == TRN_KIND_RESULT || kind == TRN_KIND_LOB;
}

// The handle's error text, null when it has none or its kind carries none.
static const char* error_text_of(const TRN_HANDLE* handle) noexcept {
    return carries_error_text(handle) ? static_cast<const Handle*>(*handle)->error_text : nullptr;
}

static int32_t text_length(std::string_view text) noexcept {
    return static_cast<int32_t>(text.size());
}

namespace {

// An error text split in two. A text too long for the application's message area (255 bytes) is replaced by a
// placeholder.
struct ErrorInfo {
    char code[6];
    std::string_view prefix;
    std::string_view message;
    bool too_long;
};

} // namespace

static ErrorInfo split(std::string_view text) noexcept {
    constexpr std::string_view common_prefix = "common error\n";
    ErrorInfo info{};
    if (text.empty() || text[0] != '[') {
        std::memcpy(info.code, "EC0100", 6);
        info.prefix = common_prefix;
        info.too_long = text.size() >= 243;
        if (!info.too_long) info.message = text;
        return info;
    }
    // "[EC011]..." has a five-character code, "[EC0195]..." a six-character one. A text shorter than its code
    // is padded with zeros.
    const size_t code_length = text.size() > 6 && text[6] == ']' ? 5 : 6;
    if (text.size() <= code_length) return info;
    std::memcpy(info.code, text.data() + 1, code_length);
    info.too_long = text.size() >= code_length + 257;
    // For a long text no message is written, although there is room for its beginning: applications tell this
    // case by the status alone.
    const size_t message_start = code_length + 2;
    if (!info.too_long && text.size() > message_start) info.message = text.substr(message_start);
    return info;
}

} // namespace tarn

using namespace tarn;

int32_t TRN_GetErrorLen(TRN_HANDLE* handle) {
    const char* text = error_text_of(handle);
    return text ? text_length(text) : 0;
}

int32_t TRN_GetError(TRN_HANDLE* handle, char* out_text, int32_t* out_len) {
    const char* text = error_text_of(handle);
    if (!text || !out_text) return TRN_OK;
    std::memcpy(out_text, text, std::strlen(text));
    if (out_len) *out_len = text_length(text);
    return TRN_OK;
}

int32_t TRN_GetErrorInfo(TRN_HANDLE* handle, char* out_code, char* out_message) {
    if (!carries_error_text(handle) || !out_code || !out_message) return TRN_OK;
    const char* text = error_text_of(handle);
    if (!text) return TRN_END;
    const ErrorInfo info = split(text);
    std::memcpy(out_code, info.code, sizeof info.code);
    if (!info.prefix.empty()) std::memcpy(out_message, info.prefix.data(), info.prefix.size());
    if (!info.message.empty())
        std::memcpy(out_message + info.prefix.size(), info.message.data(), info.message.size());
    return info.too_long ? TRN_ERROR_TEXT_LONG : TRN_OK;
}
