"""khost sql with real databases: SQLite in a file, and a PostgreSQL server of the test's own."""

import json
import os
import re
import shlex
import shutil
import signal
import socket
import subprocess
import time
import unittest

import host
from host import native, quoted

POSTGRES = next((os.path.join("/usr/lib/postgresql", version, "bin")
                 for version in sorted(os.listdir("/usr/lib/postgresql"), reverse=True)), None) \
    if os.path.isdir("/usr/lib/postgresql") else None
MARIADB = shutil.which("mariadbd", path=os.environ.get("PATH", "") + ":/usr/sbin")
MARIADB_TABLES = "/usr/share/mysql"
ODBC = "/usr/lib/x86_64-linux-gnu/odbc/"


def has_sqlite():
    """Debian's library here; for Windows the one that scripts/windows-sqlite puts into the Wine prefix."""
    if not host.WINDOWS:
        return True
    prefix = os.environ.get("WINEPREFIX") or os.path.join(os.path.dirname(host.KHOST[-1]), "..", "wineprefix")
    return os.path.exists(os.path.join(prefix, "drive_c", "windows", "system32", "sqlite3.dll"))


class SqlTest(host.HostTest):
    def query(self, description, statement, *options):
        return self.khost("sql", "query", description, statement, *options)

    def driver(self, name):
        folder = os.path.join(os.path.dirname(host.KHOST[-1]), "drivers")
        return os.path.join(folder, name + ".dll" if host.WINDOWS else "lib" + name + ".so")


class Drivers(SqlTest):
    def test_types(self):
        self.assert_done(self.khost("sql", "types"), "odbc\npostgresql\nsqlite\n")
        self.assertEqual(json.loads(self.khost("sql", "types", "--json").text), ["odbc", "postgresql", "sqlite"])

    def test_a_driver_that_is_given(self):
        self.assert_done(self.khost("sql", "types", "--driver", native(self.driver("sqldrv_sqlite"))), "sqlite\n")

    def test_a_driver_that_is_given_twice(self):
        """By two paths: a folder twice, and a link."""
        driver = self.driver("sqldrv_sqlite")
        folder, name = os.path.split(driver)
        paths = [driver, os.path.join(folder, "..", os.path.basename(folder), name)]
        if not host.WINDOWS:
            os.symlink(driver, self.path("link.so"))
            paths.append(self.path("link.so"))
        options = [word for path in paths for word in ("--driver", native(path))]
        self.assert_done(self.khost("sql", "types", *options), "sqlite\n")

    def test_the_example_driver(self):
        names = ["libexample_sql_driver.so"]
        if host.WINDOWS:  # also one that is linked to the compiler's run-time libraries instead of ours
            names = ["example_sql_driver.dll", os.path.join("foreign", "foreign_driver.dll")]
        for name in names:
            driver = native(os.path.join(os.path.dirname(host.KHOST[-1]), name))
            with self.subTest(driver=driver):
                self.assert_done(self.khost("sql", "query", "--driver", driver, "type=words;text=one  two", "any"),
                                 "one\t3\ntwo\t3\n")
                self.assert_fails(self.khost("sql", "query", "--driver", driver, "type=sqlite", "any"), "sql query",
                                  "0x80000101", "E_NOT_SUPPORTED", "with one of: words")

    def test_a_driver_that_is_none(self):
        self.assert_fails(self.khost("sql", "types", "--driver", native(self.path("missing"))), "sql types",
                          "0x96230003", "KPR_E_NOT_FOUND", "missing")
        file = self.write("file.dll" if host.WINDOWS else "file.so", b"not a module")
        self.assert_fails(self.khost("sql", "types", "--driver", native(file)), "sql types", "0x96230019",
                          "KPR_E_NOT_A_DSO", "file")

    def test_a_description_that_nobody_takes(self):
        for description in ("type=oracle;host=x", "file=x.db", ""):
            self.assert_fails(self.query(description, "select 1"), "sql query", "0x80000101", "E_NOT_SUPPORTED",
                              "no driver takes the description; it says type=NAME, with one of: odbc, postgresql, sqlite")
        for description, problem in (("type=sqlite;type=sqlite", "at byte 12: a key is given twice"),
                                     ('type="sqlite', "at byte 0: a quoted value has no end"),
                                     ("sqlite", "at byte 0: a key is not followed by")):
            self.assert_fails(self.query(description, "select 1"), "sql query", "0x80000101", "E_NOT_SUPPORTED", problem)

    def test_help(self):
        result = self.khost("sql", "help", "sqlite")
        self.assert_done(result)
        self.assertIn("file=PATH", result.text)
        self.assertIn("host=NAME", json.loads(self.khost("sql", "help", "postgresql", "--json").text))
        self.assert_fails(self.khost("sql", "help", "oracle"), "sql help", "0x80004005", "E_FAIL", '"oracle"')

    def test_no_client_library(self):
        if not host.WINDOWS:
            self.skipTest("the client libraries are installed here")
        result = self.query("type=postgresql;host=127.0.0.1", "select 1")
        self.assert_fails(result, "sql query", "0x96230003", "KPR_E_NOT_FOUND", "libpq.dll")
        if has_sqlite():
            self.skipTest("there is a sqlite3.dll in the Wine prefix; only libpq was looked for")
        result = self.query("type=sqlite;file=:memory:", "select 1")
        self.assert_fails(result, "sql query", "0x96230003", "KPR_E_NOT_FOUND", "sqlite3.dll")


class Sqlite(SqlTest):
    def setUp(self):
        super().setUp()
        if not has_sqlite():
            self.skipTest("there is no sqlite3.dll in the Wine prefix (scripts/windows-sqlite makes one)")
        self.file = "type=sqlite;file=" + native(self.path("test.db"))

    def test_rows(self):
        self.assert_done(self.query(self.file, "create table t (a, b text)"), "")
        self.assert_done(self.query(self.file, "insert into t values (1, 'x\ty\nz\\'), (2, null), (3, 'ä')"), "")
        self.assert_done(self.query(self.file, "select * from t order by a"), "1\tx\\ty\\nz\\\\\n2\t\\N\n3\tä\n")
        result = self.query(self.file, "select a, b from t order by a", "--json")
        self.assertEqual(json.loads(result.text), [{"a": 1, "b": "x\ty\nz\\"}, {"a": 2, "b": None},
                                                   {"a": 3, "b": "ä"}])

    def test_json_keeps_columns_of_one_name(self):
        result = self.query(self.file, "select 1 as a, 2 as a, 3 as b, 4 as a, 5 as 'a:2'", "--json")
        self.assert_done(result)
        self.assertEqual(json.loads(result.text), [{"a": 1, "a:2": 2, "b": 3, "a:3": 4, "a:2:2": 5}])

    def test_many_rows(self):
        # Each line of the shell opens the database anew; what one statement does is a transaction.
        shell = self.shell()
        self.assert_done(shell.run(f'sql query {quoted(self.file)} "create table t (n integer primary key)"'))
        self.assert_done(shell.run(f'sql query {quoted(self.file)} "with recursive c(n) as (select 1 union all '
                                   'select n + 1 from c where n < 10000) insert into t select n from c"'))
        result = shell.run(f'sql query {quoted(self.file)} "select n from t order by n"')
        self.assertEqual(result.text.split(), [str(n) for n in range(1, 10001)])

    def test_memory(self):
        self.assert_done(self.query("type=sqlite;file=:memory:", "select 6 * 7"), "42\n")
        self.assertFalse(os.path.exists(self.path(":memory:")))

    def test_errors(self):
        self.assert_fails(self.query(self.file, "select * from missing"), "sql query", "0x96270005", "SQL_E_NO_OBJECT",
                          "[42P01] no such table: missing")
        self.assert_fails(self.query(self.file, "select ?"), "sql query", "0x9627000C", "SQL_E_PARAMETERS",
                          "parameter 0 has no value")
        # Where it is known: the line of the statement, and a mark.
        for statement, problem, line, mark in (
                ("selec 1", "[42601]", "selec 1", 0), ("select 1; select 2", "more than one statement", "select 1; select 2", 9),
                ("  ", "no statement", "  ", 0), ("select 1,\n  ä, nothing from\n t", "[42601]", "  ä, nothing from", 5),
                ("select 'ä',\t\x1b 1", "[42", "select 'ä',\\t\\x1b 1", 13)):
            result = self.query(self.file, statement)
            self.assertEqual(result.status, 1)
            told, shown, marked = result.errors.split("\n")[:3]
            self.assertIn(problem, told)
            self.assertEqual((shown, marked), ("  " + line, "  " + " " * mark + "^"))

    def test_a_missing_file(self):
        missing = native(self.path("nowhere", "x.db"))
        self.assert_fails(self.query(f"type=sqlite;file={missing}", "select 1"), "sql query", "0x96270008", "SQL_E_CONNECTION",
                          "unable to open database file")
        self.assert_fails(self.query(self.file + ";create=no", "select 1"), "sql query", "0x96270008", "SQL_E_CONNECTION",
                          "unable to open database file")
        self.assertFalse(os.path.exists(self.path("test.db")))

    def test_a_description_that_is_wrong(self):
        for wrong, text in (("type=sqlite", "names no file"), (self.file + ";create=maybe", "yes or no"),
                            (self.file + ";timeout=soon", "milliseconds"), (self.file + ";colour=red", '"colour"')):
            self.assert_fails(self.query(wrong, "select 1"), "sql query", "0x80070057", "E_INVALIDARG", text)
        self.assertFalse(os.path.exists(self.path("test.db")))

    def test_read_only(self):
        self.assert_done(self.query(self.file, "create table t (a)"), "")
        self.assert_fails(self.query(self.file + ";readonly=yes", "insert into t values (1)"), "sql query",
                          "0x80000102", "E_READ_ONLY", "[25006]")

    def test_a_file_that_is_no_database(self):
        self.write("test.db", b"not a database at all, but long enough to be looked at" * 100)
        self.assert_fails(self.query(self.file, "select * from t"), "sql query", "0x9627000E",
                          "SQL_E_DAMAGED", "not a database")

    def test_exec(self):
        def done(*arguments, changed):
            result = self.khost("sql", "exec", self.file, *arguments)
            self.assert_done(result)
            self.assertRegex(result.text, "^" + changed + r", \d+\.\d{3} s\n$")
        done("create table t (a, b)", changed="0 rows changed")
        done("insert into t values (?, ?)", "--param", "5", "--param", "text:5", changed="1 row changed")
        done("insert into t values (:a, :b), (null, null)", "-p", ":b=bytes:00FF", "-p", ":a=0.5", changed="2 rows changed")
        self.assert_done(self.query(self.file, "select typeof(a), b from t"), "integer\t5\nreal\t\\x00ff\nnull\t\\N\n")
        result = self.khost("sql", "exec", self.file, "delete from t where a = ?", "--param", "5", "--json")
        self.assertEqual(json.loads(result.text)["changed"], 1)
        for wrong, problem in (("int:x", "not a whole number"), ("bytes:0", "pairs"), (":a", ":NAME=VALUE"), ("null:x", "null:")):
            self.assert_usage(self.khost("sql", "exec", self.file, "select ?", "--param", wrong), problem)
        self.assert_usage(self.khost("sql", "exec", self.file), "either a statement or --script")
        self.assert_fails(self.khost("sql", "exec", self.file, "select :a", "--param", ":b=1"), "sql exec", "0x9627000C",
                          "SQL_E_PARAMETERS", '":b"')
        self.assert_fails(self.khost("sql", "exec", self.file, "select ?", "-p", "1", "-p", "2"), "sql exec", "0x9627000C",
                          "SQL_E_PARAMETERS")

    def test_script(self):
        good = self.write("good.sql", b"create table t (a);\ninsert into t values (1);\n-- done\n")
        bad = self.write("bad.sql", b"insert into t values (2);\nselec 3;\n")
        result = self.khost("sql", "exec", self.file, "--script", native(good))
        self.assert_done(result)
        self.assertRegex(result.text, r"^2 statements, ")
        result = self.khost("sql", "exec", self.file, "--script", native(bad))
        self.assertEqual(result.status, 1)
        self.assertEqual(result.errors.splitlines()[1:], ["  selec 3;", "  ^"])
        self.assert_done(self.query(self.file, "select a from t"), "1\n")
        result = self.khost("sql", "exec", self.file, "--script", "-", stdin=b"insert into t values (3)")
        self.assert_done(result)
        self.assert_done(self.query(self.file, "select a from t"), "1\n3\n")

    def test_forms(self):
        select = "select 1 as n, 'a,\"b' as t, '' as e, null as z, x'00ff' as b, 0.5 as d"
        self.assert_done(self.query(self.file, select, "--header"), "n\tt\te\tz\tb\td\n1\ta,\"b\t\t\\N\t\\x00ff\t0.5\n")
        self.assert_done(self.query(self.file, 'select 1 as "a\tb\\c"', "--header"), "a\\tb\\\\c\n1\n")
        self.assert_done(self.query(self.file, select, "--csv"), 'n,t,e,z,b,d\r\n1,"a,""b","",,00ff,0.5\r\n')
        self.assertEqual(json.loads(self.query(self.file, select, "--json").text),
                         [{"n": 1, "t": 'a,"b', "e": "", "z": None, "b": {"bytes": "00ff"}, "d": 0.5}])
        self.assertEqual(json.loads(self.query(self.file, "select 9223372036854775807 as n, 1e999 as i", "--json").text),
                         [{"n": 9223372036854775807, "i": "inf"}])
        self.assert_done(self.query(self.file, "select 1 where 0"), "")
        self.assertEqual(json.loads(self.query(self.file, "select 1 where 0", "--json").text), [])

    @host.posix_only("a terminal is made with a pseudo terminal")
    def test_a_terminal(self):
        terminal = host.Terminal(self.command("sql", "query", self.file, "select 1 as number, 'ä\x1b\n' as t union all select 23, null"),
                                 self.environment())
        shown = terminal.read().decode()
        self.assertRegex(shown, r"^number  t\n------  -------\n     1  ä\\x1b\\n\n    23  NULL\n\(2 rows, \d\.\d{3} s\)\n$")

    def test_tables(self):
        self.assert_done(self.khost("sql", "tables", self.file), "")
        self.assert_done(self.query(self.file, "create table t (a integer primary key, b text not null default 'x')"), "")
        self.assert_done(self.khost("sql", "tables", self.file), "main\tt\ttable\n")
        self.assertEqual(json.loads(self.khost("sql", "tables", self.file, "--json").text),
                         [{"schema": "main", "name": "t", "kind": "table"}])
        self.assert_done(self.khost("sql", "describe", self.file, "t"), "a\tINTEGER\t1\t\\N\t1\nb\tTEXT\t0\t'x'\t0\n")
        self.assert_fails(self.khost("sql", "describe", self.file, "missing"), "sql describe", "0x96270005",
                          "SQL_E_NO_OBJECT", '"missing"')

    def test_descriptions_from_elsewhere(self):
        file = self.write("description", self.file.encode() + b"\n")
        self.assert_done(self.query("@" + native(file), "select 1"), "1\n")
        self.assert_done(self.khost("sql", "query", "@-", "select 2", stdin=self.file.encode()), "2\n")
        env = self.environment(ORDERS=self.file)
        self.assert_done(self.khost("sql", "query", "env:ORDERS", "select 3", env=env), "3\n")
        self.assert_fails(self.query("env:KHOST_MISSING", "select 1"), "sql query", "0x96230003", "KPR_E_NOT_FOUND",
                          "KHOST_MISSING")
        self.assert_fails(self.query("@" + native(self.path("missing")), "select 1"), "sql query", "0x96230003",
                          "KPR_E_NOT_FOUND", "missing")
        result = self.shell().run("sql query @- 'select 1'")
        self.assertEqual((result.status, result.text), (2, ""))

    def test_timeout(self):
        self.assert_fails(self.query(self.file, "with recursive c(n) as (select 1 union all select n + 1 from c) "
                                     "select count(*) from c", "--timeout", "100"), "sql query", "0x96270009",
                          "SQL_E_TIMEOUT", "[57014]")
        self.assert_usage(self.query(self.file, "select 1", "--timeout", "soon"), "milliseconds")


class Odbc(SqlTest):
    """SQLite through its ODBC driver. Under Wine the system's ODBC hands everything on to that of Linux."""

    def setUp(self):
        super().setUp()
        if not os.path.exists(ODBC + "libsqlite3odbc.so"):
            self.skipTest("SQLite's ODBC driver is not installed")
        self.file = f"type=odbc;driver={ODBC}libsqlite3odbc.so;database=" + self.path("test.db")

    def environment(self, **more):
        # No data source and no driver of this machine's.
        return super().environment(ODBCSYSINI=self.folder, ODBCINI=self.path("odbc.ini"), **more)

    def test_rows(self):
        self.assert_done(self.query(self.file, "create table t (a bigint, b text)"), "")
        self.assert_done(self.query(self.file, "insert into t values (?, ?)", "-p", "5", "-p", "text:ä😀"), "")
        self.assert_done(self.query(self.file, "select * from t"), "5\tä😀\n")
        self.assert_done(self.khost("sql", "tables", self.file), "\tt\ttable\n")
        self.assert_done(self.khost("sql", "describe", self.file, "t"), "a\tbigint\t1\t\\N\t0\nb\tTEXT\t1\t\\N\t0\n")

    def test_a_data_source(self):
        self.write("odbc.ini", f"[orders]\nDriver={ODBC}libsqlite3odbc.so\nDatabase={self.path('test.db')}\n".encode())
        # unixODBC keeps what it has read of such a file, and leaks it when it is unloaded: then it has no name any more
        # by which a leak check could leave it out.
        result = self.khost("sql", "query", "type=odbc;dsn=orders", "select 6 * 7",
                            env=self.environment(ASAN_OPTIONS="detect_leaks=0"))
        self.assert_done(result, "42\n")

    def test_errors(self):
        self.assert_fails(self.query(self.file, "selec 1"), "sql query", "0x96270001", "SQL_E_SYNTAX", "[42601]")
        self.assert_fails(self.query(self.file, "select * from missing"), "sql query", "0x96270005", "SQL_E_NO_OBJECT",
                          "[42P01] no such table: missing")
        for wrong, code, name, problem in (
                ("type=odbc", "0x80070057", "E_INVALIDARG", "names no data source (dsn) and no driver"),
                ("type=odbc;dsn=x;connect_timeout=soon", "0x80070057", "E_INVALIDARG", "number of seconds"),
                ("type=odbc;dsn=missing", "0x96270008", "SQL_E_CONNECTION", "[IM002] Data source name not found"),
                ("type=odbc;driver=/missing.so", "0x96270008", "SQL_E_CONNECTION", "/missing.so")):
            self.assert_fails(self.query(wrong, "select 1"), "sql query", code, name, problem)

    def test_help(self):
        self.assertIn("dsn=NAME", self.khost("sql", "help", "odbc").text)


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class ServerTest(SqlTest):
    """With a server of the test's own, of which the contract's tests are told."""

    CONTRACT_SECONDS = 400  # a hundred tests and more, under a sanitizer on a busy machine

    def run_contract(self, name, description, restart, least, skipped):
        """Runs the contract's tests of one driver; of those that are skipped the names are given."""
        program = os.path.join(os.path.dirname(host.KHOST[-1]), "sql_drivers_test")
        # PostgreSQL's ODBC driver leaks some of each connection.
        known = self.write("known-leaks", b"leak:psqlodbcw.so\n")
        # MariaDB's writes its error record when a statement is cancelled, whoever else does just then, and the driver
        # manager clears the statement's messages.
        races = self.write("known-races", b"race:libmaodbc.so\nmutex:libmaodbc.so\nrace:libodbc.so\nmutex:libodbc.so\n")
        with socket.socket() as silent:
            silent.bind(("127.0.0.1", 0))
            silent.listen(1)
            env = self.environment(**{"KFW_TEST_" + name.upper(): description}, KFW_TEST_RESTART=restart, ODBCSYSINI=self.folder,
                                   KFW_TEST_SILENT_PORT=str(silent.getsockname()[1]),
                                   LSAN_OPTIONS=f"suppressions={known}:print_suppressions=0",
                                   TSAN_OPTIONS=f"suppressions={races}:print_suppressions=0")
            # Into a file: a server that is started anew may keep a pipe open.
            with open(self.path("contract"), "w+", encoding="utf-8") as output:
                try:
                    status = subprocess.run([program, f"--gtest_filter=*/{name}"], stdout=output, check=False, env=env,
                                            timeout=self.CONTRACT_SECONDS).returncode
                except subprocess.TimeoutExpired:
                    status = f"no end after {self.CONTRACT_SECONDS} s"
                output.seek(0)
                said = output.read()
        self.assertEqual(status, 0, said)
        self.assertEqual(sorted(re.findall(r"\[  SKIPPED \] every/\w+\.(\w+)/\w+ \(", said)), sorted(skipped), said)
        self.assertGreaterEqual(said.count("[       OK ]"), least, said)


class Postgresql(ServerTest):
    """A server with a private data directory and a loopback port, started and stopped by the test."""

    @classmethod
    def setUpClass(cls):
        if host.WINDOWS:
            raise unittest.SkipTest("PostgreSQL's client library for Windows is not to be had here")
        if POSTGRES is None:
            raise unittest.SkipTest("PostgreSQL is not installed")
        cls.data = subprocess.run(["mktemp", "-d", "-t", "khost-postgres-XXXXXX"], check=True, stdout=subprocess.PIPE,
                                  text=True).stdout.strip()
        cls.addClassCleanup(shutil.rmtree, cls.data, ignore_errors=True)
        # The server refuses to run as root.
        cls.user = ["setpriv", "--reuid=nobody", "--regid=nogroup", "--clear-groups"] if os.getuid() == 0 else []
        if cls.user:
            shutil.chown(cls.data, "nobody", "nogroup")
        with open(os.path.join(cls.data, "password"), "w", encoding="utf-8") as file:
            file.write("se;cret\n")
        os.chmod(os.path.join(cls.data, "password"), 0o644)
        cls.run_tool("initdb", "-D", cls.data + "/db", "-U", "tester", "-A", "scram-sha-256", "-E", "UTF8",
                     "--locale=C", "--pwfile=" + cls.data + "/password", "--no-sync")
        cls.port = free_port()
        cls.start()
        cls.addClassCleanup(cls.stop)

    @classmethod
    def run_tool(cls, tool, *arguments):
        subprocess.run([*cls.user, os.path.join(POSTGRES, tool), *arguments], check=True, cwd=cls.data,
                       stdout=subprocess.DEVNULL)

    @classmethod
    def start(cls):
        cls.run_tool("pg_ctl", "-D", cls.data + "/db", "-w", "-s", "-l", cls.data + "/log", "-o",
                     cls.options(), "start")

    @classmethod
    def options(cls):
        return f"-p {cls.port} -c listen_addresses=127.0.0.1 -c unix_socket_directories='' -c fsync=off"

    @classmethod
    def stop(cls):
        subprocess.run([*cls.user, os.path.join(POSTGRES, "pg_ctl"), "-D", cls.data + "/db", "-m", "immediate", "-s",
                        "stop"], cwd=cls.data, check=False, stdout=subprocess.DEVNULL)

    def setUp(self):
        super().setUp()
        self.place = f"type=postgresql;host=127.0.0.1;port={self.port};dbname=postgres;user=tester"
        self.database = self.place + ';password="se;cret"'

    def test_rows(self):
        self.assert_done(self.query(self.database, "create table t (a int, b text)"), "")
        self.addCleanup(self.query, self.database, "drop table t")
        self.assert_done(self.query(self.database, "insert into t select n, 'row ' || n from generate_series(1, 10000) n"),
                         "")
        rows = self.query(self.database, "select * from t order by a").text.splitlines()
        self.assertEqual(rows, [f"{n}\trow {n}" for n in range(1, 10001)])
        result = self.query(self.database, "select a, null as b from t where b = 'row 7' and '?' = '?'", "--json")
        self.assertEqual(json.loads(result.text), [{"a": 7, "b": None}])

    def restart(self):
        restart = " ".join(shlex.quote(word) for word in
                           [*self.user, os.path.join(POSTGRES, "pg_ctl"), "-D", self.data + "/db", "-m", "fast", "-w", "-s",
                            "-l", self.data + "/log", "-o", self.options(), "restart"])
        return f"cd {shlex.quote(self.data)} && {restart} >/dev/null 2>&1"

    def test_the_driver_through_its_interface(self):
        self.run_contract("postgresql", self.database, self.restart(), 43, [])

    def test_the_odbc_driver_through_its_interface(self):
        if not os.path.exists(ODBC + "psqlodbcw.so"):
            self.skipTest("PostgreSQL's ODBC driver is not installed")
        self.run_contract("odbc_postgresql", f"type=odbc;driver={ODBC}psqlodbcw.so;server=127.0.0.1;port={self.port};"
                          'database=postgres;user=tester;password="se;cret"', self.restart(), 45, [])

    def test_passwords_stand_in_no_output(self):
        """A password of a description is searched for in everything that khost says, with every kind of failure."""
        marker = "pass-word-marker"
        good = self.place + ";sslpassword=" + marker + ';password="se;cret"'
        said = b""
        for description in (self.place + ";password=" + marker, self.place + ";port=1;password=" + marker,
                            self.place + ";colour=red;password=" + marker, f'password={marker};password={marker}',
                            f'password="{marker}', f"{self.place};password=x;{marker}", f"{marker}", good + ";sslmode=" + marker):
            result = self.khost("--log-level", "debug", "sql", "query", description, "select 1")
            self.assertEqual(result.status, 1, description)
            said += result.out + result.err
        for statement in ("select 1", f'select * from "{marker}"', f"select '{marker}'::int", "selec"):
            result = self.khost("--log-level", "debug", "sql", "query", good, statement)
            # What the statement itself says is the user's own; the mark below it shows its line.
            said += result.out + result.err.split(b"\n")[0]
        self.assertNotIn(marker.encode(), said)

    def test_a_wrong_password(self):
        self.assert_fails(self.query(self.place + ";password=wrong", "select 1"), "sql query", "0x96270007",
                          "SQL_E_PERMISSION", "password authentication failed")

    def test_errors(self):
        result = self.query(self.database, "select 'ä', 1 frm t")
        self.assertEqual(result.errors.splitlines(), [
            "khost: sql query: 0x96270001 SQL_E_SYNTAX the statement is not valid: [42601] syntax error at or near \"t\"",
            "  select 'ä', 1 frm t", "                    ^"])
        place = len(self.place) + 1
        for description in (self.place + ";colour=red", self.place + ";hal=f;password=marker"):
            self.assert_fails(self.query(description, "select 1"), "sql query", "0x80070057", "E_INVALIDARG",
                              f"libpq knows no key like the one at byte {place} of the description (a value with a \";\" in it")
        # What follows may be the rest of a password: it is not repeated.
        result = self.query(self.place + ";password=half;marker=half", "select 1")
        self.assert_fails(result, "sql query", "0x80070057", "E_INVALIDARG", "is written in double quotes")
        self.assertNotIn("marker", result.errors)

    def test_a_full_disk(self):
        """A tablespace on a small volume of its own."""
        volume = self.data + "/volume"
        os.mkdir(volume)
        mounted = subprocess.run(["mount", "-t", "tmpfs", "-o", "size=4m,mode=777", "none", volume], check=False,
                                 stderr=subprocess.PIPE, text=True)
        if mounted.returncode != 0:
            os.rmdir(volume)
            self.skipTest("no small volume can be mounted: " + mounted.stderr.strip())
        self.addCleanup(subprocess.run, ["umount", volume], check=True)
        os.mkdir(volume + "/space")
        if self.user:
            shutil.chown(volume + "/space", "nobody", "nogroup")
        self.assert_done(self.query(self.database, f"create tablespace small location '{volume}/space'"), "")
        self.addCleanup(self.query, self.database, "drop tablespace small")
        self.assert_done(self.query(self.database, "create table full_test (n int, t text) tablespace small"), "")
        self.addCleanup(self.query, self.database, "drop table full_test")
        self.assert_done(self.query(self.database, "insert into full_test values (0, 'before')"), "")
        script = self.write("full.sql", b"insert into full_test values (1, 'x');\n"
                            b"insert into full_test select n, repeat('x', 1000) from generate_series(2, 20000) n;\n")
        self.assert_fails(self.khost("sql", "exec", self.database, "--script", native(script)), "sql exec", "0x96230004",
                          "KPR_E_NO_SPACE", "[53100]")
        self.assert_done(self.query(self.database, "select * from full_test"), "0\tbefore\n")

    def test_a_server_that_is_gone(self):
        shell = self.shell()
        line = "sql query " + quoted(self.database) + ' "select 1"'
        self.assert_done(shell.run(line), "1\n")
        self.stop()
        try:
            result = shell.run(line)
            self.assertEqual(result.status, 1)
            self.assertIn("onnection", result.errors)
        finally:
            self.start()
        self.assert_done(shell.run(line), "1\n")


class Mariadb(ServerTest):
    """MariaDB through its ODBC driver, with a server on a socket in a folder of the test's own."""

    @classmethod
    def setUpClass(cls):
        if host.WINDOWS:
            raise unittest.SkipTest("the server is tested natively; under Wine the same ODBC driver would be used")
        if MARIADB is None or not os.path.exists(ODBC + "libmaodbc.so"):
            raise unittest.SkipTest("MariaDB's server or its ODBC driver is not installed")
        cls.data = subprocess.run(["mktemp", "-d", "-t", "khost-mariadb-XXXXXX"], check=True, stdout=subprocess.PIPE,
                                  text=True).stdout.strip()
        cls.addClassCleanup(shutil.rmtree, cls.data, ignore_errors=True)
        os.mkdir(cls.data + "/db")
        # What the system's script does, without the help texts.
        tables = "create database mysql;\ncreate database test character set utf8mb4;\nuse mysql;\n"
        for part in ("mysql_system_tables.sql", "mysql_system_tables_data.sql"):
            with open(os.path.join(MARIADB_TABLES, part), encoding="utf-8") as file:
                tables += file.read()
        with open(cls.data + "/users", "w", encoding="utf-8") as file:
            file.write("create user if not exists tester@localhost identified by 'se;cret';\n"
                       "grant all on *.* to tester@localhost;\n")
        cls.port = free_port()
        subprocess.run([*cls.program(), "--bootstrap"], input=tables, text=True, check=True, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL)
        cls.start()
        cls.addClassCleanup(cls.stop)

    @classmethod
    def program(cls):
        user = ["--user=root"] if os.getuid() == 0 else []
        return [MARIADB, "--no-defaults", f"--datadir={cls.data}/db", f"--tmpdir={cls.data}", *user,
                "--innodb-log-file-size=4M", "--innodb-flush-log-at-trx-commit=0"]

    @classmethod
    def serve(cls):
        return [*cls.program(), f"--socket={cls.data}/socket", "--bind-address=127.0.0.1", f"--port={cls.port}",
                "--max-allowed-packet=64M", "--character-set-server=utf8mb4", f"--init-file={cls.data}/users",
                f"--pid-file={cls.data}/pid", f"--log-error={cls.data}/log"]

    @classmethod
    def start(cls):
        cls.server = subprocess.Popen(cls.serve(), stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        for _ in range(600):
            if cls.server.poll() is None and os.path.exists(cls.data + "/pid"):
                return
            time.sleep(0.1)
        with open(cls.data + "/log", encoding="utf-8", errors="replace") as log:
            raise AssertionError(log.read())

    @classmethod
    def restart(cls):
        """A command for the shell. The server's file with its number is there for as long as it serves."""
        pid = shlex.quote(cls.data + "/pid")
        serve = " ".join(shlex.quote(word) for word in cls.serve())
        return (f"kill $(cat {pid}) && while [ -e {pid} ]; do sleep 0.1; done; "
                f"{{ {serve} >/dev/null 2>&1 & }}; until [ -e {pid} ]; do sleep 0.1; done")

    @classmethod
    def stop(cls):
        with open(cls.data + "/pid", encoding="utf-8") as pid:
            os.kill(int(pid.read()), signal.SIGKILL)
        cls.server.kill()
        cls.server.wait()

    def setUp(self):
        super().setUp()
        self.place = f"type=odbc;driver={ODBC}libmaodbc.so;server=localhost;socket={self.data}/socket;database=test;user=tester"
        self.database = self.place + ';password="se;cret"'

    def test_the_driver_through_its_interface(self):
        self.run_contract("odbc_mariadb", self.database, self.restart(), 40,
                          ["aServerThatDoesNotReactIsGivenUp", "aConstraintThatFailsAtTheCommitIsAFailure", "aStatementThatKeptNothingIsAFailure",
                           "twoThatCannotBothHaveHappenedAreInConflict"])

    def test_a_wrong_password(self):
        result = self.query(self.place + ";password=wr0ng-marker", "select 1")
        self.assert_fails(result, "sql query", "0x96270007", "SQL_E_PERMISSION", "Access denied")
        self.assertNotIn("wr0ng-marker", result.errors)
