using System.Data.Common;

namespace Tarnsql
{
    /// <summary>Makes the provider's objects, for code that works with any provider.</summary>
    public sealed class TarnFactory : DbProviderFactory
    {
        /// <summary>The factory.</summary>
        public static readonly TarnFactory Instance = new TarnFactory();

        private TarnFactory()
        {
        }

        /// <summary>A connection.</summary>
        public override DbConnection CreateConnection()
        {
            return new TarnConnection();
        }

        /// <summary>A command.</summary>
        public override DbCommand CreateCommand()
        {
            return new TarnCommand();
        }

        /// <summary>A parameter.</summary>
        public override DbParameter CreateParameter()
        {
            return new TarnParameter();
        }

        /// <summary>A builder of connection strings.</summary>
        public override DbConnectionStringBuilder CreateConnectionStringBuilder()
        {
            return new TarnConnectionStringBuilder();
        }

        /// <summary>An adapter that fills data sets.</summary>
        public override DbDataAdapter CreateDataAdapter()
        {
            return new TarnDataAdapter();
        }
    }

    /// <summary>Fills data sets from commands, and runs commands for their changes.</summary>
    public sealed class TarnDataAdapter : DbDataAdapter
    {
        /// <summary>An adapter without commands.</summary>
        public TarnDataAdapter()
        {
        }

        /// <summary>An adapter with this query.</summary>
        public TarnDataAdapter(TarnCommand selectCommand)
        {
            SelectCommand = selectCommand;
        }
    }
}
