/* An outside program: what it calls needs no server. */
#include <stdio.h>
#include <string.h>

#include <tarnsql.h>

static int failures;

static void check(const char* what, int holds) {
    if (!holds) fprintf(stderr, "consumer: %s\n", what);
    failures += !holds;
}

int main(void) {
    char moment[20] = "";
    char code[7] = "";
    char message[256] = "";
    TRN_HANDLE connection = NULL;

    check("a moment is written", dt2dtm_Api(951825600000, moment) == TRN_OK);
    check("the moment is the right one", strcmp(moment, "2000-02-29 12:00:00") == 0);
    check("a statement is classed", fun_sql_type("update t set a = 1") == TRN_SQL_UPDATE);
    check("a null handle is refused", TRN_Execute_no_query(&connection, "select 1") == TRN_ERR_ARGUMENT);

    /* Nothing ever listens on port 0. */
    check("no server is no connection",
          TRN_OpenConn("server=127.0.0.1;port=0;db=d;user=u;pwd=p", &connection) == TRN_ERR_CONNECT);
    check("the failure has words", TRN_GetErrorInfo(&connection, code, message) == TRN_OK);
    check("and their code", strcmp(code, "EC011") == 0);
    check("the handle closes", TRN_CloseConn(&connection) == TRN_OK && !connection);
    printf("consumer of tarnsql %d: %d failures\n", TRN_VERSION_MAJOR, failures);
    return failures != 0;
}
