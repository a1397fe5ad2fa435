"""Several processes, signals, terminals and streams that fail."""

import os
import signal
import subprocess
import time

import host
from host import native, posix_only, quoted


class Processes(host.HostTest):
    def test_one_process_reads_what_another_stored(self):
        source = self.write("file", b"shared")
        first, second = self.shell(), self.shell()
        self.assert_done(first.run(f"cache put http://h/1 {quoted(native(source))}"))
        self.assertEqual(second.run("cache get http://h/1").out, b"shared\n")
        self.assert_done(second.run(f"cache put http://h/2 {quoted(native(source))}"))
        self.assertEqual(first.run("cache get http://h/2").out, b"shared\n")
        self.assertEqual((first.close(), second.close()), (0, 0))

    def test_many_processes_make_the_registry_at_once(self):
        processes = [subprocess.Popen(self.command("classes"), stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                      stderr=subprocess.DEVNULL, env=self.environment()) for _ in range(4)]
        outputs = {process.communicate(timeout=host.TIMEOUT)[0] for process in processes}
        self.assertEqual([process.returncode for process in processes], [0] * 4)
        self.assertEqual(len(outputs), 1)

    @host.signals_arrive
    def test_interrupt_closes_the_shell_in_good_order(self):
        shell = self.shell("--log-level", "debug")
        shell.run("idle")
        pid = shell.process.pid
        shell.process.send_signal(signal.SIGINT)
        self.assertEqual(shell.process.wait(30), 1, shell.read_errors())
        self.assertEqual(pid, shell.process.pid)
        shell.close()

    @host.signals_arrive
    @posix_only("a Wine process has no handler for SIGTERM")
    def test_terminate_ends_a_sleep(self):
        shell = self.shell()
        shell.run("idle")
        shell.process.stdin.write(b"sleep 60\n")
        shell.process.stdin.flush()
        time.sleep(0.2)
        shell.process.send_signal(signal.SIGTERM)
        self.assertEqual(shell.process.wait(30), 1)
        shell.close()

    @posix_only("there is no /dev/full on Windows")
    def test_standard_output_that_takes_nothing(self):
        with open("/dev/full", "wb") as full:
            done = subprocess.run(self.command("errors"), stdout=full, stderr=subprocess.PIPE)
        self.assertEqual(done.returncode, 1)
        self.assertEqual(done.stderr, b"khost: errors: 0x96230001 KPR_E_IO input/output error: standard output\n")

    @posix_only("whether a reader is gone shows by a signal on Linux only")
    def test_a_reader_that_has_gone_away(self):
        source, sink = os.pipe()
        os.close(source)
        done = subprocess.run(self.command("errors"), stdout=sink, stderr=subprocess.PIPE)
        os.close(sink)
        self.assertEqual(done.returncode, 1)
        self.assertIn(b"standard output", done.stderr)


class Terminal(host.HostTest):
    def talk(self, arguments, text=b""):
        """What khost shows on a terminal of its own."""
        import pty
        master, slave = pty.openpty()
        process = subprocess.Popen(self.command(*arguments), stdin=slave, stdout=slave, stderr=slave,
                                   start_new_session=True)
        os.close(slave)
        os.write(master, text)
        shown = b""
        while True:
            try:
                part = os.read(master, 65536)
            except OSError:
                break
            if not part:
                break
            shown += part
        os.close(master)
        return process.wait(host.TIMEOUT), shown.decode()

    @posix_only("Wine without a display has no console window")
    def test_the_shell_prompts_and_tells_no_status(self):
        status, shown = self.talk(["shell"], b"errors K_SUCCESS\nquit\n")
        self.assertEqual(status, 0)
        self.assertIn("khost> ", shown)
        self.assertIn("0x00000000 K_SUCCESS success", shown)
        self.assertNotIn("= 0", shown)

    @posix_only("Wine without a display has no console window")
    def test_import_and_verify_show_their_progress(self):
        for number in range(5):
            self.write(f"tree/{number}", b"x")
        for arguments in (["cache", "import", self.path("tree")], ["cache", "verify"]):
            status, shown = self.talk(arguments)
            self.assertEqual(status, 0)
            self.assertIn(f"{arguments[1]} [", shown)
            self.assertIn("5/5", shown)
