/*
 * tarnsql.h - the public interface of tarnsql, the native client driver of the TARNDBMS database server.
 *
 * The header compiles alone as C99, C11 and C++11 and needs only <stdint.h>.
 *
 * CONVENTIONS, which hold for every call:
 *
 * 1. Handles. A handle is a TRN_HANDLE variable in the application. Every call takes the variable's ADDRESS,
 *    so that it can fill, move or clear it. The record behind a handle belongs to the library. Kinds:
 *    TRN_KIND_*.
 *
 * 2. Statuses. Every call but TRN_Drop returns an int32_t. A failure is negative (TRN_ERR_*, TRN_TRUNCATED,
 *    ...). Success is 0 for most calls; some return a count or a kind, and a few are different:
 *        TRN_OpenConn returns 2 when it succeeds and TRN_ReconnectConn 1 (TRN_OpenConn_Ips 0), TRN_END (100)
 *        means "no further row / item / text", a statement whose reply ends in a warning returns 1, and
 *        TRN_GetErrorInfo returns 2 for a long text.
 *
 * 3. Bad arguments. A null handle variable, a variable that holds null, a handle of the wrong kind or a null
 *    required pointer returns a status and changes nothing: TRN_ERR_ARGUMENT (-3) unless the call says
 *    otherwise. Out-pointers for counts, lengths and results may be null unless the call says otherwise. Two
 *    things cannot be checked and are up to the application: a handle variable must hold null or a live
 *    handle, and a buffer must have the size that its call states.
 *
 * 4. Who frees what. The library owns the record behind a handle and releases it in the matching close, drop
 *    or free call, which also sets the application's variable to null. A result lives until TRN_FreeRowset or
 *    TRN_Drop and may outlive its connection (only large-object fetches still need the connection). Memory
 *    that the library hands over (TRN_Execute_query_with_one, handed-over form) is released with TRN_FreePtr,
 *    never with free().
 *
 * 5. Texts. Texts given to the library are NUL-terminated. Several calls copy texts out WITHOUT a terminator;
 *    each such call says so. Lengths and capacities count bytes.
 *
 * 6. Errors. A failure that has a text replaces the error text of the handle it happened on; a later success
 *    does not clear it. TRN_GetErrorLen, TRN_GetError and TRN_GetErrorInfo read it. Texts of the library
 *    begin with a bracketed code such as "[EC011]"; texts of the server are kept as they arrived. A server
 *    text that comes between the rows of a result, or right after them, is appended to the error text of the
 *    result and changes no status.
 *
 * 7. Printed lines. The server's texts about an execution are also printed on the standard output of the
 *    process, one flushed line each: "Server Error %s \n", "Server Warning %s \n", "Server Message %s \n";
 *    calls that receive results print "[EC031]Error in recv result :%s \n",
 *    "[EC032]Server Warning in recv result :%s \n". Further lines report a reply that broke off
 *    (TRN_Execute_no_query, TRN_Execute_procesure: "Net Error %s \n", or "Update Prop NetError  \n" and
 *    "Insert Prop NetError  \n"), arrays that could not be bound, a large object that could not be sent and a
 *    list of more than 100 addresses. A call prints after it has released the connection's lock and before it
 *    returns; a closed pipe raises no signal. For each reply the first 1 MiB of lines is printed, and the
 *    rest only counted. TRNX_SetTrace (tarnsql_ext.h) and the environment variable TARNSQL_TRACE redirect the
 *    lines.
 *
 * 8. Threads. The library starts no thread. Calls that talk to the server hold their connection's lock from
 *    start to end of the exchange, so several threads may execute on one connection, one after another:
 *    statements, TRN_Prepare2, TRN_UnPrepare, TRN_Execute2, batches, procedures, cursors, and TRN_GetData
 *    where it fetches a large object. Everything else takes no lock: TRN_OpenConn, TRN_ReconnectConn,
 *    closing, dropping, binding on a connection, TRN_BindParams2Conn, TRN_ResetParams, attributes (number 1
 *    too, which asks the server), TRN_GetLastInsertId, TRN_GetFunReturnType, error texts, results, parameter
 *    sets and large objects. None of these may run at the same time as another call on the same handle.
 *    Threads that share a connection and bind values therefore need a lock of their own around binding and
 *    execution. Different connections share nothing. TRNX_Cancel (tarnsql_ext.h) may run at any time.
 *
 *    A connection belongs to the process that opened it. After fork() either the parent or the child may use
 *    and close it; the other must leave it alone. A program that the child executes does not inherit the
 *    socket.
 *
 * 9. Waiting. A read from the server waits at most 30 minutes for the next bytes; three such waits in a row
 *    end it, one on an encrypted channel. A read that times out, or finds the stream broken, closes the link:
 *    its call and all that follow fail with their network status until TRN_ReconnectConn, and a late answer
 *    reaches no call. Connecting and sending wait as long as the system does. For shorter waits:
 *    TRNX_OpenConn and TRNX_SetReceiveTimeout; to stop a wait from another thread: TRNX_Cancel.
 *
 * 10. Linking. One calling convention, the platform's own. Define TARNSQL_STATIC before including this header
 *     when linking the static library on Windows.
 */
#ifndef TARNSQL_H
#define TARNSQL_H

#include <stdint.h>

#if defined(_WIN32) && !defined(TARNSQL_STATIC) && !defined(TARNSQL_BUILD)
#define TRN_API __declspec(dllimport)
#elif defined(__GNUC__) && !defined(_WIN32)
#define TRN_API __attribute__((visibility("default")))
#else
#define TRN_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* The version of this header; the library's soname follows the major number. */
#define TRN_VERSION_MAJOR 1
#define TRN_VERSION_MINOR 1
#define TRN_VERSION_PATCH 0
#define TRN_VERSION "1.1.0"

/* A handle variable. Initialise it with null. */
typedef void* TRN_HANDLE;

/* -------------------------------------------------------------------------------------- connection */
/* Open, reconnect, close, and what the session reported last. */

/*
 * Opens a connection: parses conn_string, connects a TCP socket and logs in.
 *
 * conn_string  "key=value" segments separated by ";" (or, when it holds no ";", by ","). A string of a single
 *              segment without a separator sets nothing. Keys are case-insensitive, blanks around keys and
 *              values are dropped, unknown keys are ignored, and a segment of 128 bytes or more repeats the
 *              one before it. The keys, with their synonyms:
 *
 *   server, ip                                  dotted IPv4 address, at most 31 bytes; names are not resolved
 *   port                                        decimal; a larger number is cut to its low 16 bits
 *   db, database                                at most 127 bytes
 *   user, uid, user id, userid                  at most 63 bytes, as every following text
 *   pwd, password
 *   char_set, character_set, charset, character set
 *   iso_level, iso level, isolevel              isolation level
 *   current_schema                              schema to make current
 *   keyword_filter
 *   auto_commit, auto commit, autocommit        "off" or "false" turn it off
 *   use_ssl, ssl, usessl, use ssl               "on", "yes" or "true" ask for an encrypted channel: no
 *                                               protection against anyone who can record the traffic (256-bit
 *                                               RSA, no authentication of the server, a keystream whose
 *                                               blocks repeat)
 *   lock_timeout, locktimeout, lock timeout     seconds, 300 when absent; 0 leaves the server's own
 *   lob_ret, lob ret, lobret                    any value: large objects arrive as descriptors
 *   return_cursor_id, return cursor_id, return_cursorid             "off" or "false" turn it off
 *   use_srvcursor                               "off" or "false" turn it off
 *   time_zone, time zone, timezone              accepted and ignored, like the next one
 *   return_rowid, return rowid, return row_id, return_row_id
 *
 *              A segment that holds "IPS=" or "ips=" is a list of addresses separated by ",", for
 *              TRN_OpenConn_Ips: up to 100. A longer list is cut to the first 99, and "set ips error \n" is
 *              printed.
 * out_handle   receives the connection at once, before anything can fail; required.
 *
 * Every value is copied into the login text unchanged, where a quote (') ends its clause: with the user "one"
 * and the password "x' user='two" the server sees the user two. Do not pass unchecked user input;
 * TRNX_OpenConn (tarnsql_ext.h) refuses such values, unknown keys and ports out of range.
 *
 * Returns 2 (TRN_OPENED) logged in; -1 conn_string null, or no memory for the record (*out_handle
 * is then untouched); -3 out_handle null; -8 the socket could not be connected ([EC011]); -9 the server
 * refused the login or did not answer ([EC012]). After -8 and -9 the handle is valid for the error calls and
 * must still be closed.
 *
 * Wire: the login is one unframed text; the server answers "K" (older protocol) or "N", four bytes and "K".
 */
TRN_API int32_t TRN_OpenConn(const char* conn_string, TRN_HANDLE* out_handle);

/*
 * Opens a connection to one of the servers named in the connection string's "IPS=" list: one chosen at
 * random, then others as long as servers refuse the connection. A server that accepts the connection but
 * refuses the login ends the search.
 *
 * conn_string  as in TRN_OpenConn; it must hold a list. lock_timeout is 300 here whatever the string says.
 * try_number   where to begin. Above 1, with a record from an earlier call in *ips_state: at address number
 *              (try_number modulo the addresses left), counted from 0. Otherwise at random, with a fresh
 *              record; -1 first releases the record in *ips_state, any other number leaves it to the
 *              application. Each refusal adds 3 and takes the number modulo the addresses left.
 * ips_state    a pointer variable, initialised with null: receives the record of the addresses still thought
 *              alive, to be passed to the next call or to Release_IpsAttrs; required.
 * out_handle   receives the connection, as in TRN_OpenConn; required.
 *
 * Returns 0 logged in; -3 for a null argument, or when the string holds no list; -8 no address could be
 * connected ([EC013]); -9 the login failed ([EC014], with the address); -5 out of memory. *out_handle is set,
 * and must be closed, whatever the status (unless an argument was null).
 */
TRN_API int32_t TRN_OpenConn_Ips(const char* conn_string, int32_t try_number, void** ips_state,
                                 TRN_HANDLE* out_handle);

/*
 * Releases the record of TRN_OpenConn_Ips and sets the variable to null. Returns 0; -1 when ips_state or
 * *ips_state is null.
 */
TRN_API int32_t Release_IpsAttrs(void** ips_state);

/*
 * Reconnects a connection to its server, after a lost link or a failed open, and logs in with the same
 * settings, over the same kind of channel. Must not run while another call uses the connection. Bound
 * parameters stay; what lived on the server (prepared statements, cursors, transactions) is gone, including
 * the default statement.
 * Returns 1; -8 the socket could not be connected ([EC0197]); -9 the login failed ([EC0198]); -3 for another
 * kind of handle. The handle stays valid in every case.
 */
TRN_API int32_t TRN_ReconnectConn(TRN_HANDLE* handle);

/*
 * Closes a connection, releases everything it holds and sets the variable to null. A default statement is
 * first ended on the server, which is a round trip; then the socket is reset at once (linger time 0). Must
 * not run while another call uses the connection. Results received earlier stay valid.
 * Returns 0; -1 when handle or *handle is null; -3 when it is not a connection.
 */
TRN_API int32_t TRN_CloseConn(TRN_HANDLE* handle);

/*
 * Releases a handle of any kind and sets the variable to null: a connection like TRN_CloseConn, a result like
 * TRN_FreeRowset, a large object like TRN_Distroy_Lob, a parameter set of TRN_CreateParams with its contents
 * (connections that it is attached to find it empty; other sets are left alone). Null and unknown handles are
 * left alone.
 */
TRN_API void TRN_Drop(TRN_HANDLE* handle);

/*
 * Copies the identifier of the last inserted row, as the server sent it, into out_text with its terminator.
 * out_text  at least 32 bytes; required. Empty when no insert has been reported; those by
 *           TRN_Execute_query_with_one are not recorded.
 * Returns 0; -3 for a null argument or another kind of handle. Takes no lock.
 */
TRN_API int32_t TRN_GetLastInsertId(TRN_HANDLE* handle, char* out_text);

/*
 * The type of the last function's return value, as an API type code (TRN_TYPE_*).
 * Returns 0; -1 when no function result has arrived on this connection; -3 for a null argument or another
 * kind of handle.
 */
TRN_API int32_t TRN_GetFunReturnType(TRN_HANDLE* handle, int32_t* out_type);

/*
 * Reserved: these do nothing and return 0, whatever their arguments.
 */
#if defined(__cplusplus) || (defined(__STDC_VERSION__) && __STDC_VERSION__ >= 202311L)
TRN_API int32_t GetConnStr(...);
TRN_API int32_t SetConnStr(...);
TRN_API int32_t TRN_LobWrite_SetPos(...);
TRN_API int32_t TRN_GetErrorInfoOption(...);
#else
TRN_API int32_t GetConnStr();
TRN_API int32_t SetConnStr();
TRN_API int32_t TRN_LobWrite_SetPos();
TRN_API int32_t TRN_GetErrorInfoOption();
#endif

/* ------------------------------------------------------------------------------------------ errors */
/* The error text of a handle: whole, its length, and split into code and message. */

/*
 * Copies the handle's error text, without a terminator, into out_text and its length into out_len.
 * handle    a connection, a result or a large object.
 * out_text  at least TRN_GetErrorLen bytes.
 * Returns 0 always; with no error text, another kind of handle or a null out_text nothing is written.
 */
TRN_API int32_t TRN_GetError(TRN_HANDLE* handle, char* out_text, int32_t* out_len);

/* Returns the length of the handle's error text in bytes; 0 when there is none or the handle carries none. */
TRN_API int32_t TRN_GetErrorLen(TRN_HANDLE* handle);

/*
 * Splits the handle's error text into a code and a message.
 * out_code     receives exactly 6 bytes: "EC0195", or "EC011" and a zero byte; "EC0100" for a text without a
 *              bracketed code.
 * out_message  receives up to 255 bytes, without a terminator: clear the buffer beforehand. A text without a
 *              code is preceded by "common error\n".
 * Returns 0; 100 (TRN_END) when the handle has no error text; 2 when the text is too long for the message
 * (263 bytes or more with a six-character code, 262 with a five-character one: no message is written; 243
 * without a code: only "common error\n"): read it with TRN_GetError. A null argument or a handle without
 * error texts gives 0 and writes nothing.
 */
TRN_API int32_t TRN_GetErrorInfo(TRN_HANDLE* handle, char* out_code, char* out_message);

/* -------------------------------------------------------------------------------------- attributes */
/* Settings of a connection and counts of a result, by attribute number. */

/*
 * Reads a numbered attribute of a connection or of a result.
 *
 * out_value  receives the value, a text without a terminator; required. It must be large enough: capacity is
 *            ignored except for attribute 1.
 * capacity   size of out_value; a version text is cut to it, or to 64 bytes when capacity is smaller.
 * out_type   receives 1 for a text, 2 for an int32_t, 3 for an int64_t; may be null.
 * out_len    receives the value's length in bytes; may be null.
 *
 *   connection (TRN_ATTR_CONN_*)                             result (TRN_ATTR_RESULT_*)
 *    1  text     the server's version, asked of the server    61  int32_t  columns
 *    2  text     database, at most 127 bytes                  62  int64_t  rows
 *    3  int32_t  2                                            63  int32_t  rows affected
 *    4  text     "UTF-8", whatever the character set          64  int32_t  4
 *    5  text     character set, at most 63 bytes              65  int32_t  kind of the item (TRN_ITEM_*)
 *    6  int32_t  1 on an encrypted channel                    66  int32_t  1 when an item follows, else 0
 *    7  text     the address list: count, ":", the
 *                addresses joined by ","
 *    8  text     "GTM+8"
 *    9  int32_t  1 when large objects come as descriptors
 *   11  int32_t  1 when auto-commit is off
 *   12  int32_t  1 when server cursors are off
 *
 * Returns 0; -3 for a null argument, an unknown id ([EC0103] on a connection, [EC0105] on a result), a
 * connection without an address list (7), or a kind of handle without attributes; a parameter set and a large
 * object give 0 and nothing is written. Attribute 1 returns what TRN_Execute_query_with_one returns. No
 * attribute takes the lock, not even attribute 1, which talks to the server ("show version"): never call it
 * at the same time as another call on the same connection.
 */
TRN_API int32_t TRN_GetAttr(TRN_HANDLE* handle, int32_t id, void* out_value, int32_t capacity,
                            int32_t* out_type, int32_t* out_len);

/*
 * Changes a connection attribute; nothing is sent.
 * id 11, value a text   "on" or "true" (in any case) turn auto-commit OFF at the next login
 *                       (TRN_ReconnectConn), any other text turns it on: the opposite of the connection
 *                       string's key, on purpose.
 * id 12, value the int32_t itself, cast to a pointer   the new value of attribute 12.
 * Returns 0; -1 for another id ([EC0104]); -3 for a null handle or a null text. For other kinds of handle: 0,
 * and nothing happens.
 */
TRN_API int32_t TRN_SetAttr(TRN_HANDLE* handle, int32_t id, void* value);

/* --------------------------------------------------------------------------------------- execution */
/* Statements, single values and results. */

/*
 * Runs a statement and reports a count.
 *
 * Returns the rows affected of the last update or delete, or the number of inserts reported, 0 when the reply
 * holds neither; 1 when a warning or notice came last; -1 after a server error (its text is the error text);
 * -3 for a null argument or another kind of handle, with nothing sent; -4 when the reply could not be read
 * ([EC004] when it broke off inside a count or an insert identifier); -5 out of memory; -56 ([EC0056]) when
 * the statement returned output values. The status is that of the last message of the reply: a warning after
 * an error gives 1. A query run this way returns as soon as its result set begins; the next call skips the
 * rows. A count above 2,147,483,647 comes out negative and looks like a failure.
 */
TRN_API int32_t TRN_Execute_no_query(TRN_HANDLE* handle, const char* sql);

/*
 * Runs a query and returns the first column of the first row as a single value.
 *
 * value_area  at least 64 bytes, zeroed by the caller; required. It receives
 *             - text form: the value's characters (or raw bytes) without a terminator, or
 *             - handed-over form: a 4-byte length and, at byte 4 (unaligned), an 8-byte pointer to a
 *               NUL-terminated copy of the value, to be released with TRN_FreePtr. Used for CLOB, BINARY and
 *               BLOB values of any length and for CHAR values of 64 bytes or more.
 *             A null value, or a result without rows, clears the first 4 bytes. The text of a number is cut
 *             to 63 bytes; TIME and DATETIME WITH TIME ZONE and OPAQUE have no text here and leave the area
 *             unchanged.
 * type_word   receives the wire type of the column (TRN_WIRE_*), plus 100 (TRN_HANDED_OVER) for the
 *             handed-over form; 0 for a result without rows; required. A server may send a type code of 100
 *             or more of its own, which has no text: the area stays zero and the pointer null, which
 *             TRN_FreePtr accepts.
 *
 * Both are written only when the reply ends after the rows. When an error or another statement's count
 * follows them nothing is written, and the status may still be 0: set *type_word to a value of your own
 * beforehand.
 *
 * Returns 0; 1 after a warning or notice or an insert; 2 after an update; 3 after a delete; -1 after a server
 * error; -3 for a null argument or another kind of handle, with nothing sent; -4 when the reply could not be
 * read; -5 out of memory.
 */
TRN_API int32_t TRN_Execute_query_with_one(TRN_HANDLE* handle, const char* sql, void* value_area,
                                           uint32_t* type_word);

/*
 * Runs any statement, or several separated by ";", and hands over everything the server returned.
 *
 * result_out      receives the first result item of the reply, or null when the reply held none. Walk the
 *                 items with TRN_NextResult and release the last with TRN_FreeRowset. May be null: the items
 *                 are then released at once.
 * column_count    receives the number of columns of the first item; may be null, like the next two. They are
 *                 written only when there is an item.
 * row_count       receives its number of rows.
 * affected_count  receives its number of affected rows.
 *
 * Returns the rows of the last batch of rows received (a batch holds up to 20,000), 0 when the reply held no
 * rows; -1 after a server error, warning or notice (not one of convention 6), whose text is then the error
 * text: items that arrived are still returned; -3 for a null argument or another kind of handle, with nothing
 * sent; -4 when the reply could not be read and -5 when memory ran out: no item is then returned and
 * *result_out is null.
 */
TRN_API int32_t TRN_ExecwithDataReader(TRN_HANDLE* handle, const char* sql, TRN_HANDLE* result_out,
                                       int32_t* column_count, int64_t* row_count, int32_t* affected_count);

/* -------------------------------------------------------------------------------------- parameters */
/*
 * A parameter set holds the parameters of one statement. Binding on a connection handle makes an implicit
 * set, which the next execution on that connection uses and releases; TRN_CreateParams makes one that the
 * application owns, which TRN_BindParams2Conn attaches for one execution and which survives it. When the
 * server describes the parameters of a prepared statement, the prepare makes a described set on the
 * connection, whose slots are filled by name or position.
 *
 * Every execution call (TRN_Execute_no_query, TRN_Execute_query_with_one, TRN_ExecwithDataReader,
 * TRN_Execute2) sends the single values of the attached set and detaches it; TRN_Execute_procesure and
 * TRN_ExecwithServerCursorReader send them and keep the set attached. TRN_ExecBatch sends arrays. None of the
 * binding calls takes the connection's lock: do not bind while another thread executes on the same
 * connection.
 *
 * data_type is an API type code (TRN_TYPE_*). The value in the application's memory:
 *
 *   1, 3           1 byte                        4    int16_t             5    int32_t
 *   6              int64_t                       7    float               8    double
 *   15             bytes                         23   int64_t, DATETIME milliseconds
 *   40, 42 / 41    binary / character large object: the address of a handle variable of TRN_Create_Lob, which
 *                  may still hold null for an output, or the handle itself
 *   0, 58          no value: a null
 *   all others     text
 */

/*
 * Makes an empty parameter set, to be released with TRN_Drop.
 * Returns 0; -3 when out_handle is null; -5 out of memory.
 */
TRN_API int32_t TRN_CreateParams(TRN_HANDLE* out_handle);

/*
 * Binds one value by name.
 *
 * handle         a connection or a parameter set.
 * name           copied; required. Every call fills the next slot, even for a name bound before; in a
 *                described set it fills the slot of that name, ignoring case.
 * direction      TRN_DIRECTION_*. An input value and its length are copied: the application may reuse both at
 *                once. For the other directions value and length are not copied and must live until the
 *                execution has returned.
 * value          null binds a value of length 0. The content of a large object is not copied: what it holds
 *                when the statement runs is sent, or nothing if it was destroyed before.
 * buffer_length  size of value in bytes; an input's length is cut to it. With 0, an input or in-out of type
 *                1, 3 to 8, 23 or 63 is sent with its type's size, any other with its length, and there is no
 *                room for an output value.
 * reserved       ignored.
 * length         bytes of the value; null means buffer_length. A length below 1 is sent without a value.
 *
 * Returns 0; -52 ([EC052]) for another direction; -1 ([EC053] on a connection, no text on a set) for a name
 * that is not the statement's; -3 for a null or wrong handle, a null name or a value that is no large object
 * where one is needed; -5 out of memory. After a failure the set is as it was.
 */
TRN_API int32_t TRN_BindParamByName(TRN_HANDLE* handle, const char* name, int32_t direction,
                                    int32_t data_type, void* value, int32_t buffer_length, int32_t* reserved,
                                    int32_t* length);

/*
 * Binds one value at a position, from 1; the other arguments are those of TRN_BindParamByName. Skipped
 * positions are sent without type and value.
 * Returns 0; -51 ([EC051]) for a position above 4,000; -52 ([EC052]) for another direction; -54 ([EC054]) for
 * a position below 1; -55 ([EC055]) for a position more than 128 above the room made so far (128 slots at
 * first, 128 more at a time); -3 and -5 as above. After a failure the set is as it was.
 */
TRN_API int32_t TRN_BindParamByPos(TRN_HANDLE* handle, int32_t position, int32_t direction, int32_t data_type,
                                   void* value, int32_t buffer_length, int32_t* length);

/*
 * Binds the values of one parameter for all rows of a batch. Such a set is for TRN_ExecBatch only: any other
 * execution announces its parameters but sends none, and then it and the server wait for each other until a
 * time-out (convention 9).
 *
 * name             as in TRN_BindParamByName, but a name is bound once.
 * parameter_count  number of parameters of the statement; the first bind makes room for them and sets the
 *                  number of rows of the batch. With 0 the set is laid out for single values.
 * direction        arrays are input only: other directions are accepted without effect.
 * array_size       number of rows, the same for every parameter of the set; at least 1.
 * values           the elements, one after another:
 *                    1, 3, 63       1 byte each; 4: 2; 5: 4 (and 7, by position only); 6, 8, 23: 8
 *                    2, 62          a 4-byte length in host order and its bytes
 *                    15             by position: 4 ignored bytes, then bytes of the row's length; by name:
 *                                   the bytes alone, but what is sent begins and ends 4 bytes late
 *                    9              bytes of the row's length, for all rows together at most 41 a row
 *                    10, 11, 13     bytes of the row's length
 *                    12, 14, 28, 31 accepted, but the server cannot read such a request: bind texts (2)
 *                  Elements of 1 to 9, 23, 62 and 63 are copied (15 by position too); the others are not
 *                  copied and must live until the execution.
 * values_size      size of values in bytes; nothing beyond it is read.
 * lengths          array_size lengths, copied; below 1 is a null.
 *
 * Returns 0; -52 ([EC052]) for another direction; -53 for a name that is bound already, or not the
 * statement's; -58 ([EC058]) for a type without arrays, elements that run past values_size, or a number of
 * rows that is not the set's; -3 for a null or wrong handle or a null name, and with direction 1 for null
 * values or lengths or array_size below 1; -5 out of memory.
 */
TRN_API int32_t TRN_BindParamArrayByName(TRN_HANDLE* handle, const char* name, int32_t parameter_count,
                                         int32_t direction, int32_t data_type, int32_t array_size,
                                         void* values, int32_t values_size, int32_t* lengths);

/*
 * The same at a position, from 1.
 * Returns 0 (also for direction 6, without effect); -8 for directions 2 and 3, without effect; -51 ([EC051])
 * for a position above 4,000 or above parameter_count, and without a text for one more than 128 above the
 * room made so far; -54 ([EC054]) for a position below 1; -52, -58, -3, -5 as above.
 */
TRN_API int32_t TRN_BindParamArrayByPos(TRN_HANDLE* handle, int32_t position, int32_t parameter_count,
                                        int32_t direction, int32_t data_type, int32_t array_size,
                                        void* values, int32_t values_size, int32_t* lengths);

/*
 * Attaches a parameter set to a connection for its next execution, in place of any other. A set may be
 * attached again after each execution, and to several connections. Returns 0; -3 for a wrong kind of either
 * handle.
 */
TRN_API int32_t TRN_BindParams2Conn(TRN_HANDLE* conn_handle, TRN_HANDLE* set_handle);

/*
 * On a set, forgets everything bound to it. On a connection, detaches its set (released unless the
 * application made it). Returns 0; -3 for another kind.
 */
TRN_API int32_t TRN_ResetParams(TRN_HANDLE* handle);

/* ------------------------------------------------------------------------------ prepared execution */
/* Statements executed many times, and one statement for many rows. */

/*
 * Prepares a statement on the server under a generated name: "STC" and a number that is never used twice on a
 * connection.
 *
 * name_out  at least 20 bytes: receives the name. Null makes the statement the connection's default
 *           statement, replacing the previous one.
 *
 * Returns 0; 19665 (TRN_PREPARED_QUERY) when the statement returns rows; -1 when the server refused it (its
 * text is the error text); -3 for a null argument or another kind of handle; -4 when the reply could not be
 * read; -5 out of memory. When the server describes the statement's parameters, a described set is attached
 * to the connection.
 * Wire: "PREPARE name AS sql", answered by "A" (columns), "$" (parameters), texts, and "K".
 */
TRN_API int32_t TRN_Prepare2(TRN_HANDLE* handle, const char* sql, char* name_out);

/*
 * Ends a prepared statement on the server: the named one, or the default statement when name is null.
 * Returns 0; -1 when the server refused (its text is the error text) or there is no default statement
 * ([EC023], nothing sent); -3 for a null or wrong handle; -4 when the reply could not be read; -5 out of
 * memory.
 */
TRN_API int32_t TRN_UnPrepare(TRN_HANDLE* handle, const char* name);

/*
 * Executes a prepared statement with the parameters attached to the connection.
 *
 * statement_name   null executes the default statement.
 * cursor_name_out  when not null, declares and opens a server cursor for the named statement and receives the
 *                  cursor's name, the statement's name followed by "_CUR", with a terminator.
 * result_out       receives the result items, as in TRN_ExecwithDataReader; for a cursor its columns. May be
 *                  null. It is written when the status is not negative.
 *
 * Returns what TRN_ExecwithDataReader returns, 0 for a cursor (also when the server refused to open it: its
 * text is then the error text); -1 ([EC023]) without a default statement; -59 ([EC059]) when a named
 * statement's described parameters have no values bound; -3 for a null or wrong handle, or a cursor without a
 * statement name; -4 and -5. When a named statement fails, the error text becomes "sql:... errinfo: ..." with
 * the command and the text before it, at most 199 bytes.
 */
TRN_API int32_t TRN_Execute2(TRN_HANDLE* handle, const char* statement_name, char* cursor_name_out,
                             TRN_HANDLE* result_out);

/*
 * Runs a statement once for each row of the array-bound set attached to the connection.
 *
 * array_count  number of rows of the set. A request counts rows and parameters in 16 bits each: more than
 *              65,535 rows are sent as several requests, one after another. The first that the server refuses
 *              (a warning is no refusal) or that fails otherwise ends the call; what the requests before it
 *              did stands, unless a transaction undoes it.
 *
 * Returns what TRN_ExecwithDataReader returns; for several requests, the last negative status, else that of
 * the last request. Results are discarded, and a query leaves [EC026]. -1 without an attached set ([EC025])
 * or when its rows are not array_count ([EC057]), with nothing sent; -3 for a null argument or another kind
 * of handle; -5 out of memory. The set stays attached, empty.
 */
TRN_API int32_t TRN_ExecBatch(TRN_HANDLE* handle, const char* sql, int32_t array_count);

/* -------------------------------------------------------------------------------------- procedures */
/* Calls with output parameters. */

/*
 * Calls a procedure or function and fills the bound output parameters.
 *
 * Output values (directions 2, 3 and 6) are written into the bound buffers as they arrive, without a
 * terminator, and their full lengths into the length variables. A return value goes to the last slot of the
 * set, which is never sent and whose direction must be 6. A slot of another direction, or without a buffer or
 * length, is skipped; an empty (null) value sets the length to 0.
 *
 *   arrives as                          bound as text (type 2)  bound as any other type
 *   TINYINT, SMALLINT, INTEGER, BIGINT  decimal                 the integer, in host order
 *   FLOAT                               "%f"                    float
 *   DOUBLE                              "%.16g"                 double
 *   DATE                                "2024-02-29"            int32_t year, month, day
 *   TIME                                "10:20:30.005"          int32_t hour, minute, second, millisecond
 *   DATETIME                            "2024-02-29 10:20:30"   int64_t milliseconds since 1970-01-01
 *   all others                          the bytes as received, numbers big-endian
 *
 * A slot bound as a large object (40 to 42) takes the bytes as its new content instead.
 *
 * reserved  ignored: rows that the procedure returns are received and discarded.
 *
 * Returns the status of the last message that has one: the rows of the last chunk of a result (chunks hold up
 * to 200), -12 when a value was cut to its buffer, -59 ([EC060]) for an output when the set is empty or,
 * unless TRN_CreateParams made it, held inputs only; 1 after a warning or notice, -1 after a server error; 0
 * when none came; -3 for a null argument or another kind of handle, with nothing sent; -4 when the reply
 * could not be read; -5 out of memory. Outputs after a result of more than 400 rows are not delivered.
 * Without an attached set it does what TRN_Execute_no_query does (-56 for output values). A set of
 * TRN_CreateParams stays attached; any other stays attached empty.
 */
TRN_API int32_t TRN_Execute_procesure(TRN_HANDLE* handle, const char* sql, void* reserved);

/* ----------------------------------------------------------------------------------------- cursors */
/*
 * A server cursor keeps the rows of a query on the server until they are fetched. It lives from a successful
 * open until TRN_CloseCursor names it; the library keeps no list of open cursors. Names are copied into the
 * commands unchanged: the server sees what the application wrote.
 */

/*
 * Declares and opens a server cursor over a query.
 *
 * cursor_name   the application's choice; required.
 * result_out    receives the cursor's column descriptions: a result item without rows, or null when the
 *               server sent none; may be null. Walk and release it like those of TRN_ExecwithDataReader.
 * column_count  receives their number, when there is an item; may be null. Both are written only when the
 *               status is 0.
 *
 * Returns 0; -1 when the server refused to open the cursor (its text is the error text; a refused declaration
 * is reported here too); -3 for a null argument or another kind of handle, with nothing sent; -4; -5. The
 * bound parameters are sent with the declaration; a set of TRN_CreateParams stays attached, any other stays
 * attached empty.
 * Wire: "DECLARE name CURSOR FOR sql ", then "OPEN name ;".
 */
TRN_API int32_t TRN_ExecwithServerCursorReader(TRN_HANDLE* handle, const char* sql, const char* cursor_name,
                                               TRN_HANDLE* result_out, int32_t* column_count);

/*
 * Fetches the next 20,000 rows of a cursor.
 *
 * rowset_out  receives a new result item with the rows, or null when there were none, to be released with
 *             TRN_FreeRowset; may be null: the rows are then discarded.
 *
 * Returns the rows received, 0 at the end; -1 after a server error, warning or notice (its text is the error
 * text; a rowset may have arrived all the same); -3 for a null argument or another kind of handle; -4 and -5:
 * *rowset_out is then null.
 * Wire: "FETCH  20000  FROM  name ".
 */
TRN_API int32_t TRN_FetchServerCursorRowset(TRN_HANDLE* handle, const char* cursor_name,
                                            TRN_HANDLE* rowset_out);

/*
 * Sends a fetch command written by the application, and receives the rows INTO an existing rowset.
 *
 * rowset  a variable that holds a result, whose rows and columns are replaced: the variable keeps its value,
 *         and reading begins at the new first row. Items that followed the result in its reply are released.
 *         When the variable holds null the rows are discarded. Required.
 *
 * Returns what TRN_FetchServerCursorRowset returns; -3 also for a variable that holds another kind of handle.
 * After -4 and -5 the rowset is empty.
 */
TRN_API int32_t TRN_FetchServerCursorRowset_V2(TRN_HANDLE* handle, const char* fetch_text,
                                               TRN_HANDLE* rowset);

/*
 * Fetches from a cursor that a procedure opened and named in an output parameter (a ref cursor).
 *
 * result_out    receives the result items, null when there were none; may be null. Walk and release them like
 *               those of TRN_ExecwithDataReader.
 * column_count  receives the columns of the first item, row_count its rows; may be null; written when there
 *               is an item.
 * fetch_count   points to the number of rows to ask for; required.
 *
 * Returns 0 whatever the reply was: after a refusal or a lost link there is no item, and a refusal leaves its
 * text as the error text; -3 for a null argument or another kind of handle, with nothing sent; -5 when there
 * is no memory for the command.
 * Wire: "FETCH n  FROM name ".
 */
TRN_API int32_t TRN_FetchRefCursorHead(TRN_HANDLE* handle, const char* cursor_name, TRN_HANDLE* result_out,
                                       int32_t* column_count, int64_t* row_count, int32_t* fetch_count);

/*
 * Closes a cursor.
 * Returns 0; -1 when the server refused ([EC027] with its text and the name); -3 for a null argument or
 * another kind of handle; -4 when there was no answer; -5.
 * Wire: "CLOSE name ".
 */
TRN_API int32_t TRN_CloseCursor(TRN_HANDLE* handle, const char* cursor_name);

/* ----------------------------------------------------------------------------------- large objects */
/*
 * A large object holds a character or binary value in chunks of 1 MiB. Fill one and bind it as a parameter,
 * or receive one with TRN_GetData. It has no lock: one thread at a time. All calls return -3 for a null or
 * wrong handle unless they say otherwise.
 */

/*
 * Makes an empty large object, to be released with TRN_Distroy_Lob. Returns 0; -3 when lob is null or memory
 * is short.
 */
TRN_API int32_t TRN_Create_Lob(TRN_HANDLE* lob);

/*
 * Appends length bytes, or, with length -1 (TRN_LOB_END), marks the content complete: only a complete large
 * object is sent with a request, any other is sent empty. Length 0 or null data changes nothing. Returns 0;
 * -3 when memory is short.
 */
TRN_API int32_t TRN_Put_Lob_data(TRN_HANDLE* lob, const void* data, int32_t length);

/*
 * Copies up to capacity bytes from the read position, and advances it. Returns the bytes copied, 0 at the
 * end.
 */
TRN_API int32_t TRN_Get_Lob_data(TRN_HANDLE* lob, void* buffer, int32_t capacity);

/*
 * Sets the read position, from 0 to the length. Returns the position; -1 when it is out of range ([EC097] or
 * [EC098] on the large object), and the position is unchanged.
 */
TRN_API int32_t TRN_LobRead_SetPos(TRN_HANDLE* lob, int32_t position);

/* Releases the content and keeps the handle. Returns 0, also for null. */
TRN_API int32_t TRN_Reset_Lob(TRN_HANDLE* lob);

/* Releases the large object and sets the variable to null. Returns 0, also for null. */
TRN_API int32_t TRN_Distroy_Lob(TRN_HANDLE* lob);

/* ----------------------------------------------------------------------------------------- results */
/* Rows, the items of a reply, counts, and releasing memory. */

/*
 * Makes the next row current, beginning with the first. Rows cannot be read again.
 * Returns 0; 100 (TRN_END) when no row is left; -1 when the handle is null or not a result.
 */
TRN_API int32_t TRN_ReadNext(TRN_HANDLE* result);

/*
 * Moves the handle to the next item of the reply and releases the item it leaves.
 * Returns 0; 100 (TRN_END) when there is none: the handle keeps its item. For a null handle or another kind:
 * 0, and nothing happens.
 */
TRN_API int32_t TRN_NextResult(TRN_HANDLE* result);

/*
 * Releases one result item and sets the variable to null. Later items are released only by walking to them
 * with TRN_NextResult first. A handle of another kind is not released, but its variable is set to null as
 * well.
 * Returns 0 always.
 */
TRN_API int32_t TRN_FreeRowset(TRN_HANDLE* result);

/*
 * Releases memory that the library handed over and sets the variable to null; null is accepted. Returns 0
 * always.
 */
TRN_API int32_t TRN_FreePtr(void** pointer);

/*
 * Clears what a handle holds: a connection or a parameter set like TRN_ResetParams, a large object like
 * TRN_Reset_Lob. Other kinds are left alone. Returns 0; -3 when handle or *handle is null.
 */
TRN_API int32_t TRN_Reset(TRN_HANDLE* handle);

/*
 * The number of columns of a result item (0 unless it is a query's). Returns 0; -3 for a null argument or
 * another kind of handle. For a handle of the reserved kind this call, the next one and TRN_GetData return 0
 * and write nothing.
 */
TRN_API int32_t TRN_getResultColumnsnum(TRN_HANDLE* result, int32_t* count);

/* The number of rows of a result item, cut to 32 bits. Returns 0; -3 for a null argument or another kind. */
TRN_API int32_t TRN_getResultRecordnum(TRN_HANDLE* result, int32_t* count);

/*
 * Describes a result item. Each out-pointer may be null.
 * kind            TRN_ITEM_*, always written.
 * column_count    written for a query.
 * row_count       written for a query, cut to 32 bits.
 * affected_count  written for an update or delete.
 * identifier      at least 32 bytes; written for an insert: its first 25 bytes are cleared, then the
 *                 identifier of the inserted row (up to 31 bytes) is copied without a terminator.
 *
 * Returns 0; -3 when the handle is null or not a result.
 */
TRN_API int32_t TRN_getResultRet(TRN_HANDLE* result, int32_t* kind, int32_t* column_count, int32_t* row_count,
                                 int32_t* affected_count, char* identifier);

/* --------------------------------------------------------------------------------- column metadata */
/* Column numbers begin at 1. All five calls return -3 for a null argument or a handle of another kind. */

/*
 * Everything known about a column.
 * table, name, label      each at least 128 bytes, and 1,025 to be safe with every server (a name on the wire
 *                         has at most 1,024 bytes); the first 128 bytes are cleared, then the text, if any,
 *                         is copied without a terminator. Each may be null.
 * type, modifier, flags   the API type code (TRN_TYPE_*), the others as the server sent them. Each may be
 *                         null.
 *
 * Returns 0; -1 when the column is out of range.
 * Wire: one name "table.name%label"; the table ends at the first ".", the label begins after the first "%".
 */
TRN_API int32_t TRN_getResultColInfo(TRN_HANDLE* result, int32_t column, char* table, char* name, char* label,
                                     int32_t* type, int32_t* modifier, int32_t* flags);

/* The column's API type code. Returns 0; -15 when the column is out of range. */
TRN_API int32_t TRN_getResultcolType(TRN_HANDLE* result, int32_t column, int32_t* type);

/* The column's type modifier as the server sent it. Returns 0; -15 when the column is out of range. */
TRN_API int32_t TRN_getResultcolmodi(TRN_HANDLE* result, int32_t column, int32_t* modifier);

/*
 * The column's label, or its name when it has no label, copied without a terminator: clear the buffer (at
 * least 128 bytes, 1,025 to be safe with every server) beforehand. Returns 0; -1 when the column is out of
 * range.
 */
TRN_API int32_t TRN_getResultcolname(TRN_HANDLE* result, int32_t column, char* name);

/*
 * The number of the first column whose label (or name, when it has no label) equals name, ignoring ASCII
 * case. Returns the number, 0 when no column matches.
 */
TRN_API int32_t TRN_getResultcolseq(TRN_HANDLE* result, const char* name);

/* ----------------------------------------------------------------------------------- values, dates */
/* One value of the current row in the requested type, and two helpers. */

/*
 * Converts one value of the current row.
 *
 * column              from 1.
 * target              the requested API type code (TRN_TYPE_*), see below.
 * destination         buffer of the size that the target needs; required.
 * destination_length  its size in bytes; only the text and byte targets use it.
 * length              receives the bytes delivered (or left out, with -12); may be null. For target 18 it is
 *                     also an input.
 *
 *   target         destination  sources, and what is delivered
 *   1, 5           int32_t      BOOLEAN, TINYINT, SMALLINT, INTEGER; NUMERIC (leading integer of its text,
 *                               clamped to 32 bits)
 *   4              int16_t      BOOLEAN, TINYINT, SMALLINT
 *   6              int64_t      the sources of 5, and BIGINT; NUMERIC as for 5, within 32 bits
 *   7              float        TINYINT to BIGINT, NUMERIC, FLOAT, DOUBLE, infinite when too large; other
 *                               sources: 0, nothing written
 *   8              double       TINYINT to BIGINT, NUMERIC, FLOAT, DOUBLE
 *   3, 63          1 byte       any source: the first byte stored
 *   9              bytes        any source: all stored bytes; destination_length is IGNORED. Integers, FLOAT
 *                               and DOUBLE have their own widths, in host byte order; DATE as an int32_t of
 *                               days since 1970-01-01, TIME as an int32_t of milliseconds, DATETIME as under
 *                               23, intervals that end in SECOND as an int64_t of microseconds, other
 *                               intervals as an int32_t of their smallest field; NUMERIC is its text without
 *                               a terminator, TIME_TZ and DATETIME_TZ are 6 and 10 bytes in wire order. The
 *                               fastest way to read a date: no text is made
 *   23             int64_t      DATETIME: milliseconds since 1970-01-01
 *   28             int64_t      INTEGER and BIGINT widened, 8 bytes; INTERVAL YEAR TO MONTH: months, 4 bytes
 *   31             int64_t      INTEGER and BIGINT widened; INTERVAL DAY TO SECOND: microseconds
 *   21             nothing      0 for INTERVAL YEAR TO MONTH and DAY TO SECOND, else -13
 *   2, 10 to 14    text         every known source. The rest of the destination is cleared. A text made from
 *                               a number, date, interval or OPAQUE always has its terminator and is cut to 63
 *                               bytes without notice; CHAR, CLOB, BINARY and BLOB bytes that fill the
 *                               destination exactly have none
 *   15             bytes        CHAR, CLOB, BINARY, BLOB; no terminator
 *   18             bytes        the same sources, piecewise: *length holds the offset to read from and
 *                               receives the bytes copied; 0 bytes at the end
 *   41, 42         TRN_HANDLE   a large object made by TRN_Create_Lob, character or binary, whose content is
 *                               replaced by a CHAR, CLOB, BINARY or BLOB value. In a session that asked for
 *                               descriptors the value's first byte decides: "c" and "b" are followed by the
 *                               data, "C" and "B" by a descriptor, whose content is fetched from the server
 *                               under the connection's lock (a server that refuses it leaves the object
 *                               empty, with 0); anything else gives 0 and writes nothing
 *
 * Returns 0; -3 no result or destination, or no large object in it; or no memory for its
 * content; -4 a large object could not be fetched; -11 no current row or a null value (*length is 0);
 * -12 truncated: *length is the number of bytes left out; -13 no conversion from this source to this target,
 * or target outside 1..63 (*length is 0 but for target 21); -15 column out of range; -18 the offset of a
 * piecewise read is negative or past the end. The row is not changed: the call may be repeated with another
 * target or a larger buffer.
 */
TRN_API int32_t TRN_GetData(TRN_HANDLE* result, int32_t column, int32_t target, void* destination,
                            int32_t destination_length, int32_t* length);

/*
 * Writes a point in time, given in milliseconds since 1970-01-01 00:00:00, as "YYYY-MM-DD hh:mm:ss"
 * (proleptic Gregorian calendar, no time zone, milliseconds dropped). text: at least 20 bytes; required. A
 * year of more than four digits cuts the end of the text. Returns 0; -3 when text is null.
 */
TRN_API int32_t dt2dtm_Api(int64_t milliseconds, char* text);

/*
 * Classifies a statement by its first word, without asking the server.
 * Returns TRN_SQL_*: 1 INSERT, MERGE, REPLACE; 2 UPDATE; 3 DELETE; 4 a single SELECT, or a prepared
 * statement's name (STC...); 5 CREATE; 6 ALTER; 9 SELECT followed by further statements, and everything else;
 * 10 EXEC, EXECUTE; -3 when sql is null. Only blanks, carriage returns and line feeds are skipped before the
 * word: a tab, a comment or a parenthesis gives 9, and so does MERGE, ALTER or EXEC not followed by a blank.
 */
TRN_API int32_t fun_sql_type(const char* sql);

/* --------------------------------------------------------------------------------------- constants */
/* Kinds, statuses, directions and type codes. */

/* Handle kinds: the first 32 bits of every record. */
#define TRN_KIND_CONNECTION 1
#define TRN_KIND_PARAMETERS 2
#define TRN_KIND_RESULT 4
#define TRN_KIND_LOB 5
#define TRN_KIND_RESERVED 6 /* never made; several calls accept it as a kind without content */

/* Statuses. */
#define TRN_OK 0                     /* done */
#define TRN_WARNING 1                /* a warning or notice ended the reply */
#define TRN_OPENED 2                 /* TRN_OpenConn succeeded */
#define TRN_RECONNECTED 1            /* TRN_ReconnectConn succeeded */
#define TRN_ERROR_TEXT_LONG 2        /* TRN_GetErrorInfo: the text did not fit the message */
#define TRN_END 100                  /* no further row, item or text */
#define TRN_PREPARED_QUERY 19665     /* TRN_Prepare2: the statement returns rows */
#define TRN_ERR_SERVER (-1)          /* the server refused; its text is the error text */
#define TRN_ERR_ARGUMENT (-3)        /* null argument or wrong kind of handle */
#define TRN_ERR_NETWORK (-4)         /* the reply could not be read */
#define TRN_ERR_MEMORY (-5)          /* out of memory */
#define TRN_ERR_CONNECT (-8)         /* the socket could not be connected */
#define TRN_ERR_LOGIN (-9)           /* the login failed */
#define TRN_NULL_VALUE (-11)         /* null value, or no current row */
#define TRN_TRUNCATED (-12)          /* the destination was too small */
#define TRN_ERR_CONVERSION (-13)     /* no conversion between these types */
#define TRN_ERR_COLUMN (-15)         /* column out of range */
#define TRN_ERR_OFFSET (-18)         /* piecewise offset past the end */
#define TRN_ERR_POSITION_RANGE (-51) /* position above 4,000 or above the parameter count */
#define TRN_ERR_DIRECTION (-52)      /* no such direction */
#define TRN_ERR_NAME (-53)           /* name bound already, or not the statement's */
#define TRN_ERR_POSITION (-54)       /* position below 1 */
#define TRN_ERR_POSITION_JUMP (-55)  /* position too far above the slots allocated so far */
#define TRN_ERR_ARRAY_TYPE (-58)     /* no arrays of this type, or elements outside the buffer */
#define TRN_ERR_UNBOUND (-59) /* described parameters without values, or outputs without bound parameters */
#define TRN_ERR_OUTPUTS (-56) /* output values arrived, but no parameters were bound for them */

/* Room for what TRN_GetErrorInfo writes, with a terminator after it. */
#define TRN_ERROR_CODE_SIZE 7
#define TRN_ERROR_MESSAGE_SIZE 256

/* Types of an attribute's value (TRN_GetAttr). */
#define TRN_ATTR_TEXT 1
#define TRN_ATTR_INT32 2
#define TRN_ATTR_INT64 3

/* Attributes of a connection and of a result (TRN_GetAttr). */
#define TRN_ATTR_CONN_VERSION 1
#define TRN_ATTR_CONN_DATABASE 2
#define TRN_ATTR_CONN_ENCODING 4
#define TRN_ATTR_CONN_CHARSET 5
#define TRN_ATTR_CONN_ENCRYPTED 6
#define TRN_ATTR_CONN_ADDRESSES 7
#define TRN_ATTR_CONN_TIME_ZONE 8
#define TRN_ATTR_CONN_LOB_DESCRIPTORS 9
#define TRN_ATTR_CONN_AUTO_COMMIT_OFF 11
#define TRN_ATTR_CONN_CURSORS_OFF 12
#define TRN_ATTR_RESULT_COLUMNS 61
#define TRN_ATTR_RESULT_ROWS 62
#define TRN_ATTR_RESULT_AFFECTED 63
#define TRN_ATTR_RESULT_KIND 65
#define TRN_ATTR_RESULT_FOLLOWED 66

/* Kinds of a result item (TRN_getResultRet). */
#define TRN_ITEM_INSERT 1
#define TRN_ITEM_UPDATE 2
#define TRN_ITEM_DELETE 3
#define TRN_ITEM_QUERY 4

/* Statement classes (fun_sql_type). */
#define TRN_SQL_INSERT 1
#define TRN_SQL_UPDATE 2
#define TRN_SQL_DELETE 3
#define TRN_SQL_SELECT 4
#define TRN_SQL_CREATE 5
#define TRN_SQL_ALTER 6
#define TRN_SQL_OTHER 9
#define TRN_SQL_EXECUTE 10

/* The length that marks a large object complete (TRN_Put_Lob_data). */
#define TRN_LOB_END (-1)

/* Directions of a parameter. */
#define TRN_DIRECTION_IN 1
#define TRN_DIRECTION_OUT 2
#define TRN_DIRECTION_INOUT 3
#define TRN_DIRECTION_RETURN 6

/*
 * Wire type codes: the form in which a value is sent and stored (TRN_Execute_query_with_one reports them).
 */
#define TRN_WIRE_BOOLEAN 2
#define TRN_WIRE_TINYINT 3
#define TRN_WIRE_SMALLINT 4
#define TRN_WIRE_INTEGER 5
#define TRN_WIRE_BIGINT 6
#define TRN_WIRE_NUMERIC 7
#define TRN_WIRE_FLOAT 8
#define TRN_WIRE_DOUBLE 9
#define TRN_WIRE_DATE 10
#define TRN_WIRE_TIME 11
#define TRN_WIRE_TIME_TZ 12
#define TRN_WIRE_DATETIME 13
#define TRN_WIRE_DATETIME_TZ 14
#define TRN_WIRE_INTERVAL_YEAR 15
#define TRN_WIRE_INTERVAL_YEAR_TO_MONTH 16
#define TRN_WIRE_INTERVAL_MONTH 17
#define TRN_WIRE_INTERVAL_DAY 18
#define TRN_WIRE_INTERVAL_DAY_TO_HOUR 19
#define TRN_WIRE_INTERVAL_HOUR 20
#define TRN_WIRE_INTERVAL_DAY_TO_MINUTE 21
#define TRN_WIRE_INTERVAL_HOUR_TO_MINUTE 22
#define TRN_WIRE_INTERVAL_MINUTE 23
#define TRN_WIRE_INTERVAL_DAY_TO_SECOND 24
#define TRN_WIRE_INTERVAL_HOUR_TO_SECOND 25
#define TRN_WIRE_INTERVAL_MINUTE_TO_SECOND 26
#define TRN_WIRE_INTERVAL_SECOND 27
#define TRN_WIRE_OPAQUE 29
#define TRN_WIRE_CHAR 30
#define TRN_WIRE_CLOB 32
#define TRN_WIRE_BINARY 33
#define TRN_WIRE_BLOB 34
#define TRN_HANDED_OVER 100 /* added to the wire type by TRN_Execute_query_with_one */

/*
 * API type codes: of columns, parameters, and targets of TRN_GetData.
 */
#define TRN_TYPE_BOOLEAN 1 /* int32_t */
#define TRN_TYPE_TEXT 2
#define TRN_TYPE_TINYINT 3  /* 1 byte */
#define TRN_TYPE_SMALLINT 4 /* int16_t */
#define TRN_TYPE_INTEGER 5  /* int32_t */
#define TRN_TYPE_BIGINT 6   /* int64_t */
#define TRN_TYPE_FLOAT 7    /* float */
#define TRN_TYPE_DOUBLE 8   /* double */
#define TRN_TYPE_NUMERIC 9  /* the bytes as stored, see above */
#define TRN_TYPE_DATE 10    /* text, as the following four */
#define TRN_TYPE_TIME 11
#define TRN_TYPE_TIME_TZ 12
#define TRN_TYPE_DATETIME 13
#define TRN_TYPE_DATETIME_TZ 14
#define TRN_TYPE_BYTES 15
#define TRN_TYPE_BYTES_PIECEWISE 18
#define TRN_TYPE_INTERVAL 21
#define TRN_TYPE_DATETIME_RAW 23           /* int64_t milliseconds */
#define TRN_TYPE_INTERVAL_YEAR_TO_MONTH 28 /* months */
#define TRN_TYPE_INTERVAL_DAY_TO_SECOND 31 /* microseconds */
#define TRN_TYPE_BLOB_PARAMETER 40         /* parameters only: as TRN_TYPE_BLOB */
#define TRN_TYPE_CLOB 41
#define TRN_TYPE_BLOB 42
#define TRN_TYPE_TEXT_PARAMETER 62 /* parameters only: as TRN_TYPE_TEXT */
#define TRN_TYPE_BYTE 63
#define TRN_TYPE_OPAQUE 69 /* reported only */

#ifdef __cplusplus
}
#endif

#endif
