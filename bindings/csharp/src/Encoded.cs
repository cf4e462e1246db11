// A value to be sent: its type code and its bytes in memory order, or a large object.
using System;
using System.Data;
using System.Globalization;
using System.IO;
using System.Text;

namespace Tarnsql
{
    internal struct Encoded
    {
        private const int longest = 65535; // longer texts and bytes are sent as large objects
        private const int chunk = 1 << 20;
        private static readonly DateTime epoch = new DateTime(1970, 1, 1);

        internal readonly int Type;
        internal readonly byte[] Bytes; // empty: null on the wire
        internal readonly LobHandle Lob;

        private Encoded(int type, byte[] bytes, LobHandle lob = null)
        {
            Type = type;
            Bytes = bytes;
            Lob = lob;
        }

        internal static Encoded Of(TarnParameter parameter, Encoding encoding)
        {
            object value = parameter.Value;
            if (value == null || value is DBNull) return new Encoded(0, new byte[0]);
            try
            {
                return OfText(parameter, value, encoding) ?? OfNumber(value, encoding) ??
                       OfObject(parameter, value, encoding);
            }
            catch (EncoderFallbackException error)
            {
                throw new ArgumentException(
                    "a parameter has no form in the session's character set: " + error.Message, error);
            }
        }

        private static Encoded? OfText(TarnParameter parameter, object value, Encoding encoding)
        {
            if (value is string || value is char)
                return Text(value.ToString(), encoding, parameter.TarnType == TarnType.Clob);
            if (value is char[])
                return Text(new string((char[])value), encoding, parameter.TarnType == TarnType.Clob);
            if (value is DateTime) return OfDateTime(parameter, (DateTime)value, encoding);
            if (value is TimeSpan) return Text(TextOf(parameter, (TimeSpan)value), encoding);
            if (value is DateTimeOffset)
                return Text(Invariant("{0:yyyy-MM-dd HH:mm:ss.ffffffzzz}", value), encoding);
            if (value is TarnYearToMonth) return Text(value.ToString(), encoding);
            if (value is Guid && !parameter.Is(DbType.Binary)) return Text(value.ToString(), encoding);
            return null;
        }

        private static Encoded? OfNumber(object value, Encoding encoding)
        {
            CultureInfo plain = CultureInfo.InvariantCulture;
            switch (System.Type.GetTypeCode(value.GetType()))
            {
                case TypeCode.Boolean:
                    return new Encoded(Native.TRN_TYPE_BOOLEAN, new[] { (byte)((bool)value ? 1 : 0) });
                case TypeCode.SByte:
                case TypeCode.Byte:
                case TypeCode.Int16:
                case TypeCode.UInt16:
                case TypeCode.Int32:
                case TypeCode.UInt32:
                case TypeCode.Int64:
                    return new Encoded(Native.TRN_TYPE_BIGINT,
                                       BitConverter.GetBytes(Convert.ToInt64(value, plain)));
                case TypeCode.UInt64:
                case TypeCode.Decimal: return Text(Invariant("{0}", value), encoding);
                case TypeCode.Single:
                case TypeCode.Double:
                    return new Encoded(Native.TRN_TYPE_DOUBLE,
                                       BitConverter.GetBytes(Convert.ToDouble(value, plain)));
                default: return null;
            }
        }

        private static Encoded OfObject(TarnParameter parameter, object value, Encoding encoding)
        {
            if (value is Guid) return Binary(((Guid)value).ToByteArray(), false);
            if (value is byte[]) return Binary((byte[])value, parameter.TarnType == TarnType.Blob);
            var stream = value as Stream;
            if (stream != null) return new Encoded(Native.TRN_TYPE_BLOB, null, FilledFrom(stream.Read));
            var reader = value as TextReader;
            if (reader != null)
                return new Encoded(Native.TRN_TYPE_CLOB, null, FilledFrom(Bytewise(reader, encoding)));
            throw new ArgumentException("a parameter cannot be of type " + value.GetType());
        }

        private static Encoded Text(string text, Encoding encoding, bool large = false)
        {
            byte[] bytes = encoding.GetBytes(text);
            if (!large && bytes.Length <= longest) return new Encoded(Native.TRN_TYPE_TEXT, bytes);
            return new Encoded(Native.TRN_TYPE_CLOB, null, FilledFrom(new MemoryStream(bytes).Read));
        }

        private static Encoded Binary(byte[] bytes, bool large)
        {
            if (!large && bytes.Length <= longest) return new Encoded(Native.TRN_TYPE_BYTES, bytes);
            return new Encoded(Native.TRN_TYPE_BLOB, null, FilledFrom(new MemoryStream(bytes).Read));
        }

        private static Encoded OfDateTime(TarnParameter parameter, DateTime value, Encoding encoding)
        {
            if (parameter.Is(DbType.Date) || parameter.TarnType == TarnType.Date)
                return Text(Invariant("{0:yyyy-MM-dd}", value), encoding);
            if (parameter.Is(DbType.Time) || parameter.TarnType == TarnType.Time)
                return Text(TimeOf(value.TimeOfDay), encoding);
            // Whole milliseconds, rounded towards the past.
            long milliseconds =
                value.Ticks / TimeSpan.TicksPerMillisecond - epoch.Ticks / TimeSpan.TicksPerMillisecond;
            return new Encoded(Native.TRN_TYPE_DATETIME_RAW, BitConverter.GetBytes(milliseconds));
        }

        private static string TextOf(TarnParameter parameter, TimeSpan value)
        {
            if (parameter.TarnType != TarnType.DayToSecond && parameter.TarnType != TarnType.Interval)
                return TimeOf(value);
            string sign = value < TimeSpan.Zero ? "-" : "";
            return sign +
                   Invariant("{0:%d\\ hh\\:mm\\:ss\\.ffffff}", value); // the format omits the sign
        }

        private static string TimeOf(TimeSpan value)
        {
            if (value < TimeSpan.Zero || value.Days > 0)
                throw new ArgumentException("a TimeSpan of " + value +
                                            " is not a time of day; use TarnType.DayToSecond for intervals");
            return Invariant("{0:hh\\:mm\\:ss\\.fff}", value);
        }

        private static string Invariant(string format, object value)
        {
            return string.Format(CultureInfo.InvariantCulture, format, value);
        }

        // Encodes characters as bytes on demand.
        private static Func<byte[], int, int, int> Bytewise(TextReader reader, Encoding encoding)
        {
            Encoder encoder = encoding.GetEncoder();
            char[] characters = new char[4096];
            byte[] ready = new byte[encoding.GetMaxByteCount(characters.Length)];
            int begin = 0, end = 0;
            return (buffer, offset, count) =>
            {
                for (bool last = false; begin == end && !last;)
                {
                    int read = reader.Read(characters, 0, characters.Length);
                    last = read == 0;
                    begin = 0;
                    end = encoder.GetBytes(characters, 0, read, ready, 0, last);
                }
                int given = Math.Min(count, end - begin);
                Buffer.BlockCopy(ready, begin, buffer, offset, given);
                begin += given;
                return given;
            };
        }

        private static LobHandle FilledFrom(Func<byte[], int, int, int> read)
        {
            var lob = new LobHandle();
            try
            {
                int status = Native.TRN_Create_Lob(lob);
                byte[] piece = new byte[chunk];
                for (int size; status == 0 && (size = read(piece, 0, chunk)) > 0;)
                    status = Native.TRN_Put_Lob_data(lob, piece, size);
                if (status == 0) status = Native.TRN_Put_Lob_data(lob, null, Native.TRN_LOB_END);
                if (status != 0) throw new TarnException(status, "no memory for a large object");
                return lob;
            }
            catch
            {
                lob.Dispose();
                throw;
            }
        }
    }
}
