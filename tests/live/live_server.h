// What the live tests share: a tarnlite of their own on a port of the system's choosing, connections to it, and results as
// text. Uses the public header only.
#pragma once

#include "child_process.h"
#include "tarnsql.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// Listens when constructed, or throws std::runtime_error. Unless killed it ends by SIGTERM with the test, which expects it to
// leave with 0.
class LiveServer {
  public:
    explicit LiveServer(const std::vector<std::string>& options = {});
    ~LiveServer();
    LiveServer(const LiveServer&) = delete;
    LiveServer& operator=(const LiveServer&) = delete;

    // "server=...;port=...;db=...;user=...;pwd=...;" and the settings, of which a later one wins.
    std::string connection_string(const std::string& settings = "") const;
    void kill();

  private:
    TemporaryFolder folder_;
    std::unique_ptr<ChildProcess> process_;
    unsigned port_ = 0;
    bool killed_ = false;
};

struct Connection {
    explicit Connection(const LiveServer& server, const std::string& settings = "")
        : opened(TRN_OpenConn(server.connection_string(settings).c_str(), &handle)) {}
    ~Connection() { TRN_CloseConn(&handle); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    std::int32_t run(const std::string& sql) { return TRN_Execute_no_query(&handle, sql.c_str()); }

    TRN_HANDLE handle = nullptr;
    std::int32_t opened;
};

// A statement's result, released with all its items.
struct Result {
    Result(Connection& connection, const std::string& sql)
        : status(
              TRN_ExecwithDataReader(&connection.handle, sql.c_str(), &handle, &columns, &rows, &affected)) {}
    ~Result();
    Result(const Result&) = delete;
    Result& operator=(const Result&) = delete;

    bool next() { return TRN_ReadNext(&handle) == TRN_OK; }
    // A value of the current row as text: "NULL", or "status N" when it cannot be had.
    std::string text(std::int32_t column, std::int32_t target = TRN_TYPE_TEXT);
    std::string label(std::int32_t column);

    TRN_HANDLE handle = nullptr;
    std::int32_t columns = -7;
    std::int64_t rows = -7;
    std::int32_t affected = -7;
    std::int32_t status;
};

// Every item of a statement's reply in one line each: "insert 3", "update 2", "delete 1", "a,b: 1,x; 2,y".
std::string transcript(Connection& connection, const std::string& sql);

std::string error_text(TRN_HANDLE& handle);
std::string last_insert_id(Connection& connection);
