using System;
using System.Globalization;

namespace Tarnsql
{
    /// <summary>The library's types, of columns (ProviderType) and parameters.</summary>
    public enum TarnType
    {
        /// <summary>For a parameter: follows from its DbType or its value.</summary>
        Inferred = 0,
        /// <summary>bool</summary>
        Boolean = Native.TRN_TYPE_BOOLEAN,
        /// <summary>string</summary>
        Text = Native.TRN_TYPE_TEXT,
        /// <summary>sbyte</summary>
        TinyInt = Native.TRN_TYPE_TINYINT,
        /// <summary>short</summary>
        SmallInt = Native.TRN_TYPE_SMALLINT,
        /// <summary>int</summary>
        Integer = Native.TRN_TYPE_INTEGER,
        /// <summary>long</summary>
        BigInt = Native.TRN_TYPE_BIGINT,
        /// <summary>float</summary>
        Float = Native.TRN_TYPE_FLOAT,
        /// <summary>double</summary>
        Double = Native.TRN_TYPE_DOUBLE,
        /// <summary>decimal</summary>
        Numeric = Native.TRN_TYPE_NUMERIC,
        /// <summary>DateTime</summary>
        Date = Native.TRN_TYPE_DATE,
        /// <summary>TimeSpan</summary>
        Time = Native.TRN_TYPE_TIME,
        /// <summary>DateTimeOffset of 1970-01-01</summary>
        TimeWithZone = Native.TRN_TYPE_TIME_TZ,
        /// <summary>DateTime, to the millisecond</summary>
        DateTime = Native.TRN_TYPE_DATETIME,
        /// <summary>DateTimeOffset, to the microsecond</summary>
        DateTimeWithZone = Native.TRN_TYPE_DATETIME_TZ,
        /// <summary>byte[]</summary>
        Binary = Native.TRN_TYPE_BYTES,
        /// <summary>string: intervals other than the next two, whose kind the library does not
        /// report</summary>
        Interval = Native.TRN_TYPE_INTERVAL,
        /// <summary>TarnYearToMonth</summary>
        YearToMonth = Native.TRN_TYPE_INTERVAL_YEAR_TO_MONTH,
        /// <summary>TimeSpan</summary>
        DayToSecond = Native.TRN_TYPE_INTERVAL_DAY_TO_SECOND,
        /// <summary>string, or read as a stream</summary>
        Clob = Native.TRN_TYPE_CLOB,
        /// <summary>byte[], or read as a stream</summary>
        Blob = Native.TRN_TYPE_BLOB,
        /// <summary>byte[]; columns only</summary>
        Opaque = Native.TRN_TYPE_OPAQUE
    }

    /// <summary>An interval of years and months, kept as months: new TarnYearToMonth(14) is one year and two
    /// months.</summary>
    public struct TarnYearToMonth : IEquatable<TarnYearToMonth>, IComparable<TarnYearToMonth>
    {
        /// <summary>An interval of that many months.</summary>
        public TarnYearToMonth(int months)
        {
            Months = months;
        }

        /// <summary>The total number of months.</summary>
        public int Months { get; private set; }

        /// <summary>Whether both are of the same length.</summary>
        public bool Equals(TarnYearToMonth other)
        {
            return Months == other.Months;
        }

        /// <summary>Whether the other is such an interval of the same length.</summary>
        public override bool Equals(object other)
        {
            return other is TarnYearToMonth && Equals((TarnYearToMonth)other);
        }

        /// <summary>Compares by length.</summary>
        public int CompareTo(TarnYearToMonth other)
        {
            return Months.CompareTo(other.Months);
        }

        /// <summary>The hash code.</summary>
        public override int GetHashCode()
        {
            return Months;
        }

        /// <summary>In the server's form: "1-02", "-0-11".</summary>
        public override string ToString()
        {
            long size = Math.Abs((long)Months);
            return string.Format(CultureInfo.InvariantCulture, "{0}{1}-{2:00}", Months < 0 ? "-" : "",
                                 size / 12, size % 12);
        }
    }
}
