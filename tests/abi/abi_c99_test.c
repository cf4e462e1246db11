/*
 * The shared library used from C: the calls that need no server, and an open that a closed port refuses. Built
 * once as C99 and once as C11.
 */
#include "sockets.h"
#include "tarnsql.h"

#include <stdio.h>
#include <string.h>

static int failures;

static void check(int holds, const char* what, int line) {
    if (!holds) {
        printf("line %d: %s\n", line, what);
        ++failures;
    }
}

#define CHECK(condition) check((condition), #condition, __LINE__)

static void null_arguments_are_refused(void) {
    TRN_HANDLE none = NULL;
    char area[64] = "";
    uint32_t word = 7;
    int32_t number = 7;
    int64_t rows = 7;
    CHECK(TRN_OpenConn(NULL, &none) == -1 && none == NULL);
    CHECK(TRN_CloseConn(&none) == -1);
    CHECK(TRN_Execute_no_query(&none, "x") == TRN_ERR_ARGUMENT);
    CHECK(TRN_Execute_query_with_one(&none, "x", area, &word) == TRN_ERR_ARGUMENT);
    CHECK(TRN_ExecwithDataReader(&none, "x", &none, &number, &rows, &number) == TRN_ERR_ARGUMENT);
    CHECK(TRN_ReadNext(&none) == -1);
    CHECK(TRN_NextResult(&none) == 0 && TRN_FreeRowset(&none) == 0);
    CHECK(TRN_GetData(&none, 1, TRN_TYPE_TEXT, area, 64, &number) == TRN_ERR_ARGUMENT);
    CHECK(TRN_getResultcolseq(&none, "c") == TRN_ERR_ARGUMENT);
    CHECK(TRN_GetErrorLen(&none) == 0 && TRN_GetErrorInfo(&none, area, area) == 0);
    CHECK(number == 7 && rows == 7 && word == 7 && area[0] == '\0');
    TRN_Drop(&none);
}

static void local_calls_answer(void) {
    char text[32];
    CHECK(fun_sql_type("select 1") == TRN_SQL_SELECT);
    CHECK(fun_sql_type("execute p") == TRN_SQL_EXECUTE);
    CHECK(fun_sql_type(NULL) == TRN_ERR_ARGUMENT);
    CHECK(dt2dtm_Api(-1, text) == 0 && strcmp(text, "1969-12-31 23:59:59") == 0);
}

static void reserved_entries_take_anything(void) {
    TRN_HANDLE none = NULL;
    CHECK(GetConnStr() == 0);
    CHECK(SetConnStr("text", 1, 2.5) == 0);
    CHECK(TRN_LobWrite_SetPos(&none, (int64_t)-1, 3, 4, 5, 6, 7, 8) == 0);
    CHECK(TRN_GetErrorInfoOption(NULL, &none) == 0);
}

static void a_refused_open_leaves_an_error_text(void) {
    static const char expected[] = "[EC011]Error in build-connect Sock Failure";
    TRN_HANDLE handle = NULL;
    char conn_string[64], text[64] = "", code[7] = "??????", message[256] = "";
    int32_t length = 0;
    snprintf(conn_string, sizeof conn_string, "server=127.0.0.1;port=%u", (unsigned)test_refusing_port());
    CHECK(TRN_OpenConn(conn_string, &handle) == TRN_ERR_CONNECT);
    CHECK(handle != NULL);
    CHECK(TRN_GetErrorLen(&handle) == (int32_t)(sizeof expected - 1));
    CHECK(TRN_GetError(&handle, text, &length) == 0 && strcmp(text, expected) == 0);
    CHECK(length == (int32_t)(sizeof expected - 1));
    CHECK(TRN_GetErrorInfo(&handle, code, message) == 0);
    CHECK(memcmp(code, "EC011\0", 6) == 0 && strcmp(message, expected + 7) == 0);
    CHECK(TRN_CloseConn(&handle) == 0 && handle == NULL);
}

int main(void) {
    null_arguments_are_refused();
    local_calls_answer();
    reserved_entries_take_anything();
    a_refused_open_leaves_an_error_text();
    return failures == 0 ? 0 : 1;
}
