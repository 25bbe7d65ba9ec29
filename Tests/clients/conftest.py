"""Fixtures of the client tests. `program` runs the program that is tested and starts conversations with it, `tarn` is a
conversation over UCI. A test that has one of them works in an empty folder.

    python -m pytest Tests/clients/test_books.py --program build/dev/tarn -k depths

Environment: TARN_PROGRAM names the program instead of --program; TARN_PATIENCE is a factor for slow (instrumented) builds,
TARN_RUNNER the command that runs a program of another system ("wine").
"""
import collections
import os
import pathlib
import re
import shlex
import signal
import subprocess
import time

import pytest

from uci_client import Conversation

ROOT = pathlib.Path(__file__).resolve().parents[2]
DATA = ROOT / "Tests" / "data"
GUIDE = (ROOT / "docs" / "users-guide.md").read_text("utf-8")
PATIENCE = float(os.environ.get("TARN_PATIENCE", "1"))
TIMEOUT = 20 * PATIENCE
LATENCY = 0.5 * PATIENCE  # in which a program answers that has nothing else to do


class Run(collections.namedtuple("Run", "output errors status")):
    """What a run of the program left behind."""
    lines = property(lambda self: self.output.split("\n"))


class Talk(Conversation):
    def search(self, *lines, seconds=None):
        """Sends the lines; those of the answer, up to its `bestmove`."""
        self.send(*lines)
        return self.wait_for("bestmove", seconds)


class Program:
    """Arguments are texts, which are split at blanks, and paths."""
    def __init__(self, path):
        self.path = path
        self.is_posix = os.name == "posix" and path.suffix != ".exe"
        self.command = [*shlex.split(os.environ.get("TARN_RUNNER", "")), str(path)]
        self.talks = []

    def words(self, arguments):
        return sum((word.split() if isinstance(word, str) else [str(word)] for word in arguments), self.command)

    def beside(self, name):
        """The program of that name that was built with this one."""
        return Program(self.path.with_name(name + self.path.suffix))

    def run(self, *arguments, text="", status=0, **limits):
        """A whole run with this input. Checks its exit status, None for any. Resource limits are named like AS=BYTES."""
        def set_limits():
            import resource
            for name, value in limits.items():
                resource.setrlimit(getattr(resource, "RLIMIT_" + name), (value, value))

        done = subprocess.run(self.words(arguments), input=to_bytes(text), capture_output=True, timeout=6 * TIMEOUT,
                              preexec_fn=set_limits if limits else None)
        found = Run(to_text(done.stdout), to_text(done.stderr), done.returncode)
        assert status in (None, found.status), f"{arguments}: {found}"
        return found

    def refuses(self, status, *cases):
        """Runs that end with this status and one line on the error stream: arguments, and what the line says."""
        for arguments, said in cases:
            errors = self.run(arguments, status=status).errors
            assert said in errors and errors.count("\n") == 1, f"{arguments}: {errors}"

    def interrupt(self, *arguments, file, size=1, sent=signal.SIGINT):
        """A run that gets a signal as soon as its file has this size."""
        process = subprocess.Popen(self.words(arguments), stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, text=True)
        while not os.path.exists(file) or os.path.getsize(file) < size:
            assert process.poll() is None, f"{arguments}: nothing was written"
            time.sleep(0.01)
        process.send_signal(sent)
        return Run(*process.communicate(timeout=3 * TIMEOUT), process.returncode)

    def start(self, *arguments, errors=subprocess.DEVNULL):
        """A conversation, ended with the test."""
        self.talks.append(Talk(self.words(arguments), TIMEOUT, errors))
        return self.talks[-1]


def to_bytes(text):
    return text.encode("utf-8", "surrogateescape")


def to_text(data):
    """UTF-8 as text, from which to_bytes makes the same bytes again, whatever they are."""
    return data.decode("utf-8", "surrogateescape")


def count(lines, start):
    return sum(line.startswith(start) for line in lines)


def first_column(text):
    """That of the tables of a document."""
    return " ".join(re.findall(r"^\| (.*?) \|", text, re.MULTILINE))


def pytest_addoption(parser):
    parser.addoption("--program", default=os.environ.get("TARN_PROGRAM", ROOT / "build" / "release" / "tarn"),
                     help="the program that is tested (default: TARN_PROGRAM, or build/release/tarn)")


@pytest.fixture
def program(request, tmp_path, monkeypatch):
    found = Program((request.config.invocation_params.dir / request.config.getoption("--program")).resolve())
    needs = request.node.get_closest_marker("posix")
    if needs and not found.is_posix:
        pytest.skip("needs " + needs.args[0])
    monkeypatch.chdir(tmp_path)
    yield found
    for talk in found.talks:
        talk.kill()


@pytest.fixture
def tarn(program):
    return program.start()
