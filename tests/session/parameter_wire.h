/*
 * What the tests of parameters share: commands with entries as they travel, and the handles that parameters
 * are made of. Values lie in heap buffers of their exact size, so that a sanitizer sees every byte read
 * beside them.
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

/* The values of one parameter for all rows, bound at a position or, when that is 0, by name. */
struct Array {
    std::int32_t type;
    Bytes values;
    std::vector<std::int32_t> lengths;

    std::int32_t bind(TRN_HANDLE* handle, std::int32_t position, std::int32_t count, const char* name = "n",
                      std::int32_t direction = 1) {
        const auto rows = std::int32_t(lengths.size()), size = std::int32_t(values.size());
        void* data = values.data();
        return position == 0 ? TRN_BindParamArrayByName(handle, name, count, direction, type, rows, data,
                                                        size, lengths.data())
                             : TRN_BindParamArrayByPos(handle, position, count, direction, type, rows, data,
                                                       size, lengths.data());
    }
};

inline std::string counted(const std::string& text) {
    return host_bytes(std::int32_t(text.size())) + text;
}

/* Texts, each behind its length in host order. */
inline Array texts(const std::vector<std::string>& values) {
    Array array{TRN_TYPE_TEXT, {}, {}};
    for (const std::string& value : values) {
        array.lengths.push_back(std::int32_t(value.size()));
        const std::string element = counted(value);
        array.values.insert(array.values.end(), element.begin(), element.end());
    }
    return array;
}

inline Array integers(const std::vector<std::int32_t>& values) {
    const std::string_view bytes(reinterpret_cast<const char*>(values.data()), values.size() * 4);
    return {TRN_TYPE_INTEGER, exact(bytes), std::vector<std::int32_t>(values.size(), 4)};
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
    thread_local std::string bytes;
    for (std::size_t i = bytes.size(); i < size; ++i)
        bytes += static_cast<char>(i * 7 + i / 251 + i / 65521);
    return bytes.substr(0, size);
}

#endif
