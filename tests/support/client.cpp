/*
 * The client's side of the tests; see the header.
 */
#include "client.h"

#include <cstring>
#include <gtest/gtest.h>

namespace test_support {

Reader::~Reader() {
    while (result != nullptr && TRN_NextResult(&result) == TRN_OK) {
    }
    TRN_FreeRowset(&result);
}

/* A truncated value is asked for again with room for what was left out. */
std::string Reader::text(std::int32_t column, std::int32_t target) {
    std::string value(256, '?');
    std::int32_t length = -7, outcome;
    while ((outcome = TRN_GetData(&result, column, target, value.data(),
                                  static_cast<std::int32_t>(value.size()), &length)) == TRN_TRUNCATED)
        value.resize(value.size() + static_cast<std::size_t>(length));
    if (outcome == TRN_NULL_VALUE) return "NULL";
    if (outcome != TRN_OK) return "status " + std::to_string(outcome);
    return value.substr(0, static_cast<std::size_t>(length));
}

static std::string item_text(Reader& reader) {
    std::int32_t kind = 0, columns = 0, affected = 0;
    char text[1025] = {};
    EXPECT_EQ(TRN_getResultRet(&reader.result, &kind, &columns, nullptr, &affected, text), 0);
    if (kind == TRN_ITEM_INSERT) return std::string("insert ") + text;
    if (kind != TRN_ITEM_QUERY)
        return (kind == TRN_ITEM_UPDATE ? "update " : "delete ") + std::to_string(affected);
    std::string all;
    for (std::int32_t column = 1; column <= columns; ++column, std::memset(text, 0, sizeof text)) {
        EXPECT_EQ(TRN_getResultcolname(&reader.result, column, text), 0);
        all += (column > 1 ? "," : "") + std::string(text);
    }
    for (const char* mark = ": "; reader.next(); mark = "; ")
        for (std::int32_t column = 1; column <= columns; ++column)
            all += (column > 1 ? "," : mark) + reader.text(column);
    return all;
}

std::string Reader::transcript() {
    std::string all;
    if (result == nullptr) return all;
    do
        all += item_text(*this) + "\n";
    while (TRN_NextResult(&result) == TRN_OK);
    return all;
}

std::string SingleValue::take() {
    /* A server can invent large types: where nothing was handed over, there are dots. */
    if (word < TRN_HANDED_OVER || area.substr(4, sizeof(void*)) == std::string(sizeof(void*), '.'))
        return area.substr(0, area.find_last_not_of('.') + 1);
    std::int32_t length = 0;
    void* pointer = nullptr;
    std::memcpy(&length, area.data(), sizeof length);
    std::memcpy(&pointer, area.data() + 4, sizeof pointer);
    const std::string value(static_cast<const char*>(pointer), static_cast<std::size_t>(length) + 1);
    EXPECT_EQ(value.back(), '\0');
    EXPECT_EQ(area.substr(12), std::string(52, '.'));
    EXPECT_EQ(TRN_FreePtr(&pointer), TRN_OK);
    EXPECT_EQ(pointer, nullptr);
    return value.substr(0, value.size() - 1);
}

std::string error_text(TRN_HANDLE& handle) {
    const std::int32_t length = TRN_GetErrorLen(&handle);
    std::string text(static_cast<std::size_t>(length), '?');
    std::int32_t copied = 0;
    EXPECT_EQ(TRN_GetError(&handle, text.data(), &copied), TRN_OK);
    EXPECT_EQ(copied, length);
    return text;
}

std::string last_insert_id(Connection& connection) {
    char text[64];
    EXPECT_EQ(TRN_GetLastInsertId(&connection.handle, text), TRN_OK);
    return text;
}

} // namespace test_support
