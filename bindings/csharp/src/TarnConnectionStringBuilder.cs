using System;
using System.Collections.Generic;
using System.Data.Common;
using System.Globalization;
using System.Net;
using System.Net.Sockets;
using System.Text;

namespace Tarnsql
{
    /// <summary>
    /// A connection string: the keys of the library with all their synonyms, and the time-outs of the
    /// provider. Case, blanks and underscores in keys do not matter; unknown keys are refused.
    /// </summary>
    public sealed class TarnConnectionStringBuilder : DbConnectionStringBuilder
    {
        private const int longestTimeout = 2000000; // seconds; in milliseconds it fits 32 bits

        private sealed class Key
        {
            internal string Name;
            internal string Native; // null: the provider's own
            internal bool IsNumber;
        }

        private static readonly Dictionary<string, Key> keys = new Dictionary<string, Key>();

        static TarnConnectionStringBuilder()
        {
            Add("Server", "server", "ip", "host", "data source");
            Add("Addresses", "ips");
            Add("Port", "port").IsNumber = true;
            Add("Database", "db", "initial catalog");
            Add("User Id", "user", "uid");
            Add("Password", "password", "pwd");
            Add("Character Set", "char_set");
            Add("Isolation Level", "iso_level");
            Add("Current Schema", "current_schema");
            Add("Keyword Filter", "keyword_filter");
            Add("Auto Commit", "auto_commit");
            Add("Use Ssl", "use_ssl", "ssl");
            Add("Lock Timeout", "lock_timeout").IsNumber = true;
            Add("Lob Descriptors", "lob_ret");
            Add("Return Cursor Id", "return_cursor_id");
            Add("Use Server Cursors", "use_srvcursor");
            Add("Time Zone", "time_zone");
            Add("Return Rowid", "return_rowid");
            Add("Connect Timeout", null, "connection timeout", "timeout").IsNumber = true;
            Add("Command Timeout", null, "default command timeout").IsNumber = true;
            keys["isolevel"] = keys["isolationlevel"];
        }

        /// <summary>An empty string.</summary>
        public TarnConnectionStringBuilder()
        {
        }

        /// <summary>The settings of a connection string.</summary>
        public TarnConnectionStringBuilder(string connectionString)
        {
            ConnectionString = connectionString;
        }

        /// <summary>The server: a numeric IPv4 address, or a name that the system resolves to one.</summary>
        public string Server
        {
            get { return Text("Server"); }
            set { this["Server"] = value; }
        }

        /// <summary>Addresses separated by commas, instead of one server: tries a random one first, others
        /// when it refuses the connection.</summary>
        public string Addresses
        {
            get { return Text("Addresses"); }
            set { this["Addresses"] = value; }
        }

        /// <summary>The TCP port; 0 when none is set.</summary>
        public int Port
        {
            get { return Number("Port", 0); }
            set { this["Port"] = value; }
        }

        /// <summary>The database.</summary>
        public string Database
        {
            get { return Text("Database"); }
            set { this["Database"] = value; }
        }

        /// <summary>The user.</summary>
        public string UserId
        {
            get { return Text("User Id"); }
            set { this["User Id"] = value; }
        }

        /// <summary>The password. The login cannot carry one with a quote (').</summary>
        public string Password
        {
            get { return Text("Password"); }
            set { this["Password"] = value; }
        }

        /// <summary>The character set of the session, by a name that .NET knows too; UTF-8 when
        /// empty.</summary>
        public string CharacterSet
        {
            get { return Text("Character Set"); }
            set { this["Character Set"] = value; }
        }

        /// <summary>Whether statements outside a transaction commit by themselves; true when not
        /// set.</summary>
        public bool AutoCommit
        {
            get { return Switch("Auto Commit", true); }
            set { this["Auto Commit"] = value ? "on" : "off"; }
        }

        /// <summary>Whether to ask for an encrypted channel, which only stops casual reading of the
        /// traffic.</summary>
        public bool UseSsl
        {
            get { return Switch("Use Ssl", false); }
            set { this["Use Ssl"] = value ? "on" : "off"; }
        }

        /// <summary>Whether large objects come as descriptors, whose contents are fetched when they are
        /// read.</summary>
        public bool LobDescriptors
        {
            get { return Text("Lob Descriptors").Length > 0; }
            set { this["Lob Descriptors"] = value ? "descriptor" : null; }
        }

        /// <summary>Seconds that the server waits for a lock; 300 when not set.</summary>
        public int LockTimeout
        {
            get { return Number("Lock Timeout", 300); }
            set { this["Lock Timeout"] = value; }
        }

        /// <summary>Seconds to wait for the connection and for each answer of the login; 15 when not set, 0:
        /// no limit.</summary>
        public int ConnectTimeout
        {
            get { return Number("Connect Timeout", 15); }
            set { this["Connect Timeout"] = value; }
        }

        /// <summary>The CommandTimeout of new commands; 0 when not set: as long as the library
        /// waits.</summary>
        public int CommandTimeout
        {
            get { return Number("Command Timeout", 0); }
            set { this["Command Timeout"] = value; }
        }

        /// <summary>The value of a key, null when it is not set; setting null removes it.</summary>
        public override object this[string keyword]
        {
            get
            {
                object value;
                return TryGetValue(keyword, out value) ? value : null;
            }
            set
            {
                Key key = Find(keyword);
                if (value == null)
                {
                    base.Remove(key.Name);
                    return;
                }
                string text = Convert.ToString(value, CultureInfo.InvariantCulture);
                if (key.IsNumber) CheckNumber(key, text);
                base[key.Name] = text;
            }
        }

        /// <summary>Whether the key is set.</summary>
        public override bool ContainsKey(string keyword)
        {
            Key key;
            return keys.TryGetValue(Plain(keyword), out key) && base.ContainsKey(key.Name);
        }

        /// <summary>Removes a setting; returns whether it was there.</summary>
        public override bool Remove(string keyword)
        {
            return base.Remove(Find(keyword).Name);
        }

        /// <summary>The value of a key.</summary>
        public override bool TryGetValue(string keyword, out object value)
        {
            Key key;
            value = null;
            return keys.TryGetValue(Plain(keyword), out key) && base.TryGetValue(key.Name, out value);
        }

        /// <summary>The string for the library. Throws for values that it cannot hold; the library reports
        /// other mistakes.</summary>
        internal string ForLibrary()
        {
            if (Server.Length == 0 && Addresses.Length == 0)
                throw new ArgumentException("the connection string names no server");
            var text = new StringBuilder();
            foreach (Key key in new HashSet<Key>(keys.Values))
            {
                if (key.Native == null || !base.ContainsKey(key.Name)) continue;
                if (key.Native == "server" && Addresses.Length > 0) continue;
                string value = Text(key.Name);
                bool holdsList = value.IndexOf("ips=", StringComparison.OrdinalIgnoreCase) >= 0;
                if (holdsList || value.IndexOf(';') >= 0 || value != value.Trim(' '))
                    throw new ArgumentException(
                        key.Name + " cannot be sent: it holds ';' or 'ips=', or begins or ends with a blank");
                text.Append(key.Native)
                    .Append('=')
                    .Append(key.Native == "server" ? AddressOf(value) : value)
                    .Append(';');
            }
            return text.ToString();
        }

        // The library accepts only numeric addresses.
        private static string AddressOf(string server)
        {
            try
            {
                IPAddress given;
                if (IPAddress.TryParse(server, out given)) return server;
                foreach (IPAddress address in Dns.GetHostAddresses(server))
                    if (address.AddressFamily == AddressFamily.InterNetwork) return address.ToString();
            }
            catch (SocketException error)
            {
                throw new TarnException(Native.TRN_ERR_CONNECT,
                                        "the server " + server + " is not known: " + error.Message, error);
            }
            throw new TarnException(Native.TRN_ERR_CONNECT, "the server " + server + " has no IPv4 address");
        }

        private static Key Add(string name, string native, params string[] others)
        {
            var key = new Key { Name = name, Native = native };
            keys[Plain(name)] = key;
            if (native != null) keys[Plain(native)] = key;
            foreach (string other in others) keys[Plain(other)] = key;
            return key;
        }

        private static string Plain(string keyword)
        {
            if (keyword == null) throw new ArgumentNullException("keyword");
            return keyword.Replace(" ", "").Replace("_", "").ToLowerInvariant();
        }

        private static Key Find(string keyword)
        {
            Key key;
            if (!keys.TryGetValue(Plain(keyword), out key))
                throw new ArgumentException("not a key of a connection string: " + keyword);
            return key;
        }

        private static void CheckNumber(Key key, string text)
        {
            int number, most = key.Native == "port" ? ushort.MaxValue : longestTimeout;
            if (!int.TryParse(text, NumberStyles.None, CultureInfo.InvariantCulture, out number) ||
                number > most)
                throw new ArgumentException(key.Name + " is a number from 0 to " + most);
        }

        private string Text(string key)
        {
            object value;
            return base.TryGetValue(key, out value) ? (string)value : "";
        }

        private int Number(string key, int otherwise)
        {
            string text = Text(key);
            return text.Length > 0 ? int.Parse(text, CultureInfo.InvariantCulture) : otherwise;
        }

        private bool Switch(string key, bool otherwise)
        {
            switch (Text(key).ToLowerInvariant())
            {
                case "on": case "yes": case "true": return true;
                case "off": case "no": case "false": return false;
                default: return otherwise;
            }
        }
    }
}
