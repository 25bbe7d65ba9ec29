"""A small UCI driver over pipes: one engine process, its lines with their arrival times, nothing hidden.

Times are seconds of time.perf_counter, taken when a line arrives, so that a client can keep exact clocks.
"""
import os
import queue
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


class Answer:
    """What a search said: the words of `bestmove`, when they came, and the last `info` with a first line's score."""

    def __init__(self, best, ponder, arrived, infos):
        self.best = best
        self.ponder = ponder
        self.arrived = arrived
        self.infos = infos

    def last_info(self):
        """The fields of the last `info` line with a depth and a score, MultiPV 1 only; {} if there is none."""
        for line in reversed(self.infos):
            fields = parse_info(line.split())
            if "depth" in fields and "score" in fields and fields.get("multipv", 1) == 1:
                return fields
        return {}


def parse_info(words):
    """Numbers of an info line by name, `score` as centipawns (mates as 100000 less the moves) and `pv` as words."""
    fields = {}
    for i, word in enumerate(words):
        if word == "pv":
            fields["pv"] = words[i + 1:]
            break
        if word == "string":
            break
        if word == "score" and i + 2 < len(words):
            value = int(words[i + 2])
            if words[i + 1] == "mate":
                value = 100000 - value if value > 0 else -100000 - value
            fields["score"] = value
        elif word in ("depth", "seldepth", "multipv", "nodes", "nps", "time", "hashfull", "tbhits"):
            if i + 1 < len(words):
                fields[word] = int(words[i + 1])
    return fields


class UciEngine:
    def __init__(self, command, options=None, name=None, patience=20.0, trace=None):
        """Starts `command` (a shell-like string), shakes hands and sets the options (name -> value).

        `patience` is the longest wait in seconds for anything but a search. `trace`, a text stream, receives
        every line of the conversation.
        """
        self.command = command
        self.patience = patience
        self.trace = trace
        self.lines = queue.SimpleQueue()
        # A session of its own: Ctrl-C at the terminal is the client's to handle.
        # Windows splits a command itself, and its paths have backslashes.
        words = command if os.name == "nt" else shlex.split(command)
        self.process = subprocess.Popen(words, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        bufsize=0, start_new_session=True)
        threading.Thread(target=self._read, daemon=True).start()
        self.send("uci")
        greeting = [line for _, line in self.wait_for("uciok", patience)]
        self.options = {line[len("option name "):].partition(" type ")[0]
                        for line in greeting if line.startswith("option name ")}
        named = [line[len("id name "):] for line in greeting if line.startswith("id name ")]
        self.name = name or (named[0] if named else command)
        for option, value in (options or {}).items():
            self.set_option(option, value)
        self.ready()

    def _note(self, when, direction, text):
        if self.trace:
            with TRACE_LOCK:
                self.trace.write(f"{when:.4f} {self.process.pid} {direction} {text}\n")

    def _read(self):
        for line in self.process.stdout:
            arrived = time.perf_counter()
            text = line.decode("utf-8", "replace").rstrip("\r\n")
            self.lines.put((arrived, text))
            self._note(arrived, "<", text)
        self.lines.put((time.perf_counter(), None))

    def send(self, line):
        """Sends one line; returns the time at which it was sent."""
        sent = time.perf_counter()
        try:
            self.process.stdin.write(line.encode() + b"\n")
        except OSError as error:
            raise EngineDied(f"{self.command}: input closed, {self._status()}") from error
        self._note(sent, ">", line)
        return sent

    def _status(self):
        try:
            return f"exit status {self.process.wait(1)}"
        except subprocess.TimeoutExpired:
            return "still running"

    def read(self, seconds):
        """The next line and its arrival time; raises EngineSilent after `seconds` without one."""
        try:
            arrived, line = self.lines.get(timeout=max(0.0, seconds))
        except queue.Empty:
            raise EngineSilent(f"{self.command}: nothing for {seconds:.1f} s") from None
        if line is None:
            self.lines.put((arrived, None))
            raise EngineDied(f"{self.command}: output closed, {self._status()}")
        return arrived, line

    def wait_for(self, word, seconds):
        """Lines (with times) up to and including the first whose first word is `word`."""
        end = time.perf_counter() + seconds
        seen = []
        while True:
            seen.append(self.read(end - time.perf_counter()))
            if seen[-1][1].split(" ", 1)[0] == word:
                return seen

    def set_option(self, name, value):
        if name not in self.options:
            raise ValueError(f"{self.command} has no option {name}")
        self.send(f"setoption name {name} value {value}" if value is not None else f"setoption name {name}")

    def ready(self):
        self.send("isready")
        self.wait_for("readyok", self.patience)

    def new_game(self):
        self.send("ucinewgame")
        self.ready()

    def best_move(self, seconds):
        """The answer to the running search; raises EngineSilent when none comes within `seconds`."""
        seen = self.wait_for("bestmove", seconds)
        arrived, line = seen[-1]
        words = line.split() + [""]
        ponder = words[3] if len(words) > 4 and words[2] == "ponder" else None
        return Answer(words[1], ponder, arrived, [text for _, text in seen if text.startswith("info ")])

    def go(self, text, seconds):
        """`go text` and its answer; the answer's `arrived` less the returned sending time is the time used."""
        sent = self.send("go " + text)
        return sent, self.best_move(seconds)

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
