"""events: who is served, in which order."""

import json

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

    def test_usage(self):
        self.assert_usage(self.khost("events", "--fail"), "--fail")
        self.assert_usage(self.khost("events", "file"), "file")
        self.assert_usage(self.shell().run("events"), "standard input holds the shell's commands")
