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

        /// <summary>Whether the line is from the protocol trace; otherwise it is one that the library
        /// prints.</summary>
        public bool IsProtocol { get; private set; }

        /// <summary>The line without its end.</summary>
        public string Text { get; private set; }
    }

    /// <summary>
    /// The lines that the library prints, for the whole process. Without a handler of <see cref="Line"/> they
    /// are dropped; if the environment variable TARNSQL_TRACE is set they go where it says, and not here.
    /// </summary>
    public static class TarnLog
    {
        private static readonly object gate = new object();
        private static readonly TraceCallback callback = Tell; // kept alive, because the library may call it
        private static bool taken;

        /// <summary>
        /// Raised for every line, on the thread that runs the call, possibly on several at once. For a line
        /// of the protocol trace a handler must not use a connection. Its exceptions are dropped.
        /// </summary>
        public static event EventHandler<TarnLineEventArgs> Line;

        /// <summary>Turns the protocol trace on or off.</summary>
        /// <param name="level">0 off, 1 messages and statements, 2 values too</param>
        /// <param name="textLimit">how many bytes of statements and values are shown</param>
        public static void TraceProtocol(int level, int textLimit)
        {
            TakeLines();
            if (Native.TRNX_SetProtocolTrace(level, textLimit) < 0)
                throw new ArgumentOutOfRangeException("level");
        }

        /// <summary>The version of the library.</summary>
        public static string LibraryVersion
        {
            get { return Marshal.PtrToStringAnsi(Native.TRNX_Version()); }
        }

        /// <summary>Redirects the lines to this class; to be called before the first call that may
        /// print.</summary>
        internal static void TakeLines()
        {
            lock (gate)
            {
                if (taken) return;
                taken = true;
                if (Environment.GetEnvironmentVariable("TARNSQL_TRACE") != null) return;
                Native.TRNX_SetTrace(callback, IntPtr.Zero);
                // The library may outlive the handlers called here.
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
                // An exception must not pass through the library.
            }
        }
    }
}
