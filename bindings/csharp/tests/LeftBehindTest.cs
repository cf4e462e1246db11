using System;
using System.Diagnostics;
using System.IO;
using Tarnsql;

/// A process that closes nothing ends as any other.
internal static class LeftBehind
{
    // What finalizers are to find, or the end of the process.
    private static readonly object[] kept = new object[40];

    /// The process whose end is looked at.
    internal static int Leave()
    {
        TarnLog.Line += (sender, line) => { };
        for (int i = 0; i < kept.Length; i += 4)
        {
            var connection = new TarnConnection(Check.ConnectionString + ";lob_ret=descriptor");
            connection.Open();
            var prepared = new TarnCommand("SELECT 1", connection);
            prepared.Prepare();
            var query = new TarnCommand("SELECT 'x' UNION ALL SELECT 'y'", connection) { FetchSize = 1 };
            TarnDataReader reader = query.ExecuteReader();
            reader.Read();
            connection.BeginTransaction();
            if (i % 8 == 0) continue; // half of them go out of use
            kept[i] = connection;
            kept[i + 1] = prepared;
            kept[i + 2] = reader;
            kept[i + 3] = reader.GetStream(0);
        }
        GC.Collect();
        return 0;
    }
}

internal sealed class LeftBehindTest
{
    public void AProcessThatClosesNothingEndsInPeace()
    {
        string runtime = Process.GetCurrentProcess().MainModule.FileName;
        string program = typeof(LeftBehindTest).Assembly.Location;
        bool isRuntime = Path.GetFileName(runtime).StartsWith("mono");
        string arguments = "\"" + Check.ConnectionString + "\" leave";
        var start = new ProcessStartInfo(isRuntime ? runtime : program,
                                         isRuntime ? "\"" + program + "\" " + arguments : arguments)
        {
            UseShellExecute = false,
            RedirectStandardOutput = true,
            RedirectStandardError = true
        };
        for (int round = 0; round < 5; ++round)
        {
            using (Process left = Process.Start(start))
            {
                string said = left.StandardOutput.ReadToEnd() + left.StandardError.ReadToEnd();
                Check.True(left.WaitForExit(60000), "it does not end");
                Check.Equal("", said);
                Check.Equal(0, left.ExitCode);
            }
        }
    }
}
