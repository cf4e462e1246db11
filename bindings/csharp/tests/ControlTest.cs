using System;
using System.Collections.Generic;
using System.Data;
using System.IO;
using System.Net;
using System.Net.Sockets;
using System.Runtime.CompilerServices;
using System.Threading;
using System.Threading.Tasks;
using Tarnsql;

/// Calls that wait, threads, lines of the library, and what is forgotten.
internal sealed class ControlTest : ServerTest
{
    private const string endless =
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n) SELECT count(*) FROM n";

    /// A server that takes the login and then answers nothing.
    private sealed class SilentServer : IDisposable
    {
        private readonly TcpListener listener = new TcpListener(IPAddress.Loopback, 0);
        private TcpClient client;

        internal SilentServer()
        {
            listener.Start();
        }

        internal string Settings
        {
            get { return "server=127.0.0.1;port=" + ((IPEndPoint)listener.LocalEndpoint).Port + ";user=u"; }
        }

        internal Task TakeLogin()
        {
            return Task.Run(() =>
            {
                client = listener.AcceptTcpClient();
                WaitForRequest();
                client.GetStream().WriteByte((byte)'K');
            });
        }

        internal void WaitForRequest()
        {
            Check.True(client.GetStream().Read(new byte[65536], 0, 65536) > 0, "a request");
        }

        public void Dispose()
        {
            if (client != null) client.Close();
            listener.Stop();
        }
    }

    public void CancelEndsTheRunningCommandAndNoOther()
    {
        TarnCommand command = Command(endless), other = Command("SELECT 1");
        command.Cancel();
        other.Prepare(); // which ends with each session, and is forgotten with it
        var states = new List<ConnectionState>();
        Connection.StateChange += (sender, change) => states.Add(change.CurrentState);
        for (int round = 0; round < 3; ++round)
        {
            Check.Equal(1L, other.ExecuteScalar(), "what was cancelled before it ran");
            using (var begun = new ManualResetEventSlim())
            {
                Task<TarnException> running = Task.Run(() =>
                {
                    begun.Set();
                    return Check.Throws<TarnException>(() => command.ExecuteScalar());
                });
                begun.Wait();
                other.Cancel();
                while (!running.Wait(1))
                    command.Cancel(); // it may come before the call, which is then not ended
                Check.Equal("EX001", running.Result.Code);
                Check.True(running.Result.LinkLost, "the link has gone");
            }
            Check.Equal(ConnectionState.Broken, Connection.State);
            Check.True(Check.Throws<TarnException>(() => other.ExecuteScalar()).LinkLost, "no session");
            Connection.Open();
        }
        Check.Equal("Broken Closed Open Broken Closed Open Broken Closed Open", string.Join(" ", states));
    }

    public void WaitsEndWithTheirTimeOuts()
    {
        using (var server = new SilentServer())
        {
            var silent = Check.Throws<TarnException>(
                () => new TarnConnection(server.Settings + ";connect timeout=1").Open());
            Check.Equal("EX003", silent.Code);
        }
        using (var server = new SilentServer())
        using (var connection = new TarnConnection(server.Settings + ";command timeout=1"))
        {
            Task login = server.TakeLogin();
            connection.Open();
            login.Wait();
            TarnCommand command = connection.CreateCommand();
            Check.Equal(1, command.CommandTimeout);
            command.CommandText = "SELECT 1";
            var error = Check.Throws<TarnException>(() => command.ExecuteScalar());
            Check.True(error.LinkLost && error.Message.Contains("1 seconds"), error.Message);
            Check.Equal(ConnectionState.Broken, connection.State);
        }
    }

    public void ATransactionOfALostLinkEndsSilently()
    {
        using (var server = new SilentServer())
        using (var connection = new TarnConnection(server.Settings + ";auto_commit=off"))
        {
            Task login = server.TakeLogin();
            connection.Open();
            login.Wait();
            using (connection.BeginTransaction())
            {
                Task<TarnException> running = Task.Run(() =>
                {
                    TarnCommand command = connection.CreateCommand();
                    command.CommandText = "SELECT 1";
                    return Check.Throws<TarnException>(() => command.ExecuteScalar());
                });
                server.WaitForRequest();
                server.Dispose();
                Check.True(running.Result.LinkLost, "the server has gone");
            }
        }
    }

    public void ThreadsShareAConnection()
    {
        Parallel.For(0, 8, thread =>
        {
            for (int i = 0; i < 200; ++i)
            {
                TarnCommand command = Command("SELECT ? UNION ALL SELECT ?", thread, i);
                using (TarnDataReader reader = command.ExecuteReader())
                {
                    Check.True(reader.Read() && reader.GetInt64(0) == thread, "the command's own values");
                    Check.True(reader.Read() && reader.GetInt64(0) == i, "both");
                }
            }
        });
    }

    /// Commands, cancels, closes and opens of one connection from several threads: failures are exceptions of
    /// the right kinds.
    public void AConnectionInAStormFailsInOrder()
    {
        TarnCommand[] commands = { Command("SELECT 1"), Command(endless),
                                   Command("SELECT 2 UNION ALL SELECT 3") };
        commands[2].FetchSize = 1;
        bool over = false;
        var threads = new List<Task>();
        foreach (TarnCommand each in commands)
            threads.Add(Task.Run(() => { while (!Volatile.Read(ref over)) Tolerate(() => ReadAll(each)); }));
        Task running = Task.WhenAll(threads);
        Task cancelling = Task.Run(() =>
        {
            while (!running.IsCompleted) foreach (TarnCommand each in commands) each.Cancel();
        });
        for (int round = 0; round < 100; ++round)
        {
            Tolerate(Connection.Close);
            Tolerate(Connection.Open);
            Tolerate(() => { using (Connection.BeginTransaction()) commands[0].ExecuteScalar(); });
        }
        Volatile.Write(ref over, true);
        Check.True(cancelling.Wait(60000), "a thread hangs");
        running.Wait();
        Connection.Close();
        Connection.Open();
        Check.Equal(1L, commands[0].ExecuteScalar());
    }

    private static void ReadAll(TarnCommand command)
    {
        using (TarnDataReader reader = command.ExecuteReader())
            while (reader.Read()) reader.GetInt64(0);
    }

    private static void Tolerate(Action action)
    {
        try
        {
            action();
        }
        catch (InvalidOperationException)
        {
            // closed, or not open yet
        }
        catch (TarnException)
        {
            // cancelled, or the link has gone
        }
    }

    public void TheEncryptedChannelDoesTheSame()
    {
        using (TarnConnection connection = Open("use_ssl=on"))
        using (var command = new TarnCommand("SELECT ?", connection))
        {
            command.Parameters.Add("encrypted");
            Check.Equal("encrypted", command.ExecuteScalar());
        }
    }

    public void ClosingWaitsAndResultsOutliveIt()
    {
        TarnDataReader reader = Command("SELECT 'still here'").ExecuteReader();
        Connection.Close();
        Check.True(reader.Read() && reader.GetString(0) == "still here", "the result");
        reader.Dispose();
        Check.Throws<InvalidOperationException>(() => One("SELECT 1"));
        Connection.Open();
        Check.Equal(1L, One("SELECT 1"));
    }

    public void LinesOfTheLibraryGoToTheEvent()
    {
        var lines = new List<string>();
        EventHandler<TarnLineEventArgs> handler = (sender, line) =>
        {
            lock (lines) lines.Add((line.IsProtocol ? "protocol " : "printed ") + line.Text);
            throw new InvalidOperationException("dropped");
        };
        TarnLog.Line += handler;
        try
        {
            Check.Throws<TarnException>(() => Run("SELECT * FROM nowhere"));
            Check.True(lines.Exists(line => line.StartsWith("printed ") && line.Contains("nowhere")),
                       string.Join("\n", lines));
            TarnLog.TraceProtocol(1, 100);
            Run("SELECT 'traced'");
            Check.True(lines.Exists(line => line.StartsWith("protocol ") && line.Contains("SELECT 'traced'")),
                       string.Join("\n", lines));
            Check.Throws<ArgumentOutOfRangeException>(() => TarnLog.TraceProtocol(9, 0));
        }
        finally
        {
            TarnLog.TraceProtocol(0, 100);
            TarnLog.Line -= handler;
        }
    }

    /// Connections, readers, prepared statements and cursors that nobody closes: the process lives, and its
    /// sockets are closed.
    public void WhatIsForgottenIsReleased()
    {
        int before = OpenFiles();
        var forgetting = new Thread(Forget);
        forgetting.Start();
        forgetting.Join();
        int open = 0;
        // A collector that scans the stack may keep some.
        for (int i = 0; i < 100 && (open = OpenFiles() - before) > 10; ++i)
        {
            GC.Collect();
            GC.WaitForPendingFinalizers();
        }
        Check.True(open <= 10, open + " of 100 connections are open");
        // A session has room for 256 cursors: those of forgotten readers are closed before later statements.
        for (int i = 0; i < 400; ++i)
        {
            ForgetCursor();
            if (i % 100 != 99) continue;
            GC.Collect();
            GC.WaitForPendingFinalizers();
        }
        Check.Equal(1L, One("SELECT 1"));
    }

    [MethodImpl(MethodImplOptions.NoInlining)]
    private static void Forget()
    {
        for (int i = 0; i < 100; ++i)
        {
            TarnCommand command = Open().CreateCommand();
            command.CommandText = "SELECT 1";
            command.Prepare();
            command.CommandText = "SELECT 1; SELECT 2";
            command.ExecuteReader().Read();
        }
    }

    [MethodImpl(MethodImplOptions.NoInlining)]
    private void ForgetCursor()
    {
        TarnCommand command = Command("SELECT 1 UNION ALL SELECT 2");
        command.FetchSize = 1;
        command.ExecuteReader().Read();
    }

    /// Items that nobody reads are released too, with their readers and where a command gives them up.
    public void UnreadResultsAreReleased()
    {
        const string statements = "SELECT 1; SELECT zeroblob(4000000); SELECT zeroblob(4000000)";
        long before = 0;
        for (int i = 0; i < 60; ++i)
        {
            if (i == 10) before = Resident();
            using (TarnDataReader reader = Command(statements).ExecuteReader()) reader.Read();
            Check.Throws<TarnException>(() => Run(statements + "; SELECT * FROM nowhere"));
        }
        Check.True(Resident() - before < 100 << 20, "it keeps " + (Resident() - before) + " bytes");
    }

    private static long Resident()
    {
        GC.Collect();
        return long.Parse(File.ReadAllText("/proc/self/statm").Split(' ')[1]) * Environment.SystemPageSize;
    }

    private static int OpenFiles()
    {
        return Directory.GetFiles("/proc/self/fdinfo").Length;
    }
}
