/*
 * A program without a C runtime: what Microsoft's linker needs of the library, and nothing else.
 */
#include "tarnsql.h"
#include "tarnsql_ext.h"

int main(void) {
    TRN_HANDLE conn = 0;
    if (TRN_OpenConn("server=not an address", &conn) == TRN_OPENED) return 1;
    TRN_CloseConn(&conn);
    return TRNX_Version()[0] == TRN_VERSION[0] ? 0 : 2;
}
