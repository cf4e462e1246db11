using System;
using System.Reflection;
using System.Runtime.InteropServices;

[assembly: AssemblyTitle("tarnsql")]
[assembly: AssemblyDescription("ADO.NET provider of the TARNDBMS database server")]
[assembly: AssemblyVersion("1.1.0.0")]
[assembly: CLSCompliant(false)]
[assembly: ComVisible(false)]
