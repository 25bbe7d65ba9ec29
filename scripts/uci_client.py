"""Conversations with an engine over pipes, every line with its time of arrival; `UciEngine` adds the protocol.

Times are seconds of time.perf_counter, taken when a line arrives, so that a client can keep exact clocks.
"""
import dataclasses
import os
import queue
import re
import shlex
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


class Line(str):
    """A line of output without its end, which `arrived` at a time. Bytes that are no UTF-8 are kept as surrogates."""

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
            line = Line(data.decode("utf-8", "surrogateescape").removesuffix("\n"))
            line.arrived = arrived
            self.lines.put(line)
            self._note(arrived, "<", line)
        self.lines.put(None)

    def send(self, *lines):
        """Sends the lines at once; returns the time at which they were sent."""
        sent = time.perf_counter()
        try:
            self.process.stdin.write("".join(line + "\n" for line in lines).encode("utf-8", "surrogateescape"))
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

    def close(self, seconds=5.0):
        """Asks the engine to quit, kills it if it does not; returns its exit status (None when it was killed)."""
        try:
            self.send("quit")
            return self.process.wait(seconds)
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
