using System;
using System.Data;
using System.IO;
using System.Linq;
using Tarnsql;

/// What readers do where rows end, fail or are asked for wrongly, and which classes values can be had as.
internal sealed class ReaderTest : ServerTest
{
    // Rows 1 to 99, then an integer overflow.
    private const string failing =
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 500) " +
        "SELECT CASE WHEN i = 100 THEN abs(-9223372036854775808) ELSE i END FROM n";

    public void AFailureBehindRowsIsThrownWhereTheyEnd()
    {
        try
        {
            using (TarnDataReader reader = Command(failing).ExecuteReader())
            {
                for (int i = 1; i < 100; ++i)
                    Check.True(reader.Read() && reader.GetInt32(0) == i, "row " + i);
                Check.Throws<TarnException>(() => reader.Read());
            }
        }
        catch (TarnException refused) // at once, when the server tells it as the end of the reply
        {
            Check.Equal(Native.TRN_ERR_SERVER, refused.Status);
        }
        Check.Throws<TarnException>(() => Run(failing));
        Check.Throws<TarnException>(() => Run("SELECT 1; " + failing));
        Check.Equal(1L, One("SELECT 1"));
    }

    public void MisuseIsToldAndHarmsNothing()
    {
        TarnDataReader reader = Command("SELECT 1 AS a, 'x' AS b; SELECT 2").ExecuteReader();
        var misuses = new Action[]
        {
            () => reader.GetValue(0), () => reader.GetInt32(0), () => reader.IsDBNull(0),
            () => reader.GetStream(1),
            () => reader.GetValues(new object[2]), () => reader.GetFieldValue<int>(0),
            () => reader.GetBytes(1, 0, null, 0, 0),
        };
        foreach (Action misuse in misuses)
            Check.Throws<InvalidOperationException>(misuse, "before the first row");
        Check.True(reader.Read(), "a row");
        foreach (Action misuse in misuses) misuse();
        Check.Throws<IndexOutOfRangeException>(() => reader.GetName(-1));
        Check.Throws<IndexOutOfRangeException>(() => reader.GetInt32(2));
        Check.Throws<ArgumentNullException>(() => reader.GetValues(null));
        Check.True(!reader.Read() && !reader.Read(), "no more rows");
        foreach (Action misuse in misuses)
            Check.Throws<InvalidOperationException>(misuse, "behind the last row");
        Check.True(reader.NextResult() && reader.Read() && reader.GetInt64(0) == 2, "the second result");
        reader.Close();
        reader.Close();
        foreach (Action misuse in misuses) Check.Throws<InvalidOperationException>(misuse, "closed");
        Check.Throws<InvalidOperationException>(() => reader.NextResult());
        Check.True(reader.IsClosed && reader.Depth == 0 && !reader.HasRows, "closed");
    }

    public void ValuesCanBeHadAsOtherClasses()
    {
        Run("CREATE TEMP TABLE t (i INTEGER, n NUMERIC(9,2), d DATE, z DATETIME WITH TIME ZONE, " +
            "g VARCHAR(36), b BINARY(16), o BOOLEAN, x CLOB)");
        var guid = new Guid("01234567-89ab-cdef-0123-456789abcdef");
        var binary = new TarnParameter("", guid) { DbType = DbType.Binary };
        var moment = new DateTimeOffset(2024, 2, 29, 1, 30, 0, TimeSpan.FromHours(2));
        Run("INSERT INTO t VALUES (-5, 12.50, '2024-02-29', ?, ?, ?, 't', NULL)", moment, guid, binary);
        using (TarnDataReader row = Command("SELECT * FROM t").ExecuteReader())
        {
            row.Read();
            object[] had =
            {
                row.GetFieldValue<sbyte>(0), row.GetFieldValue<double>(0), row.GetFieldValue<decimal>(0),
                row.GetBoolean(0),
                row.GetFieldValue<decimal>(1), row.GetDouble(1), row.GetString(1), row.GetInt64(1),
                row.GetFieldValue<DateTime>(2), row.GetString(2), row.GetFieldValue<DateTimeOffset>(3),
                row.GetDateTime(3),
                row.GetFieldValue<Guid>(4), row.GetGuid(5), row.GetFieldValue<string>(4), row.GetBoolean(6),
                row.GetInt32(6),
                row.GetFieldValue<object>(7), row.GetFieldValue<DateTime?>(7), row.GetFieldValue<int?>(0),
            };
            object[] expected =
            {
                (sbyte)-5, -5.0, -5m, true,
                12.50m, 12.5, "12.50", 12L,
                new DateTime(2024, 2, 29), "2024-02-29", moment, moment.UtcDateTime,
                guid, guid, guid.ToString(), true, 1,
                DBNull.Value, null, -5,
            };
            for (int i = 0; i < had.Length; ++i) Check.Equal(expected[i], had[i], "number " + i);
            Check.Throws<InvalidCastException>(() => row.GetFieldValue<TimeSpan>(0));
            Check.Throws<InvalidCastException>(() => row.GetFieldValue<string>(7));
            Check.Throws<InvalidCastException>(() => row.GetChar(4));
            Check.Throws<OverflowException>(() => row.GetByte(0));
        }
    }

    /// Where a value becomes a large object, and where a text is longer than what values are first read into.
    public void ValuesOfEverySizeComeBack()
    {
        foreach (int size in new[] { 1, 1023, 1024, 1025, 65534, 65535, 65536, 1 << 20, (1 << 20) + 1 })
        {
            byte[] bytes = Enumerable.Range(0, size).Select(i => (byte)(i % 251)).ToArray();
            string text = new string('é', size / 2) + (size % 2 == 1 ? "x" : "");
            using (TarnDataReader reader =
                       Command("SELECT CAST(? AS BLOB), CAST(? AS TEXT)", bytes, text).ExecuteReader())
            {
                reader.Read();
                Check.Equal(bytes, reader.GetValue(0), size.ToString());
                Check.Equal(text, reader.GetValue(1), size.ToString());
                using (var content = new MemoryStream())
                {
                    reader.GetStream(0).CopyTo(content);
                    Check.Equal(bytes, content.ToArray(), size.ToString());
                }
            }
        }
    }

    public void StreamsRefuseWhatTheyCannotDo()
    {
        using (TarnDataReader reader = Command("SELECT 'content'").ExecuteReader())
        {
            reader.Read();
            Stream stream = reader.GetStream(0);
            Check.True(stream.CanRead && stream.CanSeek && !stream.CanWrite && stream.Length == 7,
                       "read and seek only");
            Check.Throws<NotSupportedException>(() => stream.Write(new byte[1], 0, 1));
            Check.Throws<NotSupportedException>(() => stream.SetLength(0));
            Check.Throws<ArgumentOutOfRangeException>(() => stream.Seek(-1, SeekOrigin.Begin));
            Check.Throws<ArgumentException>(() => stream.Read(new byte[2], 1, 2));
            Check.Equal(9L, stream.Seek(2, SeekOrigin.End));
            Check.Equal(0, stream.Read(new byte[2], 0, 2));
        }
    }

    public void BehavioursOfCommandsAreKept()
    {
        const CommandBehavior single = CommandBehavior.SingleRow | CommandBehavior.SingleResult;
        using (TarnDataReader reader = Command("SELECT 1 UNION ALL SELECT 2; SELECT 3").ExecuteReader(single))
            Check.True(reader.Read() && !reader.Read() && !reader.NextResult(), "one row of one result");
        Command("SELECT 1").ExecuteReader(CommandBehavior.CloseConnection).Dispose();
        Check.Equal(ConnectionState.Closed, Connection.State);
    }

    public void AnAdapterTakesChangesBack()
    {
        Run("CREATE TEMP TABLE t (id INTEGER PRIMARY KEY, name VARCHAR(10))");
        Run("INSERT INTO t VALUES (1, 'one')");
        var adapter = new TarnDataAdapter(Command("SELECT * FROM t ORDER BY id"));
        TarnCommand insert = Command("INSERT INTO t VALUES (:id, :name)");
        foreach (string column in new[] { "id", "name" })
            insert.Parameters.AddWithValue(column, null).SourceColumn = column;
        adapter.InsertCommand = insert;
        var table = new DataTable();
        adapter.MissingSchemaAction = MissingSchemaAction.AddWithKey;
        adapter.Fill(table);
        Check.Equal("id", string.Join(" ", table.PrimaryKey.Select(column => column.ColumnName)));
        Check.Equal(10, table.Columns["name"].MaxLength);
        table.Rows.Add(2, "two");
        Check.Equal(1, adapter.Update(table));
        Check.Equal("two", One("SELECT name FROM t WHERE id = 2"));
    }
}
