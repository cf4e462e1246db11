using System;
using System.Data;
using System.Data.Common;

namespace Tarnsql
{
    /// <summary>A transaction. Disposing of one that has not ended rolls it back.</summary>
    public sealed class TarnTransaction : DbTransaction
    {
        private readonly TarnConnection connection;
        private readonly Session session;

        internal TarnTransaction(TarnConnection connection, Session session)
        {
            this.connection = connection;
            this.session = session;
        }

        /// <summary>Unspecified: the level is the session's.</summary>
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

        /// <summary>Commits. When the server refuses, the transaction goes on.</summary>
        public override void Commit()
        {
            End("COMMIT");
        }

        /// <summary>Rolls back.</summary>
        public override void Rollback()
        {
            End("ROLLBACK");
        }

        /// <summary>Rolls back what has not ended. A link that has gone took the transaction with
        /// it.</summary>
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
                        // An exception on its way tells more; the end of the session rolls back too.
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
