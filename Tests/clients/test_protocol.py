#!/usr/bin/env python3
"""A conversation with the real program: protocol, end of input, switches, malformed input."""
import os
import pathlib
import re
import resource
import subprocess
import time

from cases import (COMMAND, DATA, IS_POSIX_PROGRAM, PATIENCE, TIMEOUT, Failure, Session, check, count, needs, run,
                   run_tests, to_text)

LATENCY = 0.5 * PATIENCE

OPTION_LIST = """id name Tarn 7.00
id author Mara Vellaby
option name ConfigFilePath type string default @
option name Hash type spin default 64 min 0 max 32768
option name Threads type spin default 1 min 1 max 160
option name Clear Hash type button
option name NN_File type string default embedded
option name Use_NN_eval type check default true
option name OwnBook type check default false
option name OwnBook_File type string default @
option name OwnBook_Depth type spin default 24 min 0 max 60
option name OwnBook2_File type string default @
option name OwnBook2_Depth type spin default 0 min 0 max 60
option name OwnBook_Variety type spin default 25 min 0 max 100
option name SyzygyPath type string default @
option name SyzygyProbeDepth6 type spin default 1 min -5 max 100
option name Log type check default false
option name Ponder type check default true
option name MultiPV type spin default 1 min 1 max 255
option name UCI_Chess960 type check default false
option name MoveOverhead type spin default 50 min 0 max 1000
option name UCI_LimitStrength type check default false
option name UCI_Elo type spin default ELO min 1500 max ELO
option name UCI_Opponent type string default @
option name Contempt type spin default 0 min -150 max 150
option name Selectivity type spin default 100 min 0 max 200
uciok""".replace("@", "")


def test_starts_fast_and_lists_options_to_the_letter():
    with Session() as tarn:
        start = time.monotonic()
        tarn.ready()
        check(time.monotonic() - start < 2 * PATIENCE, "slow start")
        tarn.send("uci")
        lines = tarn.wait_for("uciok")
    elo = next((line.split()[-1] for line in lines if "UCI_Elo" in line), "")
    expected = OPTION_LIST.replace("ELO", elo).split("\n")
    check(lines == expected, f"differ in {sorted(set(lines) ^ set(expected))}")


def test_searches_answer_once_and_no_sooner_than_they_may():
    clock = "wtime 1000 btime 1000"
    cases = [
        # position, search, what ends it, how soon the answer comes, the answer
        ("startpos", "infinite", "stop", LATENCY, ""),
        ("startpos", "depth 200", "stop", LATENCY, ""),
        ("fen 7k/8/5K2/6Q1/8/8/8/8 w - - 0 1", "infinite", "stop", LATENCY, "g5g7"),  # the mate has long been found
        ("startpos moves e2e4", "ponder depth 2", "ponderhit", LATENCY, ""),
        ("startpos moves e2e4", "ponder " + clock, "ponderhit", 2 * PATIENCE, ""),
        ("startpos moves e2e4", "ponder " + clock, "stop", LATENCY, ""),
    ]
    with Session() as tarn:
        tarn.ready()
        for position, search, end, patience, best in cases:
            tarn.send("position " + position, "go " + search)
            time.sleep(0.4)
            check(count(tarn.ready(), "bestmove") == 0, f"{search}: answered before {end}")
            tarn.send(end)
            answer = tarn.wait_for("bestmove", patience)[-1]
            check(answer.startswith("bestmove " + best), f"{search}: {answer}")
            tarn.send("stop", "ponderhit")
            check(count(tarn.ready(), "bestmove") == 0, f"{search}: a second answer")
        tarn.send("go ponder " + clock, "stop")
        tarn.wait_for("bestmove", LATENCY)


def test_quits_at_once_during_a_search():
    for arguments, go in (((), "go infinite"), ((), "go ponder"), ((), "go depth 60"), (("-c",), "go")):
        with Session(*arguments) as tarn:
            tarn.wait_for("info string et=")
            tarn.send(go)
            time.sleep(0.1)
            start = time.monotonic()
            tarn.send("quit")
            status = tarn.finish()[1]
            check(time.monotonic() - start < LATENCY, f"slow quit after {go!r}")
            check(status == 0, f"status {status} after {go!r}")


def test_commands_that_need_an_idle_engine_end_the_program():
    for command in ("setoption name Hash value 128", "ucinewgame", "position startpos", "go depth 3"):
        with Session() as tarn:
            tarn.send("go infinite", command)
            lines, status = tarn.finish()
            said = f"unexpected command {command.split()[0]}, stopping Tarn" in lines
            check(said and status == 0, f"{command!r}: {lines[-3:]}, status {status}")


def test_limits_hold_and_answers_are_legal_moves():
    moves = {f"{f}2{f}{r}" for f in "abcdefgh" for r in "34"} | {"b1a3", "b1c3", "g1f3", "g1h3"}
    with Session() as tarn:
        tarn.ready()
        for limits in ("depth 5", "nodes 3000", "movetime 100", "wtime 500 btime 500", "movestogo 0 wtime 200",
                       "wtime -1 btime -1", "movetime 0", "winc 100"):
            for rounds in (0, 500, 4000):  # long games come back to where they began
                tarn.send("position startpos moves e2e4")
                tarn.send("position startpos moves" + rounds * " g1f3 g8f6 f3g1 f6g8", "go " + limits)
                answer = tarn.wait_for("bestmove", 5 * PATIENCE)[-1]
                found = re.fullmatch(r"bestmove (\w+)( ponder \w+)?", answer)
                check(found and found.group(1) in moves, f"{limits} after {rounds} rounds: {answer}")
        start = time.monotonic()
        tarn.send("go movetime 300")
        tarn.wait_for("bestmove")
        check(0.25 < time.monotonic() - start < 0.3 + LATENCY, "movetime 300")


def test_null_is_answered_where_there_is_no_move():
    illegal = ["fen 8/8/8/8/8/8/8/8 w - - 0 1", "fen", "fen 4k3/8/8/8/8/8/8/4R1K1 w - - 0 1", "startpos moves e1e8"]
    mate, stalemate = "fen 7k/6Q1/6K1/8/8/8/8/8 b - - 0 1", "fen 7k/5Q2/6K1/8/8/8/8/8 b - - 0 1"
    with Session() as tarn:
        tarn.ready()
        for position, depth in (("startpos", 0), ("startpos", -1), *((p, 5) for p in (mate, stalemate, *illegal))):
            tarn.send("position " + position, f"go depth {depth}")
            lines = tarn.wait_for("bestmove", LATENCY)
            check(lines[-1] == "bestmove null", f"{position}, depth {depth}: {lines}")
            check(position not in illegal or lines[:-1] == ["info string illegal position"], f"{position}: {lines}")


def test_multipv_reports_every_line():
    with Session() as tarn:
        tarn.send("setoption name MultiPV value 3", "position startpos", "go depth 6")
        lines = tarn.wait_for("bestmove")
        deepest = [line for line in lines if line.startswith("info") and " depth 6 " in line]
        found = [re.search(r"\bmultipv (\d+)\b.* pv (\w+)", line) for line in deepest]
        check(all(found), f"no multipv in {deepest}")
        firsts = dict(match.groups() for match in found)
        check(sorted(firsts) == ["1", "2", "3"] and len(set(firsts.values())) == 3, f"first moves {firsts}")
        check(lines[-1].split()[1] == firsts["1"], "the answer is not the first line")
        tarn.send("position fen 7k/8/8/8/8/8/r7/7K w - - 0 1", "go depth 4")  # one legal move
        check(not any("multipv 2" in line for line in tarn.wait_for("bestmove")), "more lines than moves")
        tarn.send("uci")
        lines = tarn.wait_for("uciok")
        check("option name MultiPV type spin default 3 min 1 max 255" in lines, "default not refreshed")


def test_threads_and_table_follow_their_options():
    with Session() as tarn:
        tarn.send("setoption name Threads value 4", "setoption name Hash value 8", "go depth 9")
        lines = tarn.wait_for("bestmove")
        check("info string allocated 8 Mbytes for hash table" in lines, "no reallocation")
        check(lines[-1] != "bestmove null", "no move")
        tarn.send("setoption name Threads value 0", "go depth 5")
        check(tarn.wait_for("bestmove")[-1] == "bestmove null", "a move without threads")


def test_end_of_input_is_answered_first():
    for text in ("go depth 6\n", "go nodes 2000", "go movetime 200\n", "go infinite\n", "go ponder\n",
                 "position startpos\ngo infinite"):
        start = time.monotonic()
        lines, _, status = run(text=text)
        check(count(lines, "bestmove") == 1 and status == 0, f"{text!r}: {lines[-3:]}, status {status}")
        check("depth" not in text or any(" depth 6 " in line for line in lines), f"{text!r}: cut short")
        check(time.monotonic() - start < 1 + 2 * PATIENCE, f"{text!r}: not stopped")
    for text in ("", "go\n", "go 3", "edit\nw Pa2\n"):
        check(run("-c", text=text).status == 0, f"{text!r} at the console")
    lines, _, status = run(text="isready\nisready")
    check(count(lines, "readyok") == 2 and status == 0, "lines before the end were lost")


def test_too_long_line_is_dropped_whole():
    with Session() as tarn:
        tarn.send("x" * (1 << 20) + " quit")
        check("info string line too long" in tarn.ready(), "no word about the long line")
        check("info string line too long" not in tarn.ready(), "reported again")


def test_closed_input_and_output_end_the_program():
    needs(os.name == "posix", "a POSIX shell")
    done = subprocess.run(["sh", "-c", 'exec "$@" <&-', "sh", *COMMAND], stdout=subprocess.PIPE, timeout=TIMEOUT)
    check(done.stdout.count(b"error reading input") == 1 and done.returncode == 0, f"{done}")
    process = subprocess.Popen(COMMAND, stdin=subprocess.PIPE, stdout=subprocess.PIPE)
    process.stdout.readline()
    process.stdout.close()
    process.stdin.write(b"uci\ngo depth 5\n")
    process.stdin.close()
    check(process.wait(timeout=TIMEOUT) == 0, f"status {process.returncode}")


def test_search_that_nobody_waits_for_ends():
    """Input and output are both closed, in either order, before the search and while it runs."""
    needs(IS_POSIX_PROGRAM, "pipes whose reader can be asked after")
    for output_first, pause in ((True, 0), (True, 0.3), (False, 0.3)):
        process = subprocess.Popen(COMMAND, stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        process.stdout.readline()
        process.stdin.write(b"go depth 60\n")
        process.stdin.flush()
        time.sleep(pause)
        ends = [process.stdout, process.stdin] if output_first else [process.stdin, process.stdout]
        ends[0].close()
        time.sleep(pause)
        ends[1].close()
        check(process.wait(timeout=2 * PATIENCE) == 0, f"status {process.returncode}")
    full = run_to_file("/dev/full", "go depth 60\n")
    check(full == 0, f"status {full} on a full device")


def run_to_file(name, text):
    """The exit status of a run whose output goes to the file."""
    with open(name, "wb") as output:
        return subprocess.run(COMMAND, input=text.encode(), stdout=output, timeout=2 * PATIENCE).returncode


def test_threads_that_cannot_be_created_end_the_program():
    """A search thread's stack is 8 MiB; the limit lets the program start, and the second search thread fail or both."""
    needs(IS_POSIX_PROGRAM, "a program that takes POSIX limits")
    import resource
    for threads, limits in ((1, range(16, 44, 3)), (3, range(28, 70, 3))):
        failed = 0
        for megabytes in limits:
            result = run("-hash", 1, "-threads", threads, text="go movetime 20\n",
                         limits=[(resource.RLIMIT_AS, megabytes << 20)], timeout=TIMEOUT)
            if result.status == 0:
                check(count(result.lines, "bestmove") == 1, f"{megabytes} MiB: no answer")
            elif result.status == 255:
                failed += 1
                check("cannot create" in result.errors and result.errors.count("\n") == 1, f"{result.errors!r}")
            else:
                check(result.status == 1, f"{megabytes} MiB: status {result.status}, {result.errors!r}")
        check(failed > 0, f"{threads} threads: no limit made a thread fail")


def test_only_named_moves_are_searched():
    cases = (("startpos", "searchmoves a2a3 h2h4 depth 6", {"a2a3", "h2h4"}),
             ("startpos", "depth 6 searchmoves b1a3", {"b1a3"}),
             ("startpos", "searchmoves e2e5 depth 6 infinit", None),
             ("startpos", "depth 6", None))
    with Session() as tarn:
        tarn.send("setoption name MultiPV value 3")
        for position, search, wanted in cases:
            tarn.send("position " + position, "go " + search)
            lines = tarn.wait_for("bestmove")
            firsts = {line.split(" pv ")[1].split()[0] for line in lines if " pv " in line}
            check(firsts == wanted if wanted else len(firsts) >= 3 and not firsts & {"a2a3"}, f"{search}: {firsts}")


def test_table_comes_back_after_size_zero():
    with Session() as tarn:
        for size, filled in ((4, True), (0, False), (4, True), (1, True)):
            tarn.send(f"setoption name Hash value {size}", "position startpos", "go depth 11")
            lines = [line for line in tarn.wait_for("bestmove") if " hashfull " in line]
            full = int(lines[-1].split(" hashfull ")[1].split()[0])
            check((full > 0) == filled, f"{size} MB: {full} per mille in use")


def test_switches_select_what_runs():
    for arguments in ("-train f 5", "-train2 f 5 1"):
        check(run(*arguments.split()) == (["Need to compile with 'make train_'", ""], "", 1), arguments)
    for arguments in ("-train", "-train f", "-train f 0", "-train f word", "-c -train2", "-c -train2 f", "-mkbook2",
                      "-gentraindata", "-gentraindata f", "-gentraindata f 0"):
        lines, errors, status = run(*arguments.split())
        name = next(word for word in arguments.split() if word not in ("-c", "f"))
        said = re.fullmatch(f"(missing|bad) value: {name} FILE.*\n", errors)
        check((lines, status) == ([""], 1) and said, f"{arguments}: {lines}, {errors!r}, {status}")
    lines, _, status = run("-mkconfig")
    check(status == 0 and count(lines, "info string et=") == 0, f"calibration for -mkconfig: {lines}")
    check("info string loaded embedded network" in lines, "-mkconfig: no complete start-up")
    lines = run("-nps", "62000").lines
    check(lines[:2] == ["Elo= 2999", "info string Hello from Tarn 7.00"], f"{lines[:2]}")
    lines = run("-d", "5", text="go depth 5\n").lines
    check("info string allocated 1 Mbytes for hash table" in lines, "table not capped")
    lines = run("-n", "1000", "-mpv", "0").lines
    check(any(re.search(r"calibration nps= [1-9]", line) for line in lines), "calibration under -n and -mpv 0")


# Every switch there is, and whether a value follows it.
SWITCHES = """-uci -c -log -numa -noise= -quiet -cfg= -d= -t= -n= -nps= -hash= -threads= -book= -tbpath= -tbx -use_hce
-use_nn -o= -mpv= -ss= -anepd= -scan_pgn= -bench -pbench -mkconfig -mkbook= -mkbook2= -epd2bin= -bin2epd= -prune_nn=
-gentraindata= -mktraindata= -train= -train2= -lr= -mbatch= -h --help --version""".split()


def test_help_and_version_come_before_everything():
    text, errors, status = run("--help")
    check((errors, status) == ("", 0) and len(text) < 60 and max(map(len, text)) <= 100, f"{len(text)} lines, {status}")
    listed = re.findall(r"^  (-\S+)( [A-Z[].*?)?  +\S.*\S$", "\n".join(text), re.MULTILINE)
    found = sorted(name + "=" * bool(value) for name, value in listed)
    check(found == sorted(SWITCHES), f"differ in {set(found) ^ set(SWITCHES)}")
    for arguments in ("-h", "-log -nps 62000 -x -h", "-c -hash --version --help", "-train -h 0 -h --version"):
        check(run(*arguments.split()) == (text, "", 0), f"{arguments}: no help alone")
    for arguments in ("--version", "-bench -nps 62000 --version --help"):
        check(run(*arguments.split()) == (["Tarn 7.00", ""], "", 0), f"{arguments}: no version alone")
    check(run("--version", text="go infinite\n").lines == ["Tarn 7.00", ""], "input was read")
    check(not os.path.exists("tarn.log"), "the log came first")
    for arguments in ("-mkconfig -o --help", "-mkconfig -scan_pgn -h -mkconfig", "-mkconfig -cfg --version"):
        check(run(*arguments.split()).lines[0] == "info string Hello from Tarn 7.00", f"{arguments}: a value was obeyed")


def test_mistyped_words_are_told_on_the_error_stream_alone():
    pathlib.Path("there.cfg").write_text("MultiPV = 2\n")
    pathlib.Path("folder").mkdir()
    # Windows does not even open a folder.
    folder = "can't read folder: " + ("Is a directory" if IS_POSIX_PROGRAM else "Permission denied")
    hint = "(tarn --help lists the switches)"
    cases = {
        "-foo": [f"unknown switch -foo {hint}"],
        "bar --hash -Hash 5": [f"unknown argument bar {hint}", f"unknown switch --hash {hint}",
                               f"unknown switch -Hash {hint}", f"unknown argument 5 {hint}"],
        "-o -foo -lr bar -book there.cfg -numa": [],
        "-hash": ["missing value: -hash MB"],
        "-book none.bin": ["can't read none.bin: No such file or directory"],
        "-book folder": [folder],
        "-cfg none.cfg": ["can't read none.cfg: No such file or directory"],
    }
    plain = run("-mkconfig").lines
    for arguments, errors in cases.items():
        found = run("-mkconfig", *arguments.split())
        check(found == (plain, "".join(line + "\n" for line in errors), 0), f"{arguments}: {found}")
    lines, errors, _ = run("-mkconfig", "-cfg", "there.cfg")
    check("info string MultiPV set to 2" in lines and errors == "", f"{lines}, {errors!r}")
    errors = run("-mkconfig", "-cfg", "folder").errors
    check(errors == folder + "\n", f"-cfg folder: {errors!r}")
    found = run(text="setoption name ConfigFilePath value none.cfg\nsetoption name OwnBook_File value none.bin\n")
    check(found.errors == "", f"not named on the command line: {found.errors!r}")


def test_memory_that_is_not_there_is_told():
    if PATIENCE > 1:
        return  # sanitizers reserve more than the limit
    limits = [(resource.RLIMIT_AS, 2000 << 20)]
    line = "no memory for a transposition table of {} MB\n"
    lines, errors, status = run("-hash", 4000, limits=limits)
    check((lines[1:], errors, status) == ([""], line.format(4000), 1), f"start-up: {lines}, {errors!r}, {status}")
    lines, errors, status = run(text="setoption name Hash value 32768\nisready\n", limits=limits)
    check((lines[-2:], errors, status) == (["info string Hash set to 32768", ""], line.format(32768), 255),
          f"option: {lines}, {errors!r}, {status}")


# A Polyglot book whose start position has the one move a2a4.
ODD_BOOK = bytes.fromhex("463b96181691fc9c" "0218" "0001" "00000000")


def test_books_and_tables_are_off_after_the_empty_text():
    pathlib.Path("odd.bin").write_bytes(ODD_BOOK)
    options = {"OwnBook_File": "odd.bin", "OwnBook2_File": "odd.bin", "SyzygyPath": str(DATA / "syzygy")}
    with Session() as tarn:
        def search(position):
            tarn.send("position " + position, "go depth 3")
            return tarn.wait_for("bestmove")

        tarn.send("setoption name OwnBook value true", "setoption name OwnBook2_Depth value 20")
        for value in options, dict.fromkeys(options, "<empty>"):
            tarn.send(*(f"setoption name {name} value {text}" for name, text in value.items()))
            lines = tarn.ready()
            for name, text in value.items():
                said = f"info string {name} set to '{text.replace('<empty>', '')}'"
                check(said in lines, f"no {said!r} in {lines}")
            answer = search("startpos")[-1]
            check((answer == "bestmove a2a4") == (value is options), f"{value}: {answer}")
            hits = [int(n) for n in re.findall(r"tbhits (\d+)", "".join(search("fen 8/8/8/4k3/8/8/8/KQ6 w - - 0 1")))]
            check(hits and (max(hits) > 0) == (value is options), f"{value}: tbhits {hits}")


def test_missing_network_ends_the_program():
    """At start-up, from a configuration file and as an option: one line, and nothing after it is done."""
    pathlib.Path("net.cfg").write_text("NN_File = none.nn\nHash = 32\n")
    for arguments, text in (((), "setoption name NN_File value none.nn\ngo depth 3\n"), (("-cfg", "net.cfg"), "go depth 3\n")):
        lines, errors, status = run(*arguments, text=text)
        check(status == 0 and errors == "" and lines[-2:] == ["info string can't open none.nn", ""], f"{lines}, {status}")


def test_log_holds_commands_and_answers():
    run("-log", text="isready\ngo depth 2\n")
    lines = pathlib.Path("tarn.log").read_text(encoding="latin-1").split("\n")
    check(lines.index("CMD: isready") + 1 == lines.index("readyok") < lines.index("CMD: go depth 2"), f"{lines}")
    check(count(lines, "bestmove") == 1, "no answer in the log")


def bad_lines(name):
    lines = to_text((DATA / "badinput" / name).read_bytes()).split("\n")
    return [line for line in lines if line.strip()]


def test_malformed_uci_lines_leave_a_working_engine():
    with Session() as tarn:
        for line in bad_lines("uci.txt"):
            try:
                tarn.send(line, "stop")
                if line.split(" ")[0] == "go":
                    tarn.wait_for("bestmove")
                tarn.ready()
                tarn.send("go depth 2")
                tarn.wait_for("bestmove")
                tarn.send("setoption name Threads value 1", "setoption name MultiPV value 1", "position startpos")
                tarn.ready()
            except (Failure, OSError) as failure:
                raise Failure(f"after {line[:60]!r}: {failure}") from failure
        tarn.send("quit")
        check(tarn.finish()[1] == 0, "status")


def test_malformed_console_lines_leave_a_working_engine():
    with Session("-c") as tarn:
        for line in bad_lines("console.txt"):
            tarn.send(line)
            # Repeated until the search has ended: commands are ignored while one runs.
            for _ in range(200):
                tarn.send(".", "set contempt 5")
                try:
                    tarn.wait_for("contempt set to 5", 0.1 * PATIENCE)
                    break
                except Failure:
                    check(tarn.process.poll() is None, f"ended after {line!r}")
            else:
                raise Failure(f"stuck after {line!r}")
            tarn.send("new")
        tarn.send("quit")
        check(tarn.finish()[1] == 0, "status")


if __name__ == "__main__":
    run_tests(globals())
