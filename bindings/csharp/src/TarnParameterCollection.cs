using System;
using System.Collections;
using System.Collections.Generic;
using System.Data.Common;

namespace Tarnsql
{
    /// <summary>The parameters of a command: all by position, or all by name.</summary>
    public sealed class TarnParameterCollection : DbParameterCollection
    {
        private readonly List<TarnParameter> list = new List<TarnParameter>();

        internal TarnParameterCollection()
        {
        }

        /// <summary>The number of parameters.</summary>
        public override int Count
        {
            get { return list.Count; }
        }

        /// <summary>The object to lock for use by several threads.</summary>
        public override object SyncRoot
        {
            get { return ((ICollection)list).SyncRoot; }
        }

        /// <summary>False.</summary>
        public override bool IsFixedSize
        {
            get { return false; }
        }

        /// <summary>False.</summary>
        public override bool IsReadOnly
        {
            get { return false; }
        }

        /// <summary>False.</summary>
        public override bool IsSynchronized
        {
            get { return false; }
        }

        /// <summary>The parameter at an index.</summary>
        public new TarnParameter this[int index]
        {
            get { return list[index]; }
            set { list[index] = Own(value); }
        }

        /// <summary>The parameter of a name.</summary>
        public new TarnParameter this[string parameterName]
        {
            get { return list[Known(parameterName)]; }
            set { list[Known(parameterName)] = Own(value); }
        }

        /// <summary>Adds a TarnParameter, or a value as the next parameter by position; returns its
        /// index.</summary>
        public override int Add(object value)
        {
            list.Add(value is TarnParameter ? (TarnParameter)value : new TarnParameter("", value));
            return list.Count - 1;
        }

        /// <summary>Adds a parameter and returns it.</summary>
        public TarnParameter Add(TarnParameter value)
        {
            list.Add(Own(value));
            return value;
        }

        /// <summary>Adds a parameter by name and returns it.</summary>
        public TarnParameter AddWithValue(string parameterName, object value)
        {
            return Add(new TarnParameter(parameterName, value));
        }

        /// <summary>Adds all of them, parameters or values.</summary>
        public override void AddRange(Array values)
        {
            foreach (object value in values) Add(value);
        }

        /// <summary>Removes all.</summary>
        public override void Clear()
        {
            list.Clear();
        }

        /// <summary>Whether the parameter is there.</summary>
        public override bool Contains(object value)
        {
            return IndexOf(value) >= 0;
        }

        /// <summary>Whether there is a parameter of this name.</summary>
        public override bool Contains(string value)
        {
            return IndexOf(value) >= 0;
        }

        /// <summary>Copies the parameters.</summary>
        public override void CopyTo(Array array, int index)
        {
            ((ICollection)list).CopyTo(array, index);
        }

        /// <summary>Enumerates the parameters.</summary>
        public override IEnumerator GetEnumerator()
        {
            return list.GetEnumerator();
        }

        /// <summary>The index of a parameter; -1 when it is not there.</summary>
        public override int IndexOf(object value)
        {
            return list.IndexOf(value as TarnParameter);
        }

        /// <summary>The index of a name, ignoring case and prefix; -1 when it is not there.</summary>
        public override int IndexOf(string parameterName)
        {
            string plain = new TarnParameter(parameterName, null).PlainName;
            return list.FindIndex(
                each => string.Equals(each.PlainName, plain, StringComparison.OrdinalIgnoreCase));
        }

        /// <summary>Inserts a parameter.</summary>
        public override void Insert(int index, object value)
        {
            list.Insert(index, Own(value));
        }

        /// <summary>Removes a parameter.</summary>
        public override void Remove(object value)
        {
            list.Remove(Own(value));
        }

        /// <summary>Removes the parameter at an index.</summary>
        public override void RemoveAt(int index)
        {
            list.RemoveAt(index);
        }

        /// <summary>Removes the parameter of a name.</summary>
        public override void RemoveAt(string parameterName)
        {
            list.RemoveAt(Known(parameterName));
        }

        /// <summary>The parameter at an index.</summary>
        protected override DbParameter GetParameter(int index)
        {
            return list[index];
        }

        /// <summary>The parameter of a name.</summary>
        protected override DbParameter GetParameter(string parameterName)
        {
            return this[parameterName];
        }

        /// <summary>Replaces the parameter at an index.</summary>
        protected override void SetParameter(int index, DbParameter value)
        {
            list[index] = Own(value);
        }

        /// <summary>Replaces the parameter of a name.</summary>
        protected override void SetParameter(string parameterName, DbParameter value)
        {
            list[Known(parameterName)] = Own(value);
        }

        private int Known(string parameterName)
        {
            int index = IndexOf(parameterName);
            if (index < 0) throw new ArgumentException("there is no parameter " + parameterName);
            return index;
        }

        private static TarnParameter Own(object value)
        {
            var parameter = value as TarnParameter;
            if (parameter == null) throw new ArgumentException("only a TarnParameter is allowed here");
            return parameter;
        }
    }
}
