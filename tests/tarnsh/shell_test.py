"""The shell as scripts use it."""
import json
import os
import select
import subprocess
import sys

import pexpect
from support import ENDLESS, TARNSH, Server, ShellTest, run_suite


class Formats(ShellTest):
    def setUp(self):
        super().setUp()
        self.expect(["-f", "-"], "", text="""
            CREATE TABLE t (id INTEGER, name VARCHAR(20), w DOUBLE, n NUMERIC(9,2), at DATETIME, b BLOB, ok BOOLEAN);
            INSERT INTO t VALUES (1, 'Ada', 0.1, 12.5, '2024-02-29 12:34:56.789', x'00ff', 1),
                (20, '日本語', 1e300, NULL, NULL, NULL, 0),
                (NULL, 'a|"b",' || char(10) || char(27), NULL, 3, NULL, NULL, NULL);""")

    def test_every_format_shows_the_same_rows(self):
        goldens = {
            "table": "  id | name         |      w |     n | at                      | b      | ok\n"
                     "-----+--------------+--------+-------+-------------------------+--------+-----\n"
                     "   1 | Ada          |    0.1 | 12.50 | 2024-02-29 12:34:56.789 | 0x00ff | T\n"
                     "  20 | 日本語       | 1e+300 |  NULL | NULL                    | NULL   | F\n"
                     "NULL | a|\"b\",\\n\\x1b |   NULL |  3.00 | NULL                    | NULL   | NULL\n",
            "csv": "id,name,w,n,at,b,ok\n1,Ada,0.1,12.50,2024-02-29 12:34:56.789,0x00ff,T\n"
                   "20,日本語,1e+300,,,,F\n,\"a|\"\"b\"\",\n\x1b\",,3.00,,,\n",
            "markdown": "| id | name | w | n | at | b | ok |\n| ---: | --- | ---: | ---: | --- | --- | --- |\n"
                        "| 1 | Ada | 0.1 | 12.50 | 2024-02-29 12:34:56.789 | 0x00ff | T |\n"
                        "| 20 | 日本語 | 1e+300 | NULL | NULL | NULL | F |\n"
                        "| NULL | a\\|\"b\",\\n\\x1b | NULL | 3.00 | NULL | NULL | NULL |\n",
            "vertical": "-- row 1\nid   | 1\nname | Ada\nw    | 0.1\nn    | 12.50\nat   | 2024-02-29 12:34:56.789\n"
                        "b    | 0x00ff\nok   | T\n"
                        "-- row 2\nid   | 20\nname | 日本語\nw    | 1e+300\nn    | NULL\nat   | NULL\n"
                        "b    | NULL\nok   | F\n"
                        "-- row 3\nid   | NULL\nname | a|\"b\",\\n\\x1b\nw    | NULL\nn    | 3.00\nat   | NULL\n"
                        "b    | NULL\nok   | NULL\n",
        }
        goldens["tsv"] = "id\tname\tw\tn\tat\tb\tok\n1\tAda\t0.1\t12.50\t2024-02-29 12:34:56.789\t0x00ff\tT\n" \
                         "20\t日本語\t1e+300\t\t\t\tF\n\ta|\"b\",\\n\x1b\t\t3.00\t\t\t\n"
        for name, golden in goldens.items():
            with self.subTest(name):
                self.expect(["--format", name, "-c", "SELECT * FROM t"], golden, says="(3 rows)")

    def test_json_is_json_with_numbers_and_booleans(self):
        rows = json.loads(self.run_shell("--format", "json", "-c", "SELECT * FROM t").stdout)
        self.assertEqual(rows[0], {"id": 1, "name": "Ada", "w": 0.1, "n": 12.5, "at": "2024-02-29 12:34:56.789",
                                   "b": "0x00ff", "ok": True})
        self.assertEqual((rows[1]["w"], rows[1]["ok"], rows[1]["b"]), (1e300, False, None))
        self.assertEqual(rows[2]["name"], 'a|"b",\n\x1b')
        self.expect(["--format", "json", "-c", "SELECT * FROM t WHERE 0"], "[]\n")

    def test_settings_of_formats(self):
        query = "SELECT 7 AS n, '<a;b>' AS t"
        cases = ((["--format", "box"], "", "┌───┬───────┐\n│ n │ t     │\n├───┼───────┤\n│ 7 │ <a;b> │\n└───┴───────┘\n"),
                 (["--format", "list"], "\\pset separator ' / '\n", "n / t\n7 / <a;b>\n"),
                 (["--format", "html"], "", "<table>\n<tr><th>n</th><th>t</th></tr>\n"
                                            "<tr><td align=\"right\">7</td><td>&lt;a;b&gt;</td></tr>\n</table>\n"),
                 (["--format", "csv", "--delimiter", ";", "--quote", "'"], "", "n;t\n7;'<a;b>'\n"),
                 ([], "\\x on\n", "-- row 1\nn | 7\nt | <a;b>\n"),
                 ([], "\\pset width 12\n", "n | t\n--+------\n7 | <a;b>\n"),
                 ([], "\\pset width 11\n\\pset overflow cut\n", "n | t\n--+------\n7 | <a;b>\n"))
        for options, before, rows in cases:
            with self.subTest(options=options, before=before):
                self.expect([*options, "-q", "-c", before + query], rows)
        long = "SELECT 'é' || printf('%.20c', 'x') || 'end' AS t, 1 AS n"
        for overflow, rows in (("wrap", "éxxxxxxxxxxx | 1\nxxxxxxxxxend |  \n"), ("cut", "éxxxxxxxxxx… | 1\n")):
            self.expect(["-q", "--no-header", "-c", f"\\pset width 16\n\\pset overflow {overflow}\n{long}"], rows)

    def test_long_values_pass_through_in_pieces(self):
        self.run_shell("-c", "CREATE TABLE l (b BLOB, c CLOB); "
                             "INSERT INTO l VALUES (zeroblob(70001), printf('%.100000c', 'x') || 'é|\"end')")
        digits, text = "0x" + "00" * 70001, "x" * 100000
        cases = {"table": f"{digits} | {text}é|\"end\n", "csv": f"{digits},\"{text}é|\"\"end\"\n",
                 "list": f"{digits}|{text}é|\"end\n", "markdown": None, "json": None}
        for form in ("", ";lob_ret=descriptor"):
            for name, rows in cases.items():
                with self.subTest(name, form=form):
                    done = self.run_shell("-q", "--no-header", "--format", name, "-c", "SELECT b, c FROM l",
                                          connection=[self.server.connection + form])
                    self.assertIn(rows or text + {"json": 'é|\\"end"', "markdown": 'é\\|"end'}[name], done.stdout)

    def test_nulls_and_headers_follow_the_options(self):
        self.expect(["--format", "csv", "--null", "-", "--no-header", "-c", "SELECT NULL, '-', 'x'"], '-,"-",x\n')
        self.expect(["--null", "", "--no-header", "-c", "SELECT NULL AS a, 1 AS b"], "  | 1\n")

    def test_a_table_goes_on_after_its_measured_rows(self):
        columns = "SELECT CASE n WHEN 1500 THEN 'much wider' ELSE 'x' END a, n FROM"
        lines = self.run_shell("-c", ENDLESS.replace("SELECT n FROM", columns) + " LIMIT 2000").stdout.splitlines()
        self.assertEqual((len(lines), lines[2], lines[1501], lines[2001]),
                         (2002, "x |    1", "much wider | 1500", "x | 2000"))

    def test_large_object_descriptors_are_fetched(self):
        self.run_shell("-c", "CREATE TABLE l (b BLOB, c CLOB); "
                             "INSERT INTO l VALUES (zeroblob(70000), 'short')")
        done = self.run_shell("--format", "csv", "--no-header", "-c", "SELECT c, b FROM l",
                              connection=[self.server.connection + ";lob_ret=descriptor"])
        self.assertEqual(done.stdout, "short,0x" + "00" * 70000 + "\n")


class Scripts(ShellTest):
    def test_statements_end_outside_of_quotes_comments_and_bodies(self):
        script = """\ufeffCREATE TABLE t (a INTEGER); -- ; not here
            /* nor ; here */ SELECT ';"' AS "a;b", 7 -- x ;
            / 2 AS half;; \\format csv\r
            CREATE TRIGGER r AFTER INSERT ON t BEGIN
              UPDATE t SET a = CASE WHEN a > 1 THEN 5 END; DELETE FROM t WHERE a IS NULL;
            END;
/
            INSERT INTO t VALUES (9); SELECT a\r
            FROM t"""
        self.expect(["-q", "-f", "-"], 'a;b | half\n----+-----\n;"  |    3\na\n5\n', text=script)

    def test_rows_of_a_pipe_appear_as_statements_arrive(self):
        shell = subprocess.Popen([TARNSH, self.server.connection, "-q", "--format", "csv", "--no-header"],
                                 stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True, bufsize=1)
        for number in ("1", "2"):
            shell.stdin.write(f"SELECT {number};\n")
            self.assertTrue(select.select([shell.stdout], [], [], 30)[0], "no rows before the end of input")
            self.assertEqual(shell.stdout.readline(), number + "\n")
        shell.communicate()

    def test_a_script_stops_at_its_first_failure_and_names_the_line(self):
        script = self.folder / "s.sql"
        script.write_text("SELECT 1;\n\nSELECT\n nope;\nSELECT 2;\n")
        self.expect(["--format", "csv", "-f", str(script)], "1\n1\n", 3, f"{script}:3: no such column: nope")
        self.expect(["-q", "-c", "SELECT 1; \\q\nSELECT 2"], "1\n-\n1\n")

    def test_rows_go_to_a_file_and_catalogue_and_watch_print_as_rows(self):
        rows = self.folder / "rows"
        self.expect(["-q", "-o", str(rows), "--format", "csv", "-c",
                     "CREATE TABLE t (a INTEGER NOT NULL, b TEXT DEFAULT 'x', PRIMARY KEY (a)); \\d\n\\d main.t\n"
                     "SELECT 4;\n\\watch 0.01 2"], "")
        self.assertEqual(rows.read_text(), "name,kind\nt,table\nname,type,not null,default,key\na,INTEGER,yes,,1\n"
                                           "b,TEXT,,'x',\n" + "4\n4\n" * 3)

    def test_commands_of_scripts(self):
        (self.folder / "sub").mkdir()
        (self.folder / "sub" / "a.sql").write_text("\\echo a :n\n\\ir b.sql\nSELECT :n + 1, :'n', ':n' -- :n\n;")
        (self.folder / "sub" / "b.sql").write_text("\\set n 41\n")
        out = self.folder / "out"
        cases = (
            (f"\\i {self.folder}/sub/a.sql", "a 7\n42,41,:n\n", 0, ""),
            ("\\set t it's\nSELECT :n, :'t' \\g", "7,it's\n", 0, ""),
            ("\\unset n\n\\set\nSELECT ':n';", ":n\n", 0, ""),
            ("SELECT 1 \\gx\nSELECT 2\n\\g\nSELECT 3 \\p", "-- row 1\n1 | 1\n2\nSELECT 3\n3\n", 0, ""),
            (f"SELECT 5 \\g {out}\n\\! cat {out}", "5\n", 0, ""),
            ("SELECT 6 \\g |sed s/6/six/", "six\n", 0, ""),
            (f"\\o {out}\nSELECT 8;\n\\o\nSELECT 9;\n\\! cat {out}", "9\n8\n", 0, ""),
            (f"\\cd {self.folder}\n\\! ls sub", "a.sql\nb.sql\n", 0, ""),
            ("SELECT 1 nonsense \\r\nSELECT 2;", "2\n", 0, ""),
            (f"\\tee {out}2\nSELECT 8;\n\\tee\nSELECT 9;\n\\! cat {out}2", "8\n9\nSELECT 8;\n8\n", 0, ""),
            ("CREATE VIEW v AS SELECT 1;\n\\dv\n\\dt\n", "v\n", 0, ""),
            ("SELECT 6 \\watch 0.01 2\n", "6\n6\n", 0, ""),
            ("\\pset nothing 1", "", 1, "usage"), ("\\pset null -\nSELECT NULL;", "-\n", 0, ""),
            ("\\! exit 3", "", 1, "the command ended with 3"), (f"\\cd {self.folder}/none", "", 1, "cannot go to"),
            ("exit\n", "", 0, ""), ("SELECT 1; quit; SELECT 2", "1\n", 0, ""), ("help;", "", 0, "\\copy"))
        for script, rows, code, says in cases:
            with self.subTest(script):
                self.expect(["-q", "--format", "csv", "--no-header", "-v", "n=7", "-f", "-"], rows, code, says, text=script)

    def test_failures_are_passed_or_undone_as_asked(self):
        table = "CREATE TABLE t (a INTEGER PRIMARY KEY);"
        self.run_shell("-c", table)
        script = "INSERT INTO t VALUES (1);\nINSERT INTO t VALUES (1);\nINSERT INTO t VALUES (2);"
        for options, code, rows in ((["-1"], 3, ""), (["--continue-on-error"], 3, "1\n2\n"), ([], 3, "1\n")):
            with self.subTest(options):
                self.run_shell("-c", "DELETE FROM t")
                self.expect([*options, "-f", "-"], "", code, "standard input:2: UNIQUE", text=script)
                self.assertEqual(self.rows_of("SELECT a FROM t"), rows)
        self.run_shell("-c", "DELETE FROM t")
        self.expect(["-1", "-c", "INSERT INTO t VALUES (3)"], "")
        self.assertEqual(self.rows_of("SELECT a FROM t"), "3\n")

    def test_echo_and_log(self):
        log = self.folder / "log"
        done = self.expect(["-e", "--log", str(log), "--format", "csv", "-c", "SELECT 1 AS a; SELECT 2 AS b"], "a\n1\nb\n2\n")
        self.assertIn("SELECT 1 AS a;\n", done.stderr)
        self.assertEqual(log.read_text(), "SELECT 1 AS a;\na\n1\nSELECT 2 AS b;\nb\n2\n")

    def test_memory_is_bounded_for_any_number_of_rows(self):
        script = "import resource, subprocess, sys\n" \
                 "subprocess.run(sys.argv[1:], stdout=subprocess.DEVNULL, check=True)\n" \
                 "print(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss)"
        env = {**os.environ, "ASAN_OPTIONS": "quarantine_size_mb=1"}  # which otherwise keeps what was freed
        peaks = [int(subprocess.run([sys.executable, "-c", script, TARNSH, self.server.connection, "-q", "-c",
                                     f"{ENDLESS} LIMIT {rows}"], capture_output=True, check=True, env=env).stdout)
                 for rows in (40000, 400000)]
        self.assertLess(peaks[1], peaks[0] + 20000)


class Failures(ShellTest):
    def test_exit_codes(self):
        nobody = ["server=127.0.0.1;port=1;user=x;password=x"]
        for arguments, code, says, more in (
                (["-c", "SELECT nope"], 3, "no such column: nope", {}),
                (["-c", "EXEC FAIL('in' || char(10) || 'two')"], 3, "in\ntwo", {}),
                (["-c", "\\nope"], 1, "no command \\nope", {}),
                (["-f", "/nowhere"], 1, "/nowhere", {}),
                (["-o", "/nowhere/x", "-c", "SELECT 1"], 1, "/nowhere/x", {}),
                (["-o", "/dev/full", "-c", "SELECT 1"], 1, "No space left", {}),
                (["--format", "xml"], 1, "xml", {}),
                (["-c", "\\watch 1x"], 1, "\\watch SECONDS", {}),
                (["-c", "SELECT 1"], 1, "no server", {"connection": []}),
                (["--port", "1x"], 1, "--port", {"connection": ["--server", "x"]}),
                (["-c", "SELECT 1"], 2, "prot", {"connection": ["server=127.0.0.1;prot=1"]}),
                (["-c", "SELECT 1"], 1, "one character", {"connection": ["--delimiter", "ab", "server=127.0.0.1;port=1"]}),
                (["-1"], 1, "--single-transaction", {}), (["--connect-timeout", "x"], 1, "--connect-timeout", {}),
                (["-o", "|cat >&2; exit 3", "-c", "SELECT 1"], 1, "cannot write", {}),
                (["-v", "1=2"], 1, "NAME=VALUE", {}),
                (["-c", "\\i /nowhere"], 1, "/nowhere", {}),
                (["-c", "SELECT 1"], 2, "no address for", {"connection": [f"server={'x' * 70};port=1"]}),
                (["-c", "SELECT 1"], 2, "cannot connect", {"connection": nobody})):
            with self.subTest(arguments=arguments):
                self.expect(arguments, "", code, says, **more)

    def test_a_warning_is_told_and_is_no_failure(self):
        self.expect(["--format", "csv", "-c", "EXEC WARN('careful'); SELECT 1 AS a"], "a\n1\n", 0, "warning: careful")

    def test_lines_of_the_library_stay_out_of_the_rows(self):
        done = self.expect(["--format", "csv", "-c", "SELECT 1 AS a; SELECT nope"], "a\n1\n", 3)
        self.assertEqual(done.stderr.count("no such column"), 1)

    def test_a_closed_pipe_ends_the_shell_without_a_word(self):
        shell = subprocess.Popen([TARNSH, self.server.connection, "--format", "csv", "-c", ENDLESS],
                                 stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.assertEqual(shell.stdout.readline(), b"n\n")
        shell.stdout.close()
        self.assertEqual((shell.stderr.read(), shell.wait(60)), (b"", 0))
        shell.stderr.close()

    def test_a_link_lost_among_the_rows_ends_a_script(self):
        self.server.stop()
        self.server = Server("--fault", "drop-after=100000")
        done = self.run_shell("--format", "csv", "-c", f"{ENDLESS} LIMIT 100000; SELECT 'next'")
        self.assertEqual(done.returncode, 2)
        self.assertIn("the connection is lost", done.stderr)
        self.assertNotIn("next", done.stdout)


class Passwords(ShellTest):
    server_options = ("--user", "ada", "--password", "se=cr,et")

    def connect(self, *arguments, code, says="", **more):
        options = ["--server", "localhost", "--port", str(self.server.port), "--user", "ada"]
        self.expect(["-q", "-c", "VALUES (1)", "--no-header", *arguments], "1\n" if code == 0 else "", code, says,
                    connection=options, **more)

    def test_file_and_environment(self):
        file = self.folder / "password"
        for content, mode, code, says in (("se=cr,et\n", 0o600, 0, ""), ("se=cr,et", 0o400, 0, ""),
                                          ("se=cr,et\n", 0o640, 1, "others"), ("se=cr,et\n", 0o604, 1, "others"),
                                          ("wrong\n", 0o600, 2, "cannot connect"),
                                          ("a;b\n", 0o600, 1, "cannot be sent"),
                                          ("x" * 64, 0o600, 1, "cannot be sent")):
            with self.subTest(content=content, mode=oct(mode)):
                file.write_text(content)
                file.chmod(mode)
                self.connect("--password-file", str(file), code=code, says=says)
                file.unlink()
        self.connect("--password-file", str(file), code=1, says="No such file")
        self.connect(code=0, env={"TARNSH_PASSWORD": "se=cr,et"})
        self.connect(code=2, says="cannot connect")

    def test_service_file_and_environment(self):
        file = self.folder / ".tarnsh_service"
        plain = f"# ours\n[demo]\nserver = localhost\nport={self.server.port}\nuser = ada\n[other]\nserver = nowhere.invalid\n"
        named = {"TARNSH_SERVICE": "demo", "TARNSH_PASSWORD": "se=cr,et"}
        parts = {"TARNSH_SERVER": "127.0.0.1", "TARNSH_PORT": str(self.server.port), "TARNSH_USER": "ada", "TARNSH_PASSWORD": "se=cr,et"}
        for content, mode, arguments, env, code, says in (
                (plain, 0o644, [], named, 0, ""), (plain, 0o644, ["--service", "demo"], {"TARNSH_PASSWORD": "se=cr,et"}, 0, ""),
                (plain, 0o644, ["--user", "bob"], named, 2, "cannot connect"), (plain, 0o644, [], parts, 0, ""),
                (plain + "[demo]\npassword=se=cr,et\n", 0o600, [], {"TARNSH_SERVICE": "demo"}, 0, ""),
                (plain + "[demo]\npassword=se=cr,et\n", 0o640, [], {"TARNSH_SERVICE": "demo"}, 1, "can be read by others"),
                (plain, 0o600, ["--service", "none"], {}, 1, "no section [none]"),
                ("nonsense\n", 0o600, ["--service", "demo"], {}, 1, "tarnsh_service:1:")):
            with self.subTest(content=content, arguments=arguments, env=env):
                file.write_text(content)
                file.chmod(mode)
                self.expect(["-q", "-c", "VALUES (1)", "--no-header"], "1\n" if code == 0 else "", code, says,
                            connection=arguments, env=env)

    def test_a_password_on_the_command_line_is_hidden(self):
        shell = subprocess.Popen([TARNSH, f"server=127.0.0.1;port={self.server.port};user=ada;password=se=cr,et", "-q"],
                                 stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True, bufsize=1)
        shell.stdin.write("SELECT 1;\n")
        self.assertTrue(shell.stdout.readline())
        with open(f"/proc/{shell.pid}/cmdline", encoding="utf-8") as line:
            self.assertNotIn("cr,et", line.read())
        shell.communicate()

    def test_prompt_shows_nothing(self):
        shell = pexpect.spawn(TARNSH, ["--server", "127.0.0.1", "--port", str(self.server.port), "--user", "ada", "-c",
                                       "VALUES ('in')"], encoding="utf-8", timeout=30)
        shell.expect_exact("Password: ")
        shell.waitnoecho(10)
        shell.sendline("se=cr,et")
        shell.expect(pexpect.EOF)
        shell.close()
        self.assertIn("in", shell.before)
        self.assertNotIn("cr,et", shell.before)
        self.assertEqual(shell.exitstatus, 0)


class Copies(ShellTest):
    def setUp(self):
        super().setUp()
        self.file = self.folder / "rows of t.csv"
        self.rows = 25000  # several batches and rowsets
        self.run_shell("-c", f"""CREATE TABLE t (id INTEGER, name VARCHAR(40), w DOUBLE, b BLOB);
            INSERT INTO t WITH RECURSIVE s(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM s LIMIT {self.rows})
            SELECT n, CASE WHEN n % 9999 = 8 THEN printf('%.*c"', n * 15, 'x') WHEN n % 4 = 0 THEN 'a,"b"' || char(13, 10) || n
            WHEN n % 4 = 1 THEN 'NULL' WHEN n % 4 = 2 THEN 'é' END,
            n / 7.0, CASE n % 3 WHEN 0 THEN CAST(x'00' || n AS BLOB) END FROM s;
            CREATE TABLE u (b BLOB, w DOUBLE, name VARCHAR(40), id INTEGER)""")

    def test_a_table_comes_back_from_its_file(self):
        for options in ([], ["--null", "NULL"]):
            with self.subTest(options=options):
                script = f"\\copy (SELECT * FROM t WHERE ')' > '') TO '{self.file}'\n\\copy u FROM '{self.file}'"
                self.expect([*options, "-c", "DELETE FROM u; " + script], "", says=f"{self.rows:,} rows stored")
                self.assertEqual(self.rows_of("SELECT id, name, w, b FROM u EXCEPT SELECT * FROM t"), "")
                self.assertEqual(self.rows_of("SELECT count(*) FROM u"), f"{self.rows}\n")

    def test_copies_over_standard_streams_programs_and_other_marks(self):
        lines = "id,name\n1,x\n"
        cases = (("\\copy u FROM stdin HEADER\n" + lines + "\\.\nSELECT id, name FROM u;", "1,x\n", ""),
                 ("\\copy u FROM PROGRAM 'printf \"id\\n5\\n\"'\n\\copy u (id) TO stdout\n", "id\n5\n", ""),
                 ("\\copy (SELECT 1 AS a, 'b;c' AS d) TO /dev/stdout WITH (FORMAT csv, DELIMITER ';', QUOTE '~')\n",
                  "a;d\n1;~b;c~\n", ""),
                 ("\\copy (SELECT 1 AS a, NULL AS b) TO stdout NULL 'none' HEADER off\n", "1,none\n", ""),
                 (f"\\copy (SELECT 2 AS a) TO PROGRAM 'cat >{self.file}.x'\n\\! cat '{self.file}.x'\n", "a\n2\n", ""),
                 ("\\copy u FROM |exit_with_failure_3_", "", "has failed"))
        self.file = self.folder / "plain"
        cases = [(script.replace(str(self.folder / "rows of t.csv"), str(self.file)), *rest) for script, *rest in cases]
        for script, rows, says in cases:
            with self.subTest(script):
                self.run_shell("-c", "DELETE FROM u")
                header = [] if "TO" in script else ["--no-header"]
                self.expect(["-q", "--format", "csv", *header, "-f", "-"],
                            rows, 1 if says else 0, says, text=script)

    def test_columns_are_chosen_by_list_or_header(self):
        self.file.write_text("\ufeffID,name\r\n1,x\r\n\r\n")
        self.expect(["-q", "-c", f"\\copy u FROM '{self.file}'\n\\copy u (w, name) FROM '{self.file}'"], "")
        self.file.write_text("2,y")
        self.expect(["-q", "--no-header", "-c", f"\\copy u (id, name) FROM '{self.file}'"], "")
        self.assertEqual(self.rows_of("SELECT id, name, w FROM u"), "1,x,\n,x,1\n2,y,\n")

    def test_bad_files_are_refused_with_their_line(self):
        for content, says in (("id,nope\n1,2\n", 'no column "nope"'), ("id,ID\n1,2\n", "named twice"),
                              ("id,name\n1,a\n2\n", "line 3: 1 field for 2"),
                              ('id,name\n1,"a\n\nb"\n2,"""c"\n3,d"d\n4,e,5,6\n', "line 7: 4 fields for 2"),
                              ('id\n1\n"2\n', "line 3: a quoted field has no end"),
                              ('id\n"1"x\n', "line 2: text after"), ("b\nzz\n", "line 2: b holds binary")):
            with self.subTest(content=content):
                self.file.write_text(content)
                self.expect(["-c", f"\\copy u FROM '{self.file}'"], "", 1, says)
        self.expect(["-c", f"\\copy u FROM '{self.folder}/none'"], "", 1, "No such file")
        self.expect(["-c", f"\\copy nowhere FROM '{self.file}'"], "", 3, "no such table")
        self.expect(["-c", "\\copy u TO"], "", 1, "usage")

    def test_texts_reach_a_table_as_they_stand_and_refused_ones_are_named_by_their_line(self):
        self.run_shell("-c", "CREATE TABLE v (a TEXT, b TEXT, c INTEGER UNIQUE)")
        self.file.write_text('a,b,c\nx"y",,1\n,"q\n""r"" ",2\n"",z ,3\r\n' + "".join(f"{'l' * n},,{n}\n" for n in range(4, 300))
                             + '"\n",,300\n,,4\n,,301\n')
        self.expect(["-c", f"\\copy v FROM '{self.file}'"], "", 3, "line 304, column c ('4')")
        self.assertEqual(self.rows_of("SELECT a, b, c FROM v WHERE c < 4"), '"x""y""",,1\n,"q\n""r"" ",2\n,z ,3\n')
        self.assertEqual(self.rows_of("SELECT count(*), sum(length(a) = c) FROM v"), "300,296\n")

    def test_a_failed_batch_tells_what_stands_and_a_failed_query_leaves_the_file(self):
        self.run_shell("-c", "CREATE TABLE k (id INTEGER PRIMARY KEY)")
        self.file.write_text("id\n" + "".join(f"{n % 19000}\n" for n in range(20000)))
        self.expect(["-c", f"\\copy k FROM '{self.file}'"], "", 3,
                    "line 19002, column id ('0'): UNIQUE constraint failed: k.id\n19,000 rows stored")
        self.file.write_text("id\n" + "".join(f"{n}\n" for n in range(20000, 32000)) + "x,y\n")
        self.expect(["-c", f"\\copy k FROM '{self.file}'"], "", 1,
                    "line 12002: 2 fields for 1 column\n12,000 rows stored")
        self.assertEqual(self.rows_of("SELECT count(*), count(DISTINCT id) FROM k"), "31000,31000\n")
        self.expect(["-c", f"\\copy (SELECT nope) TO '{self.file}'"], "", 3)
        self.assertTrue(self.file.read_text().startswith("id\n20000\n"))

    def test_large_objects_come_back_as_they_were_sent(self):
        binary, text, back = (self.folder / name for name in ("binary", "text", "back"))
        binary.write_bytes(os.urandom(3000000))
        text.write_text("größer\n" * 50000)
        self.run_shell("-c", "CREATE TABLE l (id INTEGER, b BLOB, c CLOB)")
        for form in ("", ";lob_ret=descriptor"):
            connection = [self.server.connection + form]
            self.expect(["-c", f"DELETE FROM l; \\lob_import l.b {binary}\nUPDATE l SET id = 1;"
                               f"\\lob_import l.c {text} WHERE id = 1"], "", connection=connection)
            for column, file in (("b", binary), ("c", text)):
                self.expect(["-c", f"\\lob_export (SELECT {column} FROM l) {back}"], "", connection=connection)
                self.assertEqual(back.read_bytes(), file.read_bytes())
        self.assertEqual(self.rows_of("SELECT typeof(b), typeof(c), count(*) FROM l"), "blob,text,1\n")
        self.expect(["-c", f"\\lob_import l.c {text} WHERE id = 2"], "", 3, "no row was found")
        self.expect(["-c", f"\\lob_export (SELECT c FROM l WHERE 0) {back}"], "", 3, "gives no row")


if __name__ == "__main__":
    run_suite({"formats": Formats, "scripts": Scripts, "failures": Failures, "passwords": Passwords, "copies": Copies})
