/*
 * The shared library used from C: the calls that need no server, and an open that a closed port refuses.
 * Built once as C99 and once as C11.
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
    local_calls_answer();
    reserved_entries_take_anything();
    a_refused_open_leaves_an_error_text();
    return failures == 0 ? 0 : 1;
}
