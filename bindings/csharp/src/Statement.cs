// Facts that follow from a statement's text.
using System.Text.RegularExpressions;

namespace Tarnsql
{
    internal static class Statement
    {
        // The second group is the text after VALUES.
        private static readonly Regex insert =
            new Regex(@"^\s*INSERT\s+INTO\s+[^()';]+(\([^()';]*\))?\s*VALUES\s*(\(.*\))\s*;?\s*$",
                      RegexOptions.IgnoreCase | RegexOptions.Singleline | RegexOptions.CultureInvariant);
        private static readonly Regex literal = new Regex("'[^']*'");

        /// <summary>Whether this is an insert of one row of values. The server reports an insert, but not how
        /// many rows; here the text tells.</summary>
        internal static bool InsertsOneRow(string sql)
        {
            Match match = insert.Match(sql);
            if (!match.Success) return false;
            string values = literal.Replace(match.Groups[2].Value, "");
            int depth = 0;
            for (int i = 0; i < values.Length; ++i)
            {
                depth += values[i] == '(' ? 1 : values[i] == ')' ? -1 : 0;
                if (depth == 0) return i == values.Length - 1;
            }
            return false;
        }
    }
}
