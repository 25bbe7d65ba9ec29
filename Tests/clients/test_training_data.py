#!/usr/bin/env python3
"""The training data switches and the pruning of networks, against this file's own packing and arithmetic."""
import os
import pathlib
import random
import re
import resource
import signal
import struct

from with_chess import RESULT_SCORES, chess, pack, plain_fen

from cases import DATA, IS_POSIX_PROGRAM, PATIENCE, TIMEOUT, check, interrupt, needs, run, run_tests

TABLES = DATA / "syzygy"
ALLOCATED = "allocated 18000 Mbytes for training data.\n"
GREETING = ("info string Hello", "info string allocated", "info string Cleared", "info string loaded")


def switch(words, limits=()):
    """What the program printed after its greeting, its errors and its exit status."""
    lines, errors, status = run(*words.split(), limits=limits, timeout=6 * TIMEOUT)
    while lines[0].startswith(GREETING):
        lines.pop(0)
    return "\n".join(lines), errors, status


def single(value):
    return struct.unpack("<f", struct.pack("<f", value))[0]


def random_positions(count, seed):
    """Boards of games played at random, without castling after ply 30."""
    dice = random.Random(seed)
    board = chess.Board()
    while count > 0:
        moves = list(board.legal_moves)
        if not moves or board.fullmove_number > 120:
            board = chess.Board()
            continue
        board.push(dice.choice(moves))
        if board.ply() > 30:
            board.castling_rights = chess.BB_EMPTY
        yield board.copy(stack=False)
        count -= 1


class Sample:
    """Random positions with random labels: the EPD text, the records and the unpacked text that must come of it."""

    def __init__(self, count, seed):
        dice = random.Random(seed)
        self.epd = self.unpacked = ""
        self.boards = list(random_positions(count, seed))
        self.records = []
        for board in self.boards:
            ce, sc = dice.randint(-3500, 3500), dice.randint(-200, 200)  # no result contradicts such a score
            gain, score = dice.choice(list(RESULT_SCORES.items()))
            fen = dice.choice([plain_fen(board), board.fen(en_passant="fen")])
            self.epd += f"{fen} ce {ce}; sc {sc}; gr {gain};\n"
            self.unpacked += f"{plain_fen(board)} ce {ce}; sc {sc}, gr {gain}\n"
            self.records.append(pack(board, score, ce, sc))
        self.bin = b"".join(self.records)


def test_packs_unpacks_and_splits_to_the_byte():
    """In little memory, since there is little data; sanitizers alone reserve more."""
    sample = Sample(3000, 11)
    limits = [(resource.RLIMIT_AS, 2 << 30)] if PATIENCE <= 1 else []
    pathlib.Path("set.epd").write_text(sample.epd)
    count = len(sample.records)
    said = (f"{ALLOCATED}reading positions from file set.epd.\nread {count} positions.\n\n"
            f"stored {count} positions in set.bin.\n\n")
    check(switch("-epd2bin set.epd", limits) == (said, "", 0), "-epd2bin")
    check(pathlib.Path("set.bin").read_bytes() == sample.bin, "records differ")

    said = f"{ALLOCATED}read {count} positions from set.bin.\n\n"
    check(switch("-bin2epd set.bin", limits) == (said, "", 0), "-bin2epd")
    check(pathlib.Path("set.epd").read_text() == sample.unpacked, "texts differ")

    check(switch("-gentraindata set.bin 1", limits) == (said, "", 0), "-gentraindata")
    buckets = [b""] * 8
    for board, record in zip(sample.boards, sample.records):
        pieces = [p.piece_type for p in board.piece_map().values() if p.piece_type not in (chess.PAWN, chess.KING)]
        bucket = (len(pieces) + 1) // 2 + (len(pieces) > 2 and chess.QUEEN in pieces)
        buckets[min(bucket, 7)] += record
    for i, bucket in enumerate(buckets):
        check(pathlib.Path(f"tmp__{i}.bin").read_bytes() == bucket, f"bucket {i}")
    check(sum(map(bool, buckets)) >= 5, "the sample should reach most buckets")


def test_too_little_memory_is_said_and_nothing_is_written():
    if PATIENCE > 1:
        return  # sanitizers reserve more than the limit
    with open("big.bin", "wb") as big:
        big.write(pack(chess.Board(), 0, 0, 0))
        big.truncate(400 << 20)
    found = switch("-bin2epd big.bin -hash 1", limits=[(resource.RLIMIT_AS, 300 << 20)])
    check(found == (ALLOCATED, "can't read big.bin: out of memory\n", 1), f"{found}")
    check(not pathlib.Path("big.epd").exists(), "wrote a file")


def test_failed_writes_are_never_announced():
    sample = Sample(4000, 13)
    for name in ("full.epd", "limited.epd", "folder.epd"):
        pathlib.Path(name).write_text(sample.epd)
    for name in ("b_full.bin", "b_limited.bin"):
        pathlib.Path(name).write_bytes(sample.bin)
    pathlib.Path("quiet.epd").write_text(f"{chess.STARTING_FEN} gr 1.0;\n" * 2)
    for name in ("full.bin", "b_full.epd", "m_full.epd", "tmp__5.bin"):
        pathlib.Path(name).symlink_to("/dev/full")
    for name in ("folder.bin", "split", "split/tmp__5.bin"):
        pathlib.Path(name).mkdir()
    limit = [(resource.RLIMIT_FSIZE, 70_001)]
    cases = [
        # arguments, limits, error
        ("-epd2bin full.epd", (), "can't write full.bin: No space left on device\n"),
        ("-epd2bin limited.epd", limit, "can't write limited.bin: File too large\n"),
        ("-epd2bin folder.epd", (), "can't create folder.bin: Is a directory\n"),
        ("-bin2epd b_full.bin", (), "can't write b_full.epd: No space left on device\n"),
        ("-bin2epd b_limited.bin", limit, "can't write b_limited.epd: File too large\n"),
        ("-gentraindata b_full.bin 1", (), "can't write tmp__5.bin: No space left on device\n"),
        ("-mktraindata quiet.epd -o m_full.epd -d 2", (), "can't write m_full.epd: No space left on device\n"),
        ("-mktraindata quiet.epd -o none/m.epd -d 2", (), "can't create none/m.epd: No such file or directory\n"),
    ]
    for arguments, limits, fault in cases:
        output, errors, status = switch(arguments, limits)
        check(errors == fault and status == 255 and "stored" not in output, f"{arguments}: {errors!r}, {status}")
    check(pathlib.Path("limited.bin").stat().st_size % 40 == 0, "a record was torn")
    text = pathlib.Path("b_limited.epd").read_text()
    check(text and sample.unpacked.startswith(text) and text.endswith("\n"), "a line was torn")
    os.chdir("split")
    found = switch("-gentraindata ../b_full.bin 1")[1:]
    check(found == ("can't create tmp__5.bin: Is a directory\n", 255), f"{found}")


def test_runs_with_nothing_to_do_say_so_and_destroy_nothing():
    sample = Sample(10, 14)
    contents = {"a.epd": sample.epd.encode(), "b.bin": sample.bin, "tmp__2.bin": sample.bin, "pruned.bin": sample.bin}
    for name, content in contents.items():
        pathlib.Path(name).write_bytes(content)
    pathlib.Path("a.bin").symlink_to("a.epd")
    pathlib.Path("b.epd").hardlink_to("b.bin")
    missing, twice = "No such file or directory", "is input and output"
    cases = [
        # arguments, end of the error
        ("-epd2bin a.epd", f"a.bin {twice}"),
        ("-bin2epd b.bin", f"b.epd {twice}"),
        ("-gentraindata tmp__2.bin 1", f"tmp__2.bin {twice}"),
        ("-mktraindata a.epd -o ./a.epd -d 1", f"./a.epd {twice}"),
        ("-prune_nn pruned.bin", f"pruned.bin {twice}"),
        ("-epd2bin none.epd", missing),
        ("-bin2epd none.bin", missing),
        ("-gentraindata none.bin 1", missing),
        ("-mktraindata none.epd -d 1", missing),
        ("-prune_nn none.bin", missing),
        ("-prune_nn", missing),
        ("-epd2bin b.bin", "needs .epd"),
        ("-bin2epd a.epd", "needs .bin"),
        ("-gentraindata a.epd 1", "a training file has .bin in its name"),
        ("-mktraindata b.bin -d 1", "needs .epd"),
        ("-mktraindata a.epd -o b.bin -d 1", "needs .epd"),
    ]
    for arguments, fault in cases:
        _, errors, status = switch(arguments)
        check(errors.endswith(fault + "\n") and errors.count("\n") == 1 and status == 0,
              f"{arguments}: {errors!r}, {status}")
    found = {path.name: path.read_bytes() for path in pathlib.Path().iterdir()}
    check(found == contents | {"a.bin": contents["a.epd"], "b.epd": sample.bin}, f"files changed: {list(found)}")


def test_runs_that_cannot_go_on_end_with_status_1():
    needs(IS_POSIX_PROGRAM, "folders that open as files and fail when they are read")
    for name in ("folder.epd", "folder.bin"):
        pathlib.Path(name).mkdir()
    unreadable = "Is a directory\n"
    cases = [
        # arguments, end of the error
        ("-epd2bin folder.epd", "folder.epd: Is a directory, nothing was stored\n"),
        ("-bin2epd folder.bin", unreadable),
        ("-gentraindata folder.bin 1", unreadable),
        ("-mktraindata folder.epd -d 1 -o out.epd", unreadable),
        ("-prune_nn folder.bin", unreadable),
        ("-gentraindata folder.bin", ""),  # the number is missing
    ]
    for arguments, fault in cases:
        _, errors, status = switch(arguments)
        check(errors.endswith(fault) and status == 1, f"{arguments}: {errors!r}, {status}")


def write_openings(count, results):
    """Writes random openings whose `ce` tells them apart, with one of the results; returns boards and results."""
    dice = random.Random(15)
    openings = []
    for _ in range(count):
        board = chess.Board()
        while board.ply() < dice.randrange(8, 24) and any(board.legal_moves):
            board.push(dice.choice(list(board.legal_moves)))
        openings.append((board, dice.choice(results)))
    lines = [f"{board.fen()} ce {number}; gr {result};\n" for number, (board, result) in enumerate(openings, 1)]
    pathlib.Path("in.epd").write_text("".join(lines))
    return openings


def test_labels_follow_the_side_to_move():
    openings = write_openings(300, (0.0, 0.5, 1.0))
    output, errors, status = switch("-mktraindata in.epd -o out.epd -d 2")
    check("infile= in.epd, outfile= out.epd\n" in output and output.endswith("\n\n") and not errors and status == 0,
          f"{output!r}, {errors!r}, {status}")
    lines = pathlib.Path("out.epd").read_text().splitlines()
    check(len(lines) > 60, f"only {len(lines)} lines")
    for line in lines:
        fen, ce, gain = re.fullmatch(r"(.*) ce (-?\d+); sc -?\d+; gr (\d\.\d);", line).groups()
        board, result = openings[abs(int(ce)) - 1]
        end = chess.Board(fen + " 0 1")
        check(end.is_valid() and not end.is_check(), f"{line}: in check")
        moved = board.turn != end.turn
        expected = 1 - result if moved else result
        check((int(ce) < 0) == moved and float(gain) == expected, f"{line}: from {board.fen()}")


def test_tablebases_overrule_scores():
    dice = random.Random(16)
    positions = ""
    while positions.count("\n") < 60:
        board = chess.Board(None)
        pieces = dice.choice(("KRkb", "KRkr", "KQkq", "KPk", "KPPk", "KQPk", "KRRk"))
        for letter, square in zip(pieces, dice.sample(range(8, 56), len(pieces))):
            board.set_piece_at(square, chess.Piece.from_symbol(letter))
        board.turn = dice.random() < 0.5
        if board.is_valid() and not board.is_check():
            positions += board.fen() + "\n"
    pathlib.Path("in.epd").write_text(positions)
    status = switch(f"-mktraindata in.epd -tbpath {TABLES} -o out.epd -d 3")[2]
    check(status == 0, f"status {status}")
    seen = set()
    with chess.syzygy.open_tablebase(str(TABLES)) as tables:
        for line in pathlib.Path("out.epd").read_text().splitlines():
            board = chess.Board(" ".join(line.split()[:4]) + " 0 1")
            if len(board.piece_map()) < 3:
                continue
            score = {2: 9000, 0: 0, -2: -9000}[tables.probe_wdl(board)]
            check(line.endswith(f" sc {score};"), f"{line}: {score}")
            seen.add(score)
    check(seen >= {9000, -9000}, f"wins and losses in {seen}")


def test_interrupted_work_is_whole():
    write_openings(3000, [0.6])
    for sent in (signal.SIGINT, signal.SIGTERM):
        _, errors, status = interrupt("-mktraindata", "in.epd", "-o", "out.epd", "-d", 9, file="out.epd", size=500,
                                      sent=sent)
        check(status == 1 and errors.startswith("interrupted after "), f"{status}, {errors!r}")
        check(pathlib.Path("out.epd").read_text().endswith(("gr 0.6;\n", "gr 0.4;\n")), "a torn line")
        pathlib.Path("out.epd").unlink()


KEPT = 1536  # nodes of a pruned network


def write_network(path, hidden, buckets, node_weight):
    """A network of format 757 with small random weights, the output weights times node_weight(node); its blocks."""
    dice = random.Random(18)
    inputs = [[dice.randrange(-60, 61) for _ in range(hidden)] for _ in range(64)]
    rows = [inputs[i % 61] for i in range(buckets * 768)]  # rows repeat, but not in step with squares
    outputs = [[node_weight(node) * dice.randrange(-300, 301) for node in range(hidden)] for _ in range(16)]
    biases = [[dice.randrange(-100, 101) for _ in range(hidden)] for _ in range(2)]
    header = struct.pack("<10hi", 757, 2048, 1024, 400, buckets, 3, hidden, 6, 7, 5, -1)
    packed = [struct.pack(f"<{hidden}h", *row) for row in rows + outputs + biases]
    pathlib.Path(path).write_bytes(header + b"".join(packed))
    return rows, outputs, biases


def expected_nodes(boards, rows, outputs, biases):
    """The nodes that contribute most to positions of bare kings on the king's wing, where no board is mirrored."""
    statistics = [[0.0] * len(bias) for bias in biases]
    for board in boards:
        white, black = board.king(chess.WHITE), board.king(chess.BLACK)
        kings = ((white, 384 + black), (black ^ 56, 384 + (white ^ 56)))
        for half, (own, other) in enumerate(kings):
            weights = outputs[8 + (half if board.turn else 1 - half)]  # those of few pieces are the fifth pair
            for node, weight in enumerate(weights):
                value = rows[own][node] + rows[other][node] + biases[half][node]
                activated = value if value >= 0 else -(-value // 64)
                share = single(single(abs(activated * weight)) * single(0.000001))
                statistics[half][node] = single(statistics[half][node] + share)
    average = [single(white + black) / 2 for white, black in zip(*statistics)]
    ranked = sorted((node for node, value in enumerate(average) if value > 0), key=lambda node: (-average[node], node))
    return (ranked + [0] * KEPT)[:KEPT]


def pruning_output(positions):
    return (f"{ALLOCATED}read {positions} positions from set.bin.\n\nCollecting stats ...\n\n"
            "Writing pruned net to pruned.bin ...\n\n")


def test_prunes_wide_networks_to_the_byte():
    pathlib.Path("wide.cfg").write_text("NN_File = wide.nn\n")
    pathlib.Path("pruned.cfg").write_text("NN_File = pruned.bin\n")
    boards = [chess.Board(fen) for fen in ("4k3/8/8/8/8/8/8/4K3 w - - 0 1", "7k/8/8/8/4K3/8/8/8 b - - 0 1",
                                           "8/8/5k2/8/8/7K/8/8 w - - 0 1", "8/6k1/8/8/8/8/6K1/8 b - - 0 1")]
    cases = [
        # hidden nodes, weight of a node, nodes that contribute
        (2048, lambda node: 1, KEPT),
        (1600, lambda node: 1 if 300 <= node < 1300 else 0, 1000),  # node 0 fills up
    ]
    for hidden, node_weight, contributing in cases:
        blocks = write_network("wide.nn", hidden, 2, node_weight)
        nodes = expected_nodes(boards, *blocks)
        check(len(set(nodes[:contributing])) == contributing and not any(nodes[contributing:]), "not the case intended")
        records = [pack(board, 0, 0, 0) for board in boards]
        records.insert(1, b"\7" + records[1][1:])  # a damaged one
        pathlib.Path("set.bin").write_bytes(b"".join(records))
        output, errors, status = switch("-cfg wide.cfg -prune_nn set.bin")
        check(output.endswith(pruning_output(len(records))) and not errors and status == 0, f"{output!r}, {errors!r}")
        expected = struct.pack("<10hi", 757, 2048, 1024, 400, 2, 3, KEPT, 6, 7, 5, 2 * 768 * KEPT + 27648)
        for block in blocks:
            expected += b"".join(struct.pack(f"<{KEPT}h", *(row[node] for node in nodes)) for row in block)
        check(pathlib.Path("pruned.bin").read_bytes() == expected, f"bytes differ, {hidden} nodes")
        lines = run("-cfg", "pruned.cfg", text="go depth 2\nquit\n").lines
        check("info string loaded pruned.bin" in lines, f"the pruned network does not load: {lines}")


def test_pruning_that_cannot_work_is_said():
    write_network("wide.nn", 1544, 1, lambda node: 1)
    pathlib.Path("short.nn").write_bytes(pathlib.Path("wide.nn").read_bytes()[:1000])
    pathlib.Path("set.bin").write_bytes(pack(chess.Board(), 0, 0, 0))
    pathlib.Path("none.bin").write_bytes(bytes(40))
    for name in ("wide", "short"):
        pathlib.Path(f"{name}.cfg").write_text(f"NN_File = {name}.nn\n")
    check(switch("-prune_nn set.bin") == (pruning_output(1), "", 0), "the embedded network is narrow enough")
    cases = [
        ("-cfg short.cfg -prune_nn set.bin", "no complete network to prune\n"),
        ("-cfg wide.cfg -prune_nn none.bin", "none.bin has no position to evaluate, nothing was written\n"),
    ]
    for arguments, fault in cases:
        check(switch(arguments)[1:] == (fault, 1), arguments)
    check(not pathlib.Path("pruned.bin").exists(), "wrote a network")
    pathlib.Path("pruned.bin").symlink_to("/dev/full")
    found = switch("-cfg wide.cfg -prune_nn set.bin")[1:]
    check(found == ("can't write pruned.bin: No space left on device\n", 255), f"{found}")


if __name__ == "__main__":
    run_tests(globals())
