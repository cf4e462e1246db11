// Declarations of the calls of tarnsql.h and tarnsql_ext.h; the headers document them.
//
// - The address of a handle variable is one of the classes in Handles.cs, which keep the variable at a fixed
//   address while a call uses it.
// - Texts are NUL-terminated bytes in the character set of the session.
// - ref byte is the first byte of a buffer. It is pinned only during the call: buffers written later (outputs
//   of procedures) are bound as addresses of unmanaged memory.
using System;
using System.Runtime.InteropServices;

#pragma warning disable 1591 // the headers document the calls

namespace Tarnsql
{
    /// <summary>Receives a line of the library: TRNX_TRACE.</summary>
    [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
    public delegate void TraceCallback(IntPtr user, int kind, IntPtr line);

    /// <summary>TRNX_OPTIONS. Use <see cref="Create"/>, which fills in the size.</summary>
    [StructLayout(LayoutKind.Sequential)]
    public struct OpenOptions
    {
        public uint Size;
        public uint Flags;
        public int ConnectTimeoutMs;
        public int ReceiveTimeoutMs;
        public int KeepaliveIdleS;
        public int KeepaliveIntervalS;
        public int KeepaliveCount;

        public static OpenOptions Create()
        {
            return new OpenOptions { Size = (uint)Marshal.SizeOf(typeof(OpenOptions)) };
        }
    }

    /// <summary>TRNX_VALUE: a value's place in the data of TRNX_ExecRows, and its length.</summary>
    [StructLayout(LayoutKind.Sequential)]
    public struct RowValue
    {
        public uint Offset;
        public uint Length;
    }

    /// <summary>The exported calls and the constants of the headers, under their own names.</summary>
    public static partial class Native
    {
        private const string Library = "tarnsql"; // tarnsql.dll, libtarnsql.so
        private const CallingConvention Convention = CallingConvention.Cdecl;

        // ---- connection

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_OpenConn(byte[] connString, ConnectionHandle outHandle);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_OpenConn_Ips(byte[] connString, int tryNumber, ref IntPtr ipsState,
                                                  ConnectionHandle outHandle);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int Release_IpsAttrs(ref IntPtr ipsState);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_ReconnectConn(ConnectionHandle handle);

        [DllImport(Library, CallingConvention = Convention)]
        internal static extern int TRN_CloseConn(IntPtr variable);

        [DllImport(Library, CallingConvention = Convention)]
        internal static extern void TRN_Drop(IntPtr variable);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_GetLastInsertId(ConnectionHandle handle, [Out] byte[] outText);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_GetFunReturnType(ConnectionHandle handle, out int outType);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int GetConnStr();

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int SetConnStr();

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_LobWrite_SetPos();

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_GetErrorInfoOption();

        // ---- errors and attributes

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_GetError(HandleVariable handle, [Out] byte[] outText, out int outLen);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_GetErrorLen(HandleVariable handle);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_GetErrorInfo(HandleVariable handle, [Out] byte[] outCode,
                                                  [Out] byte[] outMessage);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_GetAttr(HandleVariable handle, int id, [Out] byte[] outValue,
                                             int capacity, out int outType, out int outLen);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_SetAttr(ConnectionHandle handle, int id, byte[] value);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_SetAttr(ConnectionHandle handle, int id, IntPtr value);

        // ---- execution

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_Execute_no_query(ConnectionHandle handle, byte[] sql);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_Execute_query_with_one(ConnectionHandle handle, byte[] sql,
                                                            [In, Out] byte[] valueArea, ref uint typeWord);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_ExecwithDataReader(ConnectionHandle handle, byte[] sql,
                                                        ResultHandle resultOut, out int columnCount,
                                                        out long rowCount, out int affectedCount);

        // ---- parameters

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_CreateParams(ParametersHandle outHandle);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_BindParamByName(HandleVariable handle, byte[] name, int direction,
                                                     int dataType, byte[] value, int bufferLength,
                                                     IntPtr reserved, IntPtr length);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_BindParamByName(HandleVariable handle, byte[] name, int direction,
                                                     int dataType, IntPtr value, int bufferLength,
                                                     IntPtr reserved, IntPtr length);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_BindParamByName(HandleVariable handle, byte[] name, int direction,
                                                     int dataType, LobHandle value, int bufferLength,
                                                     IntPtr reserved, IntPtr length);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_BindParamByPos(HandleVariable handle, int position, int direction,
                                                    int dataType, byte[] value, int bufferLength,
                                                    IntPtr length);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_BindParamByPos(HandleVariable handle, int position, int direction,
                                                    int dataType, IntPtr value, int bufferLength,
                                                    IntPtr length);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_BindParamByPos(HandleVariable handle, int position, int direction,
                                                    int dataType, LobHandle value, int bufferLength,
                                                    IntPtr length);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_BindParamArrayByName(HandleVariable handle, byte[] name,
                                                          int parameterCount, int direction, int dataType,
                                                          int arraySize, IntPtr values, int valuesSize,
                                                          int[] lengths);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_BindParamArrayByPos(HandleVariable handle, int position,
                                                         int parameterCount, int direction, int dataType,
                                                         int arraySize, IntPtr values, int valuesSize,
                                                         int[] lengths);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_BindParams2Conn(ConnectionHandle connHandle, ParametersHandle setHandle);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_ResetParams(HandleVariable handle);

        // ---- prepared execution, batches, procedures

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_Prepare2(ConnectionHandle handle, byte[] sql, [Out] byte[] nameOut);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_UnPrepare(ConnectionHandle handle, byte[] name);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_Execute2(ConnectionHandle handle, byte[] statementName,
                                              [Out] byte[] cursorNameOut, ResultHandle resultOut);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_ExecBatch(ConnectionHandle handle, byte[] sql, int arrayCount);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_Execute_procesure(ConnectionHandle handle, byte[] sql, IntPtr reserved);

        // ---- cursors

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_ExecwithServerCursorReader(ConnectionHandle handle, byte[] sql,
                                                                byte[] cursorName, ResultHandle resultOut,
                                                                out int columnCount);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_FetchServerCursorRowset(ConnectionHandle handle, byte[] cursorName,
                                                             ResultHandle rowsetOut);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_FetchServerCursorRowset_V2(ConnectionHandle handle, byte[] fetchText,
                                                                ResultHandle rowset);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_FetchRefCursorHead(ConnectionHandle handle, byte[] cursorName,
                                                        ResultHandle resultOut, out int columnCount,
                                                        out long rowCount, ref int fetchCount);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_CloseCursor(ConnectionHandle handle, byte[] cursorName);

        // ---- large objects

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_Create_Lob(LobHandle lob);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_Put_Lob_data(LobHandle lob, byte[] data, int length);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_Get_Lob_data(LobHandle lob, ref byte buffer, int capacity);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_LobRead_SetPos(LobHandle lob, int position);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_Reset_Lob(LobHandle lob);

        [DllImport(Library, CallingConvention = Convention)]
        internal static extern int TRN_Distroy_Lob(IntPtr variable);

        // ---- results

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_ReadNext(ResultHandle result);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_NextResult(ResultHandle result);

        [DllImport(Library, CallingConvention = Convention)]
        internal static extern int TRN_NextResult(IntPtr variable);

        [DllImport(Library, CallingConvention = Convention)]
        internal static extern int TRN_FreeRowset(IntPtr variable);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_FreePtr(ref IntPtr pointer);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_Reset(HandleVariable handle);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_getResultColumnsnum(ResultHandle result, out int count);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_getResultRecordnum(ResultHandle result, out int count);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_getResultRet(ResultHandle result, out int kind, out int columnCount,
                                                  out int rowCount, out int affectedCount,
                                                  [Out] byte[] identifier);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_getResultColInfo(ResultHandle result, int column, [Out] byte[] table,
                                                      [Out] byte[] name, [Out] byte[] label, out int type,
                                                      out int modifier, out int flags);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_getResultcolType(ResultHandle result, int column, out int type);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_getResultcolmodi(ResultHandle result, int column, out int modifier);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_getResultcolname(ResultHandle result, int column, [Out] byte[] name);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_getResultcolseq(ResultHandle result, byte[] name);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_GetData(ResultHandle result, int column, int target,
                                             ref byte destination, int destinationLength, ref int length);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRN_GetData(ResultHandle result, int column, int target,
                                             LobHandle destination, int destinationLength, ref int length);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int dt2dtm_Api(long milliseconds, [Out] byte[] text);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int fun_sql_type(byte[] sql);

        // ---- tarnsql_ext.h

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRNX_OpenConn(byte[] connString, ref OpenOptions options,
                                               ConnectionHandle outHandle);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRNX_SetReceiveTimeout(ConnectionHandle handle, int timeoutMs);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRNX_ExecRows(ConnectionHandle handle, byte[] sql, int parameters,
                                               int[] types, int rows, RowValue[] values, byte[] data,
                                               uint size);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRNX_Cancel(ConnectionHandle handle);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRNX_SetTrace(TraceCallback callback, IntPtr user);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern int TRNX_SetProtocolTrace(int level, int textLimit);

        [DllImport(Library, CallingConvention = Convention)]
        public static extern IntPtr TRNX_Version();
    }
}
