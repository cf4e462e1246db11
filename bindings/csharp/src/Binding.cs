// The bindings on a connection for one execution. The caller holds the session's Gate until the execution is
// done and then disposes the binding, even after a failure.
using System;
using System.Collections.Generic;
using System.Data;

namespace Tarnsql
{
    internal sealed class Binding : IDisposable
    {
        private readonly Session session;
        private readonly List<LobHandle> lobs = new List<LobHandle>();
        private readonly List<Output> outputs = new List<Output>();

        internal Binding(Session session)
        {
            this.session = session;
        }

        /// <summary>Whether parameters are sent in the order of the collection; throws when only some have
        /// names.</summary>
        internal static bool ByPosition(TarnParameterCollection parameters)
        {
            int named = 0;
            foreach (TarnParameter parameter in parameters) named += parameter.PlainName.Length > 0 ? 1 : 0;
            if (named > 0 && named < parameters.Count)
                throw new InvalidOperationException("some parameters have names and some do not");
            return named == 0;
        }

        internal void BindInputs(TarnParameterCollection parameters)
        {
            bool byPosition = ByPosition(parameters);
            for (int i = 0; i < parameters.Count; ++i) BindInput(parameters[i], byPosition ? i + 1 : 0);
        }

        /// <summary>Binds the arguments of a procedure by position, then a return value.</summary>
        internal void BindCall(TarnParameterCollection parameters)
        {
            int position = 0;
            TarnParameter returned = null;
            foreach (TarnParameter parameter in parameters)
            {
                if (parameter.Direction == ParameterDirection.ReturnValue)
                    returned = parameter;
                else if (parameter.Direction == ParameterDirection.Input)
                    BindInput(parameter, ++position);
                else
                    BindOutput(parameter, ++position);
            }
            if (returned != null) BindOutput(returned, ++position);
        }

        /// <summary>Sets the parameters to the outputs that have arrived.</summary>
        internal void Deliver()
        {
            foreach (Output output in outputs) output.Deliver(session.Encoding);
        }

        public void Dispose()
        {
            if (!session.Handle.IsClosed) Native.TRN_ResetParams(session.Handle);
            foreach (LobHandle lob in lobs) lob.Dispose();
            foreach (Output output in outputs) output.Dispose();
        }

        // By name if position is 0.
        private void BindInput(TarnParameter parameter, int position)
        {
            Encoded value = Encoded.Of(parameter, session.Encoding);
            if (value.Lob != null) lobs.Add(value.Lob);
            byte[] name = position > 0 ? null : session.Text(parameter.PlainName, "a parameter's name");
            session.Check(value.Lob != null ? Bind(name, position, value.Type, value.Lob)
                                            : Bind(name, position, value.Type, value.Bytes));
        }

        private int Bind(byte[] name, int position, int type, LobHandle lob) // a large object knows its size
        {
            const int direction = Native.TRN_DIRECTION_IN;
            if (name == null)
                return Native.TRN_BindParamByPos(session.Handle, position, direction, type, lob, 0,
                                                 IntPtr.Zero);
            return Native.TRN_BindParamByName(session.Handle, name, direction, type, lob, 0, IntPtr.Zero,
                                              IntPtr.Zero);
        }

        private int Bind(byte[] name, int position, int type, byte[] bytes)
        {
            const int direction = Native.TRN_DIRECTION_IN;
            if (name == null)
                return Native.TRN_BindParamByPos(session.Handle, position, direction, type, bytes,
                                                 bytes.Length, IntPtr.Zero);
            return Native.TRN_BindParamByName(session.Handle, name, direction, type, bytes, bytes.Length,
                                              IntPtr.Zero, IntPtr.Zero);
        }

        private void BindOutput(TarnParameter parameter, int position)
        {
            var output = new Output(parameter, session.Encoding);
            outputs.Add(output);
            session.Check(Native.TRN_BindParamByPos(session.Handle, position, output.Direction, output.Type,
                                                    output.Buffer, output.Room, output.Length));
        }
    }
}
