/*
 * What a test does with the public interface again and again: connections, results and single values that are
 * released on the way out, and short ways to read texts out of handles.
 */
#ifndef TEST_SUPPORT_CLIENT_H
#define TEST_SUPPORT_CLIENT_H

#include "tarnsql.h"

#include <cstdint>
#include <string>

namespace test_support {

struct Connection {
    Connection() : opened(-7) {}
    explicit Connection(const std::string& text) : opened(TRN_OpenConn(text.c_str(), &handle)) {}
    ~Connection() { TRN_CloseConn(&handle); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    std::int32_t run(const std::string& sql) { return TRN_Execute_no_query(&handle, sql.c_str()); }

    TRN_HANDLE handle = nullptr;
    std::int32_t opened;
};

/* A statement run by TRN_ExecwithDataReader, with its result; or, without one, a place for the result of
 * another call. Untouched out-variables keep -7. */
struct Reader {
    Reader() : status(-7) {}
    Reader(Connection& connection, const std::string& sql)
        : status(
              TRN_ExecwithDataReader(&connection.handle, sql.c_str(), &result, &columns, &rows, &affected)) {}
    ~Reader();
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;
    bool next() { return TRN_ReadNext(&result) == TRN_OK; }
    /* A value of the current row: "NULL", or "status N" when it cannot be had. */
    std::string text(std::int32_t column, std::int32_t target = TRN_TYPE_TEXT);
    /* Every item from the current one on, a line each: "insert 3", "update 2", "a,b: 1,x; 2,y". */
    std::string transcript();

    TRN_HANDLE result = nullptr;
    std::int32_t columns = -7;
    std::int64_t rows = -7;
    std::int32_t affected = -7;
    std::int32_t status;
};

/* What TRN_Execute_query_with_one leaves: the area is filled with dots before, the word is 7777. */
struct SingleValue {
    SingleValue(Connection& connection, const std::string& sql)
        : status(TRN_Execute_query_with_one(&connection.handle, sql.c_str(), area.data(), &word)) {}
    /* The text in the area, or the value handed over, released. */
    std::string take();

    std::string area = std::string(64, '.');
    std::uint32_t word = 7777;
    std::int32_t status;
};

/* The whole error text of a handle, "" when it has none. */
std::string error_text(TRN_HANDLE& handle);
std::string last_insert_id(Connection& connection);

} // namespace test_support

#endif
