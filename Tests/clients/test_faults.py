"""Faults of the machine and of files: what fails is said, older files stay, an endless input can be interrupted, and memory
stays small. TARN_FAULTS=full: a line of 1 GB, and 1,000 rounds of all options."""
import contextlib
import os
import pathlib
import random
import re
import select
import shutil
import signal
import subprocess

import pytest

from chess_records import TABLES, chess, pack
from conftest import DATA, LATENCY, PATIENCE, ROOT

fcntl = pytest.importorskip("fcntl")
resource = pytest.importorskip("resource")

FULL = os.environ.get("TARN_FAULTS") == "full"
BOOK, GAMES = DATA / "polyglot" / "performance-part.bin", DATA / "pgn" / "kasparov-deep-blue-1997.pgn"
MEMORY = 300 if PATIENCE <= 1 else 3000  # megabytes of a run that keeps nothing; sanitizers need some for themselves
OLD = b"an older file\n"
STOPPED, DEVICE = r"interrupted after \d+ (positions|games)", "device|Need to compile"


def programs(program):
    return {name: program if name == "tarn" else program.beside(name) for name in ("tarn", "tarn_selfplay", "tarn_tune")}


def write_inputs():
    dice, boards, games = random.Random(31), [], ""
    while len(boards) < 600:
        board = chess.Board()
        while board.ply() < 30 and any(board.legal_moves):
            board.push(dice.choice(list(board.legal_moves)))
            boards += [] if board.is_check() else [board.copy(stack=False)]
        games += f'[Result "1/2-1/2"]\n\n{chess.Board().variation_san(board.move_stack)} 1/2-1/2\n\n'
    pathlib.Path("in.epd").write_text("".join(f"{board.fen()} ce 7; sc 9; gr 0.5;\n" for board in boards))
    pathlib.Path("data.bin").write_bytes(b"".join(pack(board, 0, 7, 9) for board in boards) * 10)
    pathlib.Path("many.pgn").write_text(games * 5)


# A run that writes a file as a whole, the file, and the exit status when that cannot be done.
WHOLE = [("tarn", "-mkbook many.pgn", "tmp_book.bin", 255), ("tarn", "-epd2bin in.epd", "in.bin", 255),
         ("tarn", "-bin2epd data.bin", "data.epd", 255), ("tarn_selfplay", "--merge all.bin data.bin", "all.bin", 1),
         ("tarn_selfplay", "--vary all.bin data.bin --seed 5", "all.bin", 1),
         ("tarn_selfplay", f"--endings all.bin KRvKB --count 3000 --seed 5 --syzygy {TABLES}", "all.bin", 1)]


def write_into_pipe(tool, arguments, file):
    """A run whose first output is stuck in a small pipe, which stands where it writes, and the pipe."""
    os.mkfifo(file)
    pipe = os.open(file, os.O_RDONLY | os.O_NONBLOCK)
    fcntl.fcntl(pipe, fcntl.F_SETPIPE_SZ, 4096)
    process = subprocess.Popen(tool.words([arguments]), stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                               stderr=subprocess.PIPE, text=True)
    while not select.select([pipe], [], [], 0.05)[0] or not os.read(pipe, 1):
        assert process.poll() is None, "nothing was written"
    return process, pipe


@pytest.mark.posix("limits of files, pipes")
@pytest.mark.parametrize("name, arguments, file, status", WHOLE)
def test_full_disk_kill_and_interrupt_leave_the_older_file(program, name, arguments, file, status):
    tool, path, fresh = programs(program)[name], pathlib.Path(file), pathlib.Path(file + ".new")
    write_inputs()
    path.write_bytes(OLD)
    path.chmod(0o640)
    errors = tool.run(arguments, status=status, FSIZE=100).errors
    assert errors.endswith(f"can't write {file}: File too large\n") and path.read_bytes() == OLD and not fresh.exists()

    # What is written goes into a small pipe that nobody empties.
    process, pipe = write_into_pipe(tool, arguments, fresh)
    process.kill()
    assert process.wait() == -signal.SIGKILL
    os.close(pipe)
    assert path.is_file() and path.read_bytes() == OLD
    fresh.unlink()
    if re.search("bin2epd|vary|endings", arguments):  # they write while they work
        process, pipe = write_into_pipe(tool, arguments, fresh)
        process.send_signal(signal.SIGINT)
        with os.fdopen(pipe, "rb") as rest:
            while process.poll() is None:
                select.select([rest], [], [], 0.05)
                rest.read()
        assert process.returncode == 1 and "interrupted" in process.stderr.read()
        assert path.is_file() and path.read_bytes() == OLD and not fresh.exists()

    # The next run replaces it, behind a link as well. The book's name is all that counts there.
    shutil.move(file, "elsewhere")
    path.symlink_to("elsewhere")
    tool.run(arguments)
    assert len(path.read_bytes()) > 4096 and path.is_symlink() == ("mkbook" not in arguments)
    assert path.is_symlink() or pathlib.Path("elsewhere").read_bytes() == OLD
    assert "mkbook" in arguments or path.stat().st_mode & 0o777 == 0o640
    written = path.read_bytes()
    done = subprocess.run(["sh", "-c", 'exec "$@" >&-', "sh", *tool.words([arguments])], stdin=subprocess.DEVNULL)
    assert done.returncode == 0 and path.read_bytes() == written, "words went into the file"

    # A link that leads nowhere yet is written through, too; one that leads to itself is refused.
    if "mkbook" not in arguments:
        for place, wanted in (("new place", 0), (file, status)):
            path.unlink()
            path.symlink_to(place)
            errors = tool.run(arguments, status=wanted).errors
            assert path.is_symlink() and (wanted or path.read_bytes() == written)
        assert errors.endswith(f"can't create {file}: Too many levels of symbolic links\n")
    assert not list(pathlib.Path().glob("*.new"))


@pytest.mark.posix("limits of memory")
@pytest.mark.skipif(PATIENCE > 1, reason="sanitizers reserve more than the limit")
def test_memory_that_ends_while_records_are_read_is_told(program):
    for name in ("all.bin", "big.epd"):
        pathlib.Path(name).write_bytes(OLD)
    pathlib.Path("big.bin").write_bytes(pack(chess.Board(), 0, 0, 0))
    os.truncate("big.bin", 400 << 20)
    for name, arguments, place in (("tarn_selfplay", "--merge all.bin big.bin", ""), ("tarn_tune", "big.bin", ""),
                                   ("tarn", "-bin2epd big.bin -hash 1", "can't read big.bin: ")):
        assert programs(program)[name].run(arguments, status=1, AS=300 << 20).errors == place + "out of memory\n"
    assert pathlib.Path("all.bin").read_bytes() == pathlib.Path("big.epd").read_bytes() == OLD


@pytest.mark.posix("/sys, where nobody can create a file, and limits of files")
@pytest.mark.skipif(not os.path.isdir("/sys/kernel"), reason="no /sys")
@pytest.mark.parametrize("limits, fault", [({}, "can't create"), ({"FSIZE": 100}, "can't write")])
def test_output_that_cannot_be_written_is_told_and_not_announced(program, monkeypatch, limits, fault):
    write_inputs()
    here = pathlib.Path().resolve()
    if not limits:
        monkeypatch.chdir("/sys")
    for name, arguments, status, file in (("tarn", f"-scan_pgn {GAMES} -o x.epd", 255, "x.epd"),
                                          ("tarn", f"-anepd {here}/in.epd -d 1 -o x.epd", 255, "(x|tmp_0).epd"),
                                          ("tarn", f"-mktraindata {here}/in.epd -d 1 -o x.epd", 255, "x.epd"),
                                          ("tarn", f"-gentraindata {here}/data.bin 1", 255, r"tmp__\d.bin"),
                                          ("tarn_selfplay", "--output x --games 1", 1, "x.bin")):
        found = programs(program)[name].run(arguments, status=status, **limits)
        assert re.fullmatch(f"{fault} {file}: .*\n", found.errors), f"{arguments}: {found}"
        assert not re.search("stored|read .* games", found.output), f"{arguments}: {found}"
    for command, file in (("save x.pgn", "x.pgn"), ("save", "tmp.pgn")):
        if limits:
            pathlib.Path(file).write_bytes(OLD)  # games are added to it
        errors = program.run("-c", text=f"e4\n{command}\nquit\n", **{name: 20 for name in limits}).errors
        assert re.fullmatch(f"{fault} {file}: .*\n", errors) and (not limits or pathlib.Path(file).read_bytes() == OLD)
    assert limits or "bestmove" in program.run("-log", text="go depth 2\n").output


def test_files_that_vanish_after_the_start(program):
    for path in (BOOK, *TABLES.glob("K[QRP]vK.rtb?")):
        shutil.copy(path, ".")
    shutil.copy(ROOT / "Source" / "eval" / "embedded.nn", "a.nn")
    tarn = program.start(f"-book {BOOK.name} -tbpath .")
    tarn.set(NN_File="a.nn", OwnBook="true")
    tarn.ready()
    for path in pathlib.Path().iterdir():
        path.unlink()
    for fen in (chess.STARTING_FEN, "8/8/8/8/3k4/8/8/KQ6 w - - 0 1", "8/P7/8/8/3k4/8/8/K7 w - - 0 1"):
        answer = tarn.search(f"position fen {fen}", "go depth 8")[-1]
        assert chess.Move.from_uci(answer.split()[1]) in chess.Board(fen).legal_moves
    assert "no network" not in "".join(tarn.search("ucinewgame", "go depth 2"))


# Every argument that names a file to read, as IN, with input that uses it, and how it ends when the file has no end: with
# status 1 and these words, as the first interrupt asks it to (""), or in order (None).
TAKES_FILES = [
    ("tarn", "-cfg IN.txt", "quit\n", None), ("tarn", "-c", "load IN.pgn\nquit\n", None),
    ("tarn", "-book IN.bin", "setoption name OwnBook value true\ngo depth 2\nquit\n", None),
    ("tarn", "", "setoption name NN_File value IN.nn\nisready\ngo depth 2\nquit\n", None),
    ("tarn", "-anepd IN.epd -d 1", "", STOPPED), ("tarn", "-scan_pgn IN.pgn -o out.epd", "", STOPPED),
    ("tarn", "-mkbook IN.pgn", "", STOPPED), ("tarn", "-mktraindata IN.epd -d 1", "", STOPPED),
    ("tarn", "-epd2bin IN.epd", "", "interrupted, nothing was stored"), ("tarn", "-bin2epd IN.bin", "", DEVICE),
    ("tarn", "-gentraindata IN.bin 1", "", DEVICE), ("tarn", "-prune_nn IN.bin", "", DEVICE),
    ("tarn", "-train IN.bin 1", "", DEVICE), ("tarn", "-train IN.txt 1", "", ""),
    ("tarn_selfplay", "--merge x.bin IN.bin", "", DEVICE),
    ("tarn_selfplay", "--vary x.bin IN.bin", "", DEVICE), ("tarn_selfplay", "--output x --games 1 --openings IN.epd", "", ""),
    ("tarn_selfplay", "--output x --network IN.nn", "", ""), ("tarn_selfplay", "--output x --hce --params IN.txt", "", ""),
    ("tarn_tune", "IN.bin", "", DEVICE), ("tarn_tune", "data.bin --params IN.txt", "", "")]


@pytest.mark.posix("folders that open as files, /dev/zero, pipes")
@pytest.mark.parametrize("name, arguments, text, said", TAKES_FILES)
def test_input_that_is_no_file(program, name, arguments, text, said):
    write_inputs()
    ending = re.search(r"IN(\.\w+)", arguments + text)[1]
    os.mkdir("folder" + ending)
    os.symlink("/dev/zero", "endless" + ending)
    os.mkfifo("silent" + ending)
    pipe = os.open("silent" + ending, os.O_RDWR)

    def run(file, interrupts):
        """Interrupted so many times, as long as it lasts: exit status and what it said."""
        process = subprocess.Popen(programs(program)[name].words([arguments.replace("IN", file)]), stdin=subprocess.PIPE,
                                   stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        process.stdin.write(text.replace("IN", file))
        for sent in [*[signal.SIGINT, signal.SIGTERM][:interrupts], signal.SIGKILL]:
            with contextlib.suppress(subprocess.TimeoutExpired):
                return process.communicate(timeout=LATENCY if interrupts else 60 * LATENCY)[0], process.returncode
            process.send_signal(sent)
        return process.communicate()[0], process.returncode

    ways_to_end = (0,) if said is None else (1,)
    output, status = run("folder", 0)
    assert status in ways_to_end and re.search("Is a directory|cannot be read|Need to compile" if said else "", output)
    output, status = run("endless", 1)
    assert status in (*ways_to_end, *[-signal.SIGINT] * (not said)) and re.search(said or "", output)
    assert run("silent", 2)[1] in (*ways_to_end, -signal.SIGINT, -signal.SIGTERM)
    os.close(pipe)
    assert resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss < MEMORY << 10, "in this run or one before it"


def resident(process, field="VmRSS"):
    """Kilobytes."""
    return int(re.search(field + r":\s*(\d+)", pathlib.Path(f"/proc/{process.pid}/status").read_text())[1])


@pytest.mark.posix("/proc")
@pytest.mark.skipif(not os.path.exists("/proc/self/status"), reason="no /proc")
@pytest.mark.parametrize("switches, before, after, answer", [("", "uci", "isready", "readyok"), ("-c", "ev", "ev", ".*hce="),
                                                            ("-c", "ev\nedit", ".\nev", ".*hce=")])
def test_line_of_a_gigabyte_takes_little_memory(program, switches, before, after, answer):
    tarn = program.start(switches)
    tarn.send(before)
    tarn.wait_for("uciok" if before == "uci" else answer)
    start = resident(tarn.process, "VmHWM")
    for _ in range(1024 if FULL else 32):
        tarn.process.stdin.write(b"x" * (1 << 20))
    tarn.send("", after)
    assert "info string line too long" in tarn.wait_for(answer, 600)
    peak = resident(tarn.process, "VmHWM")
    print(f"{switches or 'uci'} {before!r}: {start} KB, with the line {peak} KB")
    assert tarn.close() == 0 and peak - start < 8192 * PATIENCE


@pytest.mark.posix("/proc")
@pytest.mark.skipif(not os.path.exists("/proc/self/status"), reason="no /proc")
def test_options_set_again_and_again_keep_no_memory(program):
    pathlib.Path("a.cfg").write_text("MultiPV = 2\nSelectivity = 90\n")
    shutil.copy(ROOT / "Source" / "eval" / "embedded.nn", "a.nn")
    files = {"ConfigFilePath": "a.cfg", "NN_File": "a.nn", "OwnBook_File": BOOK, "OwnBook2_File": BOOK, "SyzygyPath": TABLES,
             "UCI_Opponent": "none none computer X"}
    tarn = program.start()
    tarn.send("uci")
    lines = []
    for name, default, low in re.findall(r"^option name (.*) type \w+(?: default (\S*))?(?: min (\S+))?",
                                         "\n".join(tarn.wait_for("uciok")), re.MULTILINE):
        other = files.get(name, int(low) + 3 if low else "false" if default == "true" else "true")
        lines += [f"setoption name {name} value {value}\nisready" for value in (other, default or "<empty>")]
        lines += ["position startpos moves e2e4", "go depth 2"]
    assert len(lines) > 80
    rounds, sizes = 1000 if FULL else 12, []
    for _ in range(rounds):
        for line in lines:
            tarn.send(line)
            if line.startswith("go"):
                tarn.wait_for("bestmove")
        tarn.ready()
        sizes.append(resident(tarn.process))
    warm = max(sizes[:rounds // 4 + 2])
    print(f"{rounds} rounds: {sizes[0]} KB after the first, {warm} KB at most in the first quarter, {max(sizes)} KB at most")
    assert max(sizes) - warm < 512 * PATIENCE and tarn.close() == 0
