#!/usr/bin/env python3
"""The training data switches and the pruning of networks, against this file's own packing and arithmetic.

Usage: test_training_data.py PROGRAM [TEST...].  Ends with a line "N passed, N failed"; exit status 1 on failures.
"""
import math
import os
import pathlib
import random
import resource
import signal
import struct
import subprocess
import sys
import time

try:
    import chess
    import chess.syzygy
except ImportError:
    print("skipped: the Python package `chess` is not installed (scripts/setup.sh test installs it)")
    sys.exit(1 if os.environ.get("CI") else 77)

from cases import Skipped, check, run_tests

PROGRAM = os.path.abspath(sys.argv[1])
ROOT = pathlib.Path(os.environ.get("TARN_SOURCE_DIR", pathlib.Path(__file__).resolve().parent.parent.parent))
SHARED = ROOT.parent / "shared" / "data"
TIMEOUT = 120 * float(os.environ.get("TARN_PATIENCE", "1"))
INSTRUMENTED = float(os.environ.get("TARN_PATIENCE", "1")) > 1

GREETING = ["info string Hello from Tarn 7.00", "info string allocated", "info string Cleared", "info string loaded"]
ALLOCATED = "allocated 18000 Mbytes for training data.\n"


def run(*arguments, folder, limits=()):
    """What the program printed after its greeting, its errors and its exit status. `limits` are resource limits."""
    def set_limits():
        for kind, value in limits:
            resource.setrlimit(kind, (value, value))
    done = subprocess.run([PROGRAM, *map(str, arguments)], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, cwd=folder, timeout=TIMEOUT, preexec_fn=set_limits)
    lines = done.stdout.decode("latin-1").splitlines(keepends=True)
    while lines and any(lines[0].startswith(greeting) for greeting in GREETING):
        lines.pop(0)
    return "".join(lines), done.stderr.decode("latin-1"), done.returncode


# --- An independent reading of the format ----------------------------------------------------------------------

def single(value):
    return struct.unpack("<f", struct.pack("<f", value))[0]


def win_probability(score):
    return single(1 / (1 + math.exp(single(single(score) * single(-0.006)))))


def result_to_score(result):
    limited = min(max(result, single(0.000001)), single(0.999999))
    return max(-3000, min(3000, int(-166.66667 * math.log(1 / limited - 1))))


def castling_bits(board):
    """Rights K 1, Q 2, k 4, q 8; a right needs a single rook on its side of the king."""
    bits = 0
    for bit, colour, king_side in ((1, True, True), (2, True, False), (4, False, True), (8, False, False)):
        if not (board.has_kingside_castling_rights(colour) if king_side else board.has_queenside_castling_rights(colour)):
            continue
        king = board.king(colour)
        rooks = [s for s in board.pieces(chess.ROOK, colour)
                 if chess.square_rank(s) == chess.square_rank(king) and (s > king) == king_side]
        bits |= bit if len(rooks) == 1 else 0
    return bits


def position_text(board):
    fields = board.fen(en_passant="fen").split()[:4]
    bits = castling_bits(board)
    fields[2] = "".join(letter for i, letter in enumerate("KQkq") if bits >> i & 1) or "-"
    return " ".join(fields)


def pack(board, result, ce, sc):
    codes = [0] * 64
    for square, piece in board.piece_map().items():
        codes[square] = piece.piece_type + (0 if piece.color else 8)
    squares = bytes(codes[2 * i] | codes[2 * i + 1] << 4 for i in range(32))
    side = 0 if board.turn else 16
    ep = 64 if board.ep_square is None else board.ep_square
    return squares + struct.pack("<BBhhh", side | castling_bits(board), ep, result, ce, sc)


def random_positions(count, seed):
    """Boards of games played at random."""
    dice = random.Random(seed)
    board = chess.Board()
    while count > 0:
        moves = list(board.legal_moves)
        if not moves or board.fullmove_number > 120:
            board = chess.Board()
            continue
        board.push(dice.choice(moves))
        yield board.copy(stack=False)
        count -= 1


class Sample:
    """Random positions with random labels: the EPD text, the records and the unpacked text that must come of it."""

    def __init__(self, count, seed):
        dice = random.Random(seed)
        lines, records, texts, boards = [], [], [], []
        for board in random_positions(count, seed):
            ce, sc = dice.randint(-3500, 3500), dice.randint(-3500, 3500)
            gr = dice.choice(["0.0", "0.5", "1.0", "0.5", "0.3", None])
            kind = dice.randrange(4)
            line = board.fen(en_passant="fen").rsplit(" ", 2)[0] if kind else board.fen(en_passant="fen")
            line += f" ce {ce};" if kind != 1 else ""
            line += f" sc {sc};" if kind != 2 else ""
            line += f" gr {gr};" if gr else ""
            lines.append(line + "\n")
            ce, sc = (sc if kind == 1 else ce), max(-3000, min(3000, ce if kind == 2 else sc))
            result = float(gr) if gr else win_probability(ce)
            expected = win_probability(sc)
            if result == 0.5 and not 0.1 <= expected <= 0.9 or result == 0 and expected > 0.8 or \
                    result == 1 and expected < 0.2:
                continue
            score = result_to_score(result)
            boards.append(board)
            records.append(pack(board, score, ce, sc))
            texts.append(f"{position_text(board)} ce {ce}; sc {sc}, gr {win_probability(score):.1f}\n")
        self.epd, self.bin, self.unpacked = "".join(lines), b"".join(records), "".join(texts)
        self.boards, self.records, self.count = boards, records, len(records)


# --- Packing, unpacking, splitting -------------------------------------------------------------------------------

def packs_unpacks_and_splits_to_the_byte(folder):
    sample = Sample(3000, 11)
    (folder / "set.epd").write_text(sample.epd)
    output, errors, status = run("-epd2bin", "set.epd", folder=folder)
    check((output, errors, status) == (ALLOCATED + "reading positions from file set.epd.\n"
                                       f"read {sample.count} positions.\n\n"
                                       f"stored {sample.count} positions in set.bin.\n\n", "", 0), (output, errors, status))
    check((folder / "set.bin").read_bytes() == sample.bin, "records differ")

    said = ALLOCATED + f"read {sample.count} positions from set.bin.\n\n"
    check(run("-bin2epd", "set.bin", folder=folder) == (said, "", 0), "-bin2epd")
    check((folder / "set.epd").read_text() == sample.unpacked, "texts differ")

    check(run("-gentraindata", "set.bin", "1", folder=folder) == (said, "", 0), "-gentraindata")
    buckets = [b""] * 8
    for board, record in zip(sample.boards, sample.records):
        pieces = [p.piece_type for p in board.piece_map().values() if p.piece_type not in (chess.PAWN, chess.KING)]
        bucket = (len(pieces) + 1) // 2 + (len(pieces) > 2 and chess.QUEEN in pieces)
        buckets[min(bucket, 7)] += record
    for i, bucket in enumerate(buckets):
        check((folder / f"tmp__{i}.bin").read_bytes() == bucket, f"bucket {i}")
    check(sum(map(bool, buckets)) >= 5, "the sample should reach most buckets")


def little_memory_is_enough_for_little_data(folder):
    if INSTRUMENTED:
        raise Skipped("sanitizers reserve more than the limit")
    sample = Sample(100, 12)
    (folder / "set.epd").write_text(sample.epd)
    limits = [(resource.RLIMIT_AS, 2 << 30)]
    check(run("-epd2bin", "set.epd", folder=folder, limits=limits)[2] == 0, "-epd2bin")
    check((folder / "set.bin").read_bytes() == sample.bin, "records differ")
    check(run("-bin2epd", "set.bin", folder=folder, limits=limits)[2] == 0, "-bin2epd")
    check((folder / "set.epd").read_text() == sample.unpacked, "texts differ")


def too_little_memory_is_said_and_nothing_is_written(folder):
    if INSTRUMENTED:
        raise Skipped("sanitizers reserve more than the limit")
    record = pack(chess.Board(), 0, 0, 0)
    with open(folder / "big.bin", "wb") as big:
        big.write(record)
        big.truncate(400 << 20)
    output, errors, status = run("-bin2epd", "big.bin", "-hash", "1", folder=folder,
                                 limits=[(resource.RLIMIT_AS, 300 << 20)])
    check(output == ALLOCATED and errors == "can't read big.bin: out of memory\n" and status == 1,
          (output, errors, status))
    check(not (folder / "big.epd").exists(), "wrote a file")


def failed_writes_are_never_announced(folder):
    sample = Sample(4000, 13)
    for name in ("full", "limited", "folder", "missing"):
        (folder / f"{name}.epd").write_text(sample.epd)
    (folder / "full.bin").symlink_to("/dev/full")
    (folder / "folder.bin").mkdir()
    (folder / "b_full.bin").write_bytes(sample.bin)
    (folder / "b_full.epd").symlink_to("/dev/full")
    (folder / "b_limited.bin").write_bytes(sample.bin)
    split = folder / "split"
    split.mkdir()
    (split / "tmp__5.bin").symlink_to("/dev/full")
    uncreated = folder / "uncreated"
    uncreated.mkdir()
    (uncreated / "tmp__5.bin").mkdir()
    (folder / "quiet.epd").write_text(f"{chess.STARTING_FEN} gr 1.0;\n" * 2)
    (folder / "m_full.epd").symlink_to("/dev/full")
    limit = [(resource.RLIMIT_FSIZE, 70_001)]
    cases = [
        (("-epd2bin", "full.epd"), folder, (), "can't write full.bin: No space left on device\n"),
        (("-epd2bin", "limited.epd"), folder, limit, "can't write limited.bin: File too large\n"),
        (("-epd2bin", "folder.epd"), folder, (), "can't create folder.bin: Is a directory\n"),
        (("-bin2epd", "b_full.bin"), folder, (), "can't write b_full.epd: No space left on device\n"),
        (("-bin2epd", "b_limited.bin"), folder, limit, "can't write b_limited.epd: File too large\n"),
        (("-gentraindata", "../b_full.bin", "1"), split, (), "can't write tmp__5.bin: No space left on device\n"),
        (("-gentraindata", "../b_full.bin", "1"), uncreated, (), "can't create tmp__5.bin: Is a directory\n"),
        (("-mktraindata", "quiet.epd", "-o", "m_full.epd", "-d", "2"), folder, (),
         "can't write m_full.epd: No space left on device\n"),
        (("-mktraindata", "quiet.epd", "-o", "none/m.epd", "-d", "2"), folder, (),
         "can't create none/m.epd: No such file or directory\n"),
    ]
    for arguments, where, limits, fault in cases:
        output, errors, status = run(*arguments, folder=where, limits=limits)
        check(errors == fault and status == 255 and "stored" not in output, (arguments, output, errors, status))
    check((folder / "limited.bin").stat().st_size % 40 == 0, "a record was torn")
    text = (folder / "b_limited.epd").read_text()
    check(text and sample.unpacked.startswith(text) and text.endswith("\n"), "a line was torn")


def inputs_are_never_destroyed(folder):
    sample = Sample(10, 14)
    (folder / "a.epd").write_text(sample.epd)
    (folder / "a.bin").symlink_to("a.epd")
    (folder / "b.bin").write_bytes(sample.bin)
    (folder / "b.epd").hardlink_to(folder / "b.bin")
    (folder / "tmp__2.bin").write_bytes(sample.bin)
    (folder / "pruned.bin").write_bytes(sample.bin)
    for arguments, name in ((("-epd2bin", "a.epd"), "a.bin"), (("-bin2epd", "b.bin"), "b.epd"),
                            (("-gentraindata", "tmp__2.bin", "1"), "tmp__2.bin"),
                            (("-mktraindata", "a.epd", "-o", "./a.epd", "-d", "1"), "./a.epd"),
                            (("-prune_nn", "pruned.bin"), "pruned.bin")):
        output, errors, status = run(*arguments, folder=folder)
        check(errors == f"{name} is input and output\n" and status == 1, (arguments, output, errors, status))
    check((folder / "a.epd").read_text() == sample.epd, "a.epd")
    for name in ("b.bin", "tmp__2.bin", "pruned.bin"):
        check((folder / name).read_bytes() == sample.bin, name)
    for arguments in (("-epd2bin", "none.epd"), ("-bin2epd", "none.bin"), ("-gentraindata", "none.bin", "1"),
                      ("-mktraindata", "none.epd", "-d", "1"), ("-prune_nn", "none.bin"), ("-prune_nn",)):
        output, errors, status = run(*arguments, folder=folder)
        check("No such file" in errors and errors.count("\n") == 1 and status == 1, (arguments, errors, status))
    for arguments, fault in ((("-epd2bin", "b.bin"), "needs .epd"), (("-bin2epd", "a.epd"), "needs .bin"),
                             (("-gentraindata", "a.epd", "1"), "a training file has .bin in its name"),
                             (("-mktraindata", "b.bin", "-d", "1"), "needs .epd"),
                             (("-mktraindata", "a.epd", "-o", "b.bin", "-d", "1"), "needs .epd")):
        output, errors, status = run(*arguments, folder=folder)
        check(errors.endswith(f"{fault}\n") and errors.count("\n") == 1 and status == 1, (arguments, errors, status))
    check({p.name for p in folder.iterdir()} == {"a.epd", "a.bin", "b.bin", "b.epd", "tmp__2.bin", "pruned.bin"},
          "files appeared")


# --- Making training data ------------------------------------------------------------------------------------------

def opening_lines(count, seed):
    """Random openings whose `ce` tells them apart, with a result."""
    dice = random.Random(seed)
    lines = {}
    for number in range(1, count + 1):
        board = chess.Board()
        while board.ply() < dice.randrange(8, 24) and any(board.legal_moves):
            board.push(dice.choice(list(board.legal_moves)))
        lines[number] = (board, dice.choice((0.0, 0.5, 1.0)))
    return lines


def labels_follow_the_side_to_move_and_rules_hold(folder):
    lines = opening_lines(300, 15)
    with open(folder / "in.epd", "w") as epd:
        for number, (board, result) in lines.items():
            epd.write(f"{board.fen()} ce {number}; gr {result};\n")
    output, errors, status = run("-mktraindata", "in.epd", "-o", "out.epd", "-d", "2", folder=folder)
    check("infile= in.epd, outfile= out.epd\n" in output and output.endswith("\n\n") and not errors and status == 0,
          (output, errors, status))
    written = (folder / "out.epd").read_text().splitlines()
    check(len(written) > 60, f"only {len(written)} lines")

    questions = ""
    for line in written:
        fen, operations = " ".join(line.split()[:4]), dict(op.split() for op in line.split(" ", 4)[4].split("; ") if op)
        ce, sc, gr = int(operations["ce"]), int(operations["sc"]), float(operations["gr"].rstrip(";"))
        board, result = lines[abs(ce)]
        end = chess.Board(fen + " 0 1")
        check(end.is_valid() and not end.is_check(), f"{line}: in check")
        moved = board.turn != end.turn
        check((ce < 0) == moved and gr == (1 - result if moved else result), f"{line}: from {board.fen()} {result}")
        probability = win_probability(sc)
        check(not (probability > 0.9 and gr <= 0.5) and not (probability < 0.1 and gr >= 0.5), f"{line}: contradicts")
        questions += f"fen {fen}\nev\n"

    # Static scores as the console tells them: a draw must not come from an equal position.
    answer = subprocess.run([PROGRAM, "-c", "-hash", "0"], input=questions.encode() + b"quit\n", timeout=TIMEOUT,
                            stdout=subprocess.PIPE, check=True).stdout.decode("latin-1")
    evaluations = [int(line.split()[1].rstrip(",")) for line in answer.splitlines() if line.startswith("nne=")]
    check(len(evaluations) == len(written), "console answers")
    for line, evaluation in zip(written, evaluations):
        equal = abs(evaluation) < 21 and abs(int(line.split("sc ")[1].split(";")[0])) < 21
        check(not (equal and line.endswith("gr 0.5;")), f"{line}: equal and drawn, static {evaluation}")


def tablebases_overrule_scores(folder):
    tables = SHARED / "syzygy"
    if not tables.is_dir():
        raise Skipped("no tablebases")
    dice = random.Random(16)
    positions = []
    while len(positions) < 60:
        board = chess.Board(None)
        pieces = dice.choice(("KRkn", "KQkr", "KRPkr", "KBNk", "KPk", "KRkb"))
        for letter, square in zip(pieces, dice.sample(range(8, 56), len(pieces))):
            board.set_piece_at(square, chess.Piece.from_symbol(letter))
        board.turn = dice.random() < 0.5
        if board.is_valid() and not board.is_check():
            positions.append(board)
    (folder / "in.epd").write_text("".join(board.fen() + "\n" for board in positions))
    status = run("-mktraindata", "in.epd", "-tbpath", tables, "-o", "out.epd", "-d", "3", folder=folder)[2]
    check(status == 0, f"status {status}")
    seen = set()
    with chess.syzygy.open_tablebase(str(tables)) as tablebase:
        for line in (folder / "out.epd").read_text().splitlines():
            board = chess.Board(" ".join(line.split()[:4]) + " 0 1")
            if len(board.piece_map()) < 3:
                continue
            score = {2: 9000, 0: 0, -2: -9000}[tablebase.probe_wdl(board)]
            check(line.endswith(f" sc {score};"), f"{line}: {score}")
            seen.add(score)
    check(seen >= {9000, -9000}, f"wins and losses in {seen}")


def interrupted_work_is_whole(folder):
    with open(folder / "in.epd", "w") as epd:
        for number, (board, _) in opening_lines(3000, 17).items():
            epd.write(f"{board.fen()} ce {number}; gr 0.6;\n")
    for signal_number in (signal.SIGINT, signal.SIGTERM):
        process = subprocess.Popen([PROGRAM, "-mktraindata", "in.epd", "-o", "out.epd", "-d", "9"], cwd=folder,
                                   stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
        deadline = time.monotonic() + TIMEOUT
        while not (folder / "out.epd").exists() or (folder / "out.epd").stat().st_size < 500:
            check(time.monotonic() < deadline and process.poll() is None, "nothing was written")
            time.sleep(0.02)
        process.send_signal(signal_number)
        errors = process.communicate(timeout=TIMEOUT)[1].decode()
        check(process.returncode == 1 and errors.startswith("interrupted after "), (process.returncode, errors))
        text = (folder / "out.epd").read_text()
        check(text.endswith("gr 0.6;\n") or text.endswith("gr 0.4;\n"), repr(text[-60:]))
        (folder / "out.epd").unlink()


# --- Pruning ---------------------------------------------------------------------------------------------------------

KEPT = 1536


def write_network(path, hidden, buckets, node_weight):
    """A network of format 757 with small random weights; node_weight(node) scales its output weights. Returns blocks."""
    dice = random.Random(18)
    inputs = [[dice.randrange(-60, 61) for _ in range(hidden)] for _ in range(64)]
    rows = [inputs[i % 61] for i in range(buckets * 768)]  # rows repeat, but not in step with squares
    outputs = [[node_weight(node) * dice.randrange(-300, 301) for node in range(hidden)] for _ in range(16)]
    biases = [[dice.randrange(-100, 101) for _ in range(hidden)] for _ in range(2)]
    header = struct.pack("<10hi", 757, 2048, 1024, 400, buckets, 3, hidden, 6, 7, 5, -1)
    with open(path, "wb") as file:
        file.write(header)
        for row in rows + outputs + biases:
            file.write(struct.pack(f"<{hidden}h", *row))
    return rows, outputs, biases


def first_layer(board, rows, biases):
    """Sums of White's and Black's perspective, activated; format 757: second bucket with the kings on different wings."""
    own = {chess.KING: 0, chess.PAWN: 64, chess.KNIGHT: 128, chess.BISHOP: 192, chess.ROOK: 256, chess.QUEEN: 320}
    wings = [chess.square_file(board.king(colour)) < 4 for colour in (True, False)]
    bucket = 768 if wings[0] != wings[1] else 0
    halves = []
    for half, colour in enumerate((True, False)):
        mirror = (7 if wings[half] else 0) + (0 if colour else 56)
        sums = list(biases[half])
        for square, piece in board.piece_map().items():
            index = (square ^ mirror) + bucket + own[piece.piece_type] + (0 if piece.color == colour else 384)
            sums = [a + b for a, b in zip(sums, rows[index])]
        check(max(map(abs, sums)) < 32767, "sums must not saturate")
        halves.append([s if s >= 0 else -(-s // 64) for s in sums])
    return halves


def output_bucket(board):
    worth = {chess.KNIGHT: 3, chess.BISHOP: 3, chess.ROOK: 5, chess.QUEEN: 10}
    most = max(sum(worth.get(p.piece_type, 0) for p in board.piece_map().values() if p.color == colour)
               for colour in (True, False))
    return 0 if most > 20 else 1 if most > 15 else 2 if most > 10 else 3 if most > 5 else 4


def expected_nodes(boards, hidden, rows, outputs, biases):
    statistics = [0.0] * (2 * hidden)
    unit = single(0.000001)
    for board in boards:
        bucket = output_bucket(board)
        for half, activated in enumerate(first_layer(board, rows, biases)):
            weights = outputs[2 * bucket + (half if board.turn else 1 - half)]
            for node in range(hidden):
                share = single(single(abs(activated[node] * weights[node])) * unit)
                statistics[half * hidden + node] = single(statistics[half * hidden + node] + share)
    average = [single(statistics[node] + statistics[hidden + node]) / 2 for node in range(hidden)]
    ranked = sorted((node for node in range(hidden) if average[node] > 0), key=lambda node: (-average[node], node))
    return (ranked + [0] * KEPT)[:KEPT]


def prune(folder, boards, hidden, node_weight):
    """Prunes a network and returns the bytes written, those expected and the chosen nodes."""
    rows, outputs, biases = write_network(folder / "wide.nn", hidden, 2, node_weight)
    records = b"".join(pack(board, 0, 0, 0) for board in boards)
    damaged = bytes([7]) + records[1:40]
    (folder / "set.bin").write_bytes(records[:40] + damaged + records[40:])
    (folder / "tarn.cfg").write_text("NN_File = wide.nn\n")
    output, errors, status = run("-cfg", "tarn.cfg", "-prune_nn", "set.bin", folder=folder)
    check(output.endswith(ALLOCATED + f"read {len(boards) + 1} positions from set.bin.\n\nCollecting stats ...\n\n"
                          "Writing pruned net to pruned.bin ...\n\n") and not errors and status == 0,
          (output, errors, status))
    nodes = expected_nodes(boards, hidden, rows, outputs, biases)
    count = 2 * 768 * KEPT + 27648
    expected = bytearray(struct.pack("<10hi", 757, 2048, 1024, 400, 2, 3, KEPT, 6, 7, 5, count))
    for row in rows + outputs + biases:
        expected += struct.pack(f"<{KEPT}h", *(row[node] for node in nodes))
    return (folder / "pruned.bin").read_bytes(), bytes(expected), nodes


def prunes_a_wide_network_to_the_byte(folder):
    boards = list(random_positions(400, 19))[7::60]
    written, expected, nodes = prune(folder, boards, 2048, lambda node: 1)
    check(len(written) == 24 + 2 * (2 * 768 * 1536 + 27648), f"{len(written)} bytes")
    check(len(set(nodes)) == KEPT, "the network should have enough nodes that contribute")
    check(written == expected, "bytes differ")
    # The pruned network loads, and answers.
    (folder / "pruned.cfg").write_text("NN_File = pruned.bin\n")
    done = subprocess.run([PROGRAM, "-cfg", "pruned.cfg"], input=b"go depth 2\nquit\n", stdout=subprocess.PIPE,
                          cwd=folder, timeout=TIMEOUT, check=True).stdout.decode()
    check("info string loaded pruned.bin" in done and "bestmove " in done, done)


def node_0_fills_up_when_few_nodes_contribute(folder):
    boards = list(random_positions(200, 20))[7::60]
    written, expected, nodes = prune(folder, boards, 1600, lambda node: 1 if 300 <= node < 1300 else 0)
    check(nodes[1000:] == [0] * 536 and 0 not in nodes[:1000], "the case is not the one intended")
    check(written == expected, "bytes differ")


def leaves_networks_that_are_narrow_enough(folder):
    (folder / "set.bin").write_bytes(pack(chess.Board(), 0, 0, 0))
    said = (ALLOCATED + "read 1 positions from set.bin.\n\nCollecting stats ...\n\n"
            "Writing pruned net to pruned.bin ...\n\n")
    check(run("-prune_nn", "set.bin", folder=folder) == (said, "", 0), "embedded network")
    check(not (folder / "pruned.bin").exists(), "wrote a network")


def pruning_without_network_positions_or_space_is_said(folder):
    write_network(folder / "wide.nn", 1544, 1, lambda node: 1)
    (folder / "short.nn").write_bytes((folder / "wide.nn").read_bytes()[:1000])
    (folder / "set.bin").write_bytes(pack(chess.Board(), 0, 0, 0))
    (folder / "none.bin").write_bytes(bytes(40))
    for name in ("wide", "short"):
        (folder / f"{name}.cfg").write_text(f"NN_File = {name}.nn\n")
    (folder / "wide.bin").write_bytes(b"")
    for config, positions, fault, status in (
            ("short.cfg", "set.bin", "no complete network to prune\n", 1),
            ("wide.cfg", "none.bin", "none.bin has no position to evaluate, nothing was written\n", 1)):
        output, errors, code = run("-cfg", config, "-prune_nn", positions, folder=folder)
        check(errors == fault and code == status, (output, errors, code))
    check(not (folder / "pruned.bin").exists(), "wrote a network")
    (folder / "pruned.bin").symlink_to("/dev/full")
    output, errors, code = run("-cfg", "wide.cfg", "-prune_nn", "set.bin", folder=folder)
    check(errors == "can't write pruned.bin: No space left on device\n" and code == 255, (errors, code))


TESTS = [
    packs_unpacks_and_splits_to_the_byte, little_memory_is_enough_for_little_data,
    too_little_memory_is_said_and_nothing_is_written, failed_writes_are_never_announced, inputs_are_never_destroyed,
    labels_follow_the_side_to_move_and_rules_hold, tablebases_overrule_scores, interrupted_work_is_whole,
    prunes_a_wide_network_to_the_byte, node_0_fills_up_when_few_nodes_contribute,
    leaves_networks_that_are_narrow_enough, pruning_without_network_positions_or_space_is_said,
]


if __name__ == "__main__":
    sys.exit(run_tests(TESTS, sys.argv[2:], in_folders=True))
