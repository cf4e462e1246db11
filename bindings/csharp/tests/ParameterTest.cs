using System;
using System.Data;
using System.Data.Common;
using System.Globalization;
using System.Linq;
using System.Threading;
using Tarnsql;

internal sealed class ParameterTest : ServerTest
{
    public void TheCollectionKeepsItsOrder()
    {
        TarnParameterCollection all = new TarnCommand().Parameters;
        TarnParameter first = all.AddWithValue(":first", 1), last = all.Add(new TarnParameter("last", 3));
        all.Insert(1, new TarnParameter("@middle", 2));
        Check.Equal("1 2 3", string.Join(" ", all.Cast<TarnParameter>().Select(each => each.Value)));
        Check.True(all.Contains("MIDDLE") && all.Contains(last) && !all.Contains("none") &&
                   all.IndexOf(last) == 2, "what is there");
        var copy = new TarnParameter[4];
        all.CopyTo(copy, 1);
        Check.True(copy[0] == null && copy[1] == first && copy[3] == last, "a copy");
        all["middle"] = new TarnParameter("other", 4);
        all.RemoveAt("first");
        all.Remove(last);
        Check.True(all.Count == 1 && all[0].ParameterName == "other", "what is left");
        all[0] = new TarnParameter("", null);
        Check.Throws<ArgumentException>(() => all["other"].ToString());
        Check.Throws<ArgumentException>(() => all.RemoveAt("other"));
        Check.Throws<ArgumentException>(() => all.Insert(0, "a value"));
        Check.Throws<ArgumentException>(() => ((DbParameterCollection)all)[0] = null);
        all.Clear();
        Check.Equal(0, all.Count);
    }

    public void AParameterForgetsItsType()
    {
        var parameter = new TarnParameter("p", new DateTime(2024, 2, 29, 12, 0, 0)) { DbType = DbType.Date };
        Check.Equal("2024-02-29", One("SELECT :p", parameter));
        parameter.DbType = DbType.Time;
        Check.Equal("12:00:00.000", One("SELECT :p", parameter));
        parameter.ResetDbType();
        Check.Equal(DbType.DateTime, parameter.DbType);
        Check.Equal("2024-02-29 12:00:00", One("SELECT :p", parameter));
        var clone = (TarnParameter)((ICloneable)parameter).Clone();
        clone.Value = 1;
        Check.Equal(1L, One("SELECT :p", clone));
        Check.Equal(DbType.DateTime, parameter.DbType);
    }

    /// Numbers and dates travel in no culture's form.
    public void TheCultureOfTheThreadDoesNotMatter()
    {
        CultureInfo before = Thread.CurrentThread.CurrentCulture;
        var strange = (CultureInfo)CultureInfo.InvariantCulture.Clone();
        strange.NumberFormat.NumberDecimalSeparator = ",";
        strange.NumberFormat.NegativeSign = "~";
        strange.DateTimeFormat.DateSeparator = "/";
        strange.DateTimeFormat.TimeSeparator = ".";
        Thread.CurrentThread.CurrentCulture = strange;
        try
        {
            Run("CREATE TEMP TABLE t (n NUMERIC(9,2), z DATETIME WITH TIME ZONE, i INTERVAL DAY TO SECOND, " +
                "y INTERVAL YEAR TO MONTH)");
            var moment = new DateTimeOffset(2024, 2, 29, 1, 30, 0, TimeSpan.FromHours(-2));
            var span = new TarnParameter("", new TimeSpan(-1, 2, 3)) { TarnType = TarnType.DayToSecond };
            Run("INSERT INTO t VALUES (?, ?, ?, ?)", -1234.5m, moment, span, new TarnYearToMonth(-11));
            using (TarnDataReader reader = Command("SELECT * FROM t").ExecuteReader())
            {
                object[] row = new object[4];
                Check.True(reader.Read() && reader.GetValues(row) == 4, "a row");
                Check.Equal(new object[] { -1234.5m, moment, span.Value, new TarnYearToMonth(-11) }, row);
            }
            Check.Equal(1L, new TarnConnectionStringBuilder("port=1") { LockTimeout = 2 }.Port + 0L);
        }
        finally
        {
            Thread.CurrentThread.CurrentCulture = before;
        }
    }

    public void IntervalsOfMonthsCompare()
    {
        Check.Equal("1-02 -0-11 0-00",
                    string.Join(" ", new TarnYearToMonth(14), new TarnYearToMonth(-11),
                                new TarnYearToMonth()));
        Check.True(new TarnYearToMonth(1).CompareTo(new TarnYearToMonth(2)) < 0, "order");
        Check.True(new TarnYearToMonth(3).Equals((object)new TarnYearToMonth(3)) &&
                   !new TarnYearToMonth(3).Equals(3), "equality");
        Check.Equal("-178956970-08", new TarnYearToMonth(int.MinValue).ToString());
    }

    /// Functions that return a value of each type, wanted as the class that goes with it and as others.
    public void FunctionsReturnEveryType()
    {
        var guid = new Guid("01234567-89ab-cdef-0123-456789abcdef");
        var cases = new[]
        {
            new object[] { "TINYINT", "-5", DbType.SByte, (sbyte)-5 },
            new object[] { "SMALLINT", "-300", DbType.Int64, -300L },
            new object[] { "BIGINT", "9007199254740993", DbType.Int64, 9007199254740993 },
            new object[] { "BIGINT", "7", DbType.String, "7" },
            new object[] { "NUMERIC(5,1)", "2.25", DbType.Decimal, 2.3m },
            new object[] { "FLOAT", "1.5", DbType.Single, 1.5f },
            new object[] { "DOUBLE", "0.1", DbType.Double, 0.1 },
            new object[] { "BOOLEAN", "t", DbType.Boolean, true },
            new object[] { "DATE", "2024-02-29", DbType.Date, new DateTime(2024, 2, 29) },
            new object[] { "TIME", "12:34:56.789", DbType.Time, new TimeSpan(0, 12, 34, 56, 789) },
            new object[] { "DATETIME", "2024-02-29 12:34:56.789", DbType.DateTime,
                           new DateTime(2024, 2, 29, 12, 34, 56, 789) },
            new object[] { "DATETIME WITH TIME ZONE", "2024-02-29 12:34:56+02:00", DbType.DateTimeOffset,
                           new DateTimeOffset(2024, 2, 29, 12, 34, 56, TimeSpan.FromHours(2)) },
            new object[] { "VARCHAR(20)", "Grüße", DbType.String, "Grüße" },
            new object[] { "VARCHAR(36)", guid.ToString(), DbType.Guid, guid },
        };
        foreach (object[] each in cases)
        {
            TarnParameter returned = Returned((DbType)each[2]);
            Typed((string)each[0], (string)each[1], returned).ExecuteNonQuery();
            Check.Equal(each[3], returned.Value, (string)each[0]);
        }
        Check.Throws<TarnException>(
            () => Typed("VARCHAR(5)", "text", Returned(DbType.Int32)).ExecuteNonQuery(), "no number");
        Check.Throws<TarnException>(() => Typed("INTEGER", "300", Returned(DbType.Byte)).ExecuteNonQuery(),
                                    "out of range");
    }

    private TarnCommand Typed(string type, string value, TarnParameter returned)
    {
        TarnCommand command = Command("TYPED", type, value, returned);
        command.CommandType = CommandType.StoredProcedure;
        return command;
    }

    private static TarnParameter Returned(DbType type)
    {
        return new TarnParameter { DbType = type, Direction = ParameterDirection.ReturnValue };
    }
}
