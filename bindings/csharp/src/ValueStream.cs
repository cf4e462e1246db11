// Character and binary values as streams: of a row, or of a large object.
using System;
using System.IO;

namespace Tarnsql
{
    internal abstract class ValueStream : Stream
    {
        private readonly long length;
        private long position;

        protected ValueStream(long length)
        {
            this.length = length;
        }

        public override bool CanRead
        {
            get { return true; }
        }

        public override bool CanSeek
        {
            get { return true; }
        }

        public override bool CanWrite
        {
            get { return false; }
        }

        public override long Length
        {
            get { return length; }
        }

        public override long Position
        {
            get { return position; }
            set
            {
                if (value < 0) throw new ArgumentOutOfRangeException("value");
                position = value;
            }
        }

        public override int Read(byte[] buffer, int offset, int count)
        {
            if (buffer == null) throw new ArgumentNullException("buffer");
            if (offset < 0 || count < 0 || count > buffer.Length - offset)
                throw new ArgumentException("the range is outside the buffer");
            int wanted = (int)Math.Min(count, Math.Max(0, length - position));
            if (wanted == 0) return 0;
            int read = ReadAt((int)position, ref buffer[offset], wanted);
            if (read < 0) throw new IOException("a value cannot be read: status " + read);
            position += read;
            return read;
        }

        public override long Seek(long offset, SeekOrigin origin)
        {
            long from = origin == SeekOrigin.Begin ? 0 : origin == SeekOrigin.Current ? position : length;
            Position = from + offset;
            return position;
        }

        public override void Flush()
        {
        }

        public override void SetLength(long value)
        {
            throw new NotSupportedException("the value of a row cannot be changed");
        }

        public override void Write(byte[] buffer, int offset, int count)
        {
            throw new NotSupportedException("the value of a row cannot be changed");
        }

        internal byte[] ReadAll()
        {
            byte[] all = new byte[length];
            for (int filled = 0, read; filled < all.Length; filled += read)
            {
                read = Read(all, filled, all.Length - filled);
                if (read == 0) throw new IOException("a value ended before its length");
            }
            return all;
        }

        /// <summary>The number of bytes read, or a negative status.</summary>
        protected abstract int ReadAt(int position, ref byte buffer, int wanted);
    }

    /// <summary>A value of the current row; it ends with the row.</summary>
    internal sealed class RowStream : ValueStream
    {
        private readonly ResultHandle result;
        private readonly int column;
        private readonly Func<bool> stillCurrent;

        internal RowStream(ResultHandle result, int column, int length, Func<bool> stillCurrent)
            : base(length)
        {
            this.result = result;
            this.column = column;
            this.stillCurrent = stillCurrent;
        }

        protected override int ReadAt(int position, ref byte buffer, int wanted)
        {
            if (!stillCurrent())
                throw new InvalidOperationException("the reader has left the row of this value");
            int offsetThenRead = position;
            int status = Native.TRN_GetData(result, column, Native.TRN_TYPE_BYTES_PIECEWISE, ref buffer,
                                            wanted, ref offsetThenRead);
            return status < 0 && status != Native.TRN_TRUNCATED ? status : offsetThenRead;
        }
    }

    /// <summary>A large object that has been fetched; it outlives its row and its connection.</summary>
    internal sealed class LobStream : ValueStream
    {
        private readonly LobHandle lob;

        internal LobStream(LobHandle lob, int length) : base(length)
        {
            this.lob = lob;
        }

        protected override int ReadAt(int position, ref byte buffer, int wanted)
        {
            int status = Native.TRN_LobRead_SetPos(lob, position);
            return status < 0 ? status : Native.TRN_Get_Lob_data(lob, ref buffer, wanted);
        }

        protected override void Dispose(bool disposing)
        {
            if (disposing) lob.Dispose();
            base.Dispose(disposing);
        }
    }
}
