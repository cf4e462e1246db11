/*
 * What the session tests share: an open connection to a scripted server, results that are released on the way
 * out, and short ways to read texts out of handles. Uses the public header only.
 */
#ifndef SESSION_FIXTURE_H
#define SESSION_FIXTURE_H

#include "output_capture.h"
#include "scripted_server.h"
#include "tarnsql.h"
#include "wire_bytes.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

using namespace test_support;
using namespace std::string_literals;

inline const std::string default_login = login_text("D", "U", "P");
inline const std::string default_account = "db=D;user=U;pwd=P";

/* "server=...;port=...;" followed by the settings. */
std::string connection_string(std::uint16_t port, const std::string& settings = default_account);

struct Connection {
    explicit Connection(const std::string& text) : opened(TRN_OpenConn(text.c_str(), &handle)) {}
    ~Connection() { TRN_CloseConn(&handle); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    TRN_HANDLE handle = nullptr;
    std::int32_t opened;
};

struct Exchange {
    std::string sql;
    std::string reply;
};

/* Login and the exchanges; the connection stays open behind them. */
Script logged_in(const std::vector<Exchange>& exchanges);

/* An open connection over a script. */
struct Session {
    explicit Session(Script script)
        : server(std::move(script)), connection(connection_string(server.port())) {
        EXPECT_EQ(connection.opened, TRN_OPENED);
    }
    explicit Session(const std::vector<Exchange>& exchanges) : Session(logged_in(exchanges)) {}
    TRN_HANDLE* handle() { return &connection.handle; }

    ScriptedServer server;
    Connection connection;
};

/* A statement run by TRN_ExecwithDataReader, with its result. Untouched out-variables keep -7. */
struct Reader {
    Reader(TRN_HANDLE* connection, const char* sql)
        : status(TRN_ExecwithDataReader(connection, sql, &result, &columns, &rows, &affected)) {}
    ~Reader();
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    TRN_HANDLE result = nullptr;
    std::int32_t columns = -7;
    std::int64_t rows = -7;
    std::int32_t affected = -7;
    std::int32_t status;
};

/* The whole error text of a handle, "" when it has none. */
std::string error_text(TRN_HANDLE* handle);

std::string last_insert_id(TRN_HANDLE* connection);

/* A value of the current row as text: "NULL", or "status N" when it cannot be had. */
std::string text_value(TRN_HANDLE* result, std::int32_t column);

/* Every item, column, row and text that a result holds, from its present item on. */
std::string transcript(TRN_HANDLE* result);

#endif
