using System;
using System.Collections.Generic;
using System.IO;
using System.Linq;
using System.Reflection;
using System.Runtime.InteropServices;
using System.Text.RegularExpressions;
using Tarnsql;

/// The declarations of Native against the export list and the headers.
internal sealed class AbiTest
{
    private const BindingFlags all = BindingFlags.Static | BindingFlags.Public | BindingFlags.NonPublic;

    private static IEnumerable<MethodInfo> Declared()
    {
        return typeof(Native).GetMethods(all).Where(
            method => method.IsDefined(typeof(DllImportAttribute), false));
    }

    private static string Headers()
    {
        string include = Path.Combine(Check.Source, "include");
        string text = File.ReadAllText(Path.Combine(include, "tarnsql.h")) +
                      File.ReadAllText(Path.Combine(include, "tarnsql_ext.h"));
        return Regex.Replace(text, @"/\*.*?\*/", "", RegexOptions.Singleline);
    }

    public void DeclaredNamesAreTheExportedNames()
    {
        string[] lines = File.ReadAllLines(Path.Combine(Check.Source, "src/exports.txt"));
        string[] exported = lines.Where(line => Regex.IsMatch(line, "^[A-Za-z]")).ToArray();
        Check.True(exported.Length > 60, "the export list is not where it was");
        string[] declared = Declared().Select(method => method.Name).Distinct().ToArray();
        Check.Equal("", string.Join(" ", exported.Except(declared)), "not declared:");
        Check.Equal("", string.Join(" ", declared.Except(exported)), "not exported:");
    }

    public void EveryNameIsInTheLibraryThatIsLoaded()
    {
        foreach (MethodInfo method in Declared()) Marshal.Prelink(method);
    }

    /// 32-bit integers, 64-bit integers and addresses stand where the headers have them.
    public void ArgumentsHaveTheWidthsOfTheHeaders()
    {
        var prototypes = new Dictionary<string, string>();
        foreach (Match match in Regex.Matches(Headers(), @"^TRN_API (.*?[ *])(\w+)\(([^)]*)\);",
                                              RegexOptions.Multiline))
            prototypes[match.Groups[2].Value] = Widths(match.Groups[1].Value.Trim(), match.Groups[3].Value);
        foreach (MethodInfo method in Declared())
        {
            string arguments =
                string.Concat(method.GetParameters().Select(each => Width(each.ParameterType)));
            Check.Equal(prototypes[method.Name], Width(method.ReturnType) + ":" + arguments, method.Name);
            Check.Equal(CallingConvention.Cdecl,
                        method.GetCustomAttribute<DllImportAttribute>().CallingConvention, method.Name);
        }
    }

    private static string Widths(string result, string arguments)
    {
        IEnumerable<string> each =
            arguments.Split(',').Select(argument => argument.Trim()).Where(argument => argument != "");
        return Width(result) + ":" +
               string.Concat(each.Where(argument => argument != "void" && argument != "...").Select(Width));
    }

    private static string Width(string declaration)
    {
        if (declaration.Contains("*") || declaration.StartsWith("TRNX_TRACE ")) return "p";
        if (declaration.StartsWith("int32_t") || declaration.StartsWith("uint32_t")) return "4";
        return declaration.StartsWith("int64_t") ? "8" : declaration == "void" ? "v" : "?" + declaration;
    }

    private static string Width(Type type)
    {
        if (type == typeof(int) || type == typeof(uint)) return "4";
        return type == typeof(long) ? "8" : type == typeof(void) ? "v" : "p";
    }

    public void NumbersAreThoseOfTheHeaders()
    {
        var defined = new Dictionary<string, int>();
        foreach (Match match in Regex.Matches(Headers(), @"^#define (TRNX?_[A-Z_0-9]+) +\(?(-?\d+)u?\)?",
                                              RegexOptions.Multiline))
            if (!match.Groups[1].Value.StartsWith("TRN_VERSION"))
                defined[match.Groups[1].Value] = int.Parse(match.Groups[2].Value);
        FieldInfo[] declared =
            typeof(Native).GetFields(all).Where(field => field.Name.StartsWith("TRN")).ToArray();
        Check.Equal("", string.Join(" ", defined.Keys.Except(declared.Select(field => field.Name))),
                    "not declared:");
        foreach (FieldInfo field in declared)
            Check.Equal(defined[field.Name], field.GetRawConstantValue(), field.Name);
    }

    public void OptionsLieAsInTheHeader()
    {
        Match match = Regex.Match(Headers(), @"struct TRNX_OPTIONS \{(.*?)\}", RegexOptions.Singleline);
        string[] fields =
            match.Groups[1].Value.Split(';').Select(line => line.Trim()).Where(line => line != "").ToArray();
        FieldInfo[] declared = typeof(OpenOptions).GetFields();
        Check.Equal(fields.Length, declared.Length);
        for (int i = 0; i < fields.Length; ++i)
        {
            string plain = fields[i].Split(' ')[1].Replace("_", "");
            Check.Equal(plain, declared[i].Name.ToLowerInvariant());
            Check.Equal(4 * i, (int)Marshal.OffsetOf(typeof(OpenOptions), declared[i].Name), plain);
        }
        Check.Equal(4u * (uint)fields.Length, OpenOptions.Create().Size);
    }

    public void RawCallsWork()
    {
        byte[] text = new byte[64];
        using (var connection = new ConnectionHandle())
        using (var result = new ResultHandle())
        {
            byte[] settings = System.Text.Encoding.ASCII.GetBytes(Check.ConnectionString + "\0");
            Check.Equal(Native.TRN_OPENED, Native.TRN_OpenConn(settings, connection));
            int columns, affected, length = 0;
            long rows;
            byte[] sql = System.Text.Encoding.ASCII.GetBytes("SELECT 6 * 7\0");
            Check.Equal(1, Native.TRN_ExecwithDataReader(connection, sql, result, out columns, out rows,
                                                         out affected));
            Check.Equal(1L, rows);
            Check.Equal(0, Native.TRN_ReadNext(result));
            Check.Equal(
                0, Native.TRN_GetData(result, 1, Native.TRN_TYPE_TEXT, ref text[0], text.Length, ref length));
            Check.Equal("42", System.Text.Encoding.ASCII.GetString(text, 0, length));
        }
        string version = Regex.Match(Headers(), "#define TRN_VERSION \"(.*?)\"").Groups[1].Value;
        Check.Equal(version, TarnLog.LibraryVersion);
    }
}
