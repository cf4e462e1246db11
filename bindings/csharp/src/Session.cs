// A session with a server, from login to end: the handle, the lock, and cancelling a call from another
// thread.
//
// The library runs the calls on one connection one after another, but binding, executing and reading the
// error text are several calls. They belong together under Gate. Cancelling takes only the small lock, which
// is never held while a call waits.
using System;
using System.Collections.Concurrent;
using System.Text;
using System.Threading;

namespace Tarnsql
{
    internal sealed class Session
    {
        internal readonly object Gate = new object();
        internal readonly ConnectionHandle Handle = new ConnectionHandle();
        internal readonly Encoding Encoding;

        private readonly object running = new object(); // guards the next four
        private object runningFor;
        private long callNumber;
        private bool cancelled;
        private bool closed;

        private readonly ConcurrentQueue<Action> abandoned = new ConcurrentQueue<Action>();
        private int timeoutSeconds;
        private int cursorNumber;

        internal Session(TarnConnectionStringBuilder settings)
        {
            Encoding = Charset.Named(settings.CharacterSet);
            TarnLog.TakeLines();
            OpenOptions options = OpenOptions.Create();
            options.ConnectTimeoutMs = settings.ConnectTimeout * 1000;
            byte[] text = Charset.Terminated(Encoding, settings.ForLibrary(), "the connection string");
            int status = Native.TRNX_OpenConn(text, ref options, Handle);
            if (status == Native.TRN_OK)
            {
                Descriptors = Number(Native.TRN_ATTR_CONN_LOB_DESCRIPTORS) != 0;
                BeginsTransactions = Number(Native.TRN_ATTR_CONN_AUTO_COMMIT_OFF) != 0;
                return;
            }
            string reason = ErrorText(Handle);
            Handle.Dispose();
            throw new TarnException(status, reason.Length > 0 ? reason : "the connection cannot be opened");
        }

        /// <summary>Whether large objects come as descriptors.</summary>
        internal bool Descriptors { get; private set; }

        /// <summary>Whether the server begins transactions by itself.</summary>
        internal bool BeginsTransactions { get; private set; }

        /// <summary>Whether the link is lost.</summary>
        internal bool Broken { get; private set; }

        /// <summary>The transaction that has begun and not ended.</summary>
        internal TarnTransaction Transaction { get; set; }

        internal bool Closed
        {
            get { return closed; }
        }

        /// <summary>To be called before a request. The caller holds Gate, here and for all calls
        /// below.</summary>
        internal void Begin(int commandTimeout)
        {
            RequireOpen();
            if (commandTimeout != timeoutSeconds)
            {
                Native.TRNX_SetReceiveTimeout(Handle, commandTimeout * 1000);
                timeoutSeconds = commandTimeout;
            }
            Action release;
            while (!Broken && abandoned.TryDequeue(out release)) release();
        }

        internal void RequireOpen()
        {
            if (closed) throw new InvalidOperationException("the connection is closed");
        }

        /// <summary>Queues something to be released before the next request. Takes no lock: finalizers run on
        /// any thread.</summary>
        internal void Abandon(Action release)
        {
            abandoned.Enqueue(release);
        }

        /// <summary>Makes a call that waits for the server, which Cancel(owner) ends.</summary>
        internal int Call(object owner, Func<int> call)
        {
            lock (running)
            {
                runningFor = owner;
                ++callNumber;
                cancelled = false;
            }
            try
            {
                return call();
            }
            finally
            {
                lock (running)
                {
                    runningFor = null;
                    Broken |= cancelled;
                }
            }
        }

        /// <summary>Runs a statement without results; throws when the server refuses.</summary>
        internal void Run(string sql)
        {
            byte[] text = Text(sql, "the statement");
            Check(Call(this, () => Native.TRN_Execute_no_query(Handle, text)));
        }

        /// <summary>Ends the running call of this owner, if any. Does not take Gate, and waits no longer than
        /// the call.</summary>
        internal void Cancel(object owner)
        {
            long number;
            lock (running)
            {
                if (runningFor != owner) return;
                number = callNumber;
            }
            // The call may not have entered the library yet.
            while (!Ended(owner, number)) Thread.Sleep(1);
        }

        private bool Ended(object owner, long number)
        {
            lock (running)
            {
                if (closed || runningFor != owner || callNumber != number) return true;
                if (Native.TRNX_Cancel(Handle) == 0) return false;
                cancelled = true;
                return true;
            }
        }

        internal void Check(int status)
        {
            if (status < 0) throw Failure(status);
        }

        /// <summary>The exception for a status that a call on this connection returned.</summary>
        internal TarnException Failure(int status)
        {
            string text = ErrorText(Handle);
            // After these the handle still has the text of an earlier failure.
            if (status == Native.TRN_ERR_ARGUMENT) text = "the library refused an argument";
            if (status == Native.TRN_ERR_MEMORY) text = "out of memory";
            if (status == Native.TRN_ERR_NETWORK)
            {
                Broken = true;
                string silence =
                    timeoutSeconds > 0 ? ", or no answer came for " + timeoutSeconds + " seconds" : "";
                if (!cancelled) text = "the link to the server is lost" + silence;
            }
            return new TarnException(status,
                                     text.Length > 0 ? text : "the call failed with status " + status);
        }

        /// <summary>The error text of a handle; empty when there is none.</summary>
        internal string ErrorText(HandleVariable handle)
        {
            int length = Native.TRN_GetErrorLen(handle);
            if (length <= 0) return "";
            byte[] text = new byte[length];
            Native.TRN_GetError(handle, text, out length);
            return Charset.Readable(Encoding, text, text.Length).Trim();
        }

        internal byte[] Text(string text, string what)
        {
            return Charset.Terminated(Encoding, text, what);
        }

        /// <summary>A new cursor name, unique on this connection.</summary>
        internal string NewCursorName()
        {
            return "CS_CURSOR_" + ++cursorNumber;
        }

        internal int Number(int attribute)
        {
            byte[] value = new byte[sizeof(int)];
            int type, length;
            Check(Native.TRN_GetAttr(Handle, attribute, value, value.Length, out type, out length));
            return BitConverter.ToInt32(value, 0);
        }

        /// <summary>The server's version.</summary>
        internal string ServerVersion()
        {
            byte[] value = new byte[65];
            int type, length = 0;
            lock (Gate)
            {
                Begin(timeoutSeconds);
                Check(Call(this, () => Native.TRN_GetAttr(Handle, Native.TRN_ATTR_CONN_VERSION, value, 64,
                    out type, out length)));
            }
            return Charset.Readable(Encoding, value, length);
        }

        /// <summary>Ends the session; what was not committed is lost. Waits for a statement of another
        /// thread.</summary>
        internal void Close()
        {
            lock (Gate)
            {
                lock (running) closed = true;
                Handle.Dispose();
            }
        }
    }
}
