using System;
using System.Collections.Generic;
using System.Data;
using System.Data.Common;
using System.Linq;
using Tarnsql;

internal sealed class CommandTest : ServerTest
{
    private const string numbers =
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 5000) " +
        "SELECT i, 'row ' || i FROM n";

    public CommandTest()
    {
        Run("CREATE TEMP TABLE town (name VARCHAR(40) NOT NULL PRIMARY KEY, people BIGINT NOT NULL, " +
            "area NUMERIC(8,2))");
        Run("INSERT INTO town VALUES ('Ur', 65000, 1.5), ('Uruk', 40000, NULL)");
    }

    public void ParametersGoByNameAndByPosition()
    {
        foreach (string sign in new[] { "", ":", "@" })
        {
            using (TarnCommand command =
                       Command("SELECT name FROM town WHERE people > @least AND name <> :other"))
            {
                command.Parameters.AddWithValue(sign + "other", "x");
                command.Parameters.AddWithValue(sign + "LEAST", 50000);
                Check.Equal("Ur", command.ExecuteScalar(), sign);
                Check.Equal(1, command.Parameters.IndexOf("$least"));
                command.Parameters["least"].Value = 70000;
                Check.Equal(null, command.ExecuteScalar(), sign);
                command.Parameters.RemoveAt("other");
                Check.Throws<TarnException>(() => command.ExecuteScalar(), "a parameter without a value");
                command.Parameters.Add("without a name");
                Check.Throws<InvalidOperationException>(() => command.ExecuteScalar(), "names and positions");
            }
        }
        Check.Equal("Uruk", One("SELECT name FROM town WHERE people < ? AND name <> ?", 50000, "Ur"));
        Check.Equal(1L, One("SELECT 1"), "what was bound before is forgotten");
    }

    public void ChangedRowsAreCountedWhereTheServerTells()
    {
        var cases = new Dictionary<string, int>
        {
            { "UPDATE town SET people = people + 1", 2 }, { "DELETE FROM town WHERE name = 'x'", 0 },
            { "SELECT * FROM town", -1 },
            { "CREATE TEMP TABLE other (i INT)", -1 }, { "INSERT INTO other VALUES (1)", 1 },
            { "INSERT INTO other(i) VALUES ((1)) ;", 1 },
            { "INSERT INTO other VALUES (1), (2)", -1 }, { "INSERT INTO other SELECT 1", -1 },
            { "UPDATE town SET people = 1; SELECT 1; DELETE FROM town", 4 },
            { "DELETE FROM other; INSERT INTO other SELECT 1", -1 },
        };
        foreach (KeyValuePair<string, int> each in cases) Check.Equal(each.Value, Run(each.Key), each.Key);
        Run("INSERT INTO town VALUES (?, 1, 2)", "Tarn");
        Check.Equal(One("SELECT last_insert_rowid()").ToString(), Connection.LastInsertId);
    }

    public void ResultsComeOneAfterTheOther()
    {
        const string statements =
            "SELECT 1 WHERE 0; DELETE FROM town WHERE name = 'Ur'; SELECT name, people FROM town; " +
            "UPDATE town SET people = 0";
        using (TarnDataReader reader = Command(statements).ExecuteReader())
        {
            Check.True(!reader.HasRows && reader.FieldCount == 1 && !reader.Read(), "an empty result first");
            Check.True(reader.NextResult() && reader.HasRows, "then one with rows");
            Check.Throws<InvalidOperationException>(() => reader.GetValue(0), "before Read");
            object[] row = new object[5];
            Check.True(reader.Read() && reader.GetValues(row) == 2, "a row");
            Check.Equal(40000L, reader["PEOPLE"]);
            Check.Equal("Uruk", row[0]);
            Check.Equal(1, reader.RecordsAffected);
            Check.True(!reader.NextResult() && reader.FieldCount == 0, "no more");
            reader.Close();
            Check.Equal(2, reader.RecordsAffected);
            Check.Throws<InvalidOperationException>(() => reader.Read(), "closed");
        }
        using (TarnDataReader reader = Command("SELECT 1; SELECT 2; DELETE FROM town").ExecuteReader())
        {
            reader.Close();
            Check.Equal(1, reader.RecordsAffected, "what was left when it closed");
        }
        using (TarnDataReader reader = Command("UPDATE town SET people = 0").ExecuteReader())
            Check.True(!reader.Read() && !reader.HasRows && !reader.NextResult() &&
                           reader.GetSchemaTable() == null,
                       "no result at all");
    }

    public void TheSchemaTellsOfColumns()
    {
        foreach (CommandBehavior behavior in new[] { CommandBehavior.Default, CommandBehavior.SchemaOnly })
        {
            using (TarnDataReader reader =
                       Command("SELECT name AS \"Town\", area FROM town").ExecuteReader(behavior))
            {
                DataTable schema = reader.GetSchemaTable();
                Check.Equal("Town name 40 System.String True False", Row(schema, 0), behavior.ToString());
                Check.Equal("area area -1 System.Decimal False True", Row(schema, 1), behavior.ToString());
                Check.Equal((short)8, schema.Rows[1]["NumericPrecision"]);
                Check.Equal((short)2, schema.Rows[1]["NumericScale"]);
                Check.Equal("NUMERIC", reader.GetDataTypeName(1));
                Check.Equal(behavior == CommandBehavior.Default, reader.Read(), "rows");
            }
        }
        Command("DELETE FROM town").ExecuteReader(CommandBehavior.SchemaOnly).Dispose();
        Check.Equal(2L, One("SELECT count(*) FROM town"), "nothing is run for a schema");
    }

    private static string Row(DataTable schema, int index)
    {
        DataRow row = schema.Rows[index];
        string[] columns = { "ColumnName", "BaseColumnName", "ColumnSize",
                             "DataType",   "IsKey",          "AllowDBNull" };
        return string.Join(" ", columns.Select(column => row[column]));
    }

    public void PreparedStatementsRunAgainAndAgain()
    {
        using (TarnCommand command = Command("SELECT people FROM town WHERE name = ?", "Ur"))
        {
            command.Prepare();
            Check.Equal(65000L, command.ExecuteScalar());
            command.Parameters[0].Value = "Uruk";
            Check.Equal(40000L, command.ExecuteScalar());
            Check.Equal(1L, One("SELECT 1"), "other commands meanwhile");
            command.Prepare();
            Check.Equal(40000L, command.ExecuteScalar());
            command.CommandText = "SELECT -people FROM town WHERE name = ?";
            Check.Equal(-40000L, command.ExecuteScalar(), "another text is not the prepared one");
            command.CommandText = "SELECT name FROM nowhere";
            Check.Throws<TarnException>(command.Prepare);
        }
        using (TarnCommand command = Command("UPDATE town SET people = :people WHERE name = :name"))
        {
            command.Parameters.AddWithValue("people", 7);
            command.Parameters.AddWithValue("name", "Ur");
            command.Prepare();
            for (int i = 0; i < 3; ++i) Check.Equal(1, command.ExecuteNonQuery());
        }
        // A session has room for 10,000: those of commands that are disposed of, or that prepare again, are
        // ended.
        for (int i = 0; i < 10100; ++i)
            using (TarnCommand command = Command("SELECT 1")) command.Prepare();
    }

    public void AFetchSizeLeavesRowsOnTheServer()
    {
        foreach (int size in new[] { 1, 999, 5000, 20000 })
        {
            TarnCommand command = Command(numbers);
            command.FetchSize = size;
            int last = size == 1 ? 10 : 5000;
            using (TarnDataReader reader = command.ExecuteReader())
            {
                Check.True(reader.HasRows, "rows");
                for (int i = 1; i <= last; ++i)
                {
                    Check.True(reader.Read(), size + ": row " + i);
                    Check.Equal((long)i, reader.GetInt64(0));
                    Check.Equal("row " + i, reader.GetString(1));
                }
                Check.Equal(last < 5000, reader.Read());
            }
        }
        TarnCommand failing = Command(
            numbers.Replace("'row ' || i", "CASE WHEN i = 100 THEN abs(-9223372036854775808) ELSE i END"));
        failing.FetchSize = 10;
        using (TarnDataReader reader = failing.ExecuteReader())
        {
            for (int i = 1; i < 100; ++i) Check.True(reader.Read(), "the rows before the failure");
            Check.Throws<TarnException>(() => reader.Read());
        }
        TarnCommand refused = Command("SELECT name FROM nowhere");
        refused.FetchSize = 10;
        string told = Check.Throws<TarnException>(() => refused.ExecuteReader()).Message;
        Check.True(told.Contains("nowhere"), told);
        TarnCommand asked = Command("SELECT name FROM town WHERE people > ?", 50000);
        asked.FetchSize = 10;
        Check.Equal("Ur", asked.ExecuteScalar());
        // A session has room for 256: they are closed with their readers.
        for (int i = 0; i < 300; ++i)
            using (TarnDataReader reader = asked.ExecuteReader()) Check.True(reader.Read(), "cursor " + i);
    }

    public void FailuresTellTheServersText()
    {
        var error = Check.Throws<TarnException>(() => Run("SELECT * FROM nowhere"));
        Check.Equal(Native.TRN_ERR_SERVER, error.Status);
        Check.True(error.Message.Contains("nowhere") && error.Code == "" && !error.LinkLost, error.Message);
        Check.Throws<TarnException>(() => Run("INSERT INTO town VALUES ('Ur', 1, 1)"), "a key twice");
        using (TarnDataReader reader =
                   Command("SELECT name FROM town; SELECT 1").ExecuteReader(CommandBehavior.SingleRow))
            Check.True(reader.Read() && !reader.Read(), "one row is wanted");
        Check.Throws<InvalidOperationException>(() => new TarnCommand("SELECT 1").ExecuteScalar());
        Check.Throws<InvalidOperationException>(() => Run(" "));
        Check.Throws<NotSupportedException>(() => new TarnCommand().CommandType = CommandType.TableDirect);
        Check.Equal(1L, One("SELECT 1"), "the session goes on");
    }

    public void TransactionsEndOnce()
    {
        foreach (bool serverBegins in new[] { false, true })
        {
            using (TarnConnection connection = Open(serverBegins ? "auto_commit=off" : ""))
            using (TarnCommand command = connection.CreateCommand())
            {
                command.CommandText = "CREATE TEMP TABLE t (i INT)";
                command.ExecuteNonQuery();
                command.CommandText = "COMMIT";
                if (serverBegins) command.ExecuteNonQuery();
                foreach (string end in new[] { "commit", "roll back", "dispose" })
                {
                    command.CommandText = "INSERT INTO t VALUES (1)";
                    using (TarnTransaction transaction = connection.BeginTransaction())
                    {
                        Check.Throws<InvalidOperationException>(() => connection.BeginTransaction(),
                                                                "two at a time");
                        command.Transaction = transaction;
                        command.ExecuteNonQuery();
                        if (end == "commit") transaction.Commit();
                        if (end == "roll back") transaction.Rollback();
                        if (end == "dispose") continue;
                        Check.Equal(null, transaction.Connection);
                        Check.Throws<InvalidOperationException>(transaction.Commit, "ended");
                    }
                }
                command.CommandText = "SELECT count(*) FROM t";
                Check.Equal(1L, command.ExecuteScalar());
                Check.Throws<NotSupportedException>(
                    () => connection.BeginTransaction(IsolationLevel.Serializable));
            }
        }
    }

    public void ProceduresGiveOutputs()
    {
        TarnCommand command = Procedure(
            "DIVIDE", new TarnParameter("number", 43L) { Direction = ParameterDirection.InputOutput },
            new TarnParameter("divisor", 5), Out(DbType.Int32), Returned(DbType.Boolean));
        command.ExecuteNonQuery();
        Check.Equal("8 5 3 False",
                    string.Join(" ", command.Parameters.Cast<TarnParameter>().Select(each => each.Value)));
        DbType[] types = { DbType.Boolean,        DbType.SByte,   DbType.Int16,  DbType.Int32,
                           DbType.Int64,          DbType.Decimal, DbType.Single, DbType.Double,
                           DbType.Date,           DbType.Time,    DbType.Time,   DbType.DateTime,
                           DbType.DateTimeOffset, DbType.String,  DbType.Binary };
        command = Procedure("EVERY_TYPE", types.Select(Out).ToArray<object>());
        command.ExecuteNonQuery();
        const string classes = "Boolean SByte Int16 Int32 Int64 Decimal Single Double " +
                               "DateTime TimeSpan DateTimeOffset DateTime DateTimeOffset String Byte[]";
        Check.Equal(classes, string.Join(" ", command.Parameters.Cast<TarnParameter>().Select(
                                                  each => each.Value.GetType().Name)));
        command = Procedure(
            "GREET", new TarnParameter("", "you") { Direction = ParameterDirection.InputOutput, Size = 5 });
        Check.Equal(Native.TRN_TRUNCATED,
                    Check.Throws<TarnException>(() => command.ExecuteNonQuery(), "no room").Status);
        command = Procedure("NOTHING", Out(DbType.Int32));
        command.ExecuteNonQuery();
        Check.Equal(DBNull.Value, command.Parameters[0].Value);
    }

    public void ProceduresGiveRows()
    {
        using (TarnDataReader reader = Procedure("NUMBERS", 3, null).ExecuteReader())
        {
            int rows = 0;
            while (reader.Read()) Check.Equal((long)++rows, reader.GetInt64(0));
            Check.Equal(3, rows);
        }
        Check.Throws<ArgumentException>(() => Procedure("ADD(1, 2); DROP TABLE town").ExecuteNonQuery());
        Check.Equal(
            "too bad",
            Check.Throws<TarnException>(() => Procedure("FAIL", "too bad").ExecuteNonQuery()).Message);
    }

    private TarnCommand Procedure(string name, params object[] parameters)
    {
        TarnCommand command = Command(name, parameters);
        command.CommandType = CommandType.StoredProcedure;
        return command;
    }

    private static TarnParameter Out(DbType type)
    {
        return new TarnParameter { DbType = type, Direction = ParameterDirection.Output };
    }

    private static TarnParameter Returned(DbType type)
    {
        return new TarnParameter { DbType = type, Direction = ParameterDirection.ReturnValue };
    }

    public void CodeWithoutThisProviderWorks()
    {
        DbProviderFactory factory = TarnFactory.Instance;
        using (DbConnection connection = factory.CreateConnection())
        {
            connection.ConnectionString = Check.ConnectionString;
            connection.Open();
            DbCommand command = connection.CreateCommand();
            command.CommandText = "VALUES (1, 'one'), (2, :two)";
            DbParameter parameter = command.CreateParameter();
            parameter.ParameterName = "two";
            parameter.Value = "two";
            command.Parameters.Add(parameter);
            DbDataAdapter adapter = factory.CreateDataAdapter();
            adapter.SelectCommand = command;
            var table = new DataTable();
            Check.Equal(2, adapter.Fill(table));
            Check.Equal("two", table.Rows[1][1]);
            using (DbDataReader reader = command.ExecuteReader(CommandBehavior.CloseConnection))
                Check.Equal("one two",
                            string.Join(" ", reader.Cast<IDataRecord>().Select(row => row.GetString(1))));
            Check.Equal(ConnectionState.Closed, connection.State);
        }
    }
}
