/*
 * Helpers of the session tests; see the header.
 */
#include "session_fixture.h"

#include <utility>

std::string connection_string(std::uint16_t port, const std::string& settings) {
    return "server=127.0.0.1;port=" + std::to_string(port) + ";" + settings;
}

Script logged_in(const std::vector<Exchange>& exchanges) {
    Script script{expect(default_login), send("K")};
    for (const Exchange& exchange : exchanges) {
        script.push_back(expect_command(exchange.sql));
        script.push_back(send(exchange.reply));
    }
    return script;
}

Reader::~Reader() {
    while (result != nullptr && TRN_NextResult(&result) == 0) {
    }
    TRN_FreeRowset(&result);
}

std::string error_text(TRN_HANDLE* handle) {
    const std::int32_t length = TRN_GetErrorLen(handle);
    std::string text(static_cast<std::size_t>(length), '?');
    std::int32_t copied = 0;
    EXPECT_EQ(TRN_GetError(handle, text.data(), &copied), 0);
    EXPECT_EQ(copied, length);
    return text;
}

std::string last_insert_id(TRN_HANDLE* connection) {
    char text[64];
    EXPECT_EQ(TRN_GetLastInsertId(connection, text), 0);
    return text;
}

std::string text_value(TRN_HANDLE* result, std::int32_t column) {
    std::string text(256, '?');
    std::int32_t length = -7;
    std::int32_t status = TRN_GetData(result, column, TRN_TYPE_TEXT, text.data(), 256, &length);
    if (status == TRN_TRUNCATED) {
        const std::int32_t needed = 256 + length;
        text.resize(static_cast<std::size_t>(needed));
        status = TRN_GetData(result, column, TRN_TYPE_TEXT, text.data(), needed, &length);
    }
    if (status == TRN_NULL_VALUE) return "NULL";
    if (status != 0) return "status " + std::to_string(status);
    return text.substr(0, static_cast<std::size_t>(length));
}

std::string transcript(TRN_HANDLE* result) {
    if (*result == nullptr) return "no result";
    std::string all;
    do {
        std::int32_t kind = 0, columns = 0, rows = 0, affected = 0;
        char identifier[33] = {};
        EXPECT_EQ(TRN_getResultRet(result, &kind, &columns, &rows, &affected, identifier), 0);
        all += "item " + std::to_string(kind) + " columns " + std::to_string(columns) + " rows " +
               std::to_string(rows) + " affected " + std::to_string(affected) + " id " + identifier +
               " text " + error_text(result) + "\n";
        for (std::int32_t column = 1; column <= columns; ++column) {
            char name[1025] = {};
            EXPECT_EQ(TRN_getResultcolname(result, column, name), 0);
            all += "column "s + name + "\n";
        }
        while (TRN_ReadNext(result) == 0) {
            for (std::int32_t column = 1; column <= columns; ++column)
                all += text_value(result, column) + "|";
            all += "\n";
        }
    } while (TRN_NextResult(result) == 0);
    return all;
}
