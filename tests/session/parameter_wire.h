/*
 * What the tests of parameters share: commands with entries as they travel, and the handles that parameters are
 * made of. Values lie in heap buffers of their exact size, so that a sanitizer sees every byte read beside them.
 */
#ifndef PARAMETER_WIRE_H
#define PARAMETER_WIRE_H

#include "session_fixture.h"

using Bytes = std::vector<char>;
using Statuses = std::vector<std::int32_t>; /* of calls made one after another */

inline Bytes exact(std::string_view bytes) {
    return Bytes(bytes.begin(), bytes.end());
}

template <class T> std::string host_bytes(T value) {
    return {reinterpret_cast<const char*>(&value), sizeof value};
}

/* A command, its parameter word and what follows it. */
inline std::string request(std::string_view text, std::int64_t word, const std::string& rest = "") {
    return "?" + wire_text(text) + '\0' + be32(word) + rest;
}

inline std::string entry_head(std::string_view name, std::int64_t direction) {
    return be16(static_cast<std::int64_t>(name.size())).append(name) + be16(direction);
}

/* The length field may say something else than the value's size. */
inline std::string entry(std::string_view name, std::int64_t direction, std::int64_t wire_type,
                         std::int64_t length, std::string_view value) {
    return (entry_head(name, direction) + be16(wire_type) + be32(length)).append(value);
}

inline std::string text_entry(std::string_view value, std::string_view name = "") {
    return entry_head(name, TRN_DIRECTION_IN) + be16(TRN_WIRE_CHAR) + wire_text(value);
}

inline std::string integer_entry(std::int64_t value, std::string_view name = "") {
    return entry_head(name, TRN_DIRECTION_IN) + be16(TRN_WIRE_INTEGER) + integer(value);
}

/* The login, then requests byte for byte with their replies. */
inline Script asked(const std::vector<std::pair<std::string, std::string>>& exchanges) {
    Script script;
    for (const auto& [bytes, reply] : exchanges)
        script.insert(script.end(), {expect(bytes), send(reply)});
    return logged_in(script);
}

/* Binding of input values; every buffer is gone when these return. */
inline std::int32_t bind_text(TRN_HANDLE* handle, std::int32_t position, std::string_view value) {
    Bytes buffer = exact(value);
    auto length = static_cast<std::int32_t>(value.size());
    return TRN_BindParamByPos(handle, position, 1, TRN_TYPE_TEXT, buffer.data(), length, &length);
}

inline std::int32_t bind_integer(TRN_HANDLE* handle, const std::string& name, std::int32_t value) {
    std::int32_t length = 4;
    return TRN_BindParamByName(handle, exact(name + '\0').data(), 1, TRN_TYPE_INTEGER, &value, 4, nullptr,
                               &length);
}

struct ParamSet {
    ParamSet() { EXPECT_EQ(TRN_CreateParams(&handle), 0); }
    ~ParamSet() { TRN_Drop(&handle); }
    ParamSet(const ParamSet&) = delete;
    ParamSet& operator=(const ParamSet&) = delete;
    std::int32_t attach(Session& session) { return TRN_BindParams2Conn(session.handle(), &handle); }

    TRN_HANDLE handle = nullptr;
};

/* Bytes that differ from those before and behind them, and a chunk away. */
inline std::string pattern(std::size_t size) {
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<char>(i * 7 + i / 251 + i / 65521);
    return bytes;
}

#endif
