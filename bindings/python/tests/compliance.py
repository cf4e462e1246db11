"""The public compliance suite of the DB API 2.0, and what it leaves to each module.

The suite is no part of this tree: DBAPI20_SUITE names the directory where scripts/dbapi20_suite.sh has put it.
"""

import os
import sys
import unittest

import tarnsql
from support import Server

suite = os.environ.get("DBAPI20_SUITE", "")
if not os.path.exists(os.path.join(suite, "dbapi20.py")):
    sys.exit(f"skipped: no dbapi20.py in '{suite}' (DBAPI20_SUITE); scripts/dbapi20_suite.sh fetches it")
sys.path.insert(0, suite)
import dbapi20  # noqa: E402


class Compliance(dbapi20.DatabaseAPI20Test):
    driver = tarnsql
    lower_func = None  # the development server has no such procedure

    def setUp(self):
        server = Server()
        self.addCleanup(server.stop)
        self.connect_kw_args = server.settings

    def test_close(self):
        """As in the suite, but a second close is harmless."""
        connection = self._connect()
        uses = [connection.cursor().execute, lambda sql: connection.commit(), lambda sql: connection.cursor()]
        connection.close()
        connection.close()
        for use in uses:
            self.assertRaises(tarnsql.InterfaceError, use, self.ddl1)

    # The suite has stubs of these. test_statements.py moves through results; sizes have no effect.
    test_nextset = test_setoutputsize = None


if __name__ == "__main__":
    unittest.main()
