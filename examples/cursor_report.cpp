// cursor_report - totals a million sales without ever holding them all in the client's memory.
//
//     cursor_report "server=127.0.0.1;port=5139;db=demo;user=me;password=secret" [SALES [whole]]
//
// A server cursor returns its rows 20,000 at a time; each rowset is released before the next is fetched. With
// "whole" the same rows are received by one plain query, for comparison: watch the memory of both.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

#include "tarnsql.h"

static void check(bool good, const char* what, TRN_HANDLE* conn = nullptr) {
    if (good) return;
    char code[TRN_ERROR_CODE_SIZE] = "";
    char message[TRN_ERROR_MESSAGE_SIZE] = "";
    if (conn) TRN_GetErrorInfo(conn, code, message);
    std::fprintf(stderr, "cursor_report: %s %s %s\n", what, code, message);
    std::exit(1);
}

// The server generates the sales as they are read.
static std::string query(const char* sales) {
    return std::string("WITH RECURSIVE sale(number) AS (SELECT 1 UNION ALL SELECT number + 1 FROM sale WHERE "
                       "number < ") +
           sales +
           ") SELECT number, substr('north south east  west  ', 1 + 6 * (number * 7919 % 4), 5) AS region, "
           "(number * 104729 % 99991) / 100.0 AS amount FROM sale";
}

struct Region {
    int64_t sales;
    double total, smallest, largest;
};

using Report = std::map<std::string, Region>;

static void add_rows(TRN_HANDLE* conn, TRN_HANDLE* rows, Report& report) {
    while (TRN_ReadNext(rows) == TRN_OK) {
        std::array<char, 8> name{};
        double amount = 0;
        check(TRN_GetData(rows, 2, TRN_TYPE_TEXT, name.data(), name.size(), nullptr) == TRN_OK &&
                  TRN_GetData(rows, 3, TRN_TYPE_DOUBLE, &amount, 0, nullptr) == TRN_OK,
              "cannot read a row", conn);
        Region& region = report.try_emplace(name.data(), Region{0, 0, amount, amount}).first->second;
        ++region.sales;
        region.total += amount;
        region.smallest = std::min(region.smallest, amount);
        region.largest = std::max(region.largest, amount);
    }
}

static Report report_by_cursor(TRN_HANDLE* conn, const std::string& sql) {
    Report report;
    check(TRN_ExecwithServerCursorReader(conn, sql.c_str(), "sales", nullptr, nullptr) == TRN_OK,
          "cannot open the cursor", conn);
    for (int32_t fetched = 1; fetched > 0;) {
        TRN_HANDLE rowset = nullptr;
        fetched = TRN_FetchServerCursorRowset(conn, "sales", &rowset);
        check(fetched >= 0, "cannot fetch", conn);
        add_rows(conn, &rowset, report);
        TRN_FreeRowset(&rowset);
    }
    check(TRN_CloseCursor(conn, "sales") == TRN_OK, "cannot close the cursor", conn);
    return report;
}

static Report report_of_whole(TRN_HANDLE* conn, const std::string& sql) {
    Report report;
    TRN_HANDLE result = nullptr;
    check(TRN_ExecwithDataReader(conn, sql.c_str(), &result, nullptr, nullptr, nullptr) >= 0, "cannot query",
          conn);
    add_rows(conn, &result, report);
    TRN_FreeRowset(&result);
    return report;
}

int main(int argc, char** argv) {
    const bool whole = argc == 4 && std::strcmp(argv[3], "whole") == 0;
    check(argc == 2 || argc == 3 || whole, "usage: cursor_report CONNECTION-STRING [SALES [whole]]");
    TRN_HANDLE conn = nullptr;
    check(TRN_OpenConn(argv[1], &conn) == TRN_OPENED, "cannot open", &conn);
    const std::string sql = query(argc > 2 ? argv[2] : "1000000");
    const Report report = whole ? report_of_whole(&conn, sql) : report_by_cursor(&conn, sql);
    TRN_CloseConn(&conn);

    std::printf("%-8s%10s%16s%10s%10s%10s\n", "region", "sales", "total", "mean", "smallest", "largest");
    for (const auto& [name, region] : report)
        std::printf("%-8s%10lld%16.2f%10.2f%10.2f%10.2f\n", name.c_str(),
                    static_cast<long long>(region.sales), region.total,
                    region.total / static_cast<double>(region.sales), region.smallest, region.largest);
}
