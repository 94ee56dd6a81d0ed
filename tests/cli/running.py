"""Runs the command with streams in a temporary folder, or on a terminal."""
import os
import pty
import select
import shutil
import signal
import subprocess
import tempfile
import termios
import time
import unittest

TORVANE = os.environ["TORVANE"]
ENVIRONMENT = {"PATH": os.path.dirname(TORVANE) + os.pathsep + os.environ["PATH"], "LC_ALL": "C.UTF-8",
               "TERM": "xterm-256color"}

# Acts on a terminal, or misleads its reader.
EVIL = "\u001b]0;x\u0007\u009b2J\u202e\u2028\u200b\ufeff\u007f\U000e0041\r\b" \
       "\u061c\u180e\u00ad\ufff9\u115f\u1160\u3164\uffa0"


class CommandTest(unittest.TestCase):
    """Gives each test an empty folder. Keys and sets shared by a class are in `self.keys`."""

    maxDiff = None
    setUpKeys = None  # creates the keys of a class, once

    @classmethod
    def setUpClass(cls):
        cls.keys = tempfile.mkdtemp()
        cls.addClassCleanup(shutil.rmtree, cls.keys)
        if cls.setUpKeys:
            cls.setUpKeys()

    @classmethod
    def make(cls, *arguments):
        subprocess.run([TORVANE, *arguments], cwd=cls.keys, check=True, env=ENVIRONMENT, stdout=subprocess.DEVNULL)

    def setUp(self):
        self.folder = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.folder)

    def path(self, name, content=None):
        path = os.path.join(self.folder, name)
        if content is not None:
            with open(path, "wb") as file:
                file.write(content.encode() if isinstance(content, str) else content)
        return path

    def key(self, name):
        return os.path.join(self.keys, name)

    def run_command(self, *arguments, stdin=b"", env=None):
        if isinstance(stdin, str):
            stdin = stdin.encode()
        return subprocess.run([TORVANE, *arguments], input=stdin, capture_output=True, cwd=self.folder, timeout=120,
                              env={**ENVIRONMENT, **(env or {})})

    def succeed(self, *arguments, stdin=b"", env=None):
        """Standard output of a command that must succeed without output on standard error."""
        done = self.run_command(*arguments, stdin=stdin, env=env)
        self.assertEqual((done.returncode, done.stderr.decode()), (0, ""), arguments)
        return done.stdout

    def text(self, *arguments, **options):
        return self.succeed(*arguments, **options).decode()

    def reject(self, code, error, *arguments, stdin=b"", prints=b"", hint=None, env=None):
        """Expects this exit code, error line and hint. Checks standard output unless `prints` is None, and returns it.
        """
        done = self.run_command(*arguments, stdin=stdin, env=env)
        expected = f"torvane: {error}\n" + (f"hint: {hint}\n" if hint else "")
        self.assertEqual((done.returncode, done.stderr.decode()), (code, expected), arguments)
        if prints is not None:
            self.assertEqual(done.stdout, prints)
        return done.stdout.decode()

    def assert_harmless(self, shown):
        self.assertEqual(set(shown) & (set(EVIL) - set("]0;x2J")), set(), shown)


class Terminal:
    """The command, or another program, on a terminal of its own, and all that it has shown."""

    def __init__(self, *arguments, folder, env=None, stdin=None, program=TORVANE):
        self.shown = b""
        self.process, self.master = pty.fork()
        if self.process == 0:
            os.chdir(folder)
            for number in (signal.SIGINT, signal.SIGQUIT):  # background processes ignore them
                signal.signal(number, signal.SIG_DFL)
            if stdin is not None:
                os.dup2(stdin, 0)
            os.execvpe(program, [program, *arguments], {**ENVIRONMENT, **(env or {})})

    def read(self):
        """Returns False at the end of the output."""
        try:
            chunk = os.read(self.master, 65536)
        except OSError:
            return False
        self.shown += chunk
        return bool(chunk)

    def has_echo(self):
        return bool(termios.ECHO & termios.tcgetattr(self.master)[3])

    def wait_for(self, text):
        end = time.monotonic() + 60
        while text.encode() not in self.shown:
            if time.monotonic() > end or not select.select([self.master], [], [], 60)[0] or not self.read():
                raise AssertionError(f"{text!r} is not shown, but {self.shown!r}")

    def answer(self, question, answer, end="\n"):
        self.wait_for(question)
        os.write(self.master, (answer + end).encode())

    def finish(self):
        """Waits for the end; returns the exit code and all that was shown. A question that waits for an answer fails.
        """
        while select.select([self.master], [], [], 60)[0]:
            if not self.read():
                break
        else:
            os.kill(self.process, signal.SIGKILL)
            os.waitpid(self.process, 0)
            raise AssertionError(f"the command does not end; it has shown {self.shown!r}")
        os.close(self.master)
        return os.waitstatus_to_exitcode(os.waitpid(self.process, 0)[1]), self.shown.decode().replace("\r\n", "\n")
