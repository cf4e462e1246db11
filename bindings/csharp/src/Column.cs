// The columns of a result, and their schema table.
using System;
using System.Data;
using System.Data.Common;
using System.Text;

namespace Tarnsql
{
    internal sealed class Column
    {
        private const int nameSize = 1025;
        private const int flagNotNull = 1, flagPrimaryKey = 2;

        internal string Name, BaseName, Table;
        internal TarnType Type;
        internal int Modifier, Flags;

        internal static Column[] Of(ResultHandle result, Encoding encoding)
        {
            int count;
            Native.TRN_getResultColumnsnum(result, out count);
            var columns = new Column[count];
            byte[] table = new byte[nameSize], name = new byte[nameSize], label = new byte[nameSize];
            for (int i = 0; i < count; ++i) columns[i] = Of(result, i + 1, encoding, table, name, label);
            return columns;
        }

        private static Column Of(ResultHandle result, int number, Encoding encoding, byte[] table,
                                 byte[] name, byte[] label)
        {
            foreach (byte[] text in new[] { table, name, label })
                Array.Clear(text, 0, nameSize); // they have no terminators
            int type, modifier, flags;
            Native.TRN_getResultColInfo(result, number, table, name, label, out type, out modifier,
                                        out flags);
            string baseName = Charset.Readable(encoding, name, Charset.Length(name));
            return new Column
            {
                Table = Charset.Readable(encoding, table, Charset.Length(table)),
                BaseName = baseName,
                Name = label[0] != 0 ? Charset.Readable(encoding, label, Charset.Length(label)) : baseName,
                Type = (TarnType)type,
                Modifier = modifier,
                Flags = flags
            };
        }

        internal bool IsText
        {
            get { return Type == TarnType.Text || Type == TarnType.Clob; }
        }

        internal bool IsLob
        {
            get { return Type == TarnType.Clob || Type == TarnType.Blob; }
        }

        /// <summary>The class of the column's values.</summary>
        internal Type Class
        {
            get
            {
                switch (Type)
                {
                    case TarnType.Boolean: return typeof(bool);
                    case TarnType.TinyInt: return typeof(sbyte);
                    case TarnType.SmallInt: return typeof(short);
                    case TarnType.Integer: return typeof(int);
                    case TarnType.BigInt: return typeof(long);
                    case TarnType.Float: return typeof(float);
                    case TarnType.Double: return typeof(double);
                    case TarnType.Numeric: return typeof(decimal);
                    case TarnType.Date: case TarnType.DateTime: return typeof(DateTime);
                    case TarnType.Time: case TarnType.DayToSecond: return typeof(TimeSpan);
                    case TarnType.TimeWithZone: case TarnType.DateTimeWithZone: return typeof(DateTimeOffset);
                    case TarnType.YearToMonth: return typeof(TarnYearToMonth);
                    case TarnType.Binary: case TarnType.Blob: case TarnType.Opaque: return typeof(byte[]);
                    default: return typeof(string);
                }
            }
        }

        /// <summary>The type's name in SQL.</summary>
        internal string TypeName
        {
            get
            {
                switch (Type)
                {
                    case TarnType.Text: return "VARCHAR";
                    case TarnType.TimeWithZone: return "TIME WITH TIME ZONE";
                    case TarnType.DateTimeWithZone: return "DATETIME WITH TIME ZONE";
                    case TarnType.YearToMonth: return "INTERVAL YEAR TO MONTH";
                    case TarnType.DayToSecond: return "INTERVAL DAY TO SECOND";
                    default: return Type.ToString().ToUpperInvariant();
                }
            }
        }

        internal static DataTable SchemaTable(Column[] columns)
        {
            var table =
                new DataTable("SchemaTable") { Locale = System.Globalization.CultureInfo.InvariantCulture };
            AddColumns(table, typeof(string), SchemaTableColumn.ColumnName, SchemaTableColumn.BaseTableName,
                       SchemaTableColumn.BaseColumnName, SchemaTableColumn.BaseSchemaName,
                       SchemaTableOptionalColumn.BaseCatalogName,
                       "DataTypeName");
            AddColumns(table, typeof(int), SchemaTableColumn.ColumnOrdinal, SchemaTableColumn.ColumnSize,
                       SchemaTableColumn.ProviderType);
            AddColumns(table, typeof(short), SchemaTableColumn.NumericPrecision,
                       SchemaTableColumn.NumericScale);
            AddColumns(table, typeof(bool), SchemaTableColumn.IsLong, SchemaTableColumn.AllowDBNull,
                       SchemaTableColumn.IsUnique, SchemaTableColumn.IsKey, SchemaTableColumn.IsAliased,
                       SchemaTableColumn.IsExpression, SchemaTableOptionalColumn.IsReadOnly);
            AddColumns(table, typeof(Type), SchemaTableColumn.DataType);
            for (int i = 0; i < columns.Length; ++i) columns[i].Describe(table, i);
            return table;
        }

        private static void AddColumns(DataTable table, Type type, params string[] names)
        {
            foreach (string name in names) table.Columns.Add(name, type);
        }

        private void Describe(DataTable table, int ordinal)
        {
            DataRow row = table.NewRow();
            row[SchemaTableColumn.ColumnName] = Name;
            row[SchemaTableColumn.ColumnOrdinal] = ordinal;
            row[SchemaTableColumn.DataType] = Class;
            row[SchemaTableColumn.ProviderType] = (int)Type;
            row["DataTypeName"] = TypeName;
            row[SchemaTableColumn.BaseColumnName] = BaseName;
            if (Table.Length > 0) row[SchemaTableColumn.BaseTableName] = Table;
            // The modifier is precision and scale of a number, the size of a text.
            bool isNumeric = Type == TarnType.Numeric;
            row[SchemaTableColumn.ColumnSize] = Modifier > 0 && !isNumeric ? Modifier : -1;
            if (isNumeric && Modifier > 0)
            {
                row[SchemaTableColumn.NumericPrecision] = (short)(Modifier / 65536);
                row[SchemaTableColumn.NumericScale] = (short)(Modifier % 65536);
            }
            bool isKey = (Flags & flagPrimaryKey) != 0;
            row[SchemaTableColumn.IsLong] = IsLob;
            row[SchemaTableColumn.AllowDBNull] = !isKey && (Flags & flagNotNull) == 0;
            row[SchemaTableColumn.IsKey] = isKey;
            row[SchemaTableColumn.IsUnique] = false; // one column of a composite key need not be unique
            row[SchemaTableColumn.IsAliased] = Name != BaseName;
            row[SchemaTableColumn.IsExpression] = Table.Length == 0;
            row[SchemaTableOptionalColumn.IsReadOnly] = Table.Length == 0;
            table.Rows.Add(row);
        }
    }
}
