"""The training data switches and the pruning of networks, against this file's own packing and arithmetic."""
import ctypes
import itertools
import os
import pathlib
import random
import re
import signal
import struct

import pytest

from chess_records import RESULT_SCORES, TABLES, chess, pack, plain_fen, tables
from conftest import PATIENCE

ALLOCATED = "allocated 18000 Mbytes for training data.\n"
MEMORY = {"AS": 2 << 30} if PATIENCE <= 1 else {}  # sanitizers alone reserve more


# A run of the program; its output without the greeting.
@pytest.fixture
def tool(program):
    def run(words, status=0, **limits):
        found = program.run(words, status=status, **limits)
        return found._replace(output=re.sub(r"\A(info string .*\n)*", "", found.output))
    return run


def write_files(contents):
    for name, content in contents.items():
        pathlib.Path(name).write_bytes(content if isinstance(content, bytes) else content.encode())


def single(value):
    return ctypes.c_float(value).value


# Boards of games played at random, without castling after ply 30; the games of Chess960 begin in its positions.
def random_boards(count, seed, chess960=False):
    dice, board = random.Random(seed), chess.Board()
    for _ in range(count):
        if not any(board.legal_moves) or board.fullmove_number > (60 if chess960 else 120):
            board = chess.Board.from_chess960_pos(dice.randrange(960)) if chess960 else chess.Board()
        board.push(dice.choice(list(board.legal_moves)))
        if board.ply() > 30:
            board.castling_rights = chess.BB_EMPTY
        yield board.copy(stack=False)


# Random positions with random labels: boards, their EPD lines, their records, and the lines that come of these.
def sample(count):
    dice = random.Random(11)
    boards, epd, records, unpacked = list(random_boards(count, 12, chess960=True)), "", [], ""
    for board in boards:
        ce, sc = dice.randint(-3500, 3500), dice.randint(-200, 200)  # no result contradicts such a score
        gain, score = dice.choice(list(RESULT_SCORES.items()))
        epd += f"{dice.choice([plain_fen(board), board.fen(en_passant='fen')])} ce {ce}; sc {sc}; gr {gain};\n"
        unpacked += f"{plain_fen(board)} ce {ce}; sc {sc}, gr {gain}\n"
        records.append(pack(board, score, ce, sc))
    return boards, epd, records, unpacked


# What is no position to learn from: remarks, lines without one, no black king, a check to the side that moved, a pawn on rank 8.
JUNK = """#4k3/8/8/8/8/8/8/4K3 w - - ce 1;\n;4k3/8/8/8/8/8/8/4K3 w - - ce 1;\n\nce 5;\nnonsense, but of the length of a line
4k3/8/8/8/8/8/8/8 w - - ce 1;\n4k2R/8/8/8/8/8/8/4K3 w - - ce 1;\nP3k3/8/8/8/8/8/8/4K3 w - - ce 1;\n"""


# More records than are read or written at once.
@pytest.mark.posix("limits of memory")
def test_packs_unpacks_and_splits_to_the_byte_in_little_memory(tool):
    boards, epd, records, unpacked = (part * 22 for part in sample(3000))
    write_files({"set.epd": JUNK + epd})
    said = "reading positions from file set.epd.\nread 66000 positions.\n\nstored 66000 positions in set.bin.\n\n"
    assert tool("-epd2bin set.epd", **MEMORY) == (ALLOCATED + said, "", 0)
    assert pathlib.Path("set.bin").read_bytes() == b"".join(records)
    write_files({"set.bin": b"".join(records) + b"torn"})
    found = (ALLOCATED + "read 66000 positions from set.bin.\n\n", "set.bin ends inside a record\n", 0)
    assert tool("-bin2epd set.bin", **MEMORY) == found and pathlib.Path("set.epd").read_text() == unpacked
    assert tool("-gentraindata set.bin 1", **MEMORY) == found
    buckets = [b""] * 8
    for board, record in zip(boards, records):
        pieces = [letter for letter in board.board_fen() if letter in "NBRQnbrq"]
        buckets[min((len(pieces) + 1) // 2 + (len(pieces) > 2 and bool({"q", "Q"} & set(pieces))), 7)] += record
    assert [pathlib.Path(f"tmp__{i}.bin").read_bytes() for i in range(8)] == buckets and sum(map(bool, buckets)) >= 5


def test_runs_with_nothing_to_do_say_so_and_destroy_nothing(program):
    _, epd, records, _ = sample(10)
    write_files({"a.epd": epd, "b.bin": records[0], "tmp__2.bin": records[1], "pruned.bin": records[2], "x.pgn.epd": "1. e4\n",
                 "tmp_0.epd": epd})
    pathlib.Path("a.bin").symlink_to("a.epd")
    pathlib.Path("b.epd").hardlink_to("b.bin")
    pathlib.Path("c.epd").hardlink_to("a.epd")
    pathlib.Path("c.bin.new").hardlink_to("c.epd")  # what would be written first
    before = {path.name: path.read_bytes() for path in pathlib.Path().iterdir()}
    missing, twice = "No such file or directory\n", " is input and output\n"
    program.refuses(0, ("-epd2bin a.epd", "a.bin" + twice), ("-epd2bin c.epd", "c.bin" + twice),
                    ("-bin2epd b.bin", "b.epd" + twice), ("-prune_nn", missing),
                    ("-gentraindata tmp__2.bin 1", "tmp__2.bin" + twice), ("-prune_nn pruned.bin", "pruned.bin" + twice),
                    ("-mktraindata a.epd -o ./a.epd -d 1", "./a.epd" + twice), ("-epd2bin none.epd", missing),
                    ("-bin2epd none.bin", missing), ("-gentraindata none.bin 1", missing), ("-prune_nn none.bin", missing),
                    ("-mktraindata none.epd -d 1", missing), ("-epd2bin b.bin", "needs .epd\n"),
                    ("-bin2epd a.epd", "needs .bin\n"), ("-gentraindata a.epd 1", "a training file has .bin in its name\n"),
                    ("-mktraindata b.bin -d 1", "needs .epd\n"), ("-mktraindata a.epd -o b.bin -d 1", "needs .epd\n"),
                    ("-scan_pgn a.epd -o new.epd", "needs .pgn\n"), ("-scan_pgn x.pgn.epd -o b.bin", "needs .epd\n"),
                    ("-scan_pgn x.pgn.epd -o x.pgn.epd", "x.pgn.epd" + twice),
                    ("-anepd none.epd -d 1 -o a.epd", missing), ("-anepd a.epd -d 1 -o ./a.epd", "./a.epd" + twice),
                    ("-anepd tmp_0.epd -d 1 -o new.epd", "tmp_0.epd" + twice))
    assert {path.name: path.read_bytes() for path in pathlib.Path().iterdir()} == before
    program.refuses(0, ("-anepd a.epd -d 1 -o tmp_0.epd", "tmp_0.epd" + twice))  # which is written in any case


@pytest.mark.posix("signals")
@pytest.mark.parametrize("sent", [signal.SIGINT, signal.SIGTERM])
def test_interrupted_run_leaves_whole_lines_with_their_labels(program, sent):
    choice, boards = random.Random(15), list(random_boards(3000, 15))
    gains = [choice.choice((0.0, 0.4, 1.0)) for _ in boards]
    # `ce` tells the positions apart.
    write_files({"in.epd": "".join(f"{board.fen()} ce {i}; gr {gains[i]};\n" for i, board in enumerate(boards) if i)})
    found = program.interrupt("-mktraindata in.epd -o out.epd -d 5", file="out.epd", size=4000, sent=sent)
    assert found.status == 1 and found.errors.startswith("interrupted after ")
    lines = pathlib.Path("out.epd").read_text().splitlines(keepends=True)
    assert len(lines) > 50
    for line in lines:
        fen, ce, gain = re.fullmatch(r"(.*) ce (-?\d+); sc -?\d+; gr (\d\.\d);\n", line).groups()
        result, end = gains[abs(int(ce))], chess.Board(fen + " 0 1")
        has_turned = boards[abs(int(ce))].turn != end.turn  # the labels with it
        assert end.status() == chess.STATUS_VALID and not end.is_check() and (int(ce) < 0) == has_turned
        assert float(gain) == pytest.approx(1 - result if has_turned else result)


def test_tablebases_overrule_scores(tool):
    fens = [f"8/8/{black}/8/8/8/{white}/8 {turn} - - 0 1\n" for turn in "wb" for black, white in
            (("1k6", "4KR2"), ("r1k5", "4K3"), ("3kr3", "1K1R4"), ("3k4", "3KP3"), ("4k3", "3KPP2"), ("3k1b2", "1K1R4"))]
    write_files({"in.epd": "".join(fens)})
    tool(f"-mktraindata in.epd -tbpath {TABLES} -o out.epd -d 3")
    seen = set()
    for line in pathlib.Path("out.epd").read_text().splitlines():
        board = chess.Board(" ".join(line.split()[:4]) + " 0 1")
        if len(board.piece_map()) >= 3:
            seen.add(score := {2: 9000, 0: 0, -2: -9000}[tables.probe_wdl(board)])
            assert line.endswith(f" sc {score};")
    assert seen >= {9000, -9000}


KEPT = 1536  # nodes of a pruned network


# Writes wide.nn of format 757 with small random weights, where output weights of unused nodes are 0; its blocks. Kings
# alone weigh nothing, so that the sums of bare kings are the biases.
def write_network(hidden, buckets, used=range(2048)):
    dice = random.Random(18)
    inputs = [[dice.randrange(-60, 61) for _ in range(hidden)] for _ in range(64)]
    rows = [[0] * hidden if i % 384 < 64 else inputs[i % 61] for i in range(buckets * 768)]  # not in step with squares
    outputs = [[(node in used) * dice.randrange(-300, 301) for node in range(hidden)] for _ in range(16)]
    biases = [[dice.randrange(100) for _ in range(hidden)] for _ in range(2)]
    header = struct.pack("<10hi", 757, 2048, 1024, 400, buckets, 3, hidden, 6, 7, 5, -1)
    values = b"".join(struct.pack(f"<{hidden}h", *row) for row in rows + outputs + biases)
    write_files({"wide.nn": header + values, "wide.cfg": "NN_File = wide.nn\n"})
    return rows, outputs, biases


# The nodes that contribute most to positions of bare kings with these sides to move.
def expected_nodes(turns, outputs, biases):
    statistics = [[0.0] * len(bias) for bias in biases]
    for turn, half in itertools.product(turns, (0, 1)):
        for node, weight in enumerate(outputs[8 + (half if turn else 1 - half)]):  # few pieces: the fifth pair
            share = single(single(abs(biases[half][node] * weight)) * single(0.000001))
            statistics[half][node] = single(statistics[half][node] + share)
    average = [single(white + black) / 2 for white, black in zip(*statistics)]
    ranked = sorted((node for node, value in enumerate(average) if value > 0), key=lambda node: (-average[node], node))
    return (ranked + [0] * KEPT)[:KEPT]  # node 0 fills up


SAID = "read {} positions from set.bin.\n\nCollecting stats ...\n\nWriting pruned net to pruned.bin ...\n\n"


@pytest.mark.parametrize("hidden, used, contributing", [(2048, range(2048), KEPT), (1600, range(300, 1300), 1000)])
def test_prunes_wide_networks_to_the_byte(program, tool, hidden, used, contributing):
    turns = [chess.WHITE, chess.BLACK, chess.WHITE]
    blocks = write_network(hidden, 2, used)
    nodes = expected_nodes(turns, *blocks[1:])
    assert len(set(nodes[:contributing])) == contributing and not any(nodes[contributing:]), "not the case intended"
    records = [pack(chess.Board(f"4k3/8/8/8/8/8/8/4K3 {'w' if turn else 'b'} - - 0 1"), 0, 0, 0) for turn in turns]
    # The last is damaged.
    write_files({"set.bin": b"".join(records) + b"\7" + records[1][1:], "pruned.cfg": "NN_File = pruned.bin\n"})
    found = tool("-cfg wide.cfg -prune_nn set.bin")
    assert found.output.endswith(SAID.format(4)) and not found.errors
    expected = struct.pack("<10hi", 757, 2048, 1024, 400, 2, 3, KEPT, 6, 7, 5, 2 * 768 * KEPT + 27648)
    expected += b"".join(struct.pack(f"<{KEPT}h", *(row[node] for node in nodes)) for block in blocks for row in block)
    assert pathlib.Path("pruned.bin").read_bytes() == expected
    assert "info string loaded pruned.bin\n" in program.run("-cfg pruned.cfg", text="go depth 2\n").output


@pytest.mark.posix("limits of files")
def test_pruning_that_cannot_work_is_said(program, tool):
    write_network(1544, 1)
    write_files({"short.nn": pathlib.Path("wide.nn").read_bytes()[:1000], "short.cfg": "NN_File = short.nn\n",
                 "set.bin": pack(chess.Board(), 0, 0, 0), "none.bin": bytes(40), "pruned.bin": "an older network"})
    program.refuses(1, ("-cfg short.cfg -prune_nn set.bin", "no complete network to prune\n"),
                    ("-cfg wide.cfg -prune_nn none.bin", "none.bin has no position to evaluate, nothing was written\n"))
    errors = program.run("-cfg wide.cfg -prune_nn set.bin", status=255, FSIZE=100).errors
    assert errors == "can't write pruned.bin: File too large\n"
    assert pathlib.Path("pruned.bin").read_text() == "an older network" and not os.path.exists("pruned.bin.new")
    assert tool("-prune_nn set.bin").output.endswith(SAID.format(1)), "the embedded network is narrow enough"
