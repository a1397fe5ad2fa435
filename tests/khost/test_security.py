"""What khost does where somebody else may write: see SECURITY.md."""

import os
import shutil
import sqlite3
import stat
import struct
import subprocess
import sys
import unittest

import host
from host import HostTest, native
from sqlite_journal import write_journal
from test_sql import has_sqlite

NOBODY = 65534


class CurrentFolder(HostTest):
    """Libraries in the current folder, under the names of those that khost loads or needs."""

    def planted(self):
        suffix = ".dll" if host.WINDOWS else ".so"
        return os.path.join(os.path.dirname(host.KHOST[-1]), "planted", "security_planted" + suffix)

    def loaded(self):
        """What is loaded at run time."""
        if host.WINDOWS:
            return ("sqlite3.dll", "libpq.dll", "sqldrv_sqlite.dll", "sqldrv_postgresql.dll", "odbc32.dll",
                    "sqldrv_odbc.dll", "kfw.dll")
        return ("libsqlite3.so.0", "libsqlite3.so", "libpq.so.5", "libpq.so", "libsqldrv_sqlite.so",
                "libsqldrv_postgresql.so", "libodbc.so.2", "libodbc.so", "libsqldrv_odbc.so", "libkfw.so")

    def needed(self):
        """What programs and libraries are linked to."""
        if host.WINDOWS:
            return ("kom.dll", "kpr.dll", "kutil.dll", "kosgcc_s_seh-1.dll", "kosstdc++-6.dll", "koswinpthread-1.dll",
                    "bcrypt.dll", "psapi.dll", "version.dll", "wtsapi32.dll", "cryptbase.dll", "libssl-3-x64.dll",
                    "libcrypto-3-x64.dll", "libintl-9.dll", "zlib1.dll")
        return ("libkom.so", "libkpr.so", "libkutil.so", "libstdc++.so.6", "libgcc_s.so.1", "libmd.so.0", "libssl.so.3",
                "libcrypto.so.3", "libz.so.1")

    def executed(self, *arguments, env=None):
        """Whether the planted library was executed by khost, started in its folder."""
        subprocess.run(self.command(*arguments), cwd=self.folder, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL, timeout=host.TIMEOUT, env=env or self.environment())
        done = os.path.exists(self.path("executed"))
        if done:
            os.remove(self.path("executed"))
        return done

    def plant(self, names):
        if not os.path.exists(self.planted()):
            self.skipTest("the library to plant is not built")
        for folder in (self.folder, self.path("drivers")):
            os.makedirs(folder, exist_ok=True)
            for name in names:
                shutil.copy(self.planted(), os.path.join(folder, name))

    COMMANDS = (("sql", "query", "type=sqlite;file=:memory:", "select 1"),
                ("sql", "query", "type=postgresql;host=127.0.0.1;port=1", "select 1"),
                ("sql", "query", "type=odbc;dsn=missing", "select 1"), ("cache", "has", "http://h/"),
                ("sysinfo",), ("modules",), ("user", "get"))

    def assert_none_executed(self, commands):
        for arguments in commands:
            with self.subTest(arguments=arguments):
                self.assertFalse(self.executed(*arguments))

    def test_the_planted_library_shows_itself(self):
        """Loaded by its path it is executed: a host that loaded it by its name would be found out."""
        self.plant(("any.dll",))
        self.assertTrue(self.executed("sql", "types", "--driver", native(self.path("any.dll"))))

    def test_what_is_loaded_is_not_looked_for_there(self):
        for name in self.loaded():
            with self.subTest(name=name):
                self.plant((name,))
                self.assert_none_executed(self.COMMANDS[:3])
                os.remove(self.path(name))

    def test_what_is_needed_is_not_looked_for_there(self):
        self.plant(self.needed())
        self.assert_none_executed(self.COMMANDS)


class DatabaseFile(HostTest):
    """A database file that somebody else has made: what its schema says is not trusted."""

    def setUp(self):
        super().setUp()
        if not has_sqlite():
            self.skipTest("there is no sqlite3.dll in the Wine prefix (scripts/windows-sqlite makes one)")

    def query(self, schema, statement):
        database = sqlite3.connect(self.path("test.db"))
        database.executescript(schema)
        database.close()
        return self.khost("sql", "query", "type=sqlite;file=" + native(self.path("test.db")), statement)

    # What reads the outside world may be used by whoever asks, not by what the file says.
    OUTSIDE = "select name from pragma_database_list"

    def test_who_asks_may_use_everything(self):
        self.assert_done(self.query("", self.OUTSIDE), "main\n")

    def test_a_view_does_not_reach_outside(self):
        result = self.query("create view v as " + self.OUTSIDE, "select * from v")
        self.assert_fails(result, "sql query", "0x96270007", "SQL_E_PERMISSION", "unsafe use of")

    def test_a_trigger_does_not_reach_outside(self):
        result = self.query("create table t (a); create table u (a); create trigger r after insert on t begin "
                            f"insert into u {self.OUTSIDE}; end", "insert into t values (1)")
        self.assert_fails(result, "sql query", "0x96270007", "SQL_E_PERMISSION", "unsafe use of")

    def test_the_schema_is_not_written_behind_its_back(self):
        result = self.query("create table t (a)", "delete from sqlite_schema")
        self.assert_fails(result, "sql query", "0x96270007", "SQL_E_PERMISSION", "may not be modified")
        # Only the defensive mode keeps shadow tables of a full-text index from being written.
        result = self.query("create virtual table f using fts5(a)", "delete from f_data")
        self.assert_fails(result, "sql query", "0x96270007", "SQL_E_PERMISSION", "may not be modified")


PRECIOUS = b"precious"
NOT_ROOT = not hasattr(os, "geteuid") or os.geteuid() != 0
PERMISSION = ("0x96270007", "SQL_E_PERMISSION")


class Beside(HostTest):
    """What somebody puts beside a database or a settings store, under the names that SQLite knows."""

    def setUp(self):
        super().setUp()
        if not has_sqlite():
            self.skipTest("there is no sqlite3.dll in the Wine prefix (scripts/windows-sqlite makes one)")
        self.database = self.path("a.db")
        self.victim = self.write("victim", PRECIOUS)
        self.execute("create table t (a); insert into t values ('before')")
        self.before = self.read("a.db")
        self.page = self.before[:struct.unpack(">H", self.before[16:18])[0]]

    def execute(self, script, name="a.db"):
        database = sqlite3.connect(self.path(name))
        database.executescript(script)
        database.close()

    def query(self, statement="select a from t", more="", name="a.db"):
        return self.khost("sql", "query", "type=sqlite;file=" + native(self.path(name)) + more, statement)

    def assert_refused(self, result, reason, command="sql query"):
        self.assert_fails(result, command, *PERMISSION, "unable to open database file: " + reason)

    def assert_victim(self):
        self.assertEqual(self.read("victim"), PRECIOUS)

    def give_away(self, *names):
        for name in names:
            os.chown(self.path(name), NOBODY, NOBODY)

    def crash(self, script, name="a.db"):
        """A process that ends in the middle of a transaction."""
        program = ("import os, sqlite3, sys; c = sqlite3.connect(sys.argv[1], isolation_level=None); "
                   "c.executescript('pragma cache_size = 1;' + sys.argv[2]); os._exit(0)")
        subprocess.run([sys.executable, "-c", program, self.path(name), script], check=True)


class Journal(Beside):
    NAMED = "the journal beside it names a file that is none of SQLite's"
    FOREIGN = "another user has a hand in it, or in the journal beside it"

    def test_that_names_a_file_removes_nothing(self):
        for victim in (self.victim, self.path("victim-journal"), self.path("victim-wal")):
            os.replace(self.victim, victim)
            for command in (("query", "type=sqlite;file=" + native(self.database), "select a from t"),
                            ("tables", "type=sqlite;file=" + native(self.database))):
                write_journal(self.database, self.page, native(victim))
                self.assert_refused(self.khost("sql", *command), self.NAMED, "sql " + command[0])
            os.replace(victim, self.victim)
            self.assert_victim()

    def test_of_an_attached_database_removes_nothing(self):
        self.execute("create table u (a)", "b.db")
        write_journal(self.database, self.page, native(self.victim))
        script = self.write("script", f"attach '{native(self.database)}' as other; delete from other.t;".encode())
        result = self.khost("sql", "exec", "type=sqlite;file=" + native(self.path("b.db")), "--script", native(script))
        self.assertEqual(result.status, 1)
        self.assertIn(self.NAMED, result.errors)
        self.assert_victim()

    def test_of_a_crash_is_played_back(self):
        filler = "with recursive c(n) as (select 1 union all select n + 1 from c where n < 500) "
        self.crash("begin immediate; update t set a = 'after'; create table u (b);"
                   f"insert into u {filler} select hex(randomblob(500)) from c")
        self.assertGreater(os.path.getsize(self.database), len(self.before))
        self.assert_done(self.query(), "before\n")
        self.assertFalse(os.path.exists(self.database + "-journal"))

    def test_of_a_crash_over_two_files_is_played_back(self):
        tie = self.path("b.db-mj0123AB9CD")
        self.execute("update t set a = 'after!'")
        write_journal(self.database, self.page, native(tie))
        # The other database has got as far as removing it: what this one's journal holds is of no use any more.
        self.assert_done(self.query(), "after!\n")
        write_journal(self.database, self.page, native(tie))
        self.write("b.db-mj0123AB9CD", native(self.database + "-journal").encode() + b"\0")
        self.query()
        self.assertFalse(os.path.exists(tie))

    @unittest.skipIf(host.WINDOWS, "Windows keeps pipes apart from files")
    def test_that_is_a_fifo_is_not_waited_for(self):
        for name, reason in (("a.db-journal", "the journal beside it is not a regular file"),
                             ("a.db-wal", "it has a write-ahead log in which another user has a hand")):
            with self.subTest(name=name):
                os.mkfifo(self.path(name))
                self.assert_refused(self.query(), reason)
                os.remove(self.path(name))
        tie = self.path("a.db-mj0123AB9CD")
        os.mkfifo(tie)
        write_journal(self.database, self.page, tie)
        self.assert_refused(self.query(), "the journal beside it names a file of another user")

    @unittest.skipIf(host.WINDOWS, "Windows keeps pipes apart from files")
    def test_of_a_fifo_for_a_database(self):
        os.mkfifo(self.path("fifo.db"))
        self.assert_refused(self.query(more=";readonly=yes", name="fifo.db"), "it is not a regular file")

    @unittest.skipIf(host.WINDOWS, "Wine maps every owner to the user")
    @unittest.skipIf(NOT_ROOT, "only root can make a file of somebody else")
    def test_of_somebody_else_is_not_played_back(self):
        write_journal(self.database, self.page.replace(b"before", b"forged"))
        self.give_away("a.db-journal")
        self.assert_refused(self.query(), self.FOREIGN)
        self.assertEqual(self.read("a.db"), self.before)

    @unittest.skipIf(host.WINDOWS, "Wine maps every owner to the user")
    @unittest.skipIf(NOT_ROOT, "only root can make a file of somebody else")
    def test_of_the_administrator_stays_his(self):
        """SQLite gives a journal that it opens as the administrator to the owner of the database."""
        self.write("a.db-journal", PRECIOUS)
        self.give_away("a.db")
        self.assert_refused(self.query(), self.FOREIGN)
        self.assertEqual(os.stat(self.database + "-journal").st_uid, 0)
        os.remove(self.database + "-journal")
        self.assert_done(self.query(), "before\n")
        self.assert_done(self.query("insert into t values ('more')"), "")


    @unittest.skipIf(host.WINDOWS, "what others may write is told by file modes here")
    def test_that_others_may_write_is_not_played_back(self):
        write_journal(self.database, self.page.replace(b"before", b"forged"))
        for name in ("a.db-journal", "a.db"):
            with self.subTest(name=name):
                os.chmod(self.path(name), 0o646)
                self.assert_refused(self.query(), self.FOREIGN)
                self.assertEqual(self.read("a.db"), self.before)
                os.chmod(self.path(name), 0o664)
        os.remove(self.database + "-journal")
        os.chmod(self.database, 0o666)
        self.assert_done(self.query("insert into t values ('more')"), "")
        write_journal(self.database, self.page)
        os.chmod(self.database, 0o664)
        self.assertEqual(self.query().status, 0)
        self.assertFalse(os.path.exists(self.database + "-journal"))


class WriteAheadLog(Beside):
    def setUp(self):
        super().setUp()
        os.chmod(self.folder, 0o700)
        self.execute("pragma journal_mode = wal")

    def test_of_the_user_is_read(self):
        self.crash("insert into t values ('more')")
        self.assertTrue(os.path.exists(self.database + "-wal"))
        self.assert_done(self.query(), "before\nmore\n")

    @unittest.skipIf(host.WINDOWS, "Wine maps every owner to the user")
    @unittest.skipIf(NOT_ROOT, "only root can make a file of somebody else")
    def test_in_which_somebody_else_has_a_hand_is_refused(self):
        for name in ("a.db", "a.db-wal", "a.db-shm"):
            with self.subTest(name=name):
                self.crash("insert into t values ('more')")
                self.give_away(name)
                for more in ("", ";readonly=yes"):
                    self.assert_refused(self.query(more=more),
                                        "it has a write-ahead log in which another user has a hand")
                os.chown(self.path(name), 0, 0)

    @unittest.skipIf(host.WINDOWS, "what others may write is told by file modes here")
    def test_that_others_may_write_is_refused(self):
        for name in ("a.db", "a.db-wal", "a.db-shm"):
            with self.subTest(name=name):
                self.crash("insert into t values ('more')")
                os.chmod(self.path(name), 0o646)
                for more in ("", ";readonly=yes"):
                    self.assert_refused(self.query(more=more),
                                        "it has a write-ahead log in which another user has a hand")
                os.chmod(self.path(name), 0o664)
                self.assertEqual(self.query().status, 0)

    @unittest.skipIf(host.WINDOWS, "no file that is mapped is cut short there")
    def test_in_a_folder_of_others_is_refused(self):
        os.chmod(self.folder, 0o1777)
        self.assert_refused(self.query(), "it has a write-ahead log in a folder that others may change")


@unittest.skipIf(host.WINDOWS, "settings are no file there")
class BesideSettings(Beside):
    def setUp(self):
        super().setUp()
        self.store = self.path("store")
        self.assert_done(self.user("set", "City", "Bremen"), "")
        self.page = self.read("store")[:4096]

    def user(self, *words):
        return self.khost("--settings", self.store, "user", *words)

    def assert_unusable(self, reason):
        result = self.user("get", "City")
        self.assertEqual((result.status, result.text), (1, ""))
        self.assertRegex(result.errors, f'WARNING [^\n]*"{self.store}"[^\n]*: {reason}\n')

    def test_a_journal_that_names_a_file_removes_nothing(self):
        write_journal(self.store, self.page, self.victim)
        self.assert_unusable(Journal.NAMED)
        self.assert_victim()

    def test_a_fifo_is_not_waited_for(self):
        os.mkfifo(self.store + "-journal")
        self.assert_unusable("the journal beside it is not a regular file")

    def test_a_journal_of_a_crash_is_played_back(self):
        write_journal(self.store, self.page)
        self.assert_done(self.user("get", "City"), "City=Bremen\n")
        self.assertFalse(os.path.exists(self.store + "-journal"))

    @unittest.skipIf(NOT_ROOT, "only root can make a file of somebody else")
    def test_a_journal_of_somebody_else_is_not_played_back(self):
        write_journal(self.store, self.page)
        self.give_away("store-journal")
        self.assert_unusable(Journal.FOREIGN)

    def test_a_write_ahead_log_is_refused(self):
        """No store has one; its index could be cut short, and what it holds is no part of the file's size."""
        self.execute("pragma journal_mode = wal", "store")
        self.assert_unusable("it has a write-ahead log")
        self.assertFalse(os.path.exists(self.store + "-shm"))

    def test_a_journal_does_not_make_the_store_too_large(self):
        write_journal(self.store, self.page)
        with open(self.store + "-journal", "r+b") as file:
            file.seek(16)
            file.write(struct.pack(">I", 1 << 20)) # pages before the transaction
        self.assert_unusable("[^\n]*too large")


class LogFile(HostTest):
    def log(self, path):
        return self.khost("--log-level", "debug", "--log-file", native(path), "cache", "get", "http://h/none")

    @unittest.skipIf(host.WINDOWS, "a file's rights come from its folder on Windows")
    def test_is_for_its_user_only(self):
        before = os.umask(0o022)
        self.addCleanup(os.umask, before)
        self.log(self.path("new.log"))
        self.assertEqual(stat.S_IMODE(os.stat(self.path("new.log")).st_mode), 0o600)

    @unittest.skipIf(host.WINDOWS, "a file's rights come from its folder on Windows")
    def test_keeps_the_rights_that_a_file_has(self):
        self.write("old.log", b"first\n")
        os.chmod(self.path("old.log"), 0o660)
        self.log(self.path("old.log"))
        self.assertEqual(stat.S_IMODE(os.stat(self.path("old.log")).st_mode), 0o660)
        self.assertTrue(self.read("old.log").startswith(b"first\n20"))

    @unittest.skipIf(host.WINDOWS, "Wine makes links that Windows programs do not see as such")
    def test_follows_no_link(self):
        self.write("victim", b"precious")
        for name, target in (("link.log", "victim"), ("dangling.log", "made")):
            os.symlink(self.path(target), self.path(name))
            self.assert_fails(self.log(self.path(name)), "cache get", "0x96230013", "KPR_E_NOT_REGULAR", name)
        self.assertEqual(self.read("victim"), b"precious")
        self.assertFalse(os.path.exists(self.path("made")))

    @unittest.skipIf(host.WINDOWS, "Windows keeps pipes apart from files")
    def test_does_not_wait_for_a_fifo(self):
        os.mkfifo(self.path("fifo.log"))
        self.assert_fails(self.log(self.path("fifo.log")), "cache get", "0x96230013", "KPR_E_NOT_REGULAR", "fifo.log")

    @unittest.skipIf(host.WINDOWS, "Wine maps every owner to the user")
    @unittest.skipIf(not hasattr(os, "geteuid") or os.geteuid() != 0, "only root can make a file of somebody else")
    def test_tells_nothing_to_another_user(self):
        path = self.write("planted.log", b"")
        os.chown(path, NOBODY, NOBODY)
        os.chmod(path, 0o666)
        self.assert_fails(self.log(path), "cache get", "0x9623001C", "KPR_E_NOT_TRUSTED", "planted.log")
        self.assertEqual(self.read("planted.log"), b"")


class Folder(HostTest):
    """The user application directory decides what is cached, set and loaded."""

    def assert_told(self):
        result = self.khost("cache", "has", "http://h/")
        self.assertEqual((result.status, result.text), (1, "no\n"))
        self.assertEqual(result.errors.count("\n"), 1, result.errors)
        self.assertRegex(result.errors, r"\AWARNING khost: [^\n]*app: others may change what lies there\n\Z")

    def test_that_others_may_change_is_told_of(self):
        os.mkdir(self.app_dir, 0o700)
        self.assertEqual(self.khost("cache", "has", "http://h/").errors, "")
        os.chmod(self.app_dir, 0o777)
        self.assert_told()

    @unittest.skipIf(host.WINDOWS, "Wine maps every owner to the user")
    @unittest.skipIf(not hasattr(os, "geteuid") or os.geteuid() != 0, "only root can make a folder of somebody else")
    def test_of_somebody_else_is_told_of(self):
        os.mkdir(self.app_dir)
        os.chown(self.app_dir, NOBODY, NOBODY)
        self.assert_told()


class Passwords(HostTest):
    """A password in the description of a database is repeated nowhere: not on the standard streams, not in the log
    file at its finest level, not in anything that is left in the folders."""

    MARKER = "s3cr3t-Marker"

    DESCRIPTIONS = (
        "type=postgresql;host=127.0.0.1;port=1;user=u;dbname=d;password={}",             # nobody listens there
        "type=postgresql;host=127.0.0.1;port=none;password={}",                          # no port
        "type=postgresql;host=127.0.0.1;password={};nothing=known",                      # no such key
        "type=postgresql;passwort={}",                                                   # a slip of the finger
        "type=postgresql;host=no.host.invalid;password={}",                              # no such host
        "type=postgresql;host=127.0.0.1;port=1;password=\"{}",                           # a quote that stays open
        "type=postgresql;host=127.0.0.1;port=1;password=\"{}\"x",                        # more behind a quote
        "type=postgresql;password={};password={}",                                       # twice
        "type=postgresql;{}",                                                            # no key at all
        "type=sqlite;file=missing/x.db;password={}",
        "type=sqlite;mode=ro;file=:memory:;key={}",
        "type=oracle;password={}",                                                       # nobody's
        "password={}",
        "{}",
    )

    def setUp(self):
        super().setUp()
        self.log = self.path("log")
        self.options = ("--log-level", "debug", "--log-file", native(self.log))

    def assert_silent(self, result, about):
        for where, data in (("output", result.out), ("errors", result.err)):
            self.assertNotIn(self.MARKER.encode(), data, f"{where} of {about}")

    def assert_nothing_left(self):
        self.assertGreater(os.path.getsize(self.log), 0)
        for folder, _, names in os.walk(self.folder):
            for name in names:
                self.assertNotIn(self.MARKER.encode(), self.read(folder, name), name)

    def test_in_a_description(self):
        # Something that is logged for certain, so that the log is one.
        self.khost(*self.options, "cache", "get", "http://h/none")
        for description in self.DESCRIPTIONS:
            with self.subTest(description=description):
                description = description.replace("{}", self.MARKER)
                for command in ((), ("--json",)):
                    result = self.khost(*self.options, "sql", "query", description, "select 1", *command)
                    self.assertEqual(result.status, 1)
                    self.assert_silent(result, description)
        self.assert_nothing_left()

    def test_in_words_that_are_too_many(self):
        """A description that was not quoted, or stands where none belongs."""
        for words in (("sql", "query", "type=postgresql", "select 1", "password={}"),
                      ("sql", "query", "type=postgresql;password={}", "select", "1", "type=x;password={}"),
                      ("sql", "query", "--password={}", "x", "y"),
                      ("sql", "types", "type=postgresql;password={}"),
                      ("sql", "password={}"), ("type=postgresql;password={}",), ("cache", "id", "u", "password={}"),
                      ("sysinfo", "type=postgresql;password={}")):
            with self.subTest(words=words):
                result = self.khost(*(word.replace("{}", self.MARKER) for word in words))
                self.assert_usage(result, "=...")
                self.assert_silent(result, words)

    def test_in_the_form_of_an_address(self):
        address = "postgresql://me:{}@h/db"
        for words in (("sql", "query", "a", "b", address), (address,), ("sql", address), ("-D", address, "errors")):
            with self.subTest(words=words):
                result = self.khost(*(word.replace("{}", self.MARKER) for word in words))
                self.assert_usage(result, "postgresql://...@h/db")
                self.assert_silent(result, words)

    def test_where_something_else_belongs(self):
        description = "type=postgresql;password={}"
        for words, status in ((("sql", "types", "--driver", description), 1), (("sql", "help", description), 1),
                              (("sql", "query", "@" + description, "select 1"), 1),
                              (("sql", "query", "env:" + description, "select 1"), 1),
                              (("sql", "exec", "type=sqlite;file=:memory:", "--script", description), 1),
                              (("sql", "query", "x", "y", "--param", "int:{}"), 2),
                              (("sql", "query", "x", "y", "--param", ":{}"), 2)):
            with self.subTest(words=words):
                result = self.khost(*self.options, *(word.replace("{}", self.MARKER) for word in words))
                self.assertEqual(result.status, status)
                self.assertEqual(result.errors.count("\n"), 1)
                self.assert_silent(result, words)

    def test_in_a_line_of_the_shell(self):
        shell = self.shell(*self.options)
        shell.run("cache get http://h/none")
        for description in self.DESCRIPTIONS:
            with self.subTest(description=description):
                line = "sql query " + host.quoted(description.replace("{}", self.MARKER))
                for rest in (' "select 1"', "", ' "select 1" --nothing', ' "select 1'):
                    result = shell.run(line + rest)
                    self.assertNotEqual(result.status, 0)
                    self.assert_silent(result, line + rest)
        self.assertEqual(shell.close(), 0)
        self.assert_nothing_left()
