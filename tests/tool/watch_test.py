"""hwprobe watch on a terminal, by what stands on it (tmux) and byte by byte (pty): watch_test.py TOOL SOURCE_DIR"""
import os
import pty
import re
import select
import shutil
import signal
import subprocess
import sys
import tempfile
import termios
import time
import unittest
from pathlib import Path

TOOL, SOURCE = (str(Path(argument).resolve()) for argument in sys.argv[1:])
LAPTOP = ["--machine", f"{SOURCE}/machines/laptop.json"]
COLOUR = re.compile(r"\x1b\[(?:\d+;)*(?:3[0-8]|9[0-7])[;m]")
PATIENCE = 20  # seconds; the machine may be busy
GRACEFUL = {signal.SIGINT, signal.SIGTERM, signal.SIGHUP, b"q", b"\x03"}
OTHERS = {signal.SIGKILL, signal.SIGSTOP, signal.SIGTSTP, signal.SIGTTIN, signal.SIGTTOU, signal.SIGCHLD,
          signal.SIGCONT, signal.SIGURG, signal.SIGWINCH, signal.SIGXFSZ, *range(signal.SIGRTMIN + 2, signal.SIGRTMAX)}
ENDING = [*sorted(signal.valid_signals() - OTHERS), b"q", b"\x03"]
OPENED, CLOSED, SHOWN_CURSOR = b"\x1b[?1049h", b"\x1b[?1049l", b"\x1b[?25h"


class Terminal:
    """What a person sees."""

    def __init__(self, case, arguments, columns=100, **environment):
        self.tmux = ["tmux", "-u", "-L", f"watch-{os.getpid()}-{id(self)}", "-f", "/dev/null"]
        folder = case.enterContext(tempfile.TemporaryDirectory())
        case.addCleanup(subprocess.run, [*self.tmux, "kill-server"], capture_output=True)
        settings = [f"{name}={value}" for name, value in {"LC_ALL": "C.UTF-8", **environment}.items()]
        self.run("new-session", "-d", "-x", columns, "-y", 60, "-c", folder,
                 "env", *settings, TOOL, "watch", "--interval", "100", *arguments)

    def run(self, *arguments):
        done = subprocess.run([*self.tmux, *map(str, arguments)], capture_output=True, check=True, timeout=PATIENCE)
        return done.stdout.decode()

    def shown(self, *options):
        return self.run("capture-pane", "-p", *options)

    def wait(self, condition):
        """What is shown as soon as the condition holds for it."""
        end = time.monotonic() + PATIENCE
        while not condition(shown := self.shown()):
            assert time.monotonic() < end, shown
            time.sleep(0.01)
        return shown


class Watch:
    """The tool on a pseudo terminal of its own, whose settings it was given stand on the first line."""

    def __init__(self, case, *arguments, until=rb"Processor"):
        self.process, self.terminal = pty.fork()
        if self.process == 0:
            for name in signal.valid_signals() - {signal.SIGKILL, signal.SIGSTOP}:
                signal.signal(name, signal.SIG_DFL)
            termios.tcsetwinsize(0, (12, 80))
            os.write(1, repr(self.settings(0)).encode() + b"\n")
            os.execve(TOOL, [TOOL, "watch", *arguments],
                      {"LC_ALL": "C.UTF-8", "TERM": "xterm-256color", "HWPROBE_LOG_FILE": "off",
                       "ASAN_OPTIONS": "handle_segv=0:handle_sigbus=0:handle_sigfpe=0:handle_sigill=0"})
        self.shown = b""
        case.addCleanup(self.close)
        self.wait(lambda: re.search(until, self.shown, re.S))

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
            self.shown += (more := os.read(self.terminal, 65536))
        except OSError:
            more = b""
        time.sleep(0 if more else patience)
        return bool(more)

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


class Screen(unittest.TestCase):
    def still(self):
        return Watch(self, "--interval", "3600000", *LAPTOP)

    def test_a_picture_stands_before_the_clock_is_measured(self):
        clock = rb"Clock.{0,40}?(measuring|MHz|unknown).*(MHz|unknown)"  # of this machine, it takes half a second
        self.assertEqual(b"measuring", re.search(clock, Watch(self, until=clock).shown, re.S)[1])

    def test_values_stand_beside_each_other_in_frames_of_any_width(self):
        for columns in 20, 25, 30, 38, 40, 80, 200:
            values = ["40.0 %", "50.5 °C", "1500 MHz", "71 %", "43 °C", "480.0 kB/s", "discharging", "80 %",
                      *["unknown: No gpu found"] * (columns >= 40)]
            terminal = Terminal(self, LAPTOP, columns)
            shown = terminal.wait(lambda text: all(re.search(rf"(?m)[│ ]{value}(?: |│|$)", text) for value in values) and
                                  re.search(r"40\.0 %.*[▁-█]", text, re.S) and text.rstrip().endswith("╯"))
            self.assertNotRegex(shown, r"4294967295|-1000|\s-1\b")
            frames = [line for line in shown.splitlines()[1:] if line]
            self.assertEqual({columns}, {len(line) for line in frames})
            self.assertTrue(all(line[0] in "╭│╰" and line[-1] in "╮│╯" for line in frames), shown)
            terminal.run("resize-window", "-x", 60, "-y", 12)
            small = terminal.wait(lambda text: "arrow keys scroll" in text).splitlines()
            self.assertEqual((12, 60), (len(small), len(small[1])))

    def test_colour_and_characters_are_those_the_user_wants(self):
        for environment, coloured, corner in [({}, True, "╭"), ({"NO_COLOR": "1"}, False, "╭"),
                                              ({"LC_ALL": "C"}, True, "+-")]:
            terminal = Terminal(self, LAPTOP, **environment)
            shown = terminal.wait(lambda text: "50.5" in text)
            self.assertEqual(coloured, bool(COLOUR.search(terminal.shown("-e"))), environment)
            self.assertIn(corner, shown)
            self.assertEqual(corner == "╭", not shown.isascii())
        self.assertIn("#time", Terminal(self, LAPTOP, TERM="dumb").wait(lambda text: "cpu_load" in text))

    def test_each_signal_and_key_that_ends_it_gives_the_terminal_back_and_is_what_ended_it(self):
        for ending in ENDING:
            watch = self.still()
            settings = watch.shown.split(b"\r\n")[0].decode()
            self.assertEqual((1, 0), (watch.shown.count(OPENED), watch.shown.count(CLOSED)), ending)
            if isinstance(ending, bytes):
                os.write(watch.terminal, ending)
            else:
                os.kill(watch.process, ending)
            self.assertEqual(0 if ending in GRACEFUL else -ending, watch.ended(), ending)
            after = watch.shown[watch.shown.index(OPENED):]
            self.assertTrue(CLOSED in after and SHOWN_CURSOR in after, (ending, after))
            self.assertEqual(settings, repr(watch.settings(watch.terminal)), ending)

    def test_keys_that_wait_make_one_picture(self):
        watch = self.still()
        os.kill(watch.process, signal.SIGSTOP)
        before = len(watch.shown)
        os.write(watch.terminal, b"jk" * 1900 + b"q")
        os.kill(watch.process, signal.SIGCONT)
        self.assertEqual(0, watch.ended())
        self.assertLess(len(watch.shown) - before, 20_000)  # a picture is about 5,000

    def test_a_terminal_that_goes_away_ends_it(self):
        watch = self.still()
        os.dup2(os.open(os.devnull, os.O_RDONLY), watch.terminal)
        self.assertEqual(0, watch.ended())


if __name__ == "__main__":
    if not shutil.which("tmux"):
        print("cannot run: tmux is missing")
        sys.exit(77)
    unittest.main(argv=[sys.argv[0]])
