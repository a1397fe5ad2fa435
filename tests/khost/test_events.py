"""events: who is served, in which order."""

import contextlib
import json
import os
import re
import subprocess
import threading

import host


class Events(host.HostTest):
    def test_all_types_first_then_the_type(self):
        result = self.khost("events", stdin=b"a\tone\nb\ttwo\na\tthree\n")
        self.assert_done(result, "*\ta\tone\na\ta\tone\n*\tb\ttwo\nb\tb\ttwo\n*\ta\tthree\na\ta\tthree\n")

    def test_an_event_without_type_goes_to_all_types_twice(self):
        self.assert_done(self.khost("events", stdin=b"\ttext\n"), "*\t\ttext\n*\t\ttext\n")

    def test_what_a_text_may_hold(self):
        self.assert_done(self.khost("events", stdin=b"a\t\nb\tx\ty \nc\t\xc3\xa4\r\nlast\tline"),
                         "*\ta\t\na\ta\t\n*\tb\tx\ty \nb\tb\tx\ty \n*\tc\t\u00e4\nc\tc\t\u00e4\n"
                         "*\tlast\tline\nlast\tlast\tline\n")
        self.assert_done(self.khost("events"), "")

    def test_a_consumer_that_consumes(self):
        result = self.khost("events", "--consume", "a", stdin=b"a\tone\nb\ttwo\n")
        self.assert_done(result, "*\ta\tone\nconsume\ta\tone\n*\tb\ttwo\nb\tb\ttwo\n")
        result = self.khost("events", "--consume", "*", stdin=b"a\tone\n\ttwo\n")
        self.assert_done(result, "*\ta\tone\nconsume\ta\tone\n*\t\ttwo\nconsume\t\ttwo\n")

    def test_a_consumer_that_fails(self):
        result = self.khost("--log-level", "debug", "events", "--fail", "a", "--fail", "*", stdin=b"a\tone\n")
        self.assertEqual((result.status, result.text), (0, "*\ta\tone\nfail\ta\tone\nfail\ta\tone\na\ta\tone\n"))
        wanted = "DEBUG kos:kfw: Event dispatcher failed to deliver event of type %s: operation failed"
        self.assertEqual(result.errors.splitlines(), [wanted % "ANY", wanted % "a"])
        result = self.khost("events", "--fail", "a", stdin=b"a\tone\n")
        self.assert_done(result, "*\ta\tone\nfail\ta\tone\na\ta\tone\n")

    def test_a_line_without_a_tab(self):
        result = self.khost("events", stdin=b"a\tone\nbad\nb\ttwo\n")
        self.assertEqual((result.status, result.text), (1, "*\ta\tone\na\ta\tone\n*\tb\ttwo\nb\tb\ttwo\n"))
        self.assertEqual(result.errors, "khost: events: 0x80070057 E_INVALIDARG invalid argument: line 2\n")

    def test_json(self):
        result = self.khost("events", "--json", stdin=b"a\tone\n")
        self.assert_done(result)
        self.assertEqual(json.loads(result.text), [{"consumer": "*", "type": "a", "text": "one"},
                                                   {"consumer": "a", "type": "a", "text": "one"}])
        self.assert_done(self.khost("events", "--json"), "[]\n")

    def test_many(self):
        lines = [f"type{i % 100}\ttext {i}" for i in range(5000)]
        result = self.khost("events", stdin="".join(line + "\n" for line in lines).encode())
        self.assert_done(result, "".join(f"*\t{line}\n{line.split(chr(9))[0]}\t{line}\n" for line in lines))

    def test_the_type_star_is_a_type_like_any_other(self):
        self.assert_done(self.khost("events", stdin=b"*\tone\na\ttwo\n*\tthree\n"),
                         "*\t*\tone\n*\t*\tone\n*\ta\ttwo\na\ta\ttwo\n*\t*\tthree\n*\t*\tthree\n")

    def test_a_type_holds_no_nul(self):
        result = self.khost("events", stdin=b"a\tone\na\0b\ttwo\na\tthree\0\n")
        self.assertEqual((result.status, result.text), (1, "*\ta\tone\na\ta\tone\n*\ta\tthree\0\na\ta\tthree\0\n"))
        self.assertEqual(result.errors, "khost: events: 0x80070057 E_INVALIDARG invalid argument: line 2\n")

    def test_a_line_that_is_too_long(self):
        result = self.khost("events", stdin=b"a\t" + b"x" * (17 << 20) + b"\na\tone\n")
        self.assertEqual((result.status, result.text), (1, "*\ta\tone\na\ta\tone\n"))
        self.assertEqual(result.errors, "khost: events: 0x96230015 KPR_E_TOO_LARGE too large: line 1\n")

    @host.posix_only("memory is read from /proc")
    def test_input_without_end_takes_bounded_memory(self):
        if os.environ.get("KFW_SANITIZE"):
            self.skipTest("sanitizers take memory of their own")
        for options in ((), ("--json",)):
            with self.subTest(options=options):
                process = subprocess.Popen(self.command("events", *options), stdin=subprocess.PIPE,
                                           stdout=subprocess.DEVNULL, env=self.environment())
                part = (b"type\t" + b"x" * 1000 + b"\n") * 1000
                for _ in range(100):
                    process.stdin.write(part)
                process.stdin.flush()
                with open(f"/proc/{process.pid}/status", encoding="utf-8") as file:
                    peak = int(re.search(r"VmHWM:\s+(\d+) kB", file.read()).group(1))
                process.stdin.close()
                self.assertEqual(process.wait(host.TIMEOUT), 0)
                self.assertLess(peak, 48 << 10, "after 100 MB of input")

    def test_types_without_end(self):
        if os.environ.get("KFW_SANITIZE"):
            self.skipTest("sanitizers take memory of their own")
        types = [b"type-%06d" % number for number in range(100000)]
        process = subprocess.Popen(self.command("events", "--fail", "type-000001"), stdin=subprocess.PIPE,
                                   stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, env=self.environment())
        reader = threading.Thread(target=lambda: shown.append(process.stdout.read()))
        shown = []
        reader.start()
        process.stdin.write(b"".join(name + b"\tx\n" for name in types + types[:2]))
        process.stdin.flush()
        peak = 0
        if not host.WINDOWS:
            with open(f"/proc/{process.pid}/status", encoding="utf-8") as file:
                peak = int(re.search(r"VmHWM:\s+(\d+) kB", file.read()).group(1))
        process.stdin.close()
        reader.join(host.TIMEOUT)
        process.stdout.close()
        self.assertEqual(process.wait(host.TIMEOUT), 0)
        expected = []
        for name in types + types[:2]:
            expected += [b"*\t" + name + b"\tx"] + [b"fail\t" + name + b"\tx"] * (name == b"type-000001")
            expected.append(name + b"\t" + name + b"\tx")
        self.assertEqual(shown[0].replace(b"\r\n", b"\n").splitlines(), expected)
        self.assertLess(peak, 32 << 10, "after 100,000 types")

    def test_ends_when_nobody_reads_its_output(self):
        process = subprocess.Popen(self.command("events"), stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, env=self.environment())
        process.stdin.write(b"a\tone\n")
        process.stdin.flush()
        process.stdout.readline()
        process.stdout.close()
        # The input stays open: khost ends by itself.
        for _ in range(2):
            try:
                process.stdin.write(b"a\ttwo\n" * 100)
                process.stdin.flush()
            except BrokenPipeError:
                break
        self.assertEqual(process.wait(host.TIMEOUT), 1)
        errors = process.stderr.read().decode()
        process.stderr.close()
        self.assertIn("khost: events: 0x96230001 KPR_E_IO input/output error: standard output", errors)
        with contextlib.suppress(BrokenPipeError):
            process.stdin.close()

    def test_usage(self):
        self.assert_usage(self.khost("events", "--fail"), "--fail")
        self.assert_usage(self.khost("events", "file"), "file")
        self.assert_usage(self.shell().run("events"), "standard input holds the shell's commands")
