/*
 * tarnsql_ext.h - what this library adds to the interface of tarnsql.h: opening with time-outs and checks, stopping a
 * running call, sending the printed lines elsewhere, a trace of the protocol, the version.
 *
 * The header compiles alone as C99, C11 and C++11. The conventions of tarnsql.h hold here too. Every name begins with
 * TRNX_; tarnsql.h has none of them.
 */
#ifndef TARNSQL_EXT_H
#define TARNSQL_EXT_H

#include "tarnsql.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ----------------------------------------------------------------------------------------- opening */

/* Flags of TRNX_OPTIONS. */
#define TRNX_IGNORE_UNKNOWN_KEYS 1u /* a key that is not known is ignored, as in TRN_OpenConn */

/*
 * Options of TRNX_OpenConn. Set the whole record to zero, size to sizeof(TRNX_OPTIONS), then what you want to change.
 * A zero stands for what TRN_OpenConn does.
 *
 * connect_timeout_ms  bounds the wait for the TCP connection, of an address list for each address by itself, and every
 *                     receive until the login is through. 0: as long as the system waits.
 * receive_timeout_ms  bounds the wait for the next bytes of a reply. 0: convention 9 of tarnsql.h.
 * keepalive_*         how the system looks after a silent peer. 0: its own settings.
 *
 * Later versions may add fields at the end: a longer record whose further bytes are all zero is accepted.
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
 * Opens a connection like TRN_OpenConn, with time-outs, and tells mistakes in the string instead of passing over them.
 * With an address list in the string it begins anywhere and goes on as long as servers refuse, like TRN_OpenConn_Ips;
 * lock_timeout is taken from the string all the same. Everything else, TRN_ReconnectConn too (which uses the same
 * options), works on such a connection as on any other.
 *
 * conn_string  as in TRN_OpenConn. Refused are: a string of one segment without separator (it would set nothing), a segment without
 *              "=" or of 128 bytes or more, an unknown key (unless the flag lets it pass), a port that is no number
 *              from 1 to 65535, a server or listed address that is no dotted IPv4 address, a value too long for its field, an
 *              on/off key with another word, more than 100 addresses, a quote (') in any value and a blank inside the
 *              database name, which would end their clause of the login text: with them a password could name another user.
 * options      null: all zero.
 * out_handle   receives the connection at once, before anything can fail, so that another thread can cancel the open; required.
 *
 * Returns 0 logged in (with the flag, the error text then names the first unknown key, if there is one); -3 a null argument or a bad
 * options record (*out_handle is then untouched), or a refused string ([EX004], with the key; never a value);
 * -8 not connected ([EX002]: address, port, the system's reason or the time-out; of a list, the last one tried); -9 the
 * login failed ([EX003]: address, port, the server's reason if it gave one); -5 out of memory (*out_handle is untouched
 * if it was the record). Whenever *out_handle was set the connection must be closed.
 *
 * Threads: any; different connections share nothing.
 */
TRN_API int32_t TRNX_OpenConn(const char* conn_string, const TRNX_OPTIONS* options, TRN_HANDLE* out_handle);

/*
 * Changes how long a connection waits for the next bytes of a reply, from the next call on and for every reconnect. A wait that
 * ends so closes the link (convention 9 of tarnsql.h); with a time-out chosen here or by TRNX_OpenConn a silent wait is
 * not repeated.
 *
 * timeout_ms  milliseconds; 0: 30 minutes and as many waits as convention 9 says.
 *
 * Returns 0; -3 for a negative time-out, a null argument or another kind of handle. Takes the lock: it waits for a
 * running call.
 */
TRN_API int32_t TRNX_SetReceiveTimeout(TRN_HANDLE* handle, int32_t timeout_ms);

/* --------------------------------------------------------------------------------------- cancelling */

/*
 * Ends the call that runs on a connection now, whatever it waits for: a reply, a full send buffer, a connect (which ends within
 * 50 ms). The call returns its network status (-4 and its kin; -8 or -9 from an open or a reconnect), the connection's
 * error text is "[EX001]the call was cancelled", and the link is gone: what lived in the session (an open transaction,
 * prepared statements, cursors) is too, and calls fail with their network status until TRN_ReconnectConn. A call whose
 * whole reply had arrived returns as if nothing had happened, and the link is gone all the same.
 *
 * Wire: the protocol has no message for it. The socket is shut down; the server sees its client leave and ends the
 * statement as it sees fit.
 *
 * handle  the address of the very variable that the connection was opened into. While TRNX_Cancel runs, any call may run on
 *         the connection, TRN_CloseConn and TRN_Drop with the same variable included: the variable is read once, and a
 *         connection that is being closed stays valid until the cancel is over. The application's duty is that the variable
 *         itself still exists, and that no copy of the handle in another variable is used for it.
 *
 * Returns 1 when a call was running; 0 when none was: nothing has happened, and no later call will notice; -3 for a
 * null argument, a variable that holds null, or another kind of handle.
 *
 * Threads: any, beside any call; takes no lock and does not wait. Of several threads whose calls wait for the connection's
 * lock, the one that has it is ended. On POSIX systems a signal handler may call it.
 */
TRN_API int32_t TRNX_Cancel(TRN_HANDLE* handle);

/* ------------------------------------------------------------------------------- lines and the trace */

/* Kinds of lines. */
#define TRNX_LINE_PRINTED 1  /* what the library prints of itself: convention 7 of tarnsql.h */
#define TRNX_LINE_PROTOCOL 2 /* the protocol trace */

/*
 * Takes one line, NUL-terminated and without its line end, valid for the time of the call.
 * Lines come from whatever thread runs a call, from several at once if several do. A printed line comes when its call has released
 * the connection's lock, so the function may use the connection; a line of the protocol trace comes while the
 * call runs, and the function must not. It must never call TRNX_SetTrace.
 */
typedef void (*TRNX_TRACE)(void* user, int32_t kind, const char* line);

/*
 * Sends the library's lines to a function instead of the standard output, for the whole process. Null sends them where the environment
 * variable TARNSQL_TRACE says: "stdout" (as without the variable), "stderr", "none", or a file's path, to which lines
 * are appended (a file that cannot be opened: stdout). The variable is read once. A process that runs with more
 * rights than its user has (set-user-ID) ignores it, like the next one.
 *
 * user  handed to every call of the function; the library does not look at it.
 *
 * Returns 0. When it returns, no thread is in the function that was set before, and none will enter it.
 */
TRN_API int32_t TRNX_SetTrace(TRNX_TRACE callback, void* user);

/* Levels of the protocol trace. */
#define TRNX_TRACE_OFF 0
#define TRNX_TRACE_MESSAGES 1 /* every message with its letter and length; statements, cut */
#define TRNX_TRACE_VALUES 2   /* single parameter values too, cut likewise */

/*
 * Turns the protocol trace on or off, for the whole process. A line tells the time of day (UTC), the thread, the socket,
 * the direction, the message's letter, what it is, and its length:
 *
 *     08:15:02.117 thread 1f socket 5 > '?' command, 24 bytes, 1 parameters, 0 rows: SELECT * FROM town WHERE...
 *     08:15:02.118 thread 1f socket 5 < 'A' columns and rows of a query, 4711 bytes
 *
 * A received message is told when the next one begins. Passwords, keys and the login's text never show, values only where
 * the level says so; a statement shows as it stands, whatever secrets its text holds. The environment variable
 * TARNSQL_TRACE_PROTOCOL ("1" or "2") does the same when the first connection is opened.
 *
 * level       TRNX_TRACE_*.
 * text_limit  statements and values are cut to this many bytes; 100 unless this call says otherwise.
 *
 * Returns 0; -3 for another level or a negative limit.
 */
TRN_API int32_t TRNX_SetProtocolTrace(int32_t level, int32_t text_limit);

/* ------------------------------------------------------------------------------------------ version */

/*
 * The version of the library that is loaded, as TRN_VERSION is that of the header: "1.1.0". A constant that is never
 * released.
 */
TRN_API const char* TRNX_Version(void);

#ifdef __cplusplus
}
#endif

#endif
