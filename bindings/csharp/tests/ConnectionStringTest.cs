using System;
using System.Data;
using Tarnsql;

internal sealed class ConnectionStringTest
{
    public void SynonymsAreOneKey()
    {
        foreach (string spelled in new[] { "User Id=ada", "user_id=ada", "UID=ada", "userid=ada",
                                           "user=x;UserId=ada" })
        {
            var builder = new TarnConnectionStringBuilder(spelled);
            Check.Equal("ada", builder.UserId, spelled);
            Check.Equal(1, builder.Count, spelled);
            Check.True(builder.ContainsKey("uid") && builder.Remove("USER") && builder.UserId == "", spelled);
        }
        const string many =
            "ip=127.0.0.1;db=d;pwd=p;lobret=x;ssl=on;autocommit=off;lock_timeout=7;charset=UTF8;timeout=3";
        var all = new TarnConnectionStringBuilder(many);
        object[] settings = { all.Server,         all.Database,      all.Password,    all.LobDescriptors,
                              all.UseSsl,         all.AutoCommit,    all.LockTimeout, all.CharacterSet,
                              all.ConnectTimeout, all.CommandTimeout };
        Check.Equal("127.0.0.1 d p True True False 7 UTF8 3 0", string.Join(" ", settings));
        Check.Equal(all.ConnectionString,
                    new TarnConnectionStringBuilder(all.ConnectionString).ConnectionString);
    }

    public void MistakesAreTold()
    {
        foreach (string wrong in new[] { "servr=127.0.0.1", "port=65536", "port=x", "connect timeout=-1",
                                         "command timeout=2000001" })
            Check.Throws<ArgumentException>(() => new TarnConnectionStringBuilder(wrong), wrong);
        foreach (string wrong in new[] { "port=1;user=u", "server=127.0.0.1;password=\"a;b\"",
                                         "server=127.0.0.1;password=\" a\"",
                                         "server=127.0.0.1;user=IPS=127.0.0.2",
                                         "server=127.0.0.1;charset=UTF-16", "server=127.0.0.1;charset=none" })
            Check.Throws<ArgumentException>(() => new TarnConnection(wrong).Open(), wrong);
    }

    /// With a quote in it a password would name another user.
    public void QuotesAreRefusedByTheLibrary()
    {
        foreach (string key in new[] { "Password", "User Id", "Database" })
        {
            var builder = new TarnConnectionStringBuilder(Check.ConnectionString);
            builder[key] = "x' user='two";
            var error =
                Check.Throws<TarnException>(() => new TarnConnection(builder.ConnectionString).Open(), key);
            Check.Equal("EX004", error.Code, key);
            Check.Equal(Native.TRN_ERR_ARGUMENT, error.ErrorCode, key);
            Check.True(!error.Message.Contains("two"), "the value shows: " + error.Message);
        }
    }

    public void FailuresToConnectTellWhy()
    {
        var builder = new TarnConnectionStringBuilder(Check.ConnectionString) { Port = 1 };
        using (var connection = new TarnConnection(builder.ConnectionString))
        {
            var error = Check.Throws<TarnException>(connection.Open);
            Check.Equal("EX002", error.Code);
            Check.Equal(ConnectionState.Closed, connection.State);
            builder.Server = "no-such-host.invalid";
            connection.ConnectionString = builder.ConnectionString;
            Check.Equal(Native.TRN_ERR_CONNECT, Check.Throws<TarnException>(connection.Open).Status);
        }
    }

    public void NamesAndListsOfServersAreTaken()
    {
        foreach (string server in new[] { "server=localhost", "addresses=127.0.0.1,127.0.0.1" })
        {
            using (var connection = new TarnConnection(Check.ConnectionString + ";" + server))
            {
                connection.Open();
                Check.True(connection.ServerVersion.Length > 0, server);
            }
        }
    }
}
