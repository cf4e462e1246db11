using System;
using System.Data;
using System.IO;
using System.Linq;
using System.Text;
using Tarnsql;

internal sealed class ValuesTest : ServerTest
{
    private static readonly DateTime day = new DateTime(2024, 2, 29);
    private static readonly byte[] bytes = Enumerable.Range(0, 256).Select(i => (byte)i).ToArray();

    /// A column's type, what is stored, and what it should come as.
    private static readonly object[][] values =
    {
        new object[] { "BOOLEAN", true }, new object[] { "BOOLEAN", false },
        new object[] { "TINYINT", (sbyte)-128 }, new object[] { "SMALLINT", short.MinValue },
        new object[] { "INTEGER", int.MinValue }, new object[] { "BIGINT", long.MinValue },
        new object[] { "BIGINT", long.MaxValue },
        new object[] { "NUMERIC(12,3)", -123456.789m }, new object[] { "NUMERIC(12,3)", 0.001m },
        new object[] { "FLOAT", 1.5f }, new object[] { "DOUBLE", 0.1 }, new object[] { "DOUBLE", -1e300 },
        new object[] { "VARCHAR(20)", "Grüße 地球 🌍" }, new object[] { "CLOB", "x" },
        new object[] { "VARCHAR(20)", "it's \"quoted\"" },
        new object[] { "BINARY(256)", bytes }, new object[] { "BLOB", bytes },
        new object[] { "DATE", day }, new object[] { "DATE", new DateTime(1, 1, 1) },
        new object[] { "DATE", new DateTime(9999, 12, 31) },
        new object[] { "DATETIME", day.AddHours(12).AddMilliseconds(789) },
        new object[] { "DATETIME", new DateTime(1969, 12, 31, 23, 59, 59, 999) },
        new object[] { "TIME", new TimeSpan(0, 23, 59, 59, 999) }, new object[] { "TIME", TimeSpan.Zero },
        new object[] { "TIME WITH TIME ZONE",
                       new DateTimeOffset(1970, 1, 1, 1, 30, 0, TimeSpan.FromHours(2)) },
        new object[] { "DATETIME WITH TIME ZONE",
                       new DateTimeOffset(day.AddTicks(1234560), TimeSpan.FromMinutes(-210)) },
        new object[] { "INTERVAL DAY TO SECOND", new TimeSpan(-2, -3, -4, -5, -678) },
        new object[] { "INTERVAL DAY TO SECOND", new TimeSpan(0, 0, 5) },
        new object[] { "INTERVAL YEAR TO MONTH", new TarnYearToMonth(-14) },
        new object[] { "INTERVAL YEAR TO MONTH", new TarnYearToMonth(7) },
        new object[] { "VARCHAR(36)", new Guid("01234567-89ab-cdef-0123-456789abcdef") },
        new object[] { "BIGINT", DBNull.Value },
        new object[] { "CLOB", DBNull.Value }, new object[] { "DATETIME WITH TIME ZONE", DBNull.Value },
    };

    public void ValuesOfEveryTypeComeBackAsTheyWent()
    {
        foreach (object[] each in values)
        {
            string type = (string)each[0];
            Run("CREATE TEMP TABLE t (v " + type + ")");
            Run("INSERT INTO t VALUES (?)", Sent(type, each[1]));
            using (TarnDataReader reader = Command("SELECT v FROM t").ExecuteReader())
            {
                Check.True(reader.Read(), type);
                object back = each[1] is Guid ? reader.GetGuid(0) : reader.GetValue(0);
                Check.Equal(each[1], back, type);
                Check.Equal(each[1] is DBNull, reader.IsDBNull(0), type);
                if (!(each[1] is DBNull || each[1] is Guid))
                    Check.Equal(back.GetType(), reader.GetFieldType(0), type);
                Check.True(!reader.Read(), type);
            }
            Run("DROP TABLE t");
        }
    }

    private static object Sent(string type, object value)
    {
        var parameter = new TarnParameter("", value);
        if (type == "DATE") parameter.DbType = DbType.Date;
        if (type.StartsWith("INTERVAL DAY")) parameter.TarnType = TarnType.DayToSecond;
        if (type.StartsWith("TIME WITH") && value is DateTimeOffset)
            parameter.Value = ((DateTimeOffset)value).ToString("HH:mm:sszzz");
        return parameter;
    }

    public void PlainValuesInferTheirTypes()
    {
        var cases = new[]
        {
            new object[] { (byte)200, DbType.Byte, 200L },
            new object[] { ulong.MaxValue, DbType.UInt64, "18446744073709551615" },
            new object[] { 'x', DbType.String, "x" },
            new object[] { new[] { 'a', 'b' }, DbType.String, "ab" },
            new object[] { 1.5f, DbType.Single, 1.5 }, new object[] { DayOfWeek.Friday, DbType.Int32, 5L },
            new object[] { new DateTime(2024, 2, 29, 1, 2, 3, 4).AddTicks(5678), DbType.DateTime,
                           "2024-02-29 01:02:03.004" },
            new object[] { new TimeSpan(0, 1, 2, 3, 4), DbType.Time, "01:02:03.004" },
            new object[] { null, DbType.String, DBNull.Value },
        };
        foreach (object[] each in cases)
        {
            var parameter = new TarnParameter("", each[0]);
            Check.Equal(each[1], parameter.DbType);
            Check.Equal(each[2], One("SELECT ?", parameter), each[1].ToString());
        }
        Check.Throws<ArgumentException>(() => One("SELECT ?", TimeSpan.FromHours(24)), "no time of day");
        Check.Throws<ArgumentException>(() => One("SELECT ?", new object()), "no type of the server's");
        Check.Throws<ArgumentException>(() => One("SELECT ?", "\ud83c"), "half a character");
        Check.Throws<ArgumentException>(() => One("SELECT ?, ?", 1, new object()), "the second of two");
        Check.Equal(1L, One("SELECT 1"), "behind what was bound in vain");
        Check.Throws<ArgumentException>(() => One("SELECT 'a\0b'"), "a zero in a statement");
        Check.Equal(DBNull.Value, One("SELECT ?", ""), "an empty text is a null in the protocol");
    }

    public void GettersConvertNumbersAndCheckTheirRange()
    {
        using (TarnDataReader reader =
                   Command("SELECT 300, 1.25, 'x', CAST(NULL AS INTEGER)").ExecuteReader())
        {
            reader.Read();
            Check.Equal((short)300, reader.GetInt16(0));
            Check.Equal(300m, reader.GetDecimal(0));
            Check.Equal(300.0, reader.GetDouble(0));
            Check.Equal("300", reader.GetString(0));
            Check.Equal(1.25f, reader.GetFloat(1));
            Check.Equal('x', reader.GetChar(2));
            Check.Equal(300, reader.GetFieldValue<int>(0));
            Check.Equal(null, reader.GetFieldValue<int?>(3));
            Check.Equal(300, reader.GetFieldValue<int?>(0));
            Check.Throws<OverflowException>(() => reader.GetByte(0));
            Check.Throws<InvalidCastException>(() => reader.GetInt32(2));
            Check.Throws<InvalidCastException>(() => reader.GetInt32(3));
            Check.Throws<InvalidCastException>(() => reader.GetString(3));
            Check.Throws<InvalidCastException>(() => reader.GetDateTime(0));
            Check.Throws<InvalidCastException>(() => reader.GetGuid(2));
            Check.Throws<InvalidCastException>(() => reader.GetBytes(0, 0, null, 0, 0));
            Check.Throws<IndexOutOfRangeException>(() => reader.GetValue(4));
            Check.Throws<IndexOutOfRangeException>(() => reader.GetOrdinal("y"));
        }
    }

    public void ValuesWithoutAFormInDotNetAreTold()
    {
        Run("CREATE TEMP TABLE t (d DATE, n NUMERIC(60,0), m DATETIME, i INTERVAL HOUR TO MINUTE, o OPAQUE)");
        string digits = "1" + new string('0', 70);
        Run("INSERT INTO t VALUES ('-0005-01-01', ?, '20000-01-01 00:00:00', '03:04', ?)", digits, bytes);
        using (TarnDataReader reader = Command("SELECT * FROM t").ExecuteReader())
        {
            reader.Read();
            for (int i = 0; i < 3; ++i)
                Check.Throws<TarnException>(() => reader.GetValue(i), reader.GetName(i));
            Check.Equal(digits, reader.GetString(1));
            Check.Equal("3:04", reader.GetValue(3));
            Check.Equal(bytes, reader.GetValue(4));
        }
    }

    /// In a session without descriptors contents stand in the row, with them they are fetched when they are
    /// read.
    public void LargeValuesAreReadWholeAndInPieces()
    {
        byte[] large = Enumerable.Range(0, 3000000).Select(i => (byte)(i * 7 + i / 256)).ToArray();
        string text = string.Concat(Enumerable.Range(0, 100000).Select(i => "é" + i));
        foreach (string more in new[] { "", "lob_ret=descriptor" })
        {
            using (TarnConnection connection = Open(more))
            using (TarnCommand command = connection.CreateCommand())
            {
                command.CommandText = "CREATE TEMP TABLE big (b BLOB, c CLOB, e BLOB)";
                command.ExecuteNonQuery();
                command.CommandText = "INSERT INTO big VALUES (?, ?, ?)";
                command.Parameters.AddRange(
                    new object[] { new MemoryStream(large), new StringReader(text), null });
                Check.Equal(1, command.ExecuteNonQuery());
                command.Parameters.Clear();
                command.Parameters.AddRange(new object[] { large, text, null });
                command.ExecuteNonQuery();
                command.Parameters.Clear();
                command.CommandText = "SELECT * FROM big";
                using (TarnDataReader reader = command.ExecuteReader(CommandBehavior.SequentialAccess))
                {
                    while (reader.Read()) ReadLarge(reader, large, text, more);
                    reader.Close();
                }
            }
        }
    }

    private static void ReadLarge(TarnDataReader reader, byte[] large, string text, string what)
    {
        Check.Equal(large, reader.GetValue(0), what);
        Check.Equal(text, reader.GetString(1), what);
        Check.Equal((long)large.Length, reader.GetBytes(0, 0, null, 0, 0), what);
        Check.Equal((long)text.Length, reader.GetChars(1, 0, null, 0, 0), what);
        byte[] piece = new byte[100];
        Check.Equal(90L, reader.GetBytes(0, 1048570, piece, 5, 90), what);
        Check.Equal(large.Skip(1048570).Take(90).ToArray(), piece.Skip(5).Take(90).ToArray(), what);
        Check.Equal(5L, reader.GetBytes(0, large.Length - 5, piece, 0, 90), what);
        Check.Equal(0L, reader.GetBytes(0, large.Length + 5, piece, 0, 90), what);
        Check.True(reader.IsDBNull(2), what);
        Check.Throws<InvalidCastException>(() => reader.GetStream(2), what);
        using (Stream stream = reader.GetStream(0))
        using (var copy = new MemoryStream())
        {
            stream.CopyTo(copy);
            Check.Equal(large, copy.ToArray(), what);
            Check.Equal(large.Length - 1L, stream.Seek(-1, SeekOrigin.End), what);
            Check.Equal((int)large.Last(), stream.ReadByte(), what);
            Check.Equal(-1, stream.ReadByte(), what);
        }
        using (TextReader characters = reader.GetTextReader(1))
            Check.Equal(text, characters.ReadToEnd(), what);
    }

    public void AStreamEndsWithItsRow()
    {
        using (TarnDataReader reader = Command("SELECT 'first' UNION ALL SELECT 'second'").ExecuteReader())
        {
            reader.Read();
            Stream stream = reader.GetStream(0);
            Check.Equal((int)'f', stream.ReadByte());
            reader.Read();
            Check.Throws<InvalidOperationException>(() => stream.ReadByte());
        }
    }

    public void TextsTravelInTheSessionsCharacterSet()
    {
        using (TarnConnection connection = Open("char_set=ISO-8859-1"))
        using (TarnCommand command = connection.CreateCommand())
        {
            command.CommandText = "SELECT length(CAST(? AS BLOB)), CAST(? AS BLOB), 'ä'";
            command.Parameters.AddRange(new object[] { "é", "é" });
            using (TarnDataReader reader = command.ExecuteReader())
            {
                reader.Read();
                Check.Equal(1L, reader.GetValue(0));
                Check.Equal(new byte[] { 0xE9 }, reader.GetValue(1));
                Check.Equal("ä", reader.GetValue(2));
            }
            command.Parameters[0].Value = "地";
            Check.Throws<ArgumentException>(() => command.ExecuteScalar());
        }
        Check.Throws<TarnException>(() => One("SELECT CAST(x'ff' AS TEXT)"), "no UTF-8");
    }
}
