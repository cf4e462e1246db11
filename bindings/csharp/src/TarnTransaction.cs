using System;
using System.Data;
using System.Data.Common;

namespace Tarnsql
{
    /// <summary>A transaction. Dispose rolls it back if it has not ended.</summary>
    public sealed class TarnTransaction : DbTransaction
    {
        private readonly TarnConnection connection;
        private readonly Session session;

        internal TarnTransaction(TarnConnection connection, Session session)
        {
            this.connection = connection;
            this.session = session;
        }

        /// <summary>Unspecified: the level is that of the session.</summary>
        public override IsolationLevel IsolationLevel
        {
            get { return IsolationLevel.Unspecified; }
        }

        /// <summary>The connection; null when the transaction has ended.</summary>
        protected override DbConnection DbConnection
        {
            get { return IsActive ? connection : null; }
        }

        private bool IsActive
        {
            get { return session.Transaction == this && !session.Closed && !session.Broken; }
        }

        /// <summary>Commits. If the server refuses, the transaction continues.</summary>
        public override void Commit()
        {
            End("COMMIT");
        }

        /// <summary>Rolls back.</summary>
        public override void Rollback()
        {
            End("ROLLBACK");
        }

        /// <summary>Rolls back if it has not ended. A lost link has already ended the transaction.</summary>
        protected override void Dispose(bool disposing)
        {
            if (disposing)
            {
                lock (session.Gate)
                {
                    try
                    {
                        if (IsActive) Rollback();
                    }
                    catch (TarnException)
                    {
                        // Do not hide an exception in flight; the end of the session rolls back too.
                        session.Transaction = null;
                    }
                }
            }
            base.Dispose(disposing);
        }

        private void End(string statement)
        {
            lock (session.Gate)
            {
                if (!IsActive) throw new InvalidOperationException("the transaction has ended");
                session.Begin(connection.Settings.CommandTimeout);
                try
                {
                    session.Run(statement);
                    session.Transaction = null;
                }
                finally
                {
                    connection.TellState();
                }
            }
        }
    }
}
