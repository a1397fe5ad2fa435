"""What is made from the table of commands: help, completion, manual page, docs/khost.md."""

import functools
import os
import re
import shutil
import subprocess

import host

DOCS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "docs", "khost.md")


def needs(tool):
    """For tests that ask another program."""
    def decorate(test):
        @functools.wraps(test)
        def run(self):
            if shutil.which(tool) is None:
                self.skipTest(tool + " is not installed")
            test(self)
        return run
    return decorate


class Pages(host.HostTest):
    def page(self, *arguments):
        """What an option of khost prints; nothing is made meanwhile."""
        result = self.khost(*arguments)
        self.assert_done(result)
        self.assertEqual(os.listdir(self.folder), [])
        return result.text

    def commands(self):
        """The commands as the page names them, outside the shell and in it."""
        return re.findall(r"^### (.*)$", self.page("--markdown"), re.MULTILINE)

    def test_the_page_in_docs_is_the_tables(self):
        with open(DOCS, encoding="utf-8") as file:
            self.assertEqual(file.read(), self.page("--markdown"), "khost --markdown > docs/khost.md")

    def test_the_page_has_every_command_that_help_shows(self):
        names = self.commands()
        self.assertEqual(len(names), len(set(names)))
        shell = self.shell()
        shown = []
        def walk(group):
            text = shell.run(" ".join(group + ["--help"])).text
            below = text.split("Subcommands:\n")[1:]
            for name in re.findall(r"^  (\S+)  ", below[0], re.MULTILINE) if below else []:
                walk(group + [name])
            if not below:
                shown.append(" ".join(group))
        walk([])
        self.assertEqual(sorted(shown + ["shell"]), sorted(names))

    def test_help_has_details_and_examples(self):
        text = self.page("errors", "--help")
        self.assertIn("Usage: khost errors [OPTIONS] [CODE]", text)
        self.assertIn("Examples:\n  khost errors 0x96230003\n", text)
        self.assertIn("a # starts a comment", self.page("shell", "--help"))

    def test_unknown_shell(self):
        self.assert_usage(self.khost("--completion", "fish"), "fish")

    def test_manual_page_names_every_command_and_option(self):
        page = self.page("--man").replace("\\-", "-")
        for name in self.commands():
            self.assertIn("\n.SS " + name, page)
        for option in ("--app-dir DIR", "--output, -o FILE", "-D NAME=VALUE", "--completion SHELL"):
            self.assertIn("\n.B " + option + "\n", page)

    @needs("groff")
    def test_manual_page_is_sound(self):
        done = subprocess.run(["groff", "-man", "-ww", "-Tascii", "-P-cbou"], input=self.page("--man").encode(),
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=True)
        self.assertEqual(done.stderr, b"")
        text = done.stdout.decode()
        self.assertIn("cache put [--attr KEY=VALUE]... URI FILE", text)
        self.assertIn("EXIT STATUS", text)


class Completion(host.HostTest):
    def candidates(self, *words):
        result = self.khost(command=[*host.KHOST, "--complete", *words])
        self.assert_done(result)
        return [line.split("\t")[0] for line in result.text.splitlines()]

    def test_commands(self):
        self.assertEqual(self.candidates("cac"), ["cache"])
        self.assertEqual(self.candidates("cache", "p"), ["put", "put-file", "pin"])
        self.assertIn("shell", self.candidates(""))
        self.assertEqual(self.candidates(), self.candidates(""))
        self.assertEqual(self.candidates('""'), self.candidates(""))
        self.assertNotIn("quit", self.candidates(""))
        self.assertEqual(self.candidates("frob", ""), [])

    def test_options_and_their_values(self):
        self.assertEqual(self.candidates("--l"), ["--log-level", "--log-file"])
        self.assertEqual(self.candidates("--log-level", "de"), ["debug"])
        self.assertEqual(self.candidates("--log-file", ""), [":files"])
        self.assertEqual(self.candidates("--app-dir", "x"), [":folders"])
        self.assertEqual(self.candidates("cache", "get", "--o"), ["--output"])
        self.assertEqual(self.candidates("cache", "get", "-o", "f"), [":files"])
        self.assertEqual(self.candidates("--json", "cache", "st"), ["stat"])
        self.assertEqual(self.candidates("--completion", ""), ["bash", "zsh", "powershell"])
        self.assertIn("--help", self.candidates("cache", "--"))

    def test_positionals(self):
        self.assertEqual(self.candidates("sysinfo", ""), ["os", "hw", "mem"])
        self.assertEqual(self.candidates("sysinfo", "os", "m"), ["mem"])
        self.assertEqual(self.candidates("user", "set", "Cit"), ["City", "CityCode"])
        self.assertEqual(self.candidates("user", "set", "City", ""), [])
        self.assertEqual(self.candidates("cache", "put", "--attr", "a=b", "http://h/", ""), [":files"])
        self.assertEqual(self.candidates("cache", "id", "u", ""), [])

    def bash(self, *words):
        """What bash offers for a line, through the script."""
        line = 'source <("$0" --completion bash); COMP_WORDS=(khost "$@"); COMP_WORDS[0]=$0; COMP_CWORD=$#; _khost; ' \
               'printf "%s\\n" "${COMPREPLY[@]}"'
        done = subprocess.run(["bash", "-c", line, host.KHOST[-1], *words], stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, cwd=self.folder, check=True)
        self.assertEqual(done.stderr, b"")
        return done.stdout.decode().split("\n")[:-1]

    @host.posix_only("there is no bash for the Windows program here")
    def test_bash(self):
        self.assertEqual(self.bash("cache", "pu"), ["put", "put-file"])
        self.write("a file", b"")
        os.mkdir(self.path("a folder"))
        self.assertEqual(sorted(self.bash("register", "a")), ["a file", "a folder"])
        self.assertEqual(self.bash("cache", "import", "a"), ["a folder"])
        self.assertEqual(self.bash("--log-level", ""), ["error", "warning", "info", "debug"])

    @needs("zsh")
    def test_zsh_takes_its_script(self):
        script = self.khost(command=[*host.KHOST, "--completion", "zsh"])
        self.assert_done(script)
        subprocess.run(["zsh", "-n", "/dev/stdin"], input=script.out, check=True)

    @needs("pwsh")
    def test_powershell(self):
        line = 'Invoke-Expression (& $args[0] --completion powershell | Out-String); ' \
               '(TabExpansion2 -inputScript "khost cache pu" -cursorColumn 14).CompletionMatches.CompletionText'
        done = subprocess.run(["pwsh", "-NoProfile", "-Command", line, host.KHOST[-1]], stdout=subprocess.PIPE, check=True)
        self.assertEqual(done.stdout.decode().split(), ["put", "put-file"])
