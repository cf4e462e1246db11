using System;
using System.Data;
using System.Data.Common;
using System.Text;
using System.Text.RegularExpressions;

namespace Tarnsql
{
    /// <summary>A statement, or several separated by ";", or a procedure's name. One thread at a time may run
    /// a command.</summary>
    public sealed class TarnCommand : DbCommand
    {
        private const int largestFetch = 20000; // the library keeps a block in one piece
        private static readonly Regex procedureName = new Regex(@"^[\p{L}_][\w$#]*(\.[\p{L}_][\w$#]*)*$");

        private readonly TarnParameterCollection parameters = new TarnParameterCollection();
        private TarnConnection connection;
        private string text;
        private CommandType type = CommandType.Text;
        private ServerName prepared; // its statement is preparedText
        private string preparedText;
        private volatile Session usedLast;
        private int timeout, fetchSize;

        /// <summary>A command without statement and connection.</summary>
        public TarnCommand() : this("", null)
        {
        }

        /// <summary>A statement for a connection.</summary>
        public TarnCommand(string commandText, TarnConnection connection = null)
        {
            text = commandText ?? "";
            this.connection = connection;
            if (connection != null) timeout = connection.Settings.CommandTimeout;
            UpdatedRowSource = UpdateRowSource.Both;
            DesignTimeVisible = true;
        }

        /// <summary>The statement, or the procedure's name.</summary>
        public override string CommandText
        {
            get { return text; }
            set { text = value ?? ""; }
        }

        /// <summary>
        /// Seconds to wait for the next bytes of an answer; 0: as long as the library waits. A time-out
        /// closes the link, which ends the session.
        /// </summary>
        public override int CommandTimeout
        {
            get { return timeout; }
            set
            {
                if (value < 0 || value > 2000000) throw new ArgumentOutOfRangeException("value");
                timeout = value;
            }
        }

        /// <summary>Text, or StoredProcedure.</summary>
        public override CommandType CommandType
        {
            get { return type; }
            set
            {
                if (value != CommandType.Text && value != CommandType.StoredProcedure)
                    throw new NotSupportedException("CommandType." + value);
                type = value;
            }
        }

        /// <summary>
        /// The rows to fetch at a time, 20,000 at most: the others stay on the server until they are read. 0:
        /// the result is received whole. For a single query; it is sent unprepared.
        /// </summary>
        public int FetchSize
        {
            get { return fetchSize; }
            set
            {
                if (value < 0 || value > largestFetch) throw new ArgumentOutOfRangeException("value");
                fetchSize = value;
            }
        }

        /// <summary>The connection to run on.</summary>
        public new TarnConnection Connection
        {
            get { return connection; }
            set { connection = value; }
        }

        /// <summary>The parameters.</summary>
        public new TarnParameterCollection Parameters
        {
            get { return parameters; }
        }

        /// <summary>For designers.</summary>
        public override bool DesignTimeVisible { get; set; }

        /// <summary>How outputs go into a row that an adapter updates.</summary>
        public override UpdateRowSource UpdatedRowSource { get; set; }

        /// <summary>The connection to run on.</summary>
        protected override DbConnection DbConnection
        {
            get { return connection; }
            set { connection = (TarnConnection)value; }
        }

        /// <summary>The parameters.</summary>
        protected override DbParameterCollection DbParameterCollection
        {
            get { return parameters; }
        }

        /// <summary>The transaction. Commands run in their connection's, whether this is set or
        /// not.</summary>
        protected override DbTransaction DbTransaction { get; set; }

        /// <summary>Ends the command if it is running, from another thread: it fails with the code EX001, and
        /// the link is closed.</summary>
        public override void Cancel()
        {
            // Not the connection's: a Close that waits for this command has already detached it.
            Session session = usedLast;
            if (session != null) session.Cancel(this);
        }

        /// <summary>Prepares the statement on the server, until the command gets another text or is
        /// disposed.</summary>
        public override void Prepare()
        {
            if (type != CommandType.Text) return;
            Session session = Ready();
            lock (session.Gate)
            {
                Unprepare();
                session.Begin(timeout);
                byte[] name = new byte[20], sql = session.Text(text, "the statement");
                try
                {
                    session.Check(session.Call(this, () => Native.TRN_Prepare2(session.Handle, sql, name)));
                    string made = Encoding.ASCII.GetString(name, 0, Charset.Length(name));
                    prepared = new ServerName(session, made, Native.TRN_UnPrepare);
                    preparedText = text;
                }
                finally
                {
                    // The parameters that the server described: values are bound anew for each execution.
                    Native.TRN_ResetParams(session.Handle);
                    connection.TellState();
                }
            }
        }

        /// <summary>A parameter, which is not added yet.</summary>
        public new TarnParameter CreateParameter()
        {
            return new TarnParameter();
        }

        /// <summary>Runs the command and gives its rows.</summary>
        public new TarnDataReader ExecuteReader()
        {
            return Execute(CommandBehavior.Default);
        }

        /// <summary>Runs the command and gives its rows.</summary>
        public new TarnDataReader ExecuteReader(CommandBehavior behavior)
        {
            return Execute(behavior);
        }

        /// <summary>Runs the command and returns the number of rows it changed, like a reader's
        /// RecordsAffected.</summary>
        public override int ExecuteNonQuery()
        {
            using (TarnDataReader reader = Execute(CommandBehavior.Default, false))
            {
                reader.PassOver();
                reader.Close();
                return reader.RecordsAffected;
            }
        }

        /// <summary>Runs the command and returns the first value of the first row, null when there is no
        /// row.</summary>
        public override object ExecuteScalar()
        {
            using (TarnDataReader reader = Execute(CommandBehavior.Default, false))
                return reader.Read() ? reader.GetValue(0) : null;
        }

        /// <summary>Runs the command and gives its rows.</summary>
        protected override DbDataReader ExecuteDbDataReader(CommandBehavior behavior)
        {
            return Execute(behavior);
        }

        /// <summary>A parameter, which is not added yet.</summary>
        protected override DbParameter CreateDbParameter()
        {
            return new TarnParameter();
        }

        /// <summary>Ends a prepared statement.</summary>
        protected override void Dispose(bool disposing)
        {
            if (disposing) Unprepare();
            base.Dispose(disposing);
        }

        private TarnDataReader Execute(CommandBehavior behavior, bool inBlocks = true)
        {
            Session session = Ready();
            var result = new ResultHandle();
            ServerCursor cursor = null;
            lock (session.Gate)
            {
                try
                {
                    session.Begin(timeout);
                    using (var binding = new Binding(session))
                        cursor = Run(session, binding, result, behavior, inBlocks);
                    var items = new ResultItems(result, session, Statement.InsertsOneRow(text));
                    return new TarnDataReader(this, session, items, cursor, behavior);
                }
                catch
                {
                    result.Dispose();
                    if (cursor != null) cursor.Dispose();
                    throw;
                }
                finally
                {
                    connection.TellState();
                }
            }
        }

        // The cursor of the rows, unless the result is received whole.
        private ServerCursor Run(Session session, Binding binding, ResultHandle result,
                                 CommandBehavior behavior, bool inBlocks)
        {
            foreach (TarnParameter parameter in parameters)
                if (parameter.Direction != ParameterDirection.Input) return RunWithOutputs(session, binding);
            if (type == CommandType.StoredProcedure)
                binding.BindCall(parameters);
            else
                binding.BindInputs(parameters);
            bool schemaOnly = (behavior & CommandBehavior.SchemaOnly) != 0;
            if (schemaOnly && (type != CommandType.Text || !IsQuery(session))) return null; // nothing is run
            if (type == CommandType.Text && (schemaOnly || inBlocks && fetchSize > 0))
                return ServerCursor.Open(session, this, result);
            if (prepared != null && (preparedText != text || prepared.Session != session)) Unprepare();
            int columns, affected;
            long rows;
            byte[] sql = prepared != null ? prepared.Name : session.Text(SentText(), "the statement");
            session.Check(session.Call(
                this, () => prepared != null
                                ? Native.TRN_Execute2(session.Handle, sql, null, result)
                                : Native.TRN_ExecwithDataReader(session.Handle, sql, result, out columns,
                                                                out rows, out affected)));
            return null;
        }

        // Rows that the procedure returns are discarded.
        private ServerCursor RunWithOutputs(Session session, Binding binding)
        {
            binding.BindCall(parameters);
            byte[] sql = session.Text(SentText(), "the statement");
            int status =
                session.Call(this, () => Native.TRN_Execute_procesure(session.Handle, sql, IntPtr.Zero));
            if (status != Native.TRN_TRUNCATED) session.Check(status); // the output reports that itself
            binding.Deliver();
            return null;
        }

        private string SentText()
        {
            if (type == CommandType.Text) return text;
            if (!procedureName.IsMatch(text))
                throw new ArgumentException("not a procedure's name: " + text);
            var sent = new StringBuilder("EXEC ").Append(text).Append('(');
            int count = 0;
            foreach (TarnParameter parameter in parameters)
                if (parameter.Direction != ParameterDirection.ReturnValue)
                    sent.Append(count++ > 0 ? ", ?" : "?");
            return sent.Append(')').ToString();
        }

        private bool IsQuery(Session session)
        {
            return Native.fun_sql_type(session.Text(text, "the statement")) == Native.TRN_SQL_SELECT;
        }

        private Session Ready()
        {
            if (connection == null) throw new InvalidOperationException("the command has no connection");
            if (text.Trim().Length == 0) throw new InvalidOperationException("the command has no statement");
            if (DbTransaction != null && DbTransaction.Connection != null &&
                DbTransaction.Connection != connection)
                throw new InvalidOperationException("the transaction belongs to another connection");
            return usedLast = connection.Session;
        }

        private void Unprepare()
        {
            ServerName ended = prepared;
            prepared = null;
            if (ended != null) ended.Dispose();
        }
    }
}
