using System;
using System.Data;
using System.Data.Common;

namespace Tarnsql
{
    /// <summary>
    /// A connection to a TARNDBMS server. Threads may share it, each with its own commands: statements run
    /// one after another. There is no pool: every Open logs in, and Close ends the session.
    /// </summary>
    public sealed class TarnConnection : DbConnection
    {
        private TarnConnectionStringBuilder settings = new TarnConnectionStringBuilder();
        private Session session;
        private ConnectionState told = ConnectionState.Closed;

        /// <summary>A connection without a connection string.</summary>
        public TarnConnection()
        {
        }

        /// <summary>A connection with this connection string.</summary>
        public TarnConnection(string connectionString)
        {
            ConnectionString = connectionString;
        }

        /// <summary>The settings; see <see cref="TarnConnectionStringBuilder"/>.</summary>
        public override string ConnectionString
        {
            get { return settings.ConnectionString; }
            set
            {
                if (session != null) throw new InvalidOperationException("the connection is open");
                settings = new TarnConnectionStringBuilder(value);
            }
        }

        /// <summary>Seconds to wait for the connection and for each answer of the login.</summary>
        public override int ConnectionTimeout
        {
            get { return settings.ConnectTimeout; }
        }

        /// <summary>The database of the connection string.</summary>
        public override string Database
        {
            get { return settings.Database; }
        }

        /// <summary>The server of the connection string.</summary>
        public override string DataSource
        {
            get { return settings.Server; }
        }

        /// <summary>The server's version; asks the server each time.</summary>
        public override string ServerVersion
        {
            get { return Session.ServerVersion(); }
        }

        /// <summary>Open, Closed, or Broken when the link is lost: Open then logs in again.</summary>
        public override ConnectionState State
        {
            get
            {
                if (session == null) return ConnectionState.Closed;
                return session.Broken ? ConnectionState.Broken : ConnectionState.Open;
            }
        }

        /// <summary>The identifier of the last inserted row; empty when no insert has been
        /// reported.</summary>
        public string LastInsertId
        {
            get
            {
                byte[] text = new byte[33];
                lock (Session.Gate)
                {
                    Session.RequireOpen();
                    Session.Check(Native.TRN_GetLastInsertId(Session.Handle, text));
                }
                return Charset.Readable(Session.Encoding, text, Charset.Length(text));
            }
        }

        /// <summary>What makes the provider's objects.</summary>
        protected override DbProviderFactory DbProviderFactory
        {
            get { return TarnFactory.Instance; }
        }

        internal TarnConnectionStringBuilder Settings
        {
            get { return settings; }
        }

        /// <summary>The session; fails when there is none.</summary>
        internal Session Session
        {
            get
            {
                Session open = session;
                if (open == null) throw new InvalidOperationException("the connection is not open");
                return open;
            }
        }

        /// <summary>Connects and logs in, again when the link has gone.</summary>
        public override void Open()
        {
            if (State == ConnectionState.Open)
                throw new InvalidOperationException("the connection is already open");
            Close();
            session = new Session(settings);
            TellState();
        }

        /// <summary>Ends the session; uncommitted work is lost. Results already received stay
        /// valid.</summary>
        public override void Close()
        {
            Session open = session;
            session = null;
            if (open != null) open.Close();
            TellState();
        }

        /// <summary>Not supported: the database is chosen at login.</summary>
        public override void ChangeDatabase(string databaseName)
        {
            throw new NotSupportedException("the database is chosen at login: open another connection");
        }

        /// <summary>A command for this connection.</summary>
        public new TarnCommand CreateCommand()
        {
            return new TarnCommand("", this) { CommandTimeout = settings.CommandTimeout };
        }

        /// <summary>Begins a transaction.</summary>
        public new TarnTransaction BeginTransaction()
        {
            return (TarnTransaction)BeginDbTransaction(IsolationLevel.Unspecified);
        }

        /// <summary>Begins a transaction. Its isolation level is the session's: the connection string's, or
        /// the server's own.</summary>
        protected override DbTransaction BeginDbTransaction(IsolationLevel isolationLevel)
        {
            if (isolationLevel != IsolationLevel.Unspecified)
                throw new NotSupportedException(
                    "the isolation level is set at login: put it in the connection string");
            Session open = Session;
            lock (open.Gate)
            {
                if (open.Transaction != null)
                    throw new InvalidOperationException("a transaction has already begun");
                open.Begin(settings.CommandTimeout);
                if (!open.BeginsTransactions) open.Run("BEGIN");
                open.Transaction = new TarnTransaction(this, open);
            }
            return open.Transaction;
        }

        /// <summary>A command for this connection.</summary>
        protected override DbCommand CreateDbCommand()
        {
            return CreateCommand();
        }

        /// <summary>Closes the connection. One that is not closed is closed by a finalizer.</summary>
        protected override void Dispose(bool disposing)
        {
            if (disposing) Close();
            base.Dispose(disposing);
        }

        /// <summary>Raises StateChange when the state has changed.</summary>
        internal void TellState()
        {
            ConnectionState before = told;
            told = State;
            if (before != told) OnStateChange(new StateChangeEventArgs(before, told));
        }
    }
}
