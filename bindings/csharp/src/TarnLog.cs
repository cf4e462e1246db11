using System;
using System.Runtime.InteropServices;

namespace Tarnsql
{
    /// <summary>A line of the library.</summary>
    public sealed class TarnLineEventArgs : EventArgs
    {
        internal TarnLineEventArgs(bool isProtocol, string text)
        {
            IsProtocol = isProtocol;
            Text = text;
        }

        /// <summary>Whether the line belongs to the trace of the protocol; otherwise the library would have
        /// printed it.</summary>
        public bool IsProtocol { get; private set; }

        /// <summary>The line without its end.</summary>
        public string Text { get; private set; }
    }

    /// <summary>
    /// What the library has to say beside statuses and errors, for the whole process. Without a handler of
    /// <see cref="Line"/> it goes nowhere; with the environment variable TARNSQL_TRACE it goes where that
    /// says, and not here.
    /// </summary>
    public static class TarnLog
    {
        private static readonly object gate = new object();
        private static readonly TraceCallback callback = Tell; // lives as long as the library may call it
        private static bool taken;

        /// <summary>
        /// Told of every line, by whatever thread runs a call, from several at once if several do. A handler
        /// must not use a connection for a line of the protocol. What it throws is dropped.
        /// </summary>
        public static event EventHandler<TarnLineEventArgs> Line;

        /// <summary>Turns the trace of the protocol on or off.</summary>
        /// <param name="level">0 off, 1 messages and statements, 2 values too</param>
        /// <param name="textLimit">so many bytes of statements and values are shown</param>
        public static void TraceProtocol(int level, int textLimit)
        {
            TakeLines();
            if (Native.TRNX_SetProtocolTrace(level, textLimit) < 0) throw new ArgumentOutOfRangeException("level");
        }

        /// <summary>The version of the library.</summary>
        public static string LibraryVersion
        {
            get { return Marshal.PtrToStringAnsi(Native.TRNX_Version()); }
        }

        /// <summary>Has the lines come here. Before the first call that may print.</summary>
        internal static void TakeLines()
        {
            lock (gate)
            {
                if (taken) return;
                taken = true;
                if (Environment.GetEnvironmentVariable("TARNSQL_TRACE") != null) return;
                Native.TRNX_SetTrace(callback, IntPtr.Zero);
                // The library may outlive what it calls here.
                AppDomain.CurrentDomain.DomainUnload += LeaveLines;
                AppDomain.CurrentDomain.ProcessExit += LeaveLines;
            }
        }

        private static void LeaveLines(object sender, EventArgs arguments)
        {
            Native.TRNX_SetTrace(null, IntPtr.Zero);
        }

        private static void Tell(IntPtr user, int kind, IntPtr line)
        {
            EventHandler<TarnLineEventArgs> handlers = Line;
            if (handlers == null) return;
            try
            {
                int length = 0;
                while (Marshal.ReadByte(line, length) != 0) ++length;
                byte[] bytes = new byte[length];
                Marshal.Copy(line, bytes, 0, length);
                string text = Charset.Readable(Charset.Utf8, bytes, length).TrimEnd();
                handlers(null, new TarnLineEventArgs(kind == Native.TRNX_LINE_PROTOCOL, text));
            }
            catch (Exception)
            {
                // An exception may not pass through the library.
            }
        }
    }
}
