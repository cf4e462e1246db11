// Texts between UTF-16 and the character set of a session.
using System;
using System.Text;

namespace Tarnsql
{
    internal static class Charset
    {
        internal static readonly Encoding Utf8 = new UTF8Encoding(false, true);

        /// <summary>The encoding of a character set, UTF-8 when none is named. It throws for characters that
        /// it cannot encode.</summary>
        internal static Encoding Named(string name)
        {
            if (string.IsNullOrEmpty(name) || Is(name, "UTF8") || Is(name, "UTF-8")) return Utf8;
            Encoding found;
            try
            {
                found = Encoding.GetEncoding(name, EncoderFallback.ExceptionFallback,
                                             DecoderFallback.ExceptionFallback);
            }
            catch (Exception error) when (error is ArgumentException || error is NotSupportedException)
            {
                throw new ArgumentException(".NET has no encoding for the character set " + name +
                                            " (register one with Encoding.RegisterProvider)", error);
            }
            // A zero byte ends a statement.
            if (found.GetByteCount("a") != 1)
                throw new ArgumentException("texts in " + name + " hold zero bytes");
            return found;
        }

        /// <summary>A text for the library, NUL-terminated.</summary>
        internal static byte[] Terminated(Encoding encoding, string text, string what)
        {
            if (text.IndexOf('\0') >= 0) throw new ArgumentException(what + " holds a zero character");
            byte[] bytes = new byte[encoding.GetByteCount(text) + 1];
            encoding.GetBytes(text, 0, text.Length, bytes, 0);
            return bytes;
        }

        /// <summary>Decodes a name or an error text; bytes that are not valid in the encoding become question
        /// marks.</summary>
        internal static string Readable(Encoding encoding, byte[] bytes, int count)
        {
            if (encoding == Utf8) return Encoding.UTF8.GetString(bytes, 0, count);
            var lenient = (Encoding)encoding.Clone();
            lenient.DecoderFallback = DecoderFallback.ReplacementFallback;
            return lenient.GetString(bytes, 0, count);
        }

        /// <summary>The number of bytes before the first zero.</summary>
        internal static int Length(byte[] buffer)
        {
            int end = Array.IndexOf(buffer, (byte)0);
            return end < 0 ? buffer.Length : end;
        }

        private static bool Is(string one, string other)
        {
            return string.Equals(one, other, StringComparison.OrdinalIgnoreCase);
        }
    }
}
