"""A conversation with the real program: protocol, end of input, switches, malformed input."""
import itertools
import os
import pathlib
import re
import subprocess
import time

import pytest

from conftest import DATA, LATENCY, PATIENCE, count
from uci_client import EngineSilent

# What a GUI is told: names with their kinds or, for numbers, default, minimum and maximum.
OPTIONS = """ConfigFilePath string ; Hash 64 0 32768; Threads 1 1 160; Clear Hash button; NN_File string embedded
Use_NN_eval check true; OwnBook check false; OwnBook_File string ; OwnBook_Depth 24 0 60; OwnBook2_File string ; \
OwnBook2_Depth 0 0 60; OwnBook_Variety 25 0 100; SyzygyPath string ; SyzygyProbeDepth6 1 -5 100; Log check false
Ponder check true; MultiPV 1 1 255; UCI_Chess960 check false; MoveOverhead 50 0 1000; UCI_LimitStrength check false
UCI_Elo ELO 1500 ELO; UCI_Opponent string ; Contempt 0 -150 150; Selectivity 100 0 200"""
MATE_IN_1 = "fen 7k/8/5K2/6Q1/8/8/8/8 w - - 0 1"


def option_line(text):
    text = re.sub(r" (\S+) (-?\d+) (\S+)$", r" type spin default \1 min \2 max \3", text)
    return "option name " + re.sub(r" (string|check) (\w*)$", r" type \1 default \2", text).replace(" button", " type button")


def test_starts_fast_and_lists_options_to_the_letter(tarn):
    assert tarn.send("isready") + 2 * PATIENCE > tarn.wait_for("readyok")[-1].arrived
    tarn.send("uci")
    lines = tarn.wait_for("uciok")
    elo = next(line.split()[-1] for line in lines if "UCI_Elo" in line)
    options = [option_line(text) for text in re.split("; |\n", OPTIONS.replace("ELO", elo))]
    assert lines == ["id name Tarn 7.00", "id author Mara Vellaby", *options, "uciok"]


@pytest.mark.parametrize("position, search, end, patience, best", [
    ("startpos", "infinite", "stop", LATENCY, ""), ("startpos", "depth 200", "stop", LATENCY, ""),
    (MATE_IN_1, "infinite", "stop", LATENCY, "g5g7"), ("startpos moves e2e4", "ponder depth 2", "ponderhit", LATENCY, ""),
    ("startpos moves e2e4", "ponder wtime 1000 btime 1000", "ponderhit", 2 * PATIENCE, ""),
    ("startpos moves e2e4", "ponder wtime 1000 btime 1000", "stop", LATENCY, "")])
def test_searches_answer_once_and_no_sooner_than_they_may(tarn, position, search, end, patience, best):
    tarn.ready()
    with pytest.raises(EngineSilent):
        tarn.search("position " + position, "go " + search, seconds=0.4)
    assert tarn.search(end, seconds=patience)[-1].startswith("bestmove " + best)
    tarn.send("stop", "ponderhit")
    assert count(tarn.ready(), "bestmove") == 0
    tarn.search("go ponder wtime 1000 btime 1000", "stop", seconds=LATENCY)


@pytest.mark.parametrize("switch, go, line", [("", "go infinite", "info depth 3"), ("", "go ponder", "info depth 3"),
                                              ("", "go depth 60", "info depth 3"), ("-c", "go", r"\d+\] 03")])
def test_quits_at_once_during_a_search(program, switch, go, line):
    talk = program.start(switch)
    talk.send(go)
    talk.wait_for(line)
    start = talk.send("quit")
    assert talk.finish()[1] == 0 and time.perf_counter() - start < LATENCY


@pytest.mark.parametrize("command", ["setoption name Hash value 128", "ucinewgame", "position startpos", "go depth 3"])
def test_commands_that_need_an_idle_engine_end_the_program(tarn, command):
    tarn.send("go infinite", command)
    lines, status = tarn.finish()
    assert f"unexpected command {command.split()[0]}, stopping Tarn" in lines and status == 0


def test_limits_hold_and_answers_are_legal_moves(tarn):
    moves = {f"{f}2{f}{r}" for f in "abcdefgh" for r in "34"} | {"b1a3", "b1c3", "g1f3", "g1h3"}
    tarn.ready()
    searches = ("depth 5", "nodes 3000", "movetime 100", "wtime 500 btime 500", "movestogo 0 wtime 200", "wtime -1 btime -1",
                "movetime 0", "winc 100")
    for limits, rounds in itertools.product(searches, (0, 500, 4000)):
        # Long games come back to where they began.
        tarn.send("position startpos moves e2e4", "position startpos moves" + rounds * " g1f3 g8f6 f3g1 f6g8")
        answer = tarn.search("go " + limits, seconds=5 * PATIENCE)[-1]
        assert re.fullmatch(r"bestmove (\w+)( ponder \w+)?", answer)[1] in moves, f"{limits} after {rounds} rounds"
    start = tarn.send("go movetime 300")
    assert 0.25 < tarn.wait_for("bestmove")[-1].arrived - start < 0.3 + LATENCY


@pytest.mark.parametrize("position, depth, is_legal", [
    ("startpos", 0, True), ("startpos", -1, True), ("fen 7k/6Q1/6K1/8/8/8/8/8 b - - 0 1", 5, True), ("fen", 5, False),
    ("fen 7k/5Q2/6K1/8/8/8/8/8 b - - 0 1", 5, True), ("fen 8/8/8/8/8/8/8/8 w - - 0 1", 5, False),
    ("startpos moves e1e8", 5, False), ("fen 4k3/8/8/8/8/8/8/4R1K1 w - - 0 1", 5, False)])
def test_null_is_answered_where_there_is_no_move(tarn, position, depth, is_legal):
    tarn.ready()
    lines = tarn.search("position " + position, f"go depth {depth}", seconds=LATENCY)
    assert lines[-1] == "bestmove null" and (is_legal or lines[:-1] == ["info string illegal position"])


def test_multipv_reports_every_line(tarn):
    lines = tarn.search("go depth 6", MultiPV=3)
    firsts = dict(re.findall(r"multipv (\d+) depth 6 .* pv (\w+)", "\n".join(lines)))
    assert sorted(firsts) == ["1", "2", "3"] and len(set(firsts.values())) == 3 and lines[-1].split()[1] == firsts["1"]
    lines = tarn.search("position fen 7k/8/8/8/8/8/r7/7K w - - 0 1", "go depth 4")  # one legal move
    assert "multipv 2" not in "".join(lines)
    tarn.send("uci")
    assert "option name MultiPV type spin default 3 min 1 max 255" in tarn.wait_for("uciok")


def test_threads_and_table_follow_their_options(tarn):
    lines = tarn.search("go depth 9", Threads=4, Hash=8)
    assert "info string allocated 8 Mbytes for hash table" in lines and lines[-1] != "bestmove null"
    assert tarn.search("go depth 5", Threads=0)[-1] == "bestmove null"
    for size in (4, 0, 1):
        lines = tarn.search("position startpos", "go depth 11", Threads=1, Hash=size)
        assert (int(re.findall(r" hashfull (\d+)", "\n".join(lines))[-1]) > 0) == (size > 0)


@pytest.mark.parametrize("text", ["go depth 6\n", "go nodes 2000", "go movetime 200\n", "go infinite\n", "go ponder\n",
                                  "position startpos\ngo infinite", "isready\nisready"])
def test_end_of_input_is_answered_first(program, text):
    start = time.monotonic()
    lines = program.run(text=text).lines
    assert time.monotonic() - start < 1 + 2 * PATIENCE
    assert count(lines, "bestmove") == ("go" in text) and count(lines, "readyok") == text.count("isready")
    assert "depth" not in text or any(" depth 6 " in line for line in lines), "cut short"


@pytest.mark.posix("a shell that closes the input, and pipes whose reader can be asked after")
def test_program_whose_input_or_output_is_closed_ends(program):
    for text in ("", "go\n", "go 3", "edit\nw Pa2\n"):
        program.run("-c", text=text)
    done = subprocess.run(["sh", "-c", 'exec "$@" <&-', "sh", *program.command], stdout=subprocess.PIPE, timeout=20 * PATIENCE)
    assert done.stdout.count(b"error reading input") == 1 and done.returncode == 0
    # Both ends in either order, before a search that nobody waits for and while it runs; the last search ends by itself.
    for output_first, is_running, depth in ((True, False, 60), (True, True, 60), (False, True, 60), (True, False, 5)):
        talk = subprocess.Popen(program.command, stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        talk.stdout.readline()
        talk.stdin.write(b"go depth %d\n" % depth)
        talk.stdin.flush()
        while is_running and b" depth 3 " not in talk.stdout.readline():
            pass
        for end in (talk.stdout, talk.stdin) if output_first else (talk.stdin, talk.stdout):
            end.close()
        assert talk.wait(2 * PATIENCE) == 0
    with open("/dev/full", "wb") as full:
        assert subprocess.run(program.command, input=b"go depth 60\n", stdout=full, timeout=2 * PATIENCE).returncode == 0


@pytest.mark.posix("pipes that do not block")
def test_slow_reader_gets_every_answer(program):
    reading, writing = os.pipe()
    os.set_blocking(writing, False)
    process = subprocess.Popen(program.command, stdin=subprocess.PIPE, stdout=writing)
    os.close(writing)
    process.stdin.write(b"uci\n" * 200)  # five times what a pipe holds
    process.stdin.close()
    time.sleep(LATENCY)
    with open(reading, "rb") as output:
        assert output.read().count(b"uciok\n") == 200 and process.wait(2 * PATIENCE) == 0


@pytest.mark.posix("resource limits")
@pytest.mark.skipif(PATIENCE > 1, reason="sanitizers reserve more than the limit")
@pytest.mark.parametrize("threads, sizes", [("1", range(16, 44, 3)), ("3", range(28, 70, 3))])
def test_threads_that_cannot_be_created_end_the_program(program, threads, sizes):
    # A search thread's stack is 8 MiB; the limits let the program start, and the second search thread fail or both.
    runs = [program.run("-hash 1 -threads", threads, text="go movetime 20\n", status=None, AS=size << 20) for size in sizes]
    assert 255 in {run.status for run in runs} <= {0, 1, 255}
    for run in runs:
        assert count(run.lines, "bestmove") == 1 or run.status
        assert "cannot create" in run.errors and run.errors.count("\n") == 1 or run.status != 255


@pytest.mark.posix("resource limits")
@pytest.mark.skipif(PATIENCE > 1, reason="sanitizers reserve more than the limit")
def test_memory_that_is_not_there_is_told(program):
    said = "no memory for a transposition table of {} MB\n"
    assert program.run("-hash 4000", status=1, AS=2000 << 20).errors == said.format(4000)
    found = program.run(text="setoption name Hash value 32768\nisready\n", status=255, AS=2000 << 20)
    assert found.lines[-2:] == ["info string Hash set to 32768", ""] and found.errors == said.format(32768)


def test_switches_select_what_runs(program):
    for switches in ("-train f 5", "-train2 f 5 1"):
        assert program.run(switches, status=1) == ("Need to compile with 'make train_'\n", "", 1)
    for switches in ("-train", "-train f", "-train f 0", "-train f word", "-c -train2", "-c -train2 f", "-mkbook2",
                     "-gentraindata", "-gentraindata f", "-gentraindata f 0"):
        found, name = program.run(switches, status=1), re.search("-[a-z]{2}[a-z2]*", switches)[0]
        assert found.output == "" and re.fullmatch(f"(missing|bad) value: {name} FILE.*\n", found.errors), found
    lines = program.run("-mkconfig").lines
    assert count(lines, "info string et=") == 0 and "info string loaded embedded network" in lines
    assert "info string allocated 1 Mbytes for hash table" in program.run("-d 5", text="go depth 5\n").lines
    assert re.search(r"calibration nps= [1-9]", program.run("-n 1000 -mpv 0").output)


def test_help_and_version_come_before_everything(program):
    found = program.run("--help")
    assert len(found.lines) < 60 and max(map(len, found.lines)) <= 100 and found.errors == ""
    for switches in ("-h", "-log -nps 62000 -x -h", "-c -hash --version --help", "-train -h 0 -h --version"):
        assert program.run(switches) == found
    for switches in ("--version", "-bench -nps 62000 --version --help"):
        assert program.run(switches, text="go infinite\n")[:2] == ("Tarn 7.00\n", "")
    assert not pathlib.Path("tarn.log").exists(), "the log came first"
    for switches in ("-mkconfig -o --help", "-mkconfig -scan_pgn -h -mkconfig", "-mkconfig -cfg --version"):
        assert program.run(switches).lines[0] == "info string Hello from Tarn 7.00", "a value was obeyed"


def test_mistyped_words_are_told_on_the_error_stream_alone(program):
    pathlib.Path("there.cfg").write_text("MultiPV = 2\n")
    pathlib.Path("folder").mkdir()
    # Windows does not even open a folder.
    folder = "can't read folder: " + ("Is a directory\n" if program.is_posix else "Permission denied\n")
    plain, hint = program.run("-mkconfig").output, " (tarn --help lists the switches)\n"
    missing = ": No such file or directory\n"
    for switches, errors in (("-foo", "unknown switch -foo" + hint), ("-o -foo -lr bar -book there.cfg -numa", ""),
                             ("bar --hash -Hash 5", f"unknown argument bar{hint}unknown switch --hash{hint}"
                              f"unknown switch -Hash{hint}unknown argument 5{hint}"), ("-hash", "missing value: -hash MB\n"),
                             ("-book none.bin", "can't read none.bin" + missing), ("-book folder", folder),
                             ("-cfg none.cfg", "can't read none.cfg" + missing)):
        assert program.run("-mkconfig", switches)[:2] == (plain, errors)
    assert program.run("-mkconfig -cfg folder").errors == folder
    options = "setoption name ConfigFilePath value none.cfg\nsetoption name OwnBook_File value none.bin\n"
    assert program.run(text=options).errors == "", "not named on the command line"


def test_books_and_tables_are_off_after_the_empty_text(tarn):
    # A Polyglot book whose start position has the one move a2a4.
    pathlib.Path("odd.bin").write_bytes(bytes.fromhex("463b96181691fc9c" "0218" "0001" "00000000"))
    tarn.set(OwnBook="true", OwnBook2_Depth=20)
    for is_on, book, tables in ((True, "odd.bin", DATA / "syzygy"), (False, "<empty>", "<empty>")):
        options = {"OwnBook_File": book, "OwnBook2_File": book, "SyzygyPath": tables}
        tarn.set(**options)
        assert {f"info string {name} set to '{is_on * str(value)}'" for name, value in options.items()} <= {*tarn.ready()}
        assert (tarn.search("position startpos", "go depth 3")[-1] == "bestmove a2a4") == is_on
        lines = tarn.search("position fen 8/8/8/4k3/8/8/8/KQ6 w - - 0 1", "go depth 3")
        assert any(map(int, re.findall(r"tbhits (\d+)", "\n".join(lines)))) == is_on


def test_missing_network_ends_the_program(program):
    pathlib.Path("net.cfg").write_text("NN_File = none.nn\nHash = 32\n")
    for switches, option in (("", "setoption name NN_File value none.nn\n"), ("-cfg net.cfg", "")):
        found = program.run(switches, text=option + "go depth 3\n")
        assert found.errors == "" and found.lines[-2:] == ["info string can't open none.nn", ""]
