// The values of a result's current row, each read from the library in the form that suits its column.
using System;
using System.Globalization;
using System.Text;

namespace Tarnsql
{
    internal sealed class RowValues
    {
        private const int commonSize = 1024; // of the buffer into which byte runs are first read
        private const int longestText = 63;  // the library cuts the text of a number here
        private static readonly DateTime epoch = new DateTime(1970, 1, 1);

        internal readonly ResultHandle Result;
        internal readonly Column[] Columns;
        private readonly Session session;
        private readonly object owner; // of calls that fetch from the server
        private readonly byte[] buffer = new byte[commonSize];

        internal RowValues(ResultHandle result, Session session, object owner)
        {
            Result = result;
            Columns = Column.Of(result, session.Encoding);
            this.session = session;
            this.owner = owner;
        }

        internal Encoding Encoding
        {
            get { return session.Encoding; }
        }

        internal bool IsNull(int ordinal)
        {
            int length = 0;
            return Native.TRN_GetData(Result, ordinal + 1, Native.TRN_TYPE_BYTE, ref buffer[0], 1,
                                      ref length) == Native.TRN_NULL_VALUE;
        }

        /// <summary>The value in its own class; null for a null.</summary>
        internal object Get(int ordinal)
        {
            Column column = Columns[ordinal];
            try
            {
                switch (column.Type)
                {
                    case TarnType.Boolean:
                        return Take(ordinal, Native.TRN_TYPE_INTEGER) ? (object)IsTrue(buffer[0]) : null;
                    case TarnType.TinyInt:
                        return Take(ordinal, Native.TRN_TYPE_INTEGER) ? (object)(sbyte)Int32 : null;
                    case TarnType.SmallInt:
                        return Take(ordinal, Native.TRN_TYPE_INTEGER) ? (object)(short)Int32 : null;
                    case TarnType.Integer:
                        return Take(ordinal, Native.TRN_TYPE_INTEGER) ? (object)Int32 : null;
                    case TarnType.BigInt: return Take(ordinal, Native.TRN_TYPE_BIGINT) ? (object)Int64 : null;
                    case TarnType.Float:
                        return Take(ordinal, Native.TRN_TYPE_FLOAT) ? (object)BitConverter.ToSingle(buffer, 0)
                                                                    : null;
                    case TarnType.Double:
                        return Take(ordinal, Native.TRN_TYPE_DOUBLE)
                                   ? (object)BitConverter.ToDouble(buffer, 0)
                                   : null;
                    case TarnType.Numeric: return Decimal(ordinal);
                    case TarnType.Binary: case TarnType.Blob: return Bytes(ordinal);
                    case TarnType.Opaque: return Stored(ordinal);
                    case TarnType.Text: case TarnType.Clob: return Text(ordinal);
                    case TarnType.Interval: return Text(ordinal);
                    default: return GetTime(column, ordinal);
                }
            }
            catch (Exception error)
                when (error is OverflowException || error is ArgumentException || error is FormatException)
            {
                throw TarnException.NoForm(column.Name, error);
            }
        }

        private object GetTime(Column column, int ordinal)
        {
            switch (column.Type)
            {
                // As stored: days since 1970, milliseconds of the day; no text is made.
                case TarnType.Date:
                    return Take(ordinal, Native.TRN_TYPE_NUMERIC) ? (object)epoch.AddDays(Int32) : null;
                case TarnType.Time:
                    return Take(ordinal, Native.TRN_TYPE_NUMERIC)
                               ? (object)new TimeSpan(Int32 * TimeSpan.TicksPerMillisecond)
                               : null;
                case TarnType.DateTime:
                    return Take(ordinal, Native.TRN_TYPE_DATETIME_RAW) ? (object)FromMilliseconds(Int64)
                                                                       : null;
                case TarnType.DayToSecond:
                    return Take(ordinal, Native.TRN_TYPE_INTERVAL_DAY_TO_SECOND)
                               ? (object)new TimeSpan(checked(Int64 * 10))
                               : null;
                case TarnType.YearToMonth:
                    return Take(ordinal, Native.TRN_TYPE_INTERVAL_YEAR_TO_MONTH)
                               ? (object)new TarnYearToMonth(Int32)
                               : null;
                case TarnType.TimeWithZone:
                    return TakeZoned(ordinal, 6) ? (object)TimeWithZone(buffer) : null;
                case TarnType.DateTimeWithZone:
                    return TakeZoned(ordinal, 10) ? (object)DateTimeWithZone(buffer) : null;
                default: return Text(ordinal); // a type of later servers
            }
        }

        private int Int32
        {
            get { return BitConverter.ToInt32(buffer, 0); }
        }

        private long Int64
        {
            get { return BitConverter.ToInt64(buffer, 0); }
        }

        /// <summary>A value as text: that of a character column, else the library's conversion. Null for a
        /// null.</summary>
        internal string Text(int ordinal)
        {
            Column column = Columns[ordinal];
            if (!column.IsText) return column.Type == TarnType.Numeric ? Digits(ordinal) : MadeText(ordinal);
            byte[] bytes;
            int length;
            if (!Run(ordinal, out bytes, out length)) return null;
            try
            {
                return Encoding.GetString(bytes, 0, length);
            }
            catch (DecoderFallbackException error)
            {
                throw TarnException.NoForm(column.Name, error);
            }
        }

        internal byte[] Bytes(int ordinal)
        {
            byte[] bytes;
            int length;
            if (!Run(ordinal, out bytes, out length)) return null;
            if (bytes != buffer && bytes.Length == length) return bytes;
            byte[] copy = new byte[length];
            Buffer.BlockCopy(bytes, 0, copy, 0, length);
            return copy;
        }

        /// <summary>A number that fits a long; false for a null.</summary>
        internal bool Integer(int ordinal, out long number)
        {
            number = 0;
            switch (Columns[ordinal].Type)
            {
                case TarnType.TinyInt:
                case TarnType.SmallInt:
                case TarnType.Integer:
                case TarnType.BigInt:
                    if (!Take(ordinal, Native.TRN_TYPE_BIGINT)) return false;
                    number = Int64;
                    return true;
                default:
                    object value = Get(ordinal);
                    if (value != null && !value.GetType().IsPrimitive && !(value is decimal))
                        throw new InvalidCastException("column " + Columns[ordinal].Name + " has no numbers");
                    if (value != null) number = Convert.ToInt64(value, CultureInfo.InvariantCulture);
                    return value != null;
            }
        }

        /// <summary>A character or binary value to read in pieces; null for a null.</summary>
        internal ValueStream Open(int ordinal, Func<bool> stillCurrent)
        {
            Column column = Columns[ordinal];
            if (IsNull(ordinal)) return null;
            if (column.IsLob && session.Descriptors) return Fetch(ordinal);
            int length = 0;
            // With no room the library returns the length.
            int status =
                Native.TRN_GetData(Result, ordinal + 1, Native.TRN_TYPE_BYTES, ref buffer[0], 0, ref length);
            if (status == Native.TRN_ERR_CONVERSION)
                throw new InvalidCastException("column " + column.Name + " is not of characters or bytes");
            if (status != Native.TRN_TRUNCATED) Check(status);
            return new RowStream(Result, ordinal + 1, length, stillCurrent);
        }

        // A large object's content, fetched from the server when the row has only its descriptor.
        private ValueStream Fetch(int ordinal)
        {
            var lob = new LobHandle();
            int length = 0;
            try
            {
                int status = Native.TRN_Create_Lob(lob);
                if (status == 0)
                {
                    int target = (int)Columns[ordinal].Type;
                    lock (session.Gate)
                    {
                        session.RequireOpen();
                        status = session.Call(
                            owner, () => Native.TRN_GetData(Result, ordinal + 1, target, lob, 0, ref length));
                        if (status == Native.TRN_ERR_NETWORK) throw session.Failure(status);
                    }
                }
                Check(status);
                return new LobStream(lob, length);
            }
            catch
            {
                lob.Dispose();
                throw;
            }
        }

        // The bytes of a character or binary value, in the common buffer or in a separate one; false for a
        // null.
        private bool Run(int ordinal, out byte[] bytes, out int length)
        {
            bytes = buffer;
            length = 0;
            if (Columns[ordinal].IsLob && session.Descriptors)
            {
                if (IsNull(ordinal)) return false;
                using (ValueStream content = Fetch(ordinal)) bytes = content.ReadAll();
                length = bytes.Length;
                return true;
            }
            const int target = Native.TRN_TYPE_BYTES;
            int status =
                Native.TRN_GetData(Result, ordinal + 1, target, ref buffer[0], buffer.Length, ref length);
            if (status == Native.TRN_TRUNCATED)
            {
                bytes = new byte[buffer.Length + length];
                status =
                    Native.TRN_GetData(Result, ordinal + 1, target, ref bytes[0], bytes.Length, ref length);
            }
            return status != Native.TRN_NULL_VALUE && Check(status);
        }

        // A value of fixed size into the buffer; false for a null.
        private bool Take(int ordinal, int target)
        {
            int length = 0;
            int status = Native.TRN_GetData(Result, ordinal + 1, target, ref buffer[0], 0, ref length);
            return status != Native.TRN_NULL_VALUE && Check(status);
        }

        // The library copies stored bytes without checking the buffer size, so find their number first.
        private bool TakeZoned(int ordinal, int size)
        {
            if (IsNull(ordinal)) return false;
            if (PieceAt(ordinal, size) != Native.TRN_OK) throw new FormatException("unexpected length");
            return Take(ordinal, Native.TRN_TYPE_NUMERIC);
        }

        // 0 when the value ends at the offset, ERR_OFFSET when before it, ERR_CONVERSION when after it: the
        // library reads pieces only of characters and bytes, but accepts the end of any value.
        private int PieceAt(int ordinal, int offset)
        {
            return Native.TRN_GetData(Result, ordinal + 1, Native.TRN_TYPE_BYTES_PIECEWISE, ref buffer[0], 1,
                                      ref offset);
        }

        // The stored bytes of a value, whose number the library does not report. Null for a null.
        private byte[] Stored(int ordinal)
        {
            if (IsNull(ordinal)) return null;
            int low = 0, high = 64, status;
            for (; (status = PieceAt(ordinal, high)) == Native.TRN_ERR_CONVERSION; high = checked(high * 2))
                low = high;
            while (status != Native.TRN_OK)
            {
                int middle = low + (high - low) / 2;
                status = PieceAt(ordinal, middle);
                if (status == Native.TRN_ERR_CONVERSION)
                    low = middle;
                else
                    high = middle;
            }
            byte[] bytes = new byte[high];
            int length = 0;
            Check(Native.TRN_GetData(Result, ordinal + 1, Native.TRN_TYPE_NUMERIC, ref bytes[0], bytes.Length,
                                     ref length));
            return bytes;
        }

        private string MadeText(int ordinal)
        {
            int length = 0;
            const int target = Native.TRN_TYPE_TEXT;
            int status =
                Native.TRN_GetData(Result, ordinal + 1, target, ref buffer[0], longestText + 1, ref length);
            if (status == Native.TRN_NULL_VALUE) return null;
            Check(status);
            return Encoding.ASCII.GetString(buffer, 0, Charset.Length(buffer));
        }

        private string Digits(int ordinal)
        {
            string digits = MadeText(ordinal);
            return digits != null && digits.Length == longestText ? Encoding.ASCII.GetString(Stored(ordinal))
                                                                  : digits;
        }

        private object Decimal(int ordinal)
        {
            string digits = Digits(ordinal);
            return digits == null
                       ? null
                       : (object)decimal.Parse(digits, NumberStyles.Float, CultureInfo.InvariantCulture);
        }

        private bool Check(int status)
        {
            if (status == Native.TRN_OK) return true;
            string text = session.ErrorText(Result);
            throw new TarnException(status,
                                    text.Length > 0 ? text : "a value cannot be read: status " + status);
        }

        /// <summary>Whether this is the stored form of true.</summary>
        internal static bool IsTrue(byte stored)
        {
            return stored == 'T' || stored == 't' || stored == 1;
        }

        internal static DateTime FromMilliseconds(long milliseconds)
        {
            return new DateTime(checked(epoch.Ticks + milliseconds * TimeSpan.TicksPerMillisecond));
        }

        // Milliseconds in UTC and the zone's minutes, in network order.
        internal static DateTimeOffset TimeWithZone(byte[] stored)
        {
            return Zoned(NetworkOrder(stored, 0, 4) * TimeSpan.TicksPerMillisecond,
                         NetworkOrder(stored, 4, 2), true);
        }

        // Microseconds in UTC and the zone's minutes, in network order.
        internal static DateTimeOffset DateTimeWithZone(byte[] stored)
        {
            return Zoned(checked(NetworkOrder(stored, 0, 8) * 10), NetworkOrder(stored, 8, 2), false);
        }

        private static DateTimeOffset Zoned(long ticks, long minutes, bool timeOnly)
        {
            TimeSpan zone = TimeSpan.FromMinutes(minutes);
            long local = checked(ticks + zone.Ticks);
            if (timeOnly)
                local = (local % TimeSpan.TicksPerDay + TimeSpan.TicksPerDay) % TimeSpan.TicksPerDay;
            return new DateTimeOffset(checked(epoch.Ticks + local), zone);
        }

        private static long NetworkOrder(byte[] bytes, int offset, int width)
        {
            long number = (sbyte)bytes[offset];
            for (int i = 1; i < width; ++i) number = number << 8 | bytes[offset + i];
            return number;
        }
    }
}
