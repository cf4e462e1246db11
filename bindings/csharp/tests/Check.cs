// Runs every public method of the classes named ...Test, each with a connection of its own, and counts.
// Usage: tests.exe CONNECTION-STRING SOURCE-DIRECTORY [NAME]    with a name only the tests that have it in
//                                                               theirs
using System;
using System.Collections;
using System.Reflection;
using Tarnsql;

internal static class Check
{
    internal static string ConnectionString, Source;

    internal sealed class Failure : Exception
    {
        internal Failure(string text) : base(text)
        {
        }
    }

    internal static void Equal(object expected, object actual, string what = "")
    {
        bool same;
        if (expected is byte[] && actual is byte[])
            same = Same((byte[])expected, (byte[])actual);
        else if (expected is IEnumerable && !(expected is string) && actual is IEnumerable)
            same = StructuralComparisons.StructuralEqualityComparer.Equals(expected, actual);
        else
            same = Equals(expected, actual);
        if (!same) throw new Failure(what + " expected " + Shown(expected) + ", was " + Shown(actual));
    }

    // Millions of bytes are not compared as objects.
    private static bool Same(byte[] expected, byte[] actual)
    {
        if (expected.Length != actual.Length) return false;
        for (int i = 0; i < expected.Length; ++i)
            if (expected[i] != actual[i]) return false;
        return true;
    }

    internal static void True(bool holds, string what)
    {
        if (!holds) throw new Failure(what);
    }

    internal static T Throws<T>(Action action, string what = "") where T : Exception
    {
        try
        {
            action();
        }
        catch (T expected)
        {
            return expected;
        }
        throw new Failure(what + " threw no " + typeof(T).Name);
    }

    private static string Shown(object value)
    {
        var bytes = value as byte[];
        if (bytes != null) return BitConverter.ToString(bytes, 0, Math.Min(bytes.Length, 40));
        return value == null ? "null" : value + " (" + value.GetType().Name + ")";
    }

    private static int Main(string[] arguments)
    {
        ConnectionString = arguments[0];
        Source = arguments[1];
        if (Source == "leave") return LeftBehind.Leave();
        int passed = 0, failed = 0;
        foreach (Type type in Assembly.GetExecutingAssembly().GetTypes())
        {
            if (!type.Name.EndsWith("Test") || type.IsAbstract) continue;
            foreach (MethodInfo method in type.GetMethods(BindingFlags.Instance | BindingFlags.Public |
                                                          BindingFlags.DeclaredOnly))
            {
                if (arguments.Length > 2 && !(type.Name + "." + method.Name).Contains(arguments[2])) continue;
                if (Passes(type, method)) ++passed;
                else ++failed;
            }
        }
        Console.WriteLine("{0} passed, {1} failed", passed, failed);
        return failed == 0 && passed > 0 ? 0 : 1;
    }

    private static bool Passes(Type type, MethodInfo method)
    {
        try
        {
            object test = Activator.CreateInstance(type, true);
            using (test as IDisposable) method.Invoke(test, null);
            return true;
        }
        catch (TargetInvocationException error)
        {
            Console.WriteLine("{0}.{1}: {2}", type.Name, method.Name, error.InnerException);
            return false;
        }
    }
}

/// A test with an open connection, and shorthands.
internal abstract class ServerTest : IDisposable
{
    protected readonly TarnConnection Connection = Open();

    protected static TarnConnection Open(string more = "")
    {
        var connection = new TarnConnection(Check.ConnectionString + ";" + more);
        connection.Open();
        return connection;
    }

    protected TarnCommand Command(string sql, params object[] parameters)
    {
        TarnCommand command = Connection.CreateCommand();
        command.CommandText = sql;
        command.Parameters.AddRange(parameters);
        return command;
    }

    protected int Run(string sql, params object[] parameters)
    {
        using (TarnCommand command = Command(sql, parameters)) return command.ExecuteNonQuery();
    }

    protected object One(string sql, params object[] parameters)
    {
        using (TarnCommand command = Command(sql, parameters)) return command.ExecuteScalar();
    }

    public void Dispose()
    {
        Connection.Dispose();
    }
}
