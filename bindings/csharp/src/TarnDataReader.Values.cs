using System;
using System.Globalization;
using System.IO;

namespace Tarnsql
{
    // The values of the current row.
    public sealed partial class TarnDataReader
    {
        /// <summary>Whether the value is a null. A value of length 0 is one in the protocol.</summary>
        public override bool IsDBNull(int ordinal)
        {
            return Row(ordinal).IsNull(ordinal);
        }

        /// <summary>The value in the column's own class; DBNull for a null.</summary>
        public override object GetValue(int ordinal)
        {
            return Row(ordinal).Get(ordinal) ?? DBNull.Value;
        }

        /// <summary>Fills the array with the values of the row; returns their number.</summary>
        public override int GetValues(object[] values)
        {
            if (values == null) throw new ArgumentNullException("values");
            RequireOpen();
            if (!onRow) throw NoRow();
            int count = Math.Min(values.Length, FieldCount);
            for (int i = 0; i < count; ++i) values[i] = GetValue(i);
            return count;
        }

        /// <summary>A BOOLEAN, or whether a number is not 0.</summary>
        public override bool GetBoolean(int ordinal)
        {
            object value = NotNull(ordinal);
            return value is bool ? (bool)value : GetInt64(ordinal) != 0;
        }

        /// <summary>A number that fits 8 bits without a sign.</summary>
        public override byte GetByte(int ordinal)
        {
            return checked((byte)GetInt64(ordinal));
        }

        /// <summary>A number that fits 16 bits.</summary>
        public override short GetInt16(int ordinal)
        {
            return checked((short)GetInt64(ordinal));
        }

        /// <summary>A number that fits 32 bits.</summary>
        public override int GetInt32(int ordinal)
        {
            return checked((int)GetInt64(ordinal));
        }

        /// <summary>A number that fits 64 bits; decimals are rounded.</summary>
        public override long GetInt64(int ordinal)
        {
            long number;
            if (!Row(ordinal).Integer(ordinal, out number)) throw IsNull(ordinal);
            return number;
        }

        /// <summary>A number.</summary>
        public override float GetFloat(int ordinal)
        {
            return Convert.ToSingle(Number(ordinal), CultureInfo.InvariantCulture);
        }

        /// <summary>A number.</summary>
        public override double GetDouble(int ordinal)
        {
            return Convert.ToDouble(Number(ordinal), CultureInfo.InvariantCulture);
        }

        /// <summary>A number.</summary>
        public override decimal GetDecimal(int ordinal)
        {
            return Convert.ToDecimal(Number(ordinal), CultureInfo.InvariantCulture);
        }

        /// <summary>A text; for a column of another type the library's conversion to text.</summary>
        public override string GetString(int ordinal)
        {
            string text = Row(ordinal).Text(ordinal);
            if (text == null) throw IsNull(ordinal);
            return text;
        }

        /// <summary>A text of one character.</summary>
        public override char GetChar(int ordinal)
        {
            string text = GetString(ordinal);
            if (text.Length != 1) throw Wrong(ordinal, "one character");
            return text[0];
        }

        /// <summary>A DATE or DATETIME, or a DATETIME WITH TIME ZONE in UTC.</summary>
        public override DateTime GetDateTime(int ordinal)
        {
            object value = NotNull(ordinal);
            if (value is DateTimeOffset) return ((DateTimeOffset)value).UtcDateTime;
            if (!(value is DateTime)) throw Wrong(ordinal, "a date");
            return (DateTime)value;
        }

        /// <summary>A GUID from its text, or from 16 bytes.</summary>
        public override Guid GetGuid(int ordinal)
        {
            object value = NotNull(ordinal);
            var bytes = value as byte[];
            Guid guid;
            if (bytes != null && bytes.Length == 16) return new Guid(bytes);
            if (!Guid.TryParse(value as string, out guid)) throw Wrong(ordinal, "a GUID");
            return guid;
        }

        /// <summary>Copies a part of a character or binary value; without a buffer it returns the
        /// length.</summary>
        public override long GetBytes(int ordinal, long dataOffset, byte[] buffer, int bufferOffset,
                                      int length)
        {
            using (Stream content = GetStream(ordinal))
            {
                if (buffer == null) return content.Length;
                content.Position = dataOffset;
                return content.Read(buffer, bufferOffset, length);
            }
        }

        /// <summary>Copies a part of a text; without a buffer it returns the length.</summary>
        public override long GetChars(int ordinal, long dataOffset, char[] buffer, int bufferOffset,
                                      int length)
        {
            string text = GetString(ordinal);
            if (buffer == null) return text.Length;
            int count = (int)Math.Max(0, Math.Min(length, text.Length - dataOffset));
            text.CopyTo((int)Math.Min(dataOffset, text.Length), buffer, bufferOffset, count);
            return count;
        }

        /// <summary>
        /// A character or binary value to read in pieces, without another copy of it. A stream of the row
        /// ends with it; one of a large object that came as a descriptor does not.
        /// </summary>
        public override Stream GetStream(int ordinal)
        {
            RowValues row = Row(ordinal);
            long number = rowNumber;
            ValueStream stream = row.Open(ordinal, () => onRow && values == row && rowNumber == number);
            if (stream == null) throw IsNull(ordinal);
            return stream;
        }

        /// <summary>A text to read in pieces.</summary>
        public override TextReader GetTextReader(int ordinal)
        {
            return new StreamReader(GetStream(ordinal), Row(ordinal).Encoding, false);
        }

        /// <summary>The value as a given class: any that the other calls return, or Nullable of it.</summary>
        public override T GetFieldValue<T>(int ordinal)
        {
            Type wanted = Nullable.GetUnderlyingType(typeof(T)) ?? typeof(T);
            if (wanted == typeof(Stream)) return (T)(object)GetStream(ordinal);
            if (wanted == typeof(TextReader)) return (T)(object)GetTextReader(ordinal);
            object value = GetValue(ordinal);
            if (value is DBNull)
            {
                if (wanted != typeof(T)) return default(T);
                if (typeof(T) != typeof(object) && typeof(T) != typeof(DBNull)) throw IsNull(ordinal);
            }
            if (value is T) return (T)value;
            if (wanted == typeof(Guid)) return (T)(object)GetGuid(ordinal);
            if (wanted == typeof(DateTime)) return (T)(object)GetDateTime(ordinal);
            if (wanted == typeof(string)) return (T)(object)GetString(ordinal);
            if (wanted.IsPrimitive || wanted == typeof(decimal))
                return (T)Convert.ChangeType(Number(ordinal), wanted, CultureInfo.InvariantCulture);
            throw Wrong(ordinal, wanted.Name);
        }

        private object NotNull(int ordinal)
        {
            object value = Row(ordinal).Get(ordinal);
            if (value == null) throw IsNull(ordinal);
            return value;
        }

        private object Number(int ordinal)
        {
            object value = NotNull(ordinal);
            if (!value.GetType().IsPrimitive && !(value is decimal)) throw Wrong(ordinal, "a number");
            return value;
        }

        private InvalidCastException IsNull(int ordinal)
        {
            return new InvalidCastException("column " + values.Columns[ordinal].Name + " is null");
        }

        private InvalidCastException Wrong(int ordinal, string wanted)
        {
            Column column = values.Columns[ordinal];
            return new InvalidCastException("column " + column.Name + " of type " + column.TypeName +
                                            " is not a " + wanted);
        }
    }
}
