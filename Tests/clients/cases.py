"""What the client tests share: the program and sessions with it, checks, and the run over the tests of a file.

A test file is called as test_NAME.py PROGRAM [WORD...]; the words choose the tests with one of them in their names.
Set TARN_PATIENCE to a factor for slow (instrumented) builds, TARN_RUNNER to the command that runs the program where the
system does not do so itself: "wine" for a Windows program elsewhere.
"""
import collections
import os
import pathlib
import queue
import shlex
import signal
import subprocess
import sys
import tempfile
import threading
import time

PROGRAM = os.path.abspath(sys.argv[1])
ROOT = pathlib.Path(os.environ.get("TARN_SOURCE_DIR", pathlib.Path(__file__).parents[2])).resolve()
DATA = ROOT / "Tests" / "data"
RUNNER = shlex.split(os.environ.get("TARN_RUNNER", ""))
COMMAND = [*RUNNER, PROGRAM]
IS_POSIX_PROGRAM = os.name == "posix" and not PROGRAM.endswith(".exe")
PATIENCE = float(os.environ.get("TARN_PATIENCE", "1"))
TIMEOUT = 20 * PATIENCE

sys.path.insert(0, str(ROOT / "scripts"))


class Failure(Exception):
    """What a test found."""


class Skipped(Exception):
    """Why a test cannot be run here."""


def needs(condition, what):
    """Skips the test unless the condition holds."""
    if not condition:
        raise Skipped(f"needs {what}")


def check(condition, message):
    if not condition:
        raise Failure(message)


def count(lines, start):
    return sum(line.startswith(start) for line in lines)


def to_bytes(text):
    return text.encode("utf-8", "surrogateescape")


def to_text(data):
    """UTF-8 as text, from which to_bytes makes the same bytes again, whatever they are."""
    return data.decode("utf-8", "surrogateescape")


Run = collections.namedtuple("Run", "lines errors status")


def run(*arguments, text="", limits=(), program=PROGRAM, timeout=3 * TIMEOUT):
    """A whole run of the program with this input. `limits` are resource limits, (kind, value) each."""
    def set_limits():
        import resource
        for kind, value in limits:
            resource.setrlimit(kind, (value, value))

    needs(not limits or IS_POSIX_PROGRAM, "a program that takes POSIX limits")
    done = subprocess.run([*RUNNER, program, *map(str, arguments)], input=to_bytes(text), capture_output=True, timeout=timeout,
                          preexec_fn=set_limits if limits else None)
    return Run(to_text(done.stdout).split("\n"), to_text(done.stderr), done.returncode)


def interrupt(*arguments, file, size=1, sent=signal.SIGINT, program=PROGRAM):
    """A run of the program that gets a signal as soon as its file has this size."""
    needs(IS_POSIX_PROGRAM, "a program that takes POSIX signals")
    process = subprocess.Popen([*RUNNER, program, *map(str, arguments)], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                               stderr=subprocess.PIPE, text=True)
    deadline = time.monotonic() + 3 * TIMEOUT
    while not os.path.exists(file) or os.path.getsize(file) < size:
        check(time.monotonic() < deadline and process.poll() is None, f"{arguments}: nothing was written")
        time.sleep(0.01)
    process.send_signal(sent)
    output, errors = process.communicate(timeout=3 * TIMEOUT)
    return Run(output.split("\n"), errors, process.returncode)


def shown_on_terminal(*arguments):
    """What a run of the program writes to an error stream that is a terminal, and its standard output."""
    import pty
    master, terminal = pty.openpty()
    done = subprocess.run([*COMMAND, *map(str, arguments)], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=terminal, timeout=3 * TIMEOUT)
    os.close(terminal)
    shown = ""
    try:
        while part := os.read(master, 65536):  # a terminal hands its output over in pieces
            shown += part.decode()
    except OSError:  # how Linux tells that the other end is closed
        pass
    os.close(master)
    return shown, done.stdout.decode("latin-1")


class Session:
    """One running program whose lines are read as they come."""

    def __init__(self, *arguments, errors=subprocess.DEVNULL):
        self.process = subprocess.Popen([*COMMAND, *arguments], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        stderr=errors)
        self.lines = queue.Queue()
        self.seen = []
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        for line in self.process.stdout:
            self.lines.put(to_text(line).rstrip("\n"))
        self.lines.put(None)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.kill()
        self.process.wait()

    def send(self, *lines):
        self.process.stdin.write(to_bytes("".join(line + "\n" for line in lines)))
        self.process.stdin.flush()

    def next_line(self, timeout=TIMEOUT):
        """The next line; None at the end of the output or after the time."""
        try:
            line = self.lines.get(timeout=timeout)
        except queue.Empty:
            return None
        self.seen.append(line)
        return line

    def wait_for(self, start, timeout=TIMEOUT):
        """The lines up to the first that begins with `start`."""
        found = [""]
        deadline = time.monotonic() + timeout
        while not found[-1].startswith(start):
            found.append(self.next_line(max(deadline - time.monotonic(), 0)))
            check(found[-1] is not None, f"no {start!r} within {timeout} s; last lines: {self.seen[-5:]}")
        return found[1:]

    def ready(self):
        self.send("isready")
        return self.wait_for("readyok")

    def finish(self, timeout=TIMEOUT):
        """The rest of the output and the exit status."""
        rest = list(iter(lambda: self.next_line(timeout), None))
        return rest, self.process.wait(timeout)


def run_tests(names):
    """Runs the functions of a file's `names` that begin with "test_", each in an empty folder; prints what failed or was
    skipped and "N passed, N failed, N skipped", and exits."""
    home = os.getcwd()
    passed = failed = skipped = 0
    for name, test in list(names.items()):
        if not name.startswith("test_") or not any(word in name for word in sys.argv[2:] or [""]):
            continue
        try:
            with tempfile.TemporaryDirectory() as folder:
                os.chdir(folder)
                try:
                    test()
                finally:
                    os.chdir(home)
            passed += 1
        except Skipped as reason:
            skipped += 1
            print(f"{name} skipped: {reason}", flush=True)
        except (Failure, OSError, subprocess.SubprocessError) as failure:
            failed += 1
            print(f"{name}: {failure}", flush=True)
    print(f"{passed} passed, {failed} failed, {skipped} skipped")
    sys.exit(1 if failed else 0)
