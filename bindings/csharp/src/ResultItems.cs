// The items of a reply: which of them are queries, and how many rows the others changed.
using System;

namespace Tarnsql
{
    internal sealed class ResultItems : IDisposable
    {

        internal readonly ResultHandle Result;
        private readonly Session session;
        private readonly bool insertsOneRow;
        private long affected = -1;
        private bool affectedUnknown, textTold, ended;

        internal ResultItems(ResultHandle result, Session session, bool insertsOneRow)
        {
            Result = result;
            this.session = session;
            this.insertsOneRow = insertsOneRow;
        }

        /// <summary>The rows changed by the items so far; -1 when none changes rows, or the server does not
        /// report how many.</summary>
        internal int Affected
        {
            get { return affectedUnknown ? -1 : (int)Math.Min(affected, int.MaxValue); }
        }

        /// <summary>Whether the current item is a query.</summary>
        internal bool IsQuery
        {
            get
            {
                int kind, columns, rows, changed;
                Describe(out kind, out columns, out rows, out changed);
                return kind == Native.TRN_ITEM_QUERY;
            }
        }

        /// <summary>The rows of the current item.</summary>
        internal long Rows
        {
            get
            {
                byte[] rows = new byte[sizeof(long)];
                int type, length;
                Native.TRN_GetAttr(Result, Native.TRN_ATTR_RESULT_ROWS, rows, rows.Length, out type,
                    out length);
                return BitConverter.ToInt64(rows, 0);
            }
        }

        /// <summary>Moves from the current item to the first query, and counts the items it skips; false when
        /// there is none.</summary>
        internal bool ToQuery()
        {
            while (!ended && !Result.IsEmpty)
            {
                if (IsQuery) return true;
                Count();
                ToNext();
            }
            return false;
        }

        /// <summary>Moves to the next item; false when there is none.</summary>
        internal bool ToNext()
        {
            textTold = false;
            ended = ended || Result.IsEmpty || Native.TRN_NextResult(Result) != Native.TRN_OK;
            return !ended;
        }

        /// <summary>Throws, once, when a server text follows the rows of the current item: it ended
        /// them.</summary>
        internal void CheckText()
        {
            if (textTold || Result.IsEmpty) return;
            textTold = true;
            string text = session.ErrorText(Result);
            if (text.Length > 0) throw new TarnException(Native.TRN_ERR_SERVER, text);
        }

        /// <summary>Counts and releases the remaining items.</summary>
        public void Dispose()
        {
            if (Result.IsClosed) return;
            while (ToQuery() && ToNext())
            {
            }
            Result.Dispose();
        }

        private void Count()
        {
            int kind, columns, rows, changed;
            Describe(out kind, out columns, out rows, out changed);
            if (kind == Native.TRN_ITEM_INSERT && !insertsOneRow)
                affectedUnknown = true; // the server reports an insert, but not how many rows
            else
                affected = Math.Max(affected, 0) + (kind == Native.TRN_ITEM_INSERT ? 1 : changed);
        }

        private void Describe(out int kind, out int columns, out int rows, out int changed)
        {
            Native.TRN_getResultRet(Result, out kind, out columns, out rows, out changed, new byte[33]);
        }
    }
}
