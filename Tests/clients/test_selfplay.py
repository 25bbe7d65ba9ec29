#!/usr/bin/env python3
"""The self-play generator: its games must be chess, its records must be positions of these games with the right labels,
and no interruption may leave anything but whole games.

Usage: test_selfplay.py PATH_OF_TARN [WORD]. The generator is looked for beside the program; a word chooses the tests
with it in their names.
"""
import collections
import itertools
import os
import pathlib
import random
import signal
import struct
import subprocess
import sys
import time

try:
    import chess
    import chess.pgn
    import chess.syzygy
except ImportError:
    print("skipped: the Python package `chess` is not installed (scripts/setup.sh test installs it)")
    sys.exit(1 if os.environ.get("CI") else 77)

from cases import check, run_tests

TARN = pathlib.Path(sys.argv[1]).absolute()
SELFPLAY = TARN.with_name("tarn_selfplay" + TARN.suffix)
TABLES = pathlib.Path(__file__).resolve().parent.parent / "data" / "syzygy"

# A middle game, a Chess960 start, an endgame with Black to move and a half-move clock, and lines to be skipped.
OPENINGS = """# a comment
r1bqk2r/pppp1ppp/2n2n2/2b1p3/2B1P3/2NP1N2/PPP2PPP/R1BQK2R b KQkq - 0 5 bm d6; id "Italian";
nrkbbqrn/pppppppp/8/8/8/8/PPPPPPPP/NRKBBQRN w KQkq - 0 1
8/5pk1/4p1p1/3r3p/7P/4PPP1/4R1K1/8 b - - 11 40\r
8/8/8/8/8/8/8/8 w - - 0 1
"""
RESULTS = {"1-0": 1, "0-1": -1, "1/2-1/2": 0}
PIECES = {1: "P", 2: "N", 3: "B", 4: "R", 5: "Q", 6: "K", 9: "p", 10: "n", 11: "b", 12: "r", 13: "q", 14: "k"}
RECORD = 40

# Score of a won, drawn and lost game: 166.66667 * ln(g / (1 - g)) with g within 0.000001 .. 0.999999 in single
# precision, so 166.66667 * 13.8155 = 2302.6 for a loss; 1 - g is a multiple of 2^-24 for a win, 1.013e-6, 13.8022, 2300.4.
RESULT_SCORES = {1: 2300, 0: 0, -1: -2302}


def run(*arguments, status=0):
    """The finished process; its exit status must be as expected."""
    process = subprocess.run([SELFPLAY, *map(str, arguments)], capture_output=True, text=True, timeout=300)
    check(process.returncode == status, f"{arguments} ended with {process.returncode}: {process.stdout}{process.stderr}")
    return process


Record = collections.namedtuple("Record", "placement turn castling ep result ce sc")


def read_records(path):
    data = path.read_bytes()
    check(len(data) % RECORD == 0, f"{path.name} has {len(data)} bytes")
    return [unpack(data[i:i + RECORD]) for i in range(0, len(data), RECORD)]


def unpack(raw):
    board = chess.BaseBoard(None)
    for square in range(64):
        code = raw[square // 2] >> (4 * (square % 2)) & 15
        if code:
            board.set_piece_at(square, chess.Piece.from_symbol(PIECES[code]))
    return Record(board.board_fen(), raw[32] >> 4 == 0, raw[32] & 15, raw[33], *struct.unpack("<hhh", raw[34:]))


Ply = collections.namedtuple("Ply", "board move score depth")  # score in centipawns, None for a random move
Game = collections.namedtuple("Game", "headers plies final result ending")


def read_games(path):
    games = []
    with open(path, encoding="ascii") as file:
        while (parsed := chess.pgn.read_game(file)) is not None:
            check(not parsed.errors, f"game {len(games) + 1}: {parsed.errors}")
            board, plies = parsed.board(), []
            for node in parsed.mainline():
                words = node.comment.split()
                score, depth = None, 0
                if words != ["random"]:
                    check(len(words) == 2 and words[1].endswith("s"), f"comment {node.comment!r}")
                    text, depth = words[0].split("/")
                    mate = 10000 if text[1] == "M" else None
                    score = (mate if text[0] == "+" else -mate) if mate else round(float(text) * 100)
                plies.append(Ply(board.copy(), node.move, score, int(depth)))
                board.push(node.move)
            headers = parsed.headers
            games.append(Game(headers, plies, board, RESULTS[headers["Result"]], headers["Ending"]))
    return games


def check_end(game):
    """The result by the rules, counted again; and nobody played on after the end."""
    board, ending = game.final, game.ending
    for ply in game.plies:
        check(not ply.board.is_seventyfive_moves() and not ply.board.is_fivefold_repetition() and
              not ply.board.is_insufficient_material(), f"played on in {ply.board.fen()}")
    check(board.is_checkmate() == (ending == "checkmate"), f"{ending}: {board.fen()}")
    check(board.is_stalemate() == (ending == "stalemate"), f"{ending}: {board.fen()}")
    if board.is_checkmate():
        check(game.result == (-1 if board.turn == chess.WHITE else 1), f"mate is {game.result}: {board.fen()}")
    elif ending == "adjudicated win":
        check(game.result != 0, "a win that nobody won")
    elif ending != "tablebase":
        check(game.result == 0, f"{ending} is {game.result}")
    if ending == "repetition":
        check(board.is_repetition(3), f"no repetition: {board.fen()}")
    if ending == "fifty moves":
        check(board.halfmove_clock >= 100, f"no fifty moves: {board.fen()}")
    if ending == "too long":
        check(len(game.plies) == 400, f"{len(game.plies)} plies")


def castling_bits(board):
    rights = [board.has_kingside_castling_rights, board.has_queenside_castling_rights]
    return sum(right(colour) << 2 * i + j for i, colour in enumerate([True, False]) for j, right in enumerate(rights))


def record_fault(record, ply, game):
    """Why the record is not the labelled position of this ply."""
    board, move = ply.board, ply.move
    if ply.score is None:
        return "a random move"
    if record.sc != ply.score:
        return f"score {record.sc}, not {ply.score}"
    if abs(record.sc) >= 3000:
        return f"score {record.sc} kept"
    if record.castling != castling_bits(board) or record.ep != (64 if board.ep_square is None else board.ep_square):
        return f"castling {record.castling}, en passant {record.ep}"
    if board.is_check() or board.is_capture(move) or move.promotion:
        return f"not quiet: {move}"
    if record.result != RESULT_SCORES[game.result if board.turn == chess.WHITE else -game.result]:
        return f"result {record.result}"
    return ""


def match_records(records, games):
    """Walks through records and games together; every record must be the position of a later ply. The pairs. A position
    may come back: one that was not worth keeping the first time may be kept, with its new score, the next time."""
    pairs, rest = [], iter(records)
    record, fault = next(rest, None), "never on the board"
    for game in games:
        for ply in game.plies:
            if record and (record.placement, record.turn) == (ply.board.board_fen(), ply.board.turn):
                fault = record_fault(record, ply, game)
                if not fault:
                    pairs.append((record, ply, game))
                    record, fault = next(rest, None), "never on the board"
    check(record is None, f"record {len(pairs)} is no position of the games: {record}: {fault}")
    return pairs


def material(board):
    value = {chess.PAWN: 1, chess.KNIGHT: 3, chess.BISHOP: 3, chess.ROOK: 5, chess.QUEEN: 9, chess.KING: 0}
    return sum(value[p.piece_type] * (1 if p.color == board.turn else -1) for p in board.piece_map().values())


def clear_win(plies):
    """+1 or -1 when the last six searches all gave that side 2000 centipawns or a mate, else 0."""
    scores = [p.score if p.board.turn == chess.WHITE else -p.score for p in plies[-6:] if p.score is not None]
    if len(scores) < 6:
        return 0
    return 1 if min(scores) >= 2000 else -1 if max(scores) <= -2000 else 0


def games_are_chess_and_records_their_positions(folder):
    (folder / "openings.epd").write_bytes(OPENINGS.encode())
    process = run("--output", folder / "g", "--games", 40, "--nodes", 100, "--seed", 11, "--format", "bin,epd,pgn",
                  "--openings", folder / "openings.epd", "--opening-share", 50, "--adjudicate", "none")
    check("1 lines are no position" in process.stderr, process.stderr)
    games, records = read_games(folder / "g.pgn"), read_records(folder / "g.bin")
    check(len(games) == 40, f"{len(games)} games")
    for game in games:
        check_end(game)
        check(game.ending not in ("adjudicated win", "adjudicated draw"), game.ending)
        randoms = [ply.score is None for ply in game.plies]
        count = sum(randoms)
        check(all(randoms[:count]), "a random move after a search")
        low, high = (0, 4 if game.headers.get("FEN", "").count("r") > 1 else 2) if "FEN" in game.headers else (8, 10)
        check(low <= count <= max(high, 4 if "Variant" in game.headers else 0), f"{count} random moves: {game.headers}")
    starts = collections.Counter(game.headers.get("FEN") for game in games)
    check(len(starts) == 4 and 10 <= starts[None] <= 30, f"starts: {starts}")

    pairs = match_records(records, games)
    check(len(pairs) > 1000, f"{len(pairs)} records")
    check(len({(r.placement, r.turn, r.castling, r.ep) for r in records}) == len(records), "a position twice")
    check({r.result for r in records} == set(RESULT_SCORES.values()), "not all results occur")

    # Labels point the right way: a queen ahead in quiet positions is good for the side to move.
    uneven = [(material(ply.board), record) for record, ply, _ in pairs if abs(material(ply.board)) >= 9]
    for name, label in (("sc", lambda r: r.sc), ("ce", lambda r: r.ce)):
        right = sum((ahead > 0) == (label(record) > 0) for ahead, record in uneven)
        check(len(uneven) > 30 and right >= 0.9 * len(uneven), f"{name}: {right} of {len(uneven)} with the material")

    lines = (folder / "g.epd").read_text().splitlines()
    check(len(lines) == len(records), f"{len(lines)} EPD lines")
    for line, record in zip(lines, records):
        fen, operations = line.split(" ce ")
        gain = {2300: "1.0", 0: "0.5", -2302: "0.0"}[record.result]
        check(fen.split()[:2] == [record.placement, "wb"[not record.turn]], line)
        check(operations == f"{record.sc}; gr {gain};", line)
    check("40 games and %d positions" % len(records) in process.stdout, process.stdout)


def deviations_leave_the_game_and_settle(folder):
    run("--output", folder / "d", "--games", 6, "--nodes", 60, "--seed", 5, "--format", "bin,pgn", "--deviations", 2,
        "--deviation-nodes", 60, "--labels", "score")
    games, records = read_games(folder / "d.pgn"), read_records(folder / "d.bin")
    for game in games:
        check_end(game)
    played = {(ply.board.board_fen(), ply.board.turn) for game in games for ply in game.plies}
    off = [record for record in records if (record.placement, record.turn) not in played]
    check(len(off) > 300, f"{len(off)} of {len(records)} positions off the games")
    check(len(off) < len(records), "no position of the games")
    check(all(record.result == record.sc for record in records), "a label that is not the search score")
    for record in off:
        board = chess.Board(f"{record.placement} {'wb'[not record.turn]} - - 0 1")
        check(board.status() == chess.STATUS_VALID and not board.is_check(), f"{board.fen()} is in check or impossible")
    # Random moves hang pieces; what settles is often far from level, unlike the games themselves.
    far = sum(abs(record.sc) >= 200 for record in off)
    check(far >= 0.3 * len(off), f"only {far} of {len(off)} far from level")


def clear_results_are_adjudicated(folder):
    run("--output", folder / "a", "--games", 24, "--nodes", 100, "--seed", 12, "--format", "pgn",
        "--adjudicate-share", 100)
    games = read_games(folder / "a.pgn")
    endings = collections.Counter(game.ending for game in games)
    check(endings["adjudicated win"] > 5, endings)
    for game in games:
        check_end(game)
        for length in range(1, len(game.plies) + 1):
            check(not clear_win(game.plies[:length]), f"a clear game goes on: {game.headers} ply {length}")
        if game.ending == "adjudicated win":  # the sixth score is that of the final position, which has no move
            side = game.final.turn == chess.WHITE
            padded = game.plies + [Ply(game.final, None, 3000 * game.result if side else -3000 * game.result, 1)]
            check(clear_win(padded) == game.result, f"adjudicated too early: {game.headers}")

    run("--output", folder / "h", "--games", 24, "--nodes", 100, "--seed", 12, "--format", "pgn")
    halves = collections.Counter(game.ending for game in read_games(folder / "h.pgn"))
    check(0 < halves["adjudicated win"] < endings["adjudicated win"], f"{halves} of {endings}")


def tables_settle_results(folder):
    (folder / "pawns.epd").write_text("8/1p3k2/1p6/8/8/1P6/1P3K2/8 w - - 0 1\n8/8/2p2k2/8/8/2P2KP1/8/8 w - - 0 1\n")
    run("--output", folder / "t", "--games", 30, "--nodes", 100, "--seed", 4, "--format", "pgn", "--openings",
        folder / "pawns.epd", "--opening-share", 100, "--syzygy", TABLES, "--adjudicate", "none")
    settled = 0
    with chess.syzygy.open_tablebase(str(TABLES)) as tables:
        for game in read_games(folder / "t.pgn"):
            check_end(game)
            if game.ending != "tablebase":
                continue
            settled += 1
            wdl = tables.probe_wdl(game.final)
            expected = (wdl // 2 if abs(wdl) == 2 else 0) * (1 if game.final.turn == chess.WHITE else -1)
            check(game.result == expected, f"{game.result}, the tables say {expected}: {game.final.fen()}")
    check(settled >= 5, f"{settled} games settled")


def moves_of(path):
    return [[ply.move.uci() for ply in game.plies] for game in read_games(path)]


def continued_run_appends_new_games(folder):
    run("--output", folder / "whole", "--games", 6, "--nodes", 100, "--seed", 21, "--format", "pgn,bin")
    for games in (2, 4):
        run("--output", folder / "parts", "--games", games, "--nodes", 100, "--seed", 21, "--format", "pgn,bin")
    whole, parts = moves_of(folder / "whole.pgn"), moves_of(folder / "parts.pgn")
    check(parts == whole, "a continued run plays other games than an unbroken one")
    check(len(set(map(tuple, whole))) == 6, "a game twice")

    # A crash in the middle of a write leaves more than the state file vouches for: it is cut off.
    for name in ("parts.bin", "parts.pgn"):
        with open(folder / name, "ab") as file:
            file.write(b"[Event \"half a game")
    run("--output", folder / "parts", "--games", 1, "--nodes", 100, "--seed", 21, "--format", "pgn,bin")
    check(moves_of(folder / "parts.pgn")[:6] == whole, "earlier games are lost")
    match_records(read_records(folder / "parts.bin"), read_games(folder / "parts.pgn"))


def state_games(path):
    return int(dict(line.split() for line in path.read_text().splitlines())["games"])


def interrupt_leaves_whole_games(folder):
    for name, sent in (("i", signal.SIGINT), ("t", signal.SIGTERM), ("k", signal.SIGKILL)):
        process = subprocess.Popen([SELFPLAY, "--output", folder / name, "--nodes", "100", "--format", "bin,pgn"],
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        data, deadline = folder / f"{name}.bin", time.monotonic() + 60
        while (not data.exists() or data.stat().st_size < 300 * RECORD) and time.monotonic() < deadline:
            time.sleep(0.01)
        process.send_signal(sent)
        stdout, _ = process.communicate(timeout=60)
        if sent == signal.SIGKILL:  # nothing can be tidied up; the next run does
            run("--output", folder / name, "--games", 1, "--nodes", 100, "--format", "bin,pgn")
        else:
            check(process.returncode == 0 and "games and" in stdout, f"{name}: {process.returncode} {stdout}")
        games = read_games(folder / f"{name}.pgn")
        check(len(games) >= 3, f"{len(games)} games")
        check(len(games) == state_games(folder / f"{name}.state"), "state and games disagree")
        for game in games:
            check_end(game)
        match_records(read_records(data), games)


def processes_share_the_games(folder):
    process = run("--output", folder / "p", "--games", 7, "--processes", 3, "--nodes", 100, "--seed", 8, "--format",
                  "bin,pgn")
    games = [read_games(folder / f"p.{i}.pgn") for i in range(3)]
    check([len(g) for g in games] == [3, 2, 2], f"{[len(g) for g in games]} games")
    lines = {tuple(ply.move.uci() for ply in game.plies) for game in itertools.chain(*games)}
    check(len(lines) == 7, "two processes played the same game")
    records = [match_records(read_records(folder / f"p.{i}.bin"), games[i]) for i in range(3)]
    check(f"7 games and {sum(map(len, records))} positions" in process.stdout, process.stdout)


BAD_VALUES = {"--games": "many -1", "--nodes": "5 1e6", "--processes": "0", "--random-plies": "9-8 8-",
              "--opening-share": "101", "--format": "bin, txt", "--adjudicate": "some", "--hash": "99999999999999999999",
              "--network": "empty.nn", "--syzygy": "no_such_folder"}
BAD_ARGUMENTS = [
    # arguments, a word of the message
    ("", "--output"),
    ("--output", "--output"),
    ("--outptu x", "--outptu"),
    ("--output x --network no_such_file", "no_such_file"),
    ("--output x --hce --params no_such_file", "no_such_file"),
    ("--output x --hce --params empty.nn", "--params"),
    ("--output x --openings no_such_file", "no_such_file"),
    ("--output x --openings empty.nn", "empty.nn"),
    ("--output no_such_folder/x", "no_such_folder"),
    ("--output x stray", "stray"),
    ("--merge x.bin", "--merge"),
    ("--merge x in.bin", ".bin"),
    ("--merge x.bin x.bin", "x.bin"),
    ("--merge x.bin no_such_file.bin", "no_such_file"),
    ("--merge x.bin in.bin --holdout 60", "--holdout"),
    ("--vary x.bin", "--vary"),
    ("--vary x in.bin", ".bin"),
    ("--vary x.bin no_such_file.bin", "no_such_file"),
    ("--vary x.bin in.bin --merge y.bin", "--vary"),
]


def bad_values_are_refused(folder):
    os.chdir(folder)
    (folder / "empty.nn").write_bytes(b"")
    cases = [(f"--output x {option} {value}", option) for option, values in BAD_VALUES.items() for value in values.split()]
    for arguments, word in BAD_ARGUMENTS + cases:
        process = run(*arguments.split(), status=1)
        check(word in process.stderr, f"{arguments}: {process.stderr!r}")
    check("--output" in run("--output", "", status=1).stderr, "an empty name")
    check([p.name for p in folder.iterdir()] == ["empty.nn"], f"files: {list(folder.iterdir())}")

    (folder / "mine.bin").write_bytes(b"precious")
    check("mine.bin" in run("--output", "mine", "--games", 1, status=1).stderr, "an existing file is not mentioned")
    check((folder / "mine.bin").read_bytes() == b"precious", "an existing file was changed")
    run("--output", "short", "--games", 2, "--nodes", 50)
    (folder / "short.epd").write_bytes(b"precious")
    check("short.epd" in run("--output", "short", "--games", 1, "--format", "epd", status=1).stderr, "not refused")
    check((folder / "short.epd").read_bytes() == b"precious", "a file of another format was changed")
    (folder / "short.bin").write_bytes(b"")
    check("short.bin" in run("--output", "short", "--games", 1, status=1).stderr, "lost records are not mentioned")
    (folder / "short.state").write_text("games many")
    check("short.state" in run("--output", "short", "--games", 1, status=1).stderr, "a damaged state is not mentioned")
    check("--merge" in run("--help").stdout, "no help")


def packed(*pieces, turn=0, result=0):
    """A record with the pieces, (square, code) each."""
    board = bytearray(32)
    for square, code in pieces:
        board[square // 2] |= code << 4 * (square % 2)
    return bytes(board) + bytes([turn << 4, 64]) + struct.pack("<hhh", result, 1, 2)


def merging_keeps_every_position_once(folder):
    squares = [(king, pawn) for king in range(8) for pawn in range(8, 52)]  # a2 .. d7: no pawn attacks h8
    records = [packed((king, 6), (pawn, 1), (63, 14), turn=turn, result=7) for king, pawn in squares for turn in (0, 1)]
    damaged = [packed(),  # no kings
               records[0][:33] + bytes([65]) + bytes(6),  # no such square
               packed((0, 6), (3, 1), (63, 14))]  # a pawn on the first rank
    again = [record[:34] + struct.pack("<hhh", -7, 3, 4) for record in records[:50]]
    (folder / "one.bin").write_bytes(b"".join(records[:400] + damaged))
    (folder / "two.bin").write_bytes(b"".join(again + records[400:]) + b"\1\2\3")

    def merge(name, seed, *options):
        process = run("--merge", folder / name, folder / "one.bin", folder / "two.bin", "--seed", seed, *options)
        data = (folder / name).read_bytes()
        return process, [data[i:i + RECORD] for i in range(0, len(data), RECORD)]

    process, merged = merge("all.bin", 1)
    check(sorted(merged) == sorted(records), "not every position once, with its first labels")
    check(merged != records and merge("same.bin", 1)[1] == merged and merge("other.bin", 2)[1] != merged,
          "the order does not follow the seed")
    check(f"{len(records) + 53} read, 3 damaged, 50 duplicates, {len(records)} left" in process.stdout, process.stdout)
    check("two.bin: ends within a record" in process.stderr, process.stderr)
    total = 0xCBF29CE484222325  # FNV-1a
    for byte in b"".join(merged):
        total = (total ^ byte) * 0x100000001B3 % 2 ** 64
    check(f"checksum {total:016x}" in process.stdout, process.stdout)


def holdout_takes_whole_stretches(folder):
    # 60,000 different positions: two kings and two white pawns, numbered by their place in the file.
    numbers = {}
    shuffler = random.Random(5)
    places = [(k, p, q) for k in range(8) for p in range(8, 48) for q in range(p + 1, 48)]
    positions = [(k, p, q, t, b) for k, p, q in places for t in (0, 1) for b in (56, 58, 60, 62)][:60000]
    shuffler.shuffle(positions)
    data = bytearray()
    for king, first, second, turn, black in positions:
        record = packed((king, 6), (first, 1), (second, 1), (black, 14), turn=turn)
        numbers[record] = len(numbers)
        data += record
    (folder / "in.bin").write_bytes(data)
    run("--merge", folder / "out.bin", folder / "in.bin", "--holdout", 30, "--seed", 3)
    parts = []
    for name in ("out.bin", "out-holdout.bin"):
        part = (folder / name).read_bytes()
        parts.append(sorted(numbers[part[i:i + RECORD]] for i in range(0, len(part), RECORD)))
    training, holdout = parts
    check(sorted(training + holdout) == list(range(len(numbers))), "training and hold-out are not the whole")
    check(0.05 < len(holdout) / len(numbers) < 0.6, f"{len(holdout)} of {len(numbers)} held out")
    borders = sum(b != a + 1 for a, b in zip(holdout, holdout[1:]))
    check(borders <= 16, f"the hold-out has {borders} gaps")


def variations_stay_near_and_carry_the_static_score(folder):
    start = chess.Board("8/5k2/1p6/8/8/1P6/1P3K2/8 w - - 0 1")
    codes = {symbol: code for code, symbol in PIECES.items()}
    packed_board = bytearray(32)
    for square, piece in start.piece_map().items():
        packed_board[square // 2] |= codes[piece.symbol()] << 4 * (square % 2)
    one = bytes(packed_board) + bytes([0, 64]) + bytes(6)
    (folder / "in.bin").write_bytes(one + bytes(RECORD) + b"end")  # a good record, one without kings, a part of one
    process = run("--vary", folder / "out.bin", folder / "in.bin", "--hce", "--copies", 400, "--seed", 9)
    records = read_records(folder / "out.bin")
    check(f"2 read, 1 damaged, {len(records)} written" in process.stdout, process.stdout)

    near, ring = set(), [start]
    for _ in range(4):
        ring = [(board.push(move), board.copy(stack=False), board.pop())[1] for board in ring for move in
                list(board.legal_moves)]
        near |= {(board.board_fen(), board.turn) for board in ring}
        ring = list({board.epd(): board for board in ring}.values())
    found = {(record.placement, record.turn) for record in records}
    check(found <= near and len(found) > 200, f"{len(found)} different, {len(found - near)} too far")
    check({turn for _, turn in found} == {True, False}, "only one side to move")

    for record in records[:40]:
        check(record.result == record.ce == record.sc, f"labels {record}")
        board = chess.Board(f"{record.placement} {'bw'[record.turn]} - - 0 1")
        check(not board.is_check(), f"{board.fen()} is in check")
        report = subprocess.run([TARN, "-c", "-use_hce"], input=f"fen {board.epd()}\nev\nquit\n", text=True,
                                capture_output=True, timeout=60).stdout
        static = int(report.split("hce=")[1].split(",")[0])
        check(record.sc == static, f"{board.fen()}: label {record.sc}, static score {static}")


TESTS = [games_are_chess_and_records_their_positions, deviations_leave_the_game_and_settle,
         clear_results_are_adjudicated, tables_settle_results,
         continued_run_appends_new_games, interrupt_leaves_whole_games, processes_share_the_games,
         bad_values_are_refused, variations_stay_near_and_carry_the_static_score, merging_keeps_every_position_once, holdout_takes_whole_stretches]


if __name__ == "__main__":
    sys.exit(run_tests(TESTS, sys.argv[2:], in_folders=True))
