// A named object on the server, a prepared statement or a cursor, which is ended there when no longer used.
using System;

namespace Tarnsql
{
    internal sealed class ServerName : IDisposable
    {
        internal readonly Session Session;
        internal readonly string Text;
        internal readonly byte[] Name;
        private readonly Func<ConnectionHandle, byte[], int> end;
        private bool ended;

        // end ends it on the server.
        internal ServerName(Session session, string text, Func<ConnectionHandle, byte[], int> end)
        {
            Session = session;
            Text = text;
            this.end = end;
            Name = session.Text(text, "a name");
        }

        ~ServerName()
        {
            if (ended || Name == null) return;
            // Not here: a finalizer must not wait for a server.
            Func<ConnectionHandle, byte[], int> call = end;
            Session session = Session;
            byte[] name = Name;
            session.Abandon(() => call(session.Handle, name));
        }

        /// <summary>Ends it now. The server may have ended it already, which is no failure.</summary>
        public void Dispose()
        {
            GC.SuppressFinalize(this);
            lock (Session.Gate)
            {
                if (ended) return;
                ended = true;
                if (!Session.Closed && !Session.Broken) Session.Call(this, () => end(Session.Handle, Name));
            }
        }
    }
}
