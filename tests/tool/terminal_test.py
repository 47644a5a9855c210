"""What `hwprobe watch` does to its terminal, byte by byte: terminal_test.py TOOL SOURCE_DIR"""
import os
import pty
import re
import select
import shutil
import signal
import sys
import termios
import time
import unittest

sys.dont_write_bytecode = True  # nothing comes into being beside the sources
from watch_test import LAPTOP, PATIENCE, TOOL, Terminal

GRACEFUL = {signal.SIGINT, signal.SIGTERM, signal.SIGHUP}
OTHERS = {signal.SIGKILL, signal.SIGSTOP, signal.SIGTSTP, signal.SIGTTIN, signal.SIGTTOU, signal.SIGCHLD,
          signal.SIGCONT, signal.SIGURG, signal.SIGWINCH, signal.SIGXFSZ}
ENDING = [*sorted(signal.valid_signals() - OTHERS - {signal.SIGRTMIN + i for i in range(2, 30)})]
OPENED, CLOSED, SHOWN_CURSOR = b"\x1b[?1049h", b"\x1b[?1049l", b"\x1b[?25h"


class Watch:
    """The tool on a pseudo terminal of its own, whose settings it was given stand on the first line."""

    def __init__(self, case):
        self.process, self.terminal = pty.fork()
        if self.process == 0:
            for name in signal.valid_signals() - {signal.SIGKILL, signal.SIGSTOP}:
                signal.signal(name, signal.SIG_DFL)
            termios.tcsetwinsize(0, (12, 80))
            os.write(1, repr(self.settings(0)).encode() + b"\n")
            os.execve(TOOL, [TOOL, "watch", "--interval", "3600000", *LAPTOP],
                      {"LC_ALL": "C.UTF-8", "TERM": "xterm-256color", "HWPROBE_LOG_FILE": "off",
                       "ASAN_OPTIONS": "handle_segv=0:handle_sigbus=0:handle_sigfpe=0:handle_sigill=0"})
        self.shown = b""
        case.addCleanup(self.close)
        self.wait(lambda: b"Processor" in self.shown)

    @staticmethod
    def settings(file):
        return termios.tcgetattr(file)[:4]

    def wait(self, condition):
        end = time.monotonic() + PATIENCE
        while not condition():
            assert time.monotonic() < end, self.shown
            self.read(0.05)

    def read(self, patience):
        """False when there is nothing, or nobody is on the terminal any more."""
        if not select.select([self.terminal], [], [], patience)[0]:
            return False
        try:
            self.shown += os.read(self.terminal, 65536)
        except OSError:
            time.sleep(patience)
            return False
        return True

    def ended(self):
        """Its exit status, or the signal below zero."""
        status = []
        self.wait(lambda: status.extend(os.waitpid(self.process, os.WNOHANG)) or status[-2] != 0)
        self.process = 0
        while self.read(0):
            pass
        return os.waitstatus_to_exitcode(status[-1])

    def close(self):
        if self.process:
            os.kill(self.process, signal.SIGKILL)
            os.waitpid(self.process, 0)
        os.close(self.terminal)


class OfThePerson(unittest.TestCase):
    def test_each_signal_that_ends_it_gives_the_terminal_back_and_is_what_ended_it(self):
        for number in ENDING:
            watch = Watch(self)
            settings = watch.shown.split(b"\r\n")[0].decode()
            self.assertEqual((1, 0), (watch.shown.count(OPENED), watch.shown.count(CLOSED)), number)
            os.kill(watch.process, number)
            self.assertEqual(0 if number in GRACEFUL else -number, watch.ended(), number)
            after = watch.shown[watch.shown.index(OPENED):]
            self.assertTrue(CLOSED in after and SHOWN_CURSOR in after, (number, after))
            self.assertEqual(settings, repr(watch.settings(watch.terminal)), number)

    def test_keys_that_wait_make_one_picture(self):
        watch = Watch(self)
        os.kill(watch.process, signal.SIGSTOP)
        before = len(watch.shown)
        os.write(watch.terminal, b"jk" * 1900 + b"q")
        os.kill(watch.process, signal.SIGCONT)
        self.assertEqual(0, watch.ended())
        self.assertLess(len(watch.shown) - before, 20_000)  # a picture is about 5,000

    def test_texts_stand_beside_each_other_from_20_columns_on(self):
        for columns in 20, 25, 30, 38:
            terminal = Terminal(self, LAPTOP, columns=columns, rows=60)
            shown = terminal.wait(lambda text: "40.0 %" in text and "80 %" in text)
            for value in ["50.5 °C", "1500 MHz", "71 %", "43 °C", "480.0 kB/s", "discharging"]:
                self.assertRegex(shown, rf"(?m)[│ ]{re.escape(value)}(?: |│|$)", columns)
            frames = [line for line in shown.splitlines()[1:] if line]
            self.assertEqual({columns}, {len(line) for line in frames})
            self.assertTrue(all(line[0] in "╭│╰" and line[-1] in "╮│╯" for line in frames), shown)


if __name__ == "__main__":
    if not shutil.which("tmux"):
        print("cannot run: tmux is missing")
        sys.exit(77)
    unittest.main(argv=[sys.argv[0]])
