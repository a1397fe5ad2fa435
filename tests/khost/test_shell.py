"""The shell itself."""

import time

import host
from host import native, quoted


class ShellTest(host.HostTest):
    def test_statuses_comments_and_quotes(self):
        result = self.khost("shell", stdin=b"""
# a comment
errors KPR_E_IO   # another

frob
cache id 'http://h/a b'
errors "unclosed
errors 'KPR_E_''IO'\r
""")
        self.assertEqual(result.status, 0)
        lines = result.text.splitlines()
        line = "0x96230001 KPR_E_IO input/output error"
        self.assertEqual(lines[:3], [line, "= 0", "= 2"])
        self.assertEqual(lines[4:], ["= 0", "= 2", line, "= 0"])
        self.assertEqual(result.errors.splitlines(),
                         ['khost: unknown command "frob" (see khost --help)', "khost: shell: a quote is not closed"])

    def test_the_last_line_needs_no_end(self):
        self.assertEqual(self.khost("shell", stdin=b"cache has http://h/").text, "no\n= 1\n")
        self.assert_done(self.khost("shell", stdin=b""), "")

    def test_quit_ends_it(self):
        self.assert_done(self.khost("shell", stdin=b"quit\nerrors\n"), "= 0\n")

    def test_sleep_and_idle(self):
        shell = self.shell()
        start = time.monotonic()
        self.assert_done(shell.run("sleep 0.3"), "")
        self.assertGreaterEqual(time.monotonic() - start, 0.29)
        self.assert_done(shell.run("idle"), "")
        for wrong in ("-1", "nan", "1e99"):
            self.assert_usage(shell.run(f"sleep -- {wrong}"), "not a time that can be waited")
        self.assert_usage(shell.run("sleep soon"), "soon")

    def test_has_no_global_options_and_no_second_shell(self):
        shell = self.shell()
        self.assert_usage(shell.run("--app-dir x classes"), "--app-dir")
        self.assert_usage(shell.run("shell"), 'unknown command "shell"')
        self.assertIn("sleep", shell.run("--help").text)

    def test_standard_input_is_the_shells(self):
        shell = self.shell()
        self.assert_usage(shell.run("cache put http://h/ -"), "standard input holds the shell's commands")
        self.assert_done(shell.run("errors K_SUCCESS"))

    def test_json_counts_for_one_line(self):
        shell = self.shell()
        self.assertEqual(shell.run("errors K_SUCCESS --json").text[0], "[")
        self.assert_done(shell.run("errors K_SUCCESS"), "0x00000000 K_SUCCESS success\n")

    def test_keeps_its_cache(self):
        source = self.write("file", b"x")
        shell = self.shell()
        self.assert_done(shell.run(f"cache put http://h/ {quoted(native(source))}"))
        self.assert_done(shell.run("cache pin http://h/"))
        self.assert_done(shell.run("cache unpin http://h/"))
        self.assertEqual(shell.close(), 0)

    def test_a_long_line(self):
        shell = self.shell()
        uri = "http://h/" + "x" * 100000
        self.assertRegex(shell.run("cache id " + uri).text, r"\A[0-9A-F]{32}\n\Z")
