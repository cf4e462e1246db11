using System;
using System.Collections;
using System.Data;
using System.Data.Common;

namespace Tarnsql
{
    /// <summary>
    /// The rows that a command returned. A result is received whole and kept in the library's memory; with a
    /// FetchSize its rows are fetched in blocks as they are read. Several readers may be open on one
    /// connection. One thread at a time may use a reader.
    /// </summary>
    public sealed partial class TarnDataReader : DbDataReader
    {
        private readonly TarnConnection connection;
        private readonly Session session;
        private readonly TarnCommand command;
        private readonly CommandBehavior behavior;
        private readonly ResultItems items;
        private readonly ServerCursor cursor; // null: the result was received whole
        private RowValues values;             // null: no item is left, or the command returned none
        private bool onRow, closed, hasRows;
        private long rowNumber;

        internal TarnDataReader(TarnCommand command, Session session, ResultItems items, ServerCursor cursor,
                                CommandBehavior behavior)
        {
            this.command = command;
            this.session = session;
            this.items = items;
            this.cursor = cursor;
            this.behavior = behavior;
            connection = command.Connection;
            if (items.ToQuery()) Take();
        }

        /// <summary>0: results do not nest.</summary>
        public override int Depth
        {
            get { return 0; }
        }

        /// <summary>The number of columns; 0 when there are no rows to read.</summary>
        public override int FieldCount
        {
            get { return values == null ? 0 : values.Columns.Length; }
        }

        /// <summary>Whether the result has rows.</summary>
        public override bool HasRows
        {
            get { return hasRows; }
        }

        /// <summary>Whether the reader has been closed.</summary>
        public override bool IsClosed
        {
            get { return closed; }
        }

        /// <summary>
        /// The rows changed by the statements before the current result; by all of them when the reader is
        /// closed. -1 when none changes rows, or after an insert other than of one row by VALUES, for which
        /// the server reports no number.
        /// </summary>
        public override int RecordsAffected
        {
            get { return items.Affected; }
        }

        /// <summary>The value of a column of the current row; DBNull for a null.</summary>
        public override object this[int ordinal]
        {
            get { return GetValue(ordinal); }
        }

        /// <summary>The value of a column by its name.</summary>
        public override object this[string name]
        {
            get { return GetValue(GetOrdinal(name)); }
        }

        /// <summary>Moves to the next row; false when there is none. A failure of the server after rows is
        /// thrown after the last of them.</summary>
        public override bool Read()
        {
            RequireOpen();
            bool wanted = values != null && (behavior & CommandBehavior.SchemaOnly) == 0;
            if ((behavior & CommandBehavior.SingleRow) != 0 && rowNumber > 0) wanted = false;
            onRow = wanted && Step();
            if (onRow) ++rowNumber;
            return onRow;
        }

        /// <summary>Moves to the next result; false when there is none.</summary>
        public override bool NextResult()
        {
            RequireOpen();
            onRow = false;
            bool more = values != null && (behavior & CommandBehavior.SingleResult) == 0 && items.ToNext() &&
                        items.ToQuery();
            values = null;
            hasRows = false;
            if (more) Take();
            return more;
        }

        /// <summary>Releases the result, and a cursor on the server.</summary>
        public override void Close()
        {
            if (closed) return;
            closed = true;
            onRow = hasRows = false;
            values = null;
            items.Dispose();
            if (cursor != null) cursor.Dispose();
            if ((behavior & CommandBehavior.CloseConnection) != 0) connection.Close();
        }

        /// <summary>Name, type, size and origin of each column; null without a result.</summary>
        public override DataTable GetSchemaTable()
        {
            RequireOpen();
            return values == null ? null : Column.SchemaTable(values.Columns);
        }

        /// <summary>The label of a column, or its name.</summary>
        public override string GetName(int ordinal)
        {
            return ColumnAt(ordinal).Name;
        }

        /// <summary>The number of a column, from 0, by name; an exact match is preferred to one that ignores
        /// case.</summary>
        public override int GetOrdinal(string name)
        {
            RequireOpen();
            Column[] columns = values == null ? new Column[0] : values.Columns;
            int found = Array.FindIndex(columns, column => column.Name == name);
            StringComparison anyCase = StringComparison.OrdinalIgnoreCase;
            if (found < 0)
                found = Array.FindIndex(columns, column => string.Equals(column.Name, name, anyCase));
            if (found < 0) throw new IndexOutOfRangeException("there is no column " + name);
            return found;
        }

        /// <summary>The class of a column's values.</summary>
        public override Type GetFieldType(int ordinal)
        {
            return ColumnAt(ordinal).Class;
        }

        /// <summary>The name of a column's type in SQL.</summary>
        public override string GetDataTypeName(int ordinal)
        {
            return ColumnAt(ordinal).TypeName;
        }

        /// <summary>Enumerates the rows as records.</summary>
        public override IEnumerator GetEnumerator()
        {
            return new DbEnumerator(this);
        }

        /// <summary>Closes the reader. If it is not closed a finalizer releases its result.</summary>
        protected override void Dispose(bool disposing)
        {
            if (disposing) Close();
            base.Dispose(disposing);
        }

        /// <summary>Moves to the end of all results; throws if the server failed.</summary>
        internal void PassOver()
        {
            do items.CheckText();
            while (NextResult());
        }

        private void Take()
        {
            values = new RowValues(items.Result, session, command);
            hasRows = items.Rows > 0;
            rowNumber = 0;
        }

        private bool Step()
        {
            while (Native.TRN_ReadNext(items.Result) != Native.TRN_OK)
            {
                items.CheckText();
                if (cursor == null || !cursor.FetchNext(items.Result)) return false;
            }
            return true;
        }

        private void RequireOpen()
        {
            if (closed) throw new InvalidOperationException("the reader is closed");
        }

        private Column ColumnAt(int ordinal)
        {
            RequireOpen();
            if (ordinal < 0 || ordinal >= FieldCount)
                throw new IndexOutOfRangeException("there is no column " + ordinal);
            return values.Columns[ordinal];
        }

        private RowValues Row(int ordinal)
        {
            ColumnAt(ordinal);
            if (!onRow) throw NoRow();
            return values;
        }

        private static InvalidOperationException NoRow()
        {
            return new InvalidOperationException("there is no current row: call Read first");
        }
    }
}
