#!/usr/bin/env python3
"""The samples of the program's output in README.md and docs/*.md, and the lists of the man page. A line <!-- sample: NAME -->
stands before the fenced block that shows what SAMPLES below gets from the real program; in the man page, comments enclose a
block. Times and speeds are not compared.

    samples.py PROGRAM --check    names the samples that differ, and what the guide leaves out; exit status 1 (test `samples`)
    samples.py PROGRAM --write    puts today's output into the blocks that differ (`make samples`)
"""
import argparse
import os
import pathlib
import re
import subprocess
import sys
import tempfile

from uci_client import Conversation

ROOT = pathlib.Path(__file__).resolve().parent.parent
DOCUMENTS = [ROOT / "README.md", *sorted((ROOT / "docs").glob("*.md")), ROOT / "packaging" / "tarn.6"]
GUIDE = ROOT / "docs" / "users-guide.md"
SUITE = ROOT / "Tests" / "data" / "epd" / "bratko-kopec.epd"
BLOCK = re.compile(r"""^((?:<!--|\.\\") sample: (\S+)(?: -->\n```)?\n)(.*?)(^(?:```|\.\\" end)\n)""", re.MULTILINE | re.DOTALL)
# A number that depends on the machine: the words before it, with what separates them.
MACHINE = re.compile(r"\b(time|nps|et|elo|node_rate|pos +\d+:|\d\d\] \d\d[ .])([= ]+)[\d.]+")
TIMEOUT = 300  # seconds for one run, enough for an instrumented build on a busy machine


def run(program, arguments, text=""):
    """The lines that a whole run of the program prints, in a folder with the suite of test positions."""
    with tempfile.TemporaryDirectory() as folder:
        pathlib.Path(folder, "suite.epd").write_bytes(SUITE.read_bytes())
        done = subprocess.run([program, *arguments], input=text, stdout=subprocess.PIPE, cwd=folder, text=True,
                              encoding="latin-1", timeout=TIMEOUT)
    return done.stdout.splitlines()


def session(program, arguments, greeting, typed):
    """The lines of a session: what is typed marked with ">", each line sent when the one before it has been answered.
    `greeting` and the second part of each pair match the beginning of the last line to wait for; None: no answer."""
    process = Conversation([program, *arguments], TIMEOUT)
    lines = process.wait_for(greeting)
    for line, last in typed:
        lines.append("> " + line)
        process.send(line)
        if last is not None:
            lines += process.wait_for(last)
    process.finish()
    return lines


def uci_session(program):
    typed = [("isready", "readyok"), ("position startpos moves e2e4 e7e5 g1f3", None), ("go depth 6", "bestmove"),
             ("quit", None)]
    return session(program, [], "info string et=", typed)


def console_session(program):
    lines = session(program, ["-c"], "$", [("e4", "$"), ("go 6", "Hash fill"), ("quit", None)])
    return lines[lines.index("> e4"):]


def roff(text):
    """A line of the man page from one of the guide or of the program."""
    text = re.sub(r"\[([^]]*)\]\([^)]*\)", r"\1", text.replace("\\", r"\e"))
    return re.sub(r"`([^`]*)`", lambda word: rf"\fB{word[1]}\fR".replace("-", r"\-"), text)


def switch_list(program):
    lines = []
    for line in run(program, ["--help"])[2:]:
        if group := re.fullmatch(r"(\S.*):", line):
            lines.append(f".SS {group[1]}")
        elif entry := re.fullmatch(r"  (\S+)(?: (\S+(?: \S+)*))?  +(\S.*)", line):
            name, values, meaning = entry.groups(default="")
            lines += [".TP", ".BI " + name.replace("-", r"\-") + (f' " {values}"' if values else ""), roff(meaning)]
    return lines


def option_list(_):
    """From the table of the guide, which alone says what they mean."""
    lines = []
    for line in GUIDE.read_text(encoding="utf-8").splitlines():
        if row := re.fullmatch(r"\| `(.*)` \| (check|spin|string|button) \|(.*)\|(.*)\|(.*)\|", line):
            name, kind, default, values, meaning = map(str.strip, row.groups())
            facts = ", ".join(filter(None, [kind, default and f"default {default}", values]))
            lines += [".TP", f".B {name}", roff(f"({facts}) {meaning}")]
    return lines


SAMPLES = {
    "uci": uci_session,
    "console": console_session,
    "analysis": lambda program: run(program, ["-anepd", "suite.epd", "-d", "9"])[4:],
    "switches": switch_list,
    "options": option_list,
    "benchmark": lambda program: run(program, ["-bench", "-d", "9"])[-2:],
}


def machine_free(text):
    return MACHINE.sub(r"\1 ~", text)


def real_text(program, name):
    return "".join(line.rstrip() + "\n" for line in SAMPLES[name](program)).rstrip("\n") + "\n"


def renew(program, path, used):
    """The document with today's samples, and the names of those that differed. Adds all names to `used`."""
    stale = []

    def replace(block):
        opening, name, shown, closing = block.groups()
        if name not in SAMPLES:
            sys.exit(f"{path.name}: no sample {name!r}")
        used.add(name)
        real = real_text(program, name)
        if machine_free(real) == machine_free(shown):
            return block[0]
        stale.append(name)
        return opening + real + closing

    return BLOCK.sub(replace, path.read_text(encoding="utf-8")), stale


def missing_names(program):
    """Switches, console commands, settings and options that the program lists and the guide does not name."""
    switches = re.findall(r"^  (\S+)", "\n".join(run(program, ["--help"])), re.MULTILINE)
    console = run(program, ["-c"], "help\nquit\n")
    commands = [line.split()[0] for line in console[console.index("white"):] if line.startswith("  ")]
    options = re.findall(r"^option name (.*) type ", "\n".join(run(program, [], "uci\nquit\n")), re.MULTILINE)
    if min(len(switches), len(commands), len(options)) < 20:
        sys.exit(f"the lists cannot be read: {switches}, {commands}, {options}")
    guide = GUIDE.read_text(encoding="utf-8")
    return [name for name in switches + commands + options if not re.search(f"`{re.escape(name)}[` ]", guide)]


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("program")
    action = parser.add_mutually_exclusive_group(required=True)
    action.add_argument("--check", action="store_true")
    action.add_argument("--write", action="store_true")
    args = parser.parse_args()
    program = os.path.abspath(args.program)

    faults = 0
    used = set()
    for path in DOCUMENTS:
        text, stale = renew(program, path, used)
        if stale and args.write:
            path.write_text(text, encoding="utf-8")
        for name in stale:
            print(f"{path.name}: sample {name} " + ("renewed" if args.write else "differs; `make samples` renews it"))
            faults += not args.write
    for name in sorted(set(SAMPLES) - used):
        print(f"no document shows the sample {name}")
        faults += 1
    for name in missing_names(program):
        print(f"{GUIDE.name} does not name `{name}`")
        faults += 1
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
