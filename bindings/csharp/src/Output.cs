// The buffer for an output of a procedure, in unmanaged memory because the library writes to it during the
// call.
using System;
using System.Data;
using System.Globalization;
using System.Runtime.InteropServices;
using System.Text;

namespace Tarnsql
{
    internal sealed class Output : IDisposable
    {
        private const int commonRoom = 32768;

        internal readonly int Type;
        internal readonly int Room;
        private readonly TarnParameter parameter;
        private readonly DbType wanted;
        private IntPtr memory; // the length, then the buffer

        internal Output(TarnParameter parameter, Encoding encoding)
        {
            this.parameter = parameter;
            wanted = parameter.DbType;
            bool goesIn = parameter.Direction == ParameterDirection.InputOutput;
            Type = TypeFor(wanted, goesIn, out Room);
            byte[] content = goesIn ? Input(encoding) : new byte[0];
            if (Room == 0) Room = parameter.Size > 0 ? parameter.Size : commonRoom;
            Room = Math.Max(Room, content.Length);
            memory = Marshal.AllocHGlobal(sizeof(long) + Room);
            Marshal.WriteInt32(memory, content.Length);
            Marshal.Copy(content, 0, Buffer, content.Length);
        }

        internal IntPtr Buffer
        {
            get { return memory + sizeof(long); }
        }

        internal IntPtr Length
        {
            get { return memory; }
        }

        internal int Direction
        {
            get
            {
                switch (parameter.Direction)
                {
                    case ParameterDirection.InputOutput: return Native.TRN_DIRECTION_INOUT;
                    case ParameterDirection.ReturnValue: return Native.TRN_DIRECTION_RETURN;
                    default: return Native.TRN_DIRECTION_OUT;
                }
            }
        }

        /// <summary>Sets the parameter to the value that has arrived.</summary>
        internal void Deliver(Encoding encoding)
        {
            int length = Marshal.ReadInt32(memory);
            if (length > Room)
            {
                string text =
                    "an output of " + length + " bytes does not fit into " + Room + ": set its Size";
                throw new TarnException(Native.TRN_TRUNCATED, text);
            }
            byte[] content = new byte[Math.Max(0, length)];
            Marshal.Copy(Buffer, content, 0, content.Length);
            try
            {
                parameter.Value = length <= 0 ? DBNull.Value : ValueOf(content, encoding);
            }
            catch (Exception error)
                when (error is FormatException || error is OverflowException || error is ArgumentException)
            {
                throw new TarnException(0, "an output is not a " + wanted + ": " + error.Message, error);
            }
        }

        public void Dispose()
        {
            Marshal.FreeHGlobal(memory);
            memory = IntPtr.Zero;
        }

        // Integers and decimals are received as texts: the bytes of a NUMERIC would be mistaken for an
        // integer. An in-out integer is received as an integer.
        private static int TypeFor(DbType wanted, bool goesIn, out int room)
        {
            room = 0;
            switch (wanted)
            {
                case DbType.Binary: return Native.TRN_TYPE_BYTES;
                case DbType.Single:
                case DbType.Double: room = sizeof(double); return Native.TRN_TYPE_DOUBLE;
                case DbType.Boolean: room = 1; return Native.TRN_TYPE_BOOLEAN;
                case DbType.Date: room = 12; return Native.TRN_TYPE_DATE;
                case DbType.Time: room = 16; return Native.TRN_TYPE_TIME;
                case DbType.DateTime:
                case DbType.DateTime2:
                case DbType.DateTimeOffset: room = 10; return Native.TRN_TYPE_DATETIME_RAW;
                default:
                    if (!goesIn || !IsInteger(wanted)) return Native.TRN_TYPE_TEXT;
                    room = sizeof(long);
                    return Native.TRN_TYPE_BIGINT;
            }
        }

        private static bool IsInteger(DbType type)
        {
            return type == DbType.Byte || type == DbType.SByte || type == DbType.Int16 ||
                   type == DbType.UInt16 || type == DbType.Int32 || type == DbType.UInt32 ||
                   type == DbType.Int64;
        }

        private byte[] Input(Encoding encoding)
        {
            Encoded input = Encoded.Of(parameter, encoding);
            bool isTime = Type == Native.TRN_TYPE_DATE || Type == Native.TRN_TYPE_TIME;
            bool textOfTime = isTime && input.Type == Native.TRN_TYPE_TEXT;
            if (input.Bytes != null && (input.Bytes.Length == 0 || input.Type == Type || textOfTime))
                return input.Bytes;
            if (input.Lob != null) input.Lob.Dispose();
            throw new ArgumentException("a procedure cannot change a " + parameter.Value.GetType().Name +
                                        " into a " + wanted);
        }

        private object ValueOf(byte[] content, Encoding encoding)
        {
            switch (Type)
            {
                case Native.TRN_TYPE_BYTES: return content;
                case Native.TRN_TYPE_BOOLEAN: return RowValues.IsTrue(content[0]);
                case Native.TRN_TYPE_DOUBLE:
                    bool isFloat = content.Length == sizeof(float);
                    double number =
                        isFloat ? BitConverter.ToSingle(content, 0) : BitConverter.ToDouble(content, 0);
                    return wanted == DbType.Single ? (object)(float)number : number;
                case Native.TRN_TYPE_DATE:
                    return new DateTime(Field(content, 0), Field(content, 1), Field(content, 2));
                case Native.TRN_TYPE_TIME: return TimeOf(content);
                case Native.TRN_TYPE_DATETIME_RAW:
                    if (content.Length == 10) return RowValues.DateTimeWithZone(content);
                    return RowValues.FromMilliseconds(BitConverter.ToInt64(content, 0));
                case Native.TRN_TYPE_BIGINT:
                    byte[] wide = new byte[sizeof(long)];
                    for (int i = 0; i < wide.Length; ++i)
                        wide[i] = i < content.Length
                                      ? content[i]
                                      : (byte)((sbyte)content[content.Length - 1] < 0 ? 255 : 0);
                    return InClass(BitConverter.ToInt64(wide, 0));
                default: return InClass(encoding.GetString(content));
            }
        }

        private static object TimeOf(byte[] content)
        {
            if (content.Length == 6) return RowValues.TimeWithZone(content);
            return new TimeSpan(0, Field(content, 0), Field(content, 1), Field(content, 2),
                                Field(content, 3));
        }

        private static int Field(byte[] content, int index)
        {
            return BitConverter.ToInt32(content, index * sizeof(int));
        }

        private object InClass(object value)
        {
            CultureInfo plain = CultureInfo.InvariantCulture;
            switch (wanted)
            {
                case DbType.SByte: return Convert.ToSByte(value, plain);
                case DbType.Byte: return Convert.ToByte(value, plain);
                case DbType.Int16: return Convert.ToInt16(value, plain);
                case DbType.UInt16: return Convert.ToUInt16(value, plain);
                case DbType.Int32: return Convert.ToInt32(value, plain);
                case DbType.UInt32: return Convert.ToUInt32(value, plain);
                case DbType.Int64: return Convert.ToInt64(value, plain);
                case DbType.UInt64: return Convert.ToUInt64(value, plain);
                case DbType.Decimal:
                case DbType.Currency:
                case DbType.VarNumeric: return Convert.ToDecimal(value, plain);
                case DbType.Guid: return new Guid(value.ToString());
                default: return value;
            }
        }
    }
}
