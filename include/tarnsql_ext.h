/*
 * tarnsql_ext.h - what this library adds to the interface of tarnsql.h: opening with time-outs and checks,
 * cancelling a running call, batches of rows, redirecting the printed lines, a protocol trace, the version.
 *
 * The header compiles alone as C99, C11 and C++11. The conventions of tarnsql.h hold here too. Every name
 * begins with TRNX_; no name in tarnsql.h does.
 */
#ifndef TARNSQL_EXT_H
#define TARNSQL_EXT_H

#include "tarnsql.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ----------------------------------------------------------------------------------------- opening */

/* Flags of TRNX_OPTIONS. */
#define TRNX_IGNORE_UNKNOWN_KEYS 1u /* unknown keys are ignored, as in TRN_OpenConn */

/*
 * Options of TRNX_OpenConn. Zero the whole record, set size to sizeof(TRNX_OPTIONS), then set what you want
 * to change. Zero means the behaviour of TRN_OpenConn.
 *
 * connect_timeout_ms  limits the wait for the TCP connection (for each address of a list separately) and each
 *                     receive until the login is complete. 0: as long as the system waits.
 * receive_timeout_ms  limits each wait for the next bytes of a reply. 0: convention 9 of tarnsql.h.
 * keepalive_*         TCP keep-alive probes of a silent peer. 0: the system's settings.
 *
 * Later versions may add fields at the end: a longer record is accepted if the extra bytes are all zero.
 */
typedef struct TRNX_OPTIONS {
    uint32_t size;                /* sizeof(TRNX_OPTIONS) */
    uint32_t flags;               /* TRNX_IGNORE_UNKNOWN_KEYS, or 0 */
    int32_t connect_timeout_ms;   /* of each connect */
    int32_t receive_timeout_ms;   /* of each wait for bytes of a reply */
    int32_t keepalive_idle_s;     /* silence before the first probe */
    int32_t keepalive_interval_s; /* between two probes */
    int32_t keepalive_count;      /* unanswered probes that end the connection */
} TRNX_OPTIONS;

/*
 * Opens a connection like TRN_OpenConn, with time-outs, and reports mistakes in the string instead of
 * ignoring them. With an address list in the string it begins at a random address and tries others as long as
 * servers refuse, like TRN_OpenConn_Ips, but takes lock_timeout from the string. All other calls work on such
 * a connection as on any other; TRN_ReconnectConn uses the same options again.
 *
 * conn_string  as in TRN_OpenConn. It refuses: a string of one segment without a separator (which would set
 *              nothing), a segment without "=" or of 128 bytes or more, an unknown key (unless the flag
 *              allows it), a port that is not a number from 1 to 65535, a server or listed address that is
 *              not a dotted IPv4 address, a value too long for its field, any other word for an on/off key,
 *              more than 100 addresses, a quote (') in any value and a blank inside the database name: these
 *              would end their clause of the login text, and a password could name another user.
 * options      null: all zero.
 * out_handle   receives the connection at once, before anything can fail, so that another thread can cancel
 *              the open; required.
 *
 * Returns 0 logged in (with the flag, the error text then names the first unknown key, if any); -3 a null
 * argument or a bad options record (*out_handle is then untouched), or a refused string ([EX004], with the
 * key; never a value); -8 not connected ([EX002]: address, port, the system's reason or the time-out; for a
 * list, those of the last one tried); -9 the login failed ([EX003]: address, port, the server's reason if it
 * gave one); -5 out of memory (*out_handle is untouched if it was for the record). Whenever *out_handle was
 * set the connection must be closed.
 *
 * Threads: any; different connections share nothing.
 */
TRN_API int32_t TRNX_OpenConn(const char* conn_string, const TRNX_OPTIONS* options, TRN_HANDLE* out_handle);

/*
 * Changes how long a connection waits for the next bytes of a reply, from the next call on and for every
 * reconnect. A wait that times out closes the link (convention 9 of tarnsql.h); with a time-out set here or
 * by TRNX_OpenConn the wait is not repeated.
 *
 * timeout_ms  milliseconds; 0: 30 minutes and as many waits as convention 9 says.
 *
 * Returns 0; -3 for a negative time-out, a null argument or another kind of handle. Takes the lock: it waits
 * for a running call.
 */
TRN_API int32_t TRNX_SetReceiveTimeout(TRN_HANDLE* handle, int32_t timeout_ms);

/* --------------------------------------------------------------------------------------- cancelling */

/*
 * Cancels the call that is running on a connection, whatever it is waiting for: a reply, a full send buffer,
 * a connect (which ends within 50 ms). The call returns its network status (usually -4; -8 or -9 from an open
 * or a reconnect), the connection's error text is "[EX001]the call was cancelled", and the link is closed.
 * What lived in the session (an open transaction, prepared statements, cursors) is gone, and calls fail with
 * their network status until TRN_ReconnectConn. A call whose whole reply had arrived returns normally, but
 * the link is closed all the same.
 *
 * Wire: the protocol has no message for it. The socket is shut down; the server sees that its client is gone,
 * and how it ends the statement is up to the server.
 *
 * handle  the address of the same variable that the connection was opened into. While TRNX_Cancel runs, any
 *         call may run on the connection, including TRN_CloseConn and TRN_Drop with the same variable: the
 *         variable is read once, and a connection that is being closed stays valid until the cancel is done.
 *         The application must see to it that the variable still exists, and must not use a copy of the
 *         handle in another variable.
 *
 * Returns 1 when a call was running; 0 when none was: then nothing is done, and later calls are not affected;
 * -3 for a null argument, a variable that holds null, or another kind of handle.
 *
 * Threads: any, during any call; takes no lock and does not wait. When several threads call on one
 * connection, the call that holds the lock is cancelled. On POSIX systems a signal handler may call it.
 */
TRN_API int32_t TRNX_Cancel(TRN_HANDLE* handle);

/* ---------------------------------------------------------------------------------- batches of rows */

/* A value of TRNX_ExecRows. It has up to 2,147,483,647 bytes. */
typedef struct TRNX_VALUE {
    uint32_t offset; /* where it begins in the data */
    uint32_t length; /* its bytes; 0: a null */
} TRNX_VALUE;

/*
 * Runs a statement once for each row of values, like TRN_ExecBatch, for data that comes in rows, such as the
 * text of a CSV file. Nothing is bound or copied into arrays first: the values may be anywhere in one block
 * of memory, with other bytes between them. A bound parameter set is neither used nor changed.
 *
 * sql         the statement; "? NAME" runs a prepared statement.
 * parameters  the number of its parameters, 1 to 65,535.
 * types       their API type codes (TRN_TYPE_*): 1 to 11, 13, 15, 23, 62 or 63, as in all batches. Texts and
 *             bytes have any length; a number is in host byte order and has its type's size (1 byte for codes
 *             1, 3 and 63).
 * rows        at least 1. A request takes up to 65,535 rows; the call ends at the first request that the
 *             server refuses, as in TRN_ExecBatch.
 * values      parameters * rows values, row after row. A null has no bytes, but its offset must be inside the
 *             data all the same, or at its end.
 * data, size  the memory with the values, which is read only during the call. Null if size is 0.
 *
 * Returns what TRN_ExecBatch returns. -3, with nothing sent, for a null argument, a count out of range,
 * another type code, a value that is not inside the data or not of its type's size, or a row of almost 4 GiB.
 *
 * Wire: the messages of TRN_ExecBatch, with blocks of about 128 KiB.
 */
TRN_API int32_t TRNX_ExecRows(TRN_HANDLE* handle, const char* sql, int32_t parameters, const int32_t* types,
                              int32_t rows, const TRNX_VALUE* values, const void* data, uint32_t size);

/* ------------------------------------------------------------------------------- lines and the trace */

/* Kinds of lines. */
#define TRNX_LINE_PRINTED 1  /* a line that the library prints: convention 7 of tarnsql.h */
#define TRNX_LINE_PROTOCOL 2 /* the protocol trace */

/*
 * Receives one line, NUL-terminated, without its line end, valid during the call. It is called on the thread
 * that runs a call of the library, possibly on several at once. For a printed line the call has released the
 * connection's lock, so the function may use the connection; for a line of the protocol trace the call is
 * still running, and the function must not. It must never call TRNX_SetTrace.
 */
typedef void (*TRNX_TRACE)(void* user, int32_t kind, const char* line);

/*
 * Sends the library's lines to a function instead of the standard output, for the whole process. Null sends
 * them where the environment variable TARNSQL_TRACE directs them: "stdout" (as without the variable),
 * "stderr", "none", or a file's path, to which lines are appended (if it cannot be opened: stdout). The
 * variable is read once. A process that runs with more rights than its user (set-user-ID) ignores it, and the
 * next one too.
 *
 * user  passed to every call of the function; not used by the library.
 *
 * Returns 0. When it returns, no thread is in the previous function, and none will enter it.
 */
TRN_API int32_t TRNX_SetTrace(TRNX_TRACE callback, void* user);

/* Levels of the protocol trace. */
#define TRNX_TRACE_OFF 0
#define TRNX_TRACE_MESSAGES 1 /* every message with its letter and length; statements, truncated */
#define TRNX_TRACE_VALUES 2   /* single parameter values too, truncated likewise */

/*
 * Turns the protocol trace on or off, for the whole process. A line has the time of day (UTC), the thread,
 * the socket, the direction, the message's letter, its meaning, and its length:
 *
 *     08:15:02.117 thread 1f socket 5 > '?' command, 24 bytes, 1 parameters, 0 rows: SELECT * FROM town...
 *     08:15:02.118 thread 1f socket 5 < 'A' columns and rows of a query, 4711 bytes
 *
 * A received message is reported when the next one begins. Passwords, keys and the login text are never
 * shown, values only at TRNX_TRACE_VALUES; a statement is shown unchanged, with any secrets in its text. The
 * environment variable TARNSQL_TRACE_PROTOCOL ("1" or "2") does the same when the first connection is opened.
 *
 * level       TRNX_TRACE_*.
 * text_limit  statements and values are cut to this many bytes; 100 before the first call.
 *
 * Returns 0; -3 for another level or a negative limit.
 */
TRN_API int32_t TRNX_SetProtocolTrace(int32_t level, int32_t text_limit);

/* ------------------------------------------------------------------------------------------ version */

/*
 * The version of the loaded library, such as "1.1.0" (TRN_VERSION is that of the header). A constant; do not
 * free it.
 */
TRN_API const char* TRNX_Version(void);

#ifdef __cplusplus
}
#endif

#endif
