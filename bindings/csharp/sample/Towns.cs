// Makes a table, fills it in a transaction and prints it. Usage: towns.exe CONNECTION-STRING
using System;
using System.Data;
using System.Globalization;
using Tarnsql;

internal static class Towns
{
    private static int Main(string[] arguments)
    {
        string settings = arguments.Length > 0 ? arguments[0]
                                               : "server=127.0.0.1;port=5139;db=demo;user=me;password=secret";
        try
        {
            using (var connection = new TarnConnection(settings))
            {
                connection.Open();
                Fill(connection);
                Print(connection);
            }
            return 0;
        }
        catch (TarnException error)
        {
            Console.Error.WriteLine(error.Message);
            return 1;
        }
    }

    private static void Fill(TarnConnection connection)
    {
        // Dispose rolls back a transaction that was not committed.
        using (TarnTransaction transaction = connection.BeginTransaction())
        {
            using (var create = new TarnCommand(
                       "CREATE TABLE towns (name VARCHAR(40), people BIGINT, founded DATE)", connection))
                create.ExecuteNonQuery();
            using (var insert =
                       new TarnCommand("INSERT INTO towns VALUES (:name, :people, :founded)", connection))
            {
                insert.Parameters.AddWithValue("name", null);
                insert.Parameters.AddWithValue("people", null);
                insert.Parameters.AddWithValue("founded", null).DbType = DbType.Date;
                insert.Prepare();
                Insert(insert, "Tarn", 41200, new DateTime(1247, 5, 1));
                Insert(insert, "Ur", 65000, null);
            }
            transaction.Commit();
        }
    }

    private static void Insert(TarnCommand insert, string name, long people, DateTime? founded)
    {
        insert.Parameters["name"].Value = name;
        insert.Parameters["people"].Value = people;
        insert.Parameters["founded"].Value = founded;
        insert.ExecuteNonQuery();
    }

    private static void Print(TarnConnection connection)
    {
        using (var query = new TarnCommand("SELECT name, people, founded FROM towns ORDER BY name",
                                           connection)) using (TarnDataReader reader = query.ExecuteReader())
        {
            while (reader.Read())
            {
                string founded =
                    reader.IsDBNull(2)
                        ? "?"
                        : reader.GetDateTime(2).ToString("yyyy-MM-dd", CultureInfo.InvariantCulture);
                object[] row = { reader.GetString(0), reader.GetInt64(1), founded };
                Console.WriteLine(string.Format(CultureInfo.InvariantCulture, "{0,-10} {1,10:N0}  {2}", row));
            }
        }
    }
}
