"""The shell as a person uses it, played by pexpect."""
import os
import pathlib
import stat
import time

import pexpect
from support import ENDLESS, TARNSH, Proxy, Server, ShellTest, run_suite

PROMPT = "tarn> "


class TerminalTest(ShellTest):
    def setUp(self):
        super().setUp()
        self.server.stop()
        self.server = Server("--database", str(self.folder / "db"))
        self.history = self.folder / "history"
        self.run_shell("-c", "CREATE TABLE people (id INTEGER, surname VARCHAR(20));"
                             "INSERT INTO people VALUES (1, 'Byron')")
        self.shell = self.open_shell()

    def open_shell(self, *options, prompt=PROMPT, size=(40, 200), server=None, **variables):
        env = {**os.environ, "TARNSH_HISTORY": str(self.history), "TERM": "xterm", "LC_ALL": "C",
               "NO_COLOR": "1", "HOME": str(self.folder), "PAGER": "", **variables}
        shell = pexpect.spawn(TARNSH, [(server or self.server).connection, *(options or ("--format", "csv"))], encoding="utf-8",
                              timeout=30, dimensions=size, env=env)
        self.addCleanup(shell.close, force=True)
        shell.expect_exact(prompt)
        return shell

    def expect_end(self):
        self.shell.expect(pexpect.EOF)
        self.shell.close()

    def type(self, text, *expected):
        self.shell.send(text)
        for part in (*expected, PROMPT):
            self.shell.expect_exact(part)


class Terminal(TerminalTest):
    def test_statements_over_lines_completion_and_history(self):
        self.shell.send("SEL\tsur\t\r")
        self.shell.expect_exact("   -> ")
        self.type("FROM peo\tWHERE people.sur\t= 'Byron';\r", "Byron\r\n", "(1 row)")
        self.type("\\d peo\t\r", "surname,VARCHAR(20)")
        self.type("CREATE TABLE pets (bark INTEGER);\r", "done")
        self.type("select bar\tfrom pets;\r", "(0 rows)")  # names are read anew
        self.type("create procedure p as begin case a when 1 then b; end case; if c then d; end if; end;\r", "error: ")
        self.type("select 'é', nope;\r", "error: no such column")
        self.shell.sendeof()
        self.shell.expect(pexpect.EOF)
        self.shell.close()
        self.assertEqual(self.shell.exitstatus, 0)
        self.assertEqual(self.history.stat().st_mode & 0o77, 0)
        self.shell = self.open_shell()
        self.type("\x1b[A\r", "no such column")
        self.shell.send("\\q\r")
        self.shell.expect(pexpect.EOF)

    def test_interrupts_stop_what_runs_and_nothing_else(self):
        self.shell.send("SELECT 'not ended\r")
        self.shell.expect_exact("   -> ")
        self.type("\x03")
        self.type("\x1a")  # nobody could bring back the leader of a session
        self.shell.send(ENDLESS + "; SELECT 'never' || 'more';\r")
        self.shell.expect_exact("1000\r\n")
        self.type("\x03", "error: stopped")
        self.assertNotIn("nevermore", self.shell.before)
        self.type("SELECT 'alive';\r", "alive\r\n", "(1 row)")
        self.shell.send("\\watch 60\r")
        self.shell.expect_exact("(1 row)")
        self.type("\x03")
        self.shell.send(f"BEGIN; SELECT 1; SELECT count(*) FROM ({ENDLESS});\r")
        self.shell.expect_exact("(1 row)")
        self.type("\x03", "error: stopped", "connected again", "the open transaction")
        self.type("SELECT 'still alive';\r", "still alive\r\n", "(1 row)")
        self.assertIn("watch", self.history.read_text())

    def test_a_late_interrupt_meets_the_close_of_a_cursor(self):
        proxy = Proxy(self.server.port)
        self.shell = self.open_shell(server=proxy)
        # Of rows that were read, and of those before one that cannot be: nothing but the link tells of the cancel then.
        failing = f"SELECT CASE n WHEN 30000 THEN abs(-9223372036854775807 - 1) END FROM ({ENDLESS}) \\g {self.folder}/rows"
        for statement, says in (("SELECT 'one';", "error: stopped"), (failing, "error: integer overflow")):
            with self.subTest(statement):
                proxy.hold(b"CLOSE ")
                self.shell.send(statement + "\r")
                proxy.wait()
                self.type("\x03", says, "connected again")
                self.assertNotIn("not repeated", self.shell.before)
                self.type("SELECT 'ne' || 'xt';\r", "next\r\n", "(1 row)")

    def test_an_interrupt_is_over_with_the_statement_that_ends_by_itself(self):
        proxy = Proxy(self.server.port)
        self.shell = self.open_shell(server=proxy)
        proxy.hold(b"CREATE TABLE late")
        self.shell.send("CREATE TABLE late (a INTEGER); SELECT 'never' || 'more';\r")
        proxy.wait()
        self.shell.send("\x03")
        self.shell.expect_exact("^C")  # the shell's thread notes it before it reads what comes now
        proxy.release()
        self.shell.expect_exact(PROMPT)
        self.assertNotIn("nevermore", self.shell.before)
        self.shell.send(f"SELECT count(*) FROM ({ENDLESS} LIMIT 1000000);\r")  # takes longer than a cancel waits
        self.shell.expect_exact("1000000\r\n(1 row)")
        self.assertNotIn("connected again", self.shell.before)

    def test_a_lost_link_is_made_anew(self):
        self.server.stop()
        self.type("SELECT 'a';\r", "error: the connection is lost", "cannot connect again")
        self.type("SELECT 'b';\r", "cannot connect again")
        self.type("\\timing\r", "timing is on")
        self.server.start()
        self.type("SELECT 'c' || 'd';\r", "connected again", "cd\r\n", "time: ")
        self.server.stop()
        self.server.start()
        self.type("SELECT 'e';\r", "error: the connection is lost", "connected again", "not repeated")

    def test_a_copy_shows_its_progress_on_a_terminal_alone(self):
        file = self.folder / "people.csv"
        file.write_text("id,surname\n" + "1,x\n" * 120000)
        self.type(f"\\copy people FROM {file}\r", "%  50,000 rows", "rows/s", "left", "120,000 rows stored")
        self.assertNotIn("%", self.run_shell("-c", f"\\copy people FROM {file}").stderr)


class Editing(TerminalTest):
    def test_a_paste_is_kept_as_it_is_and_is_one_entry(self):
        paste = "CREATE TABLE tabs (a\tINTEGER,\r\n\tb TEXT);\rINSERT INTO tabs VALUES (1, 'x\ty\r\nz');"
        self.type(f"\x1b[200~{paste}\x1b[201~\r", "done", "inserted")
        self.type("SELECT name, replace(replace(b, char(9), 'TAB'), char(10), 'LF') FROM pragma_table_info('tabs') JOIN tabs;\r",
                  "a,xTAByLFz\r\n", "b,xTAByLFz\r\n")
        entries = self.history.read_text().split("\n")
        self.assertEqual(entries[0], paste.replace("\r\n", "\x1e").replace("\r", "\x1e"))
        self.type("DELETE FROM tabs;\r", "deleted")
        self.type("\x1b[A\x1b[A\x1b[A\r", "already exists", "inserted")  # past two entries: the paste as a whole

    def test_keys(self):
        cases = (("ELECT 1\x01S\x05 + 1;\r", "2\r\n"),                      # home and end
                 ("SELECT 'ab' || 'c\x1b[D\x1b[D\x1b[D\x7f\x1b[Cd' || '\x05';\r", "ab"),
                 ("SELECT 7 garbage\x17 AS b;\r", "b\r\n7\r\n"),              # a word away
                 ("SELECT 8\x15SELECT 9;\r", "9\r\n"),                         # the line away
                 ("SELECT 'é'\x1b[D\x7f\x1b[Cü' AS u;\r", None), ("\x03", None),
                 ("SELECT 1\x17\x19\x19;\r", "11\r\n"),                       # a word back, twice
                 ("SELECT\r5;\r", "5\r\n"),
                 ("SELECT 3\x1b\r+ 4;\r", "7\r\n"), ("\x1b[99~SELECT 6;\r", "6\r\n"))
        for keys, rows in cases:
            with self.subTest(keys):
                if rows:
                    self.type(keys, rows)
                else:
                    self.type(keys)

    def test_history_is_searched_and_keeps_no_secrets(self):
        self.type("SELECT 'first';\r", "first\r\n")
        self.type("SELECT 'second';\r", "second\r\n")
        self.type(" SELECT 'blank';\r", "blank\r\n")
        self.type("\\echo password=secret\r", "secret\r\n")
        self.shell.send("\x12fir")
        self.shell.expect_exact('(search "fir")')
        self.type("\r", "first\r\n")
        self.type("draft\x1b[A\x1b[A\x1b[B\x1b[B\x15SELECT 'third';\r", "third\r\n")
        kept = self.history.read_text()
        self.assertEqual(stat.S_IMODE(self.history.stat().st_mode), 0o600)
        self.assertNotIn("blank", kept)
        self.assertNotIn("secret", kept)
        self.assertIn("third", kept)

    def test_completion_of_commands_settings_and_files(self):
        (self.folder / "script.sql").write_text("SELECT 'from script';\n")
        self.type("\\format mar\t\r")
        self.type("SELECT 1 AS x;\r", "| x |")
        self.type("\\form\tcs\t\r")
        self.type(f"\\i {self.folder}/scr\t\r", "from script")
        self.type("\\pset over\tcut\r")
        self.type("\\pset overflow\r", "overflow cut")
        self.shell.send("\\pset \t\t")
        self.shell.expect_exact("delimiter")
        self.shell.expect_exact("separator")
        self.type("\x03")

    def test_colours_and_hints_stand_on_colour_terminals_alone(self):
        self.type("SELECT 'hinted at';\r", "hinted at\r\n")
        self.assertNotIn("\x1b[1;34m", self.shell.before)
        self.shell = self.open_shell(NO_COLOR="")
        self.shell.send("SEL")
        self.shell.expect_exact("\x1b[90mECT 'hinted at';")
        self.type("\x05\r", "\x1b[1;34mSELECT", "\x1b[32m'hinted at'", "hinted at\r\n")

    def test_long_texts_and_narrow_terminals(self):
        self.shell = self.open_shell(size=(8, 30))
        lines = "\r".join(f"-- line {n}" for n in range(30))
        self.type(f"\x1b[200~{lines}\rSELECT '{'x' * 100}' || 'end' AS e;\x1b[201~\r", "x" * 100 + "end\r\n")
        self.shell.setwinsize(10, 50)
        self.type("SELECT 'after';\r", "after\r\n")

    def test_a_terminal_without_abilities(self):
        self.shell = self.open_shell(TERM="dumb")
        self.type("SELECT 'pl' || 'ain';\r", "plain\r\n")


class Daily(TerminalTest):
    def test_pager_takes_what_does_not_fit(self):
        marking = "sed s/^/paged:/"
        self.shell = self.open_shell("--format", "csv", "--no-header", size=(12, 60), PAGER=marking)
        self.type("SELECT 1 AS a;\r", "1\r\n(1 row)")
        self.assertNotIn("paged:1", self.shell.before)
        self.type(f"{ENDLESS} LIMIT 20;\r", "paged:1\r\n", "paged:20\r\n", "(20 rows)")
        self.type("SELECT printf('%.100c', 'w');\r", "paged:www")
        self.type("\\pset pager off\r")
        self.type(f"{ENDLESS} LIMIT 20;\r", "\r\n20\r\n")
        self.type("\\pset pager on\r")
        shell = self.open_shell("--format", "csv", "--no-header", size=(12, 60), PAGER="head -3")
        self.shell = shell
        self.type(f"{ENDLESS};\r", "3\r\n")  # the pager is left: the query ends

    def test_results_fit_the_screen(self):
        self.shell = self.open_shell("-q", size=(24, 60))
        self.type("SELECT printf('%.500c', 'x') AS long, 1 AS n;\r", "-+--\r\n", "x" * 55 + " | 1\r\n", "x" * 5)
        self.type("\\pset overflow cut\r")
        self.type("SELECT printf('%.500c', 'x') AS long, 1 AS n;\r", "x" * 54 + "… | 1\r\n")
        self.type("\\x auto\r")
        self.type("SELECT printf('%.500c', 'x') AS long, 1 AS n;\r", "-- row 1", "n    | 1")
        self.type("SELECT 5 AS few;\r", "few\r\n---\r\n")

    def test_the_editor_and_words_that_people_try(self):
        editor = self.folder / "editor"
        editor.write_text("#!/bin/sh\nsed -i 's/nope/42/' \"$1\"\n")
        editor.chmod(0o755)
        self.shell = self.open_shell(EDITOR=str(editor))
        self.type("SELECT nope AS edited;\r", "no such column")
        self.shell.send("\\e\r")
        self.shell.expect_exact("SELECT 42 AS edited")
        self.type(";\r", "edited\r\n42\r\n")
        self.type("help\r", "\\copy")
        self.type("SELECT 'exit' AS\rexit;\r", "exit\r\nexit\r\n")
        for word in ("exit", "QUIT;", "\\q"):
            self.shell = self.open_shell()
            self.shell.send(word + "\r")
            self.expect_end()
            self.assertEqual(self.shell.exitstatus, 0)

    def test_the_prompt_knows_the_transaction(self):
        self.shell.send("BEGIN;\r")
        self.shell.expect_exact("tarn*> ")
        self.shell.send("INSERT INTO people VALUES (9, 'x');\r")
        self.shell.expect_exact("inserted")
        self.shell.expect_exact("tarn*> ")
        self.type("ROLLBACK;\r", "done")
        self.shell.send("\\pset prompt mine\r")
        self.shell.expect_exact("mine> ")

    def test_tables_are_described_with_indexes_and_statement(self):
        self.shell = self.open_shell("-q")
        self.type("CREATE UNIQUE INDEX by_name ON people (surname, id);\r")
        self.type("\\d people\r", "surname | VARCHAR(20)", "by_name | yes    | surname, id", "CREATE TABLE people",
                  "CREATE UNIQUE INDEX by_name")
        self.type("\\di\r", "by_name | people")
        self.type("\\dt\r", "people")
        self.type("\\l\r", "main")

    def test_start_up_file_timing_and_connections(self):
        (self.folder / ".tarnshrc").write_text("\\pset null nothing\n\\set who 'me'\nSELECT nope;\n")
        self.shell = self.open_shell()
        self.type("SELECT NULL, :'who';\r", "nothing,me")
        self.type("\\timing\r", "timing is on")
        self.shell = self.open_shell()
        self.type("SELECT 1;\r", "time: ")
        self.type("\\c other\r", "connected to other as demo")
        self.type("\\conninfo\r", "database     other", "library is   tarnsql")
        self.type("\\c server=127.0.0.1;port=1;user=x;password=x\r", "cannot connect to 127.0.0.1 port 1: Connection refused")
        self.type("SELECT 'still ' || 'here';\r", "still here\r\n")
        self.shell = self.open_shell("--no-rc")
        self.type("SELECT coalesce(NULL, 'plain');\r", "plain")
        self.assertNotIn("time: ", self.shell.before)

    def test_a_statement_that_waits_stops_at_once(self):
        self.type("\\set more 1\r")
        self.shell.send(f"BEGIN; SELECT count(*) FROM ({ENDLESS});\r")
        self.shell.expect_exact("done")
        stat_file = pathlib.Path(f"/proc/{self.server.process.pid}/stat")

        def busy():
            fields = stat_file.read_text().rsplit(")", 1)[1].split()
            return int(fields[11]) + int(fields[12])

        before = busy()
        while busy() == before:  # until the server is at it
            time.sleep(0.01)
        begun = time.monotonic()
        self.shell.send("\x03")
        self.shell.expect_exact("error: stopped")
        self.shell.expect_exact(PROMPT)
        self.assertLess(time.monotonic() - begun, 2)  # 0.1 s where nothing else runs
        self.assertIn("the open transaction", self.shell.before)
        self.type("SELECT :more;\r", "1\r\n", "(1 row)")
        deadline = time.monotonic() + 10
        used = busy()
        while True:  # the server lets go of the statement
            time.sleep(0.3)
            now = busy()
            if now - used <= 1:
                break
            used = now
            self.assertLess(time.monotonic(), deadline)


if __name__ == "__main__":
    run_suite({"terminal": Terminal, "editing": Editing, "daily": Daily})
