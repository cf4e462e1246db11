// Handle variables that the library is given the address of. Each stands in unmanaged memory, at one address
// from its making to its end, so that a call may be cancelled by the address of the very variable it runs
// with. A call keeps the variable alive; what is forgotten is released by the finalizer, from any thread,
// without a word to the server.
using System;
using System.Runtime.InteropServices;

namespace Tarnsql
{
    /// <summary>A handle variable of the library, with what is behind it.</summary>
    public abstract class HandleVariable : SafeHandle
    {
        /// <summary>Makes a variable that holds null.</summary>
        protected HandleVariable() : base(IntPtr.Zero, true)
        {
            SetHandle(Marshal.AllocHGlobal(IntPtr.Size));
            Marshal.WriteIntPtr(handle, IntPtr.Zero);
        }

        /// <summary>Whether there is no variable.</summary>
        public override bool IsInvalid
        {
            get { return handle == IntPtr.Zero; }
        }

        /// <summary>Whether the variable holds null.</summary>
        public bool IsEmpty
        {
            get
            {
                bool held = false;
                try
                {
                    DangerousAddRef(ref held);
                    return Marshal.ReadIntPtr(handle) == IntPtr.Zero;
                }
                finally
                {
                    if (held) DangerousRelease();
                }
            }
        }

        /// <summary>Releases what is behind the variable at this address.</summary>
        protected abstract void ReleaseContent(IntPtr variable);

        /// <summary>Releases what is behind the variable, and the variable.</summary>
        protected sealed override bool ReleaseHandle()
        {
            // Nothing behind it: the library, which may be missing, is left alone.
            if (Marshal.ReadIntPtr(handle) != IntPtr.Zero) ReleaseContent(handle);
            Marshal.FreeHGlobal(handle);
            return true;
        }
    }

    /// <summary>A connection.</summary>
    public sealed class ConnectionHandle : HandleVariable
    {
        /// <summary>Closes it. The provider makes no default statement, so this waits for no
        /// answer.</summary>
        protected override void ReleaseContent(IntPtr variable)
        {
            Native.TRN_CloseConn(variable);
        }
    }

    /// <summary>A result with all its items.</summary>
    public sealed class ResultHandle : HandleVariable
    {
        /// <summary>Walks to the last item, which releases those before it, and releases that.</summary>
        protected override void ReleaseContent(IntPtr variable)
        {
            while (Native.TRN_NextResult(variable) == Native.TRN_OK && Marshal.ReadIntPtr(variable) != IntPtr.Zero)
            {
            }
            Native.TRN_FreeRowset(variable);
        }
    }

    /// <summary>A parameter set.</summary>
    public sealed class ParametersHandle : HandleVariable
    {
        /// <summary>Releases it.</summary>
        protected override void ReleaseContent(IntPtr variable)
        {
            Native.TRN_Drop(variable);
        }
    }

    /// <summary>A large object.</summary>
    public sealed class LobHandle : HandleVariable
    {
        /// <summary>Releases it.</summary>
        protected override void ReleaseContent(IntPtr variable)
        {
            Native.TRN_Distroy_Lob(variable);
        }
    }
}
