using System;
using System.Data;
using System.Data.Common;

namespace Tarnsql
{
    /// <summary>
    /// A parameter of a command. One without a name stands for the "?" of its position, one with a name for
    /// the ":name" of the statement; the prefix of the name may be given or omitted.
    /// </summary>
    public sealed class TarnParameter : DbParameter, ICloneable
    {
        private DbType? dbType;
        private string name = "";
        private string sourceColumn = "";
        private ParameterDirection direction = ParameterDirection.Input;

        /// <summary>A parameter without name and value.</summary>
        public TarnParameter()
        {
            SourceVersion = DataRowVersion.Current;
        }

        /// <summary>A parameter by name.</summary>
        public TarnParameter(string parameterName, object value) : this()
        {
            ParameterName = parameterName;
            Value = value;
        }

        /// <summary>The type that the value is sent as. If not set it follows from the value.</summary>
        public override DbType DbType
        {
            get { return dbType ?? InferredType(); }
            set { dbType = value; }
        }

        /// <summary>The library's type to send the value as, where DbType has none; Inferred
        /// otherwise.</summary>
        public TarnType TarnType { get; set; }

        /// <summary>Input, or the direction of a procedure's argument.</summary>
        public override ParameterDirection Direction
        {
            get { return direction; }
            set { direction = value; }
        }

        /// <summary>Without effect: every parameter may be null.</summary>
        public override bool IsNullable { get; set; }

        /// <summary>The name, with or without ":", "@" or "$" before it; empty for a parameter by
        /// position.</summary>
        public override string ParameterName
        {
            get { return name; }
            set { name = value ?? ""; }
        }

        /// <summary>For an output: the buffer size in bytes for a text, binary value, integer or decimal; 0:
        /// 32,768.</summary>
        public override int Size { get; set; }

        /// <summary>The column of a data set that the value comes from.</summary>
        public override string SourceColumn
        {
            get { return sourceColumn; }
            set { sourceColumn = value ?? ""; }
        }

        /// <summary>Whether the parameter indicates that the source column is null, for command
        /// builders.</summary>
        public override bool SourceColumnNullMapping { get; set; }

        /// <summary>Which version of the source column's value to use.</summary>
        public override DataRowVersion SourceVersion { get; set; }

        /// <summary>The value; null and DBNull are nulls. A Stream or TextReader is read when the command
        /// runs.</summary>
        public override object Value { get; set; }

        /// <summary>Makes the type follow from the value again.</summary>
        public override void ResetDbType()
        {
            dbType = null;
            TarnType = TarnType.Inferred;
        }

        /// <summary>The name and the value.</summary>
        public override string ToString()
        {
            return name;
        }

        object ICloneable.Clone()
        {
            return MemberwiseClone();
        }

        /// <summary>The name without its prefix.</summary>
        internal string PlainName
        {
            get { return name.TrimStart(':', '@', '$'); }
        }

        /// <summary>Whether DbType has been set to this.</summary>
        internal bool Is(DbType type)
        {
            return dbType == type;
        }

        private DbType InferredType()
        {
            if (Value is byte[] || Value is System.IO.Stream) return DbType.Binary;
            if (Value is TimeSpan) return TarnType == TarnType.DayToSecond ? DbType.Object : DbType.Time;
            if (Value is Guid) return DbType.Guid;
            if (Value is DateTimeOffset) return DbType.DateTimeOffset;
            switch (Type.GetTypeCode(Value == null ? null : Value.GetType()))
            {
                case TypeCode.Boolean: return DbType.Boolean;
                case TypeCode.SByte: return DbType.SByte;
                case TypeCode.Byte: return DbType.Byte;
                case TypeCode.Int16: return DbType.Int16;
                case TypeCode.UInt16: return DbType.UInt16;
                case TypeCode.Int32: return DbType.Int32;
                case TypeCode.UInt32: return DbType.UInt32;
                case TypeCode.Int64: return DbType.Int64;
                case TypeCode.UInt64: return DbType.UInt64;
                case TypeCode.Single: return DbType.Single;
                case TypeCode.Double: return DbType.Double;
                case TypeCode.Decimal: return DbType.Decimal;
                case TypeCode.DateTime: return DbType.DateTime;
                default: return DbType.String;
            }
        }
    }
}
