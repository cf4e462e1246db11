using System.Data.Common;
using System.Text.RegularExpressions;

namespace Tarnsql
{
    /// <summary>A failure reported by the server or the library, or a value that .NET cannot
    /// represent.</summary>
    public sealed class TarnException : DbException
    {
        private static readonly Regex bracketedCode = new Regex(@"^\[(\w+)\]");

        internal TarnException(int status, string text, System.Exception inner = null) : base(text, inner)
        {
            Status = status;
            Match match = bracketedCode.Match(text);
            Code = match.Success ? match.Groups[1].Value : "";
        }

        /// <summary>The status of the library's call, TRN_ERR_SERVER for a refusal of the server; 0 when no
        /// call failed.</summary>
        public int Status { get; private set; }

        /// <summary>The bracketed code that the library's own texts begin with, such as EC011; empty for
        /// texts of the server.</summary>
        public string Code { get; private set; }

        /// <summary>The same as <see cref="Status"/>.</summary>
        public override int ErrorCode
        {
            get { return Status; }
        }

        /// <summary>Whether the link to the server is lost, and the session with it.</summary>
        public bool LinkLost
        {
            get { return Status == Native.TRN_ERR_NETWORK; }
        }

        /// <summary>A stored value that the requested class cannot hold.</summary>
        internal static TarnException NoForm(string column, System.Exception inner)
        {
            return new TarnException(
                0, "a value of column " + column + " has no such form in .NET: " + inner.Message, inner);
        }
    }
}
