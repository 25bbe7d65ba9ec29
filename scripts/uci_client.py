"""Programs, run to their end or talked to over pipes, every line with its time of arrival; `UciEngine` adds the protocol.

Times are seconds of time.perf_counter, taken when a line arrives, so that a client can keep exact clocks.
"""
import collections
import dataclasses
import os
import queue
import re
import shlex
import signal
import subprocess
import sys
import threading
import time

# Threads of one match must hand over quickly, or a reader stamps its line late.
sys.setswitchinterval(0.0005)

# Several engines may share one trace, and a text stream takes one writer at a time.
TRACE_LOCK = threading.Lock()


class EngineDied(Exception):
    """The engine closed its output or its input."""


class EngineSilent(Exception):
    """The engine did not say the expected line in time."""


def to_text(data):
    """UTF-8 as text, from which to_bytes makes the same bytes again, whatever they are."""
    return data.decode("utf-8", "surrogateescape")


def to_bytes(text):
    return text.encode("utf-8", "surrogateescape")


class Line(str):
    """A line of output without its end, which `arrived` at a time."""

    arrived = 0.0


class Conversation:
    """A process whose lines are read as they come."""

    def __init__(self, command, patience=20.0, errors=None, trace=None):
        """Starts `command`, a list of words or a shell-like string.

        `patience` is the longest wait in seconds where no other is given. `errors` is where the error stream goes.
        `trace`, a text stream, receives every line of the conversation.
        """
        self.command = command if isinstance(command, str) else " ".join(command)
        self.patience = patience
        self.trace = trace
        self.lines = queue.SimpleQueue()
        # Windows splits a command itself, and its paths have backslashes.
        words = command if os.name == "nt" or not isinstance(command, str) else shlex.split(command)
        # A session of its own: Ctrl-C at the terminal is the client's to handle.
        self.process = subprocess.Popen(words, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=errors,
                                        start_new_session=True)
        threading.Thread(target=self._read, daemon=True).start()

    def _note(self, when, direction, text):
        if self.trace:
            with TRACE_LOCK:
                self.trace.write(f"{when:.4f} {self.process.pid} {direction} {text}\n")

    def _read(self):
        for data in self.process.stdout:
            arrived = time.perf_counter()
            line = Line(to_text(data).removesuffix("\n"))
            line.arrived = arrived
            self.lines.put(line)
            self._note(arrived, "<", line)
        self.lines.put(None)

    def send(self, *lines):
        """Sends the lines at once; returns the time at which they were sent."""
        sent = time.perf_counter()
        try:
            self.process.stdin.write(to_bytes("".join(line + "\n" for line in lines)))
            self.process.stdin.flush()
        except OSError as error:
            raise EngineDied(f"{self.command}: input closed, {self._status()}") from error
        for line in lines:
            self._note(sent, ">", line)
        return sent

    def _status(self):
        try:
            return f"exit status {self.process.wait(1)}"
        except subprocess.TimeoutExpired:
            return "still running"

    def next_line(self, seconds=None):
        """The next line; raises EngineSilent when none comes in time, EngineDied at the end of the output."""
        seconds = self.patience if seconds is None else max(0.0, seconds)
        try:
            line = self.lines.get(timeout=seconds)
        except queue.Empty:
            raise EngineSilent(f"{self.command}: nothing for {seconds:.1f} s") from None
        if line is None:
            self.lines.put(None)
            raise EngineDied(f"{self.command}: output closed, {self._status()}")
        return line

    def wait_for(self, pattern, seconds=None):
        """The lines up to the first whose beginning matches the regular expression."""
        end = time.perf_counter() + (self.patience if seconds is None else seconds)
        found = []
        while not found or not re.match(pattern, found[-1]):
            try:
                found.append(self.next_line(end - time.perf_counter()))
            except (EngineDied, EngineSilent) as error:
                raise type(error)(f"{error}, no {pattern!r} after {found[-3:]}") from None
        return found

    def set(self, **options):
        self.send(*(f"setoption name {name} value {value}" for name, value in options.items()))

    def search(self, *lines, seconds=None, **options):
        """Sets the options and sends the lines; those of the answer, up to its `bestmove`."""
        self.set(**options)
        self.send(*lines)
        return self.wait_for("bestmove", seconds)

    def ready(self):
        """Waits until all that was sent is done; the lines up to the answer."""
        self.send("isready")
        return self.wait_for("readyok")

    def finish(self, seconds=None):
        """The rest of the output and the exit status of a process that ends by itself."""
        rest = []
        try:
            while True:
                rest.append(self.next_line(seconds))
        except EngineDied:
            return rest, self.process.wait(self.patience if seconds is None else seconds)

    def close(self, seconds=None):
        """Asks the engine to quit, kills it if it does not; returns its exit status (None when it was killed)."""
        try:
            self.send("quit")
            return self.process.wait(self.patience if seconds is None else seconds)
        except (EngineDied, subprocess.TimeoutExpired):
            return self.kill()

    def kill(self):
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()
            return None
        return self.process.returncode


@dataclasses.dataclass
class Answer:
    """What a search said: the words of `bestmove` (`ponder` may be None), when they came, and the lines before."""

    best: str
    ponder: str
    arrived: float
    infos: list

    def last_info(self):
        """The fields of the last `info` line with a depth and a score, MultiPV 1 only; {} if there is none."""
        for line in reversed(self.infos):
            fields = parse_info(line)
            if "depth" in fields and "score" in fields and fields.get("multipv", 1) == 1:
                return fields
        return {}


def parse_info(line):
    """Numbers of an info line by name; `score` is in centipawns, mates are 100000 less the moves."""
    line = re.split(r" (?:pv|string)\b", line)[0]
    fields = {name: int(value) for name, value in re.findall(r"([a-z]+) (-?\d+)", line)}
    if score := re.search(r"score (cp|mate) (-?\d+)", line):
        value = int(score[2])
        fields["score"] = value if score[1] == "cp" else 100000 - value if value > 0 else -100000 - value
    return fields


class UciEngine(Conversation):
    """An engine that has shaken hands."""

    def __init__(self, command, options=None, name=None, **how):
        """Starts the command and sets the options (name -> value); `how` is for Conversation."""
        super().__init__(command, **how)
        self.send("uci")
        greeting = self.wait_for("uciok")
        self.options = set(re.findall(r"^option name (.*?) type ", "\n".join(greeting), re.MULTILINE))
        self.name = name or next((line[8:].strip() for line in greeting if line.startswith("id name ")), self.command)
        for option, value in (options or {}).items():
            self.set_option(option, value)
        self.ready()

    def set_option(self, name, value):
        if name not in self.options:
            raise ValueError(f"{self.command} has no option {name}")
        self.send(f"setoption name {name} value {value}" if value is not None else f"setoption name {name}")

    def new_game(self):
        self.send("ucinewgame")
        self.ready()

    def best_move(self, seconds):
        """The answer to the running search; raises EngineSilent when none comes within `seconds`."""
        *before, line = self.wait_for("bestmove", seconds)
        words = line.split() + [""]
        ponder = words[3] if len(words) > 4 and words[2] == "ponder" else None
        return Answer(words[1], ponder, line.arrived, [text for text in before if text.startswith("info ")])

    def go(self, text, seconds):
        """`go text` and its answer; the answer's `arrived` less the returned sending time is the time used."""
        sent = self.send("go " + text)
        return sent, self.best_move(seconds)


class Run(collections.namedtuple("Run", "output errors status")):
    """What a whole run of a program left behind."""

    lines = property(lambda self: self.output.split("\n"))


class Program:
    """A program and what the tests do with it. Arguments are texts, which are split at blanks, and paths.

    The variable TARN_RUNNER names the command that runs a program of another system: "wine".
    """

    def __init__(self, path, patience):
        """No run may take longer than `patience` seconds."""
        self.path = path
        self.patience = patience
        self.is_posix = os.name == "posix" and path.suffix != ".exe"
        self.command = [*shlex.split(os.environ.get("TARN_RUNNER", "")), str(path)]
        self.talks = []

    def words(self, arguments):
        return sum((word.split() if isinstance(word, str) else [str(word)] for word in arguments), self.command)

    def beside(self, name):
        """The program of that name that was built with this one."""
        return Program(self.path.with_name(name + self.path.suffix), self.patience)

    def run(self, *arguments, text="", status=0, **limits):
        """A whole run with this input. Checks its exit status, None for any. Resource limits are named like AS=BYTES."""
        def set_limits():
            import resource
            for name, value in limits.items():
                resource.setrlimit(getattr(resource, "RLIMIT_" + name), (value, value))

        done = subprocess.run(self.words(arguments), input=to_bytes(text), capture_output=True, timeout=self.patience,
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
        return Run(*process.communicate(timeout=self.patience), process.returncode)

    def start(self, *arguments, errors=subprocess.DEVNULL):
        """A conversation; `end` kills what is left of all of them."""
        self.talks.append(Conversation(self.words(arguments), self.patience / 6, errors))
        return self.talks[-1]

    def end(self):
        for talk in self.talks:
            talk.kill()
