// Handle variables, whose addresses are passed to the library. Each is in unmanaged memory, at a fixed
// address, so that a call may be cancelled by the address of the variable it runs with. A call keeps the
// variable alive; what is not closed is released by the finalizer, on any thread, without contacting the
// server.
using System;
using System.Runtime.InteropServices;

namespace Tarnsql
{
    /// <summary>A handle variable of the library, and the object behind it.</summary>
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

        /// <summary>Releases the object behind the variable at this address.</summary>
        protected abstract void ReleaseContent(IntPtr variable);

        /// <summary>Releases the object behind the variable, and the variable.</summary>
        protected sealed override bool ReleaseHandle()
        {
            // No object: do not call the library, which may be missing.
            if (Marshal.ReadIntPtr(handle) != IntPtr.Zero) ReleaseContent(handle);
            Marshal.FreeHGlobal(handle);
            return true;
        }
    }

    /// <summary>A connection.</summary>
    public sealed class ConnectionHandle : HandleVariable
    {
        /// <summary>Closes it. The provider makes no default statement, so there is no round trip.</summary>
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
            while (Native.TRN_NextResult(variable) == Native.TRN_OK &&
                   Marshal.ReadIntPtr(variable) != IntPtr.Zero)
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
