// A server cursor, whose rows are fetched in blocks, for a reader with a FetchSize.
using System;

namespace Tarnsql
{
    internal sealed class ServerCursor : IDisposable
    {
        private readonly Session session;
        private readonly ServerName name;
        private readonly byte[] fetch;
        private readonly object owner;
        private readonly int timeout, blockRows;
        private TarnException behind; // to be thrown after the rows of the last block

        private ServerCursor(Session session, ServerName name, TarnCommand command)
        {
            this.session = session;
            this.name = name;
            owner = command;
            timeout = command.CommandTimeout;
            blockRows = Math.Max(1, command.FetchSize); // 1 when only the columns are wanted
            fetch = session.Text("FETCH " + blockRows + " FROM " + name.Text, "a name");
        }

        /// <summary>
        /// Opens a cursor over a query, whose parameters are bound, and fetches its first rows into a result.
        /// The caller holds Gate.
        /// </summary>
        internal static ServerCursor Open(Session session, TarnCommand command, ResultHandle result)
        {
            string text = session.NewCursorName();
            // In two statements: the library's call for both reports a refused query only as a missing
            // cursor.
            string query = command.CommandText.TrimEnd(' ', ';', '\t', '\r', '\n');
            byte[] declare = session.Text("DECLARE " + text + " CURSOR FOR " + query + " ", "the statement");
            int columns, affected;
            long rows;
            ConnectionHandle handle = session.Handle;
            session.Check(session.Call(command, () => Native.TRN_ExecwithDataReader(handle, declare, result,
                                                                                    out columns, out rows,
                                                                                    out affected)));
            var name = new ServerName(session, text, Native.TRN_CloseCursor);
            try
            {
                byte[] open = session.Text("OPEN " + text + " ;", "a name");
                session.Check(session.Call(command, () => Native.TRN_Execute_no_query(handle, open)));
                var cursor = new ServerCursor(session, name, command);
                if (result.IsEmpty) cursor.FetchHead(result, cursor.blockRows);
                else cursor.Fetch(result);
                return cursor;
            }
            catch
            {
                name.Dispose();
                throw;
            }
        }

        /// <summary>Replaces the rows in the result by the next ones; false when there are none.</summary>
        internal bool FetchNext(ResultHandle result)
        {
            lock (session.Gate)
            {
                if (behind != null)
                {
                    TarnException failure = behind;
                    behind = null;
                    name.Dispose();
                    throw failure;
                }
                if (session.Closed)
                    throw new InvalidOperationException("the connection is closed, and with it the cursor");
                session.Begin(timeout);
                return Fetch(result);
            }
        }

        public void Dispose()
        {
            name.Dispose();
        }

        private bool Fetch(ResultHandle result)
        {
            int status = session.Call(
                owner, () => Native.TRN_FetchServerCursorRowset_V2(session.Handle, fetch, result));
            if (status >= 0) return status > 0;
            // Rows may have arrived all the same.
            behind = session.Failure(status);
            int rows;
            Native.TRN_getResultRecordnum(result, out rows);
            if (rows > 0) return true;
            throw behind;
        }

        // For a cursor whose columns are not known yet.
        private void FetchHead(ResultHandle result, int wanted)
        {
            int columns;
            long rows;
            ConnectionHandle handle = session.Handle;
            session.Call(owner, () => Native.TRN_FetchRefCursorHead(handle, name.Name, result, out columns,
                                                                    out rows, ref wanted));
            if (result.IsEmpty)
                throw session.Failure(Native.TRN_ERR_SERVER); // the call does not report failures
        }
    }
}
