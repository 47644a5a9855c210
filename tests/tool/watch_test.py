"""hwprobe watch on a terminal (tmux), by what stands on it: watch_test.py TOOL SOURCE_DIR"""
import fcntl
import os
import pty
import re
import select
import shutil
import struct
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


class Terminal:
    def __init__(self, case, arguments, columns=100, rows=40, **environment):
        self.folder = tempfile.TemporaryDirectory()
        self.tmux = ["tmux", "-u", "-L", f"watch-{os.getpid()}-{id(self)}", "-f", "/dev/null"]
        case.addCleanup(self.close)
        settings = [f"{name}={value}" for name, value in {"LC_ALL": "C.UTF-8", **environment}.items()]
        script = 'trap : INT; echo $$ >pid; "$@"; echo "status $?"; exec sleep 60'
        command = ["sh", "-c", script, "sh", "env", *settings, TOOL, "watch", "--interval", "100", *arguments]
        self.run("new-session", "-d", "-x", columns, "-y", rows, "-c", self.folder.name, *command)

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

    def close(self):
        subprocess.run([*self.tmux, "kill-server"], capture_output=True)
        self.folder.cleanup()


class Screen(unittest.TestCase):
    def test_a_picture_stands_before_the_clock_is_measured(self):
        screen, terminal = pty.openpty()  # all that is written, whenever it is looked at
        fcntl.ioctl(terminal, termios.TIOCSWINSZ, struct.pack("4H", 40, 100, 0, 0))
        environment = {**os.environ, "LC_ALL": "C.UTF-8", "TERM": "xterm"}
        with subprocess.Popen([TOOL, "watch"], stdin=terminal, stdout=terminal, stderr=subprocess.DEVNULL,
                              env=environment) as process:  # this machine: its clock takes half a second
            written = b""
            while not (clock := re.search(rb"Clock.{0,40}?(measuring|MHz|unknown)(.*(MHz|unknown))?", written, re.S)) or not clock[3]:
                self.assertTrue(select.select([screen], [], [], PATIENCE)[0], written)
                written += os.read(screen, 65536)
            process.terminate()
        os.close(screen), os.close(terminal)
        self.assertEqual(b"measuring", clock[1])

    def test_values_stand_in_frames_of_any_width(self):
        for columns in 40, 80, 200:
            terminal = Terminal(self, LAPTOP, columns=columns)
            values = ["40.0 %", "50.5 °C", "1500 MHz", "71 %", "43 °C", "480.0 kB/s", "discharging", "80 %",
                      "unknown: No gpu found"]
            shown = terminal.wait(lambda text: all(value in text for value in values) and
                                  re.search(r"40\.0 %.*[▁-█]", text, re.S) and text.rstrip().endswith("╯"))
            self.assertNotRegex(shown, r"4294967295|-1000|\s-1\b")
            frames = [line for line in shown.splitlines()[1:] if line]
            self.assertEqual({columns}, {len(line) for line in frames})
            self.assertTrue(all(line[0] in "╭│╰" and line[-1] in "╮│╯" for line in frames), shown)
            terminal.run("resize-window", "-x", 60, "-y", 12)
            small = terminal.wait(lambda text: "arrow keys scroll" in text).splitlines()
            self.assertEqual((12, 60), (len(small), len(small[1])))

    def test_q_and_interrupt_give_the_terminal_back(self):
        for key in "q", "C-c":
            terminal = Terminal(self, LAPTOP)
            terminal.wait(lambda shown: "Processor" in shown)
            terminal.run("send-keys", key)
            self.assertEqual("status 0", terminal.wait(lambda shown: "status" in shown).strip())

    def test_colour_and_characters_are_those_the_user_wants(self):
        for environment, coloured, corner in [({}, True, "╭"), ({"NO_COLOR": "1"}, False, "╭"),
                                              ({"LC_ALL": "C"}, True, "+-")]:
            terminal = Terminal(self, LAPTOP, **environment)
            shown = terminal.wait(lambda text: "50.5" in text)
            self.assertEqual(coloured, bool(COLOUR.search(terminal.shown("-e"))), environment)
            self.assertIn(corner, shown)
            self.assertEqual(corner == "╭", not shown.isascii())
        self.assertIn("#time", Terminal(self, LAPTOP, TERM="dumb").wait(lambda text: "cpu_load" in text))

    def test_a_terminal_that_goes_away_ends_it(self):
        terminal = Terminal(self, LAPTOP)
        terminal.wait(lambda shown: "Processor" in shown)
        shell = int(Path(terminal.folder.name, "pid").read_text())
        children = Path(f"/proc/{shell}/task/{shell}/children").read_text().split()
        self.assertEqual(1, len(children))
        terminal.run("kill-server")
        end = time.monotonic() + PATIENCE
        while Path(f"/proc/{children[0]}/exe").exists():
            self.assertLess(time.monotonic(), end, "it goes on without a terminal")
            time.sleep(0.05)


if __name__ == "__main__":
    if not shutil.which("tmux"):
        print("cannot run: tmux is missing")
        sys.exit(77)
    unittest.main(argv=[sys.argv[0]])
