"""khost sql with real databases: SQLite in a file, and a PostgreSQL server of the test's own."""

import json
import os
import shutil
import socket
import subprocess
import unittest

import host
from host import native, quoted

POSTGRES = next((os.path.join("/usr/lib/postgresql", version, "bin")
                 for version in sorted(os.listdir("/usr/lib/postgresql"), reverse=True)), None) \
    if os.path.isdir("/usr/lib/postgresql") else None


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
        self.assert_done(self.khost("sql", "types"), "postgresql\nsqlite\n")
        self.assertEqual(json.loads(self.khost("sql", "types", "--json").text), ["postgresql", "sqlite"])

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
        folder = os.path.dirname(host.KHOST[-1])
        driver = native(os.path.join(folder, "example_sql_driver.dll" if host.WINDOWS else "libexample_sql_driver.so"))
        self.assert_done(self.khost("sql", "query", "--driver", driver, "type=words;text=one  two", "any"), "one\ntwo\n")
        self.assert_fails(self.khost("sql", "query", "--driver", driver, "type=sqlite", "any"), "sql query", "0x80000101",
                          "E_NOT_SUPPORTED", "with one of: words")

    def test_a_driver_that_is_none(self):
        self.assert_fails(self.khost("sql", "types", "--driver", native(self.path("missing"))), "sql types",
                          "0x96230003", "KPR_E_NOT_FOUND", "missing")
        file = self.write("file.dll" if host.WINDOWS else "file.so", b"not a module")
        self.assert_fails(self.khost("sql", "types", "--driver", native(file)), "sql types", "0x96230019",
                          "KPR_E_NOT_A_DSO", "file")

    def test_a_description_that_nobody_takes(self):
        for description in ("type=oracle;host=x", "file=x.db", "", "type=sqlite;type=sqlite", 'type="sqlite', "sqlite"):
            self.assert_fails(self.query(description, "select 1"), "sql query", "0x80000101", "E_NOT_SUPPORTED",
                              "postgresql, sqlite")

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
        self.assertEqual(json.loads(result.text), [{"a": "1", "b": "x\ty\nz\\"}, {"a": "2", "b": None},
                                                   {"a": "3", "b": "ä"}])

    def test_json_keeps_columns_of_one_name(self):
        result = self.query(self.file, "select 1 as a, 2 as a, 3 as b, 4 as a, 5 as 'a:2'", "--json")
        self.assert_done(result)
        self.assertEqual(json.loads(result.text), [{"a": "1", "a:2": "2", "b": "3", "a:3": "4", "a:2:2": "5"}])

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
        self.assert_fails(self.query(self.file, "selec 1"), "sql query", "0x80004005", "E_FAIL", "syntax error")
        self.assert_fails(self.query(self.file, "select * from missing"), "sql query", "0x80004005", "E_FAIL",
                          "no such table: missing")
        self.assert_fails(self.query(self.file, "select 1; select 2"), "sql query", "0x80070057", "E_INVALIDARG",
                          "more than one statement")
        self.assert_fails(self.query(self.file, "  "), "sql query", "0x80070057", "E_INVALIDARG", "no statement")
        self.assert_fails(self.query(self.file, "select ?"), "sql query", "0x80070057", "E_INVALIDARG", "parameters")

    def test_a_missing_file(self):
        missing = native(self.path("nowhere", "x.db"))
        self.assert_fails(self.query(f"type=sqlite;file={missing}", "select 1"), "sql query", "0x80004005", "E_FAIL",
                          "unable to open database file")
        self.assert_fails(self.query(self.file + ";create=no", "select 1"), "sql query", "0x80004005", "E_FAIL",
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
                          "0x80004005", "E_FAIL", "readonly")

    def test_a_file_that_is_no_database(self):
        self.write("test.db", b"not a database at all, but long enough to be looked at" * 100)
        self.assert_fails(self.query(self.file, "select * from t"), "sql query", "0x80004005", "E_FAIL",
                          "not a database")


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Postgresql(SqlTest):
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
                     f"-p {cls.port} -c listen_addresses=127.0.0.1 -c unix_socket_directories='' -c fsync=off", "start")

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
        self.assertEqual(json.loads(result.text), [{"a": "7", "b": None}])

    def test_the_driver_through_its_interface(self):
        program = os.path.join(os.path.dirname(host.KHOST[-1]), "sql_drivers_test")
        done = subprocess.run([program, "--gtest_filter=*postgresql*"], stdout=subprocess.PIPE, text=True, check=False,
                              env=self.environment(KFW_TEST_POSTGRESQL=self.database), timeout=host.TIMEOUT)
        self.assertEqual(done.returncode, 0, done.stdout)
        self.assertIn("[  PASSED  ] 10 tests.", done.stdout)

    def test_a_wrong_password(self):
        self.assert_fails(self.query(self.place + ";password=wrong", "select 1"), "sql query", "0x80004005", "E_FAIL",
                          "password authentication failed")

    def test_errors(self):
        self.assert_fails(self.query(self.database, "selec 1"), "sql query", "0x80004005", "E_FAIL", "syntax error")
        self.assert_fails(self.query(self.database, ""), "sql query", "0x80004005", "E_FAIL", "no statement")
        self.assert_fails(self.query(self.database + ";colour=red", "select 1"), "sql query", "0x80004005", "E_FAIL",
                          "colour")

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
