#!/usr/bin/env python3
"""The self-play generator, which is looked for beside the program: its games must be chess, its records positions of
these games with the right labels, and no interruption may leave anything but whole games."""
import collections
import itertools
import pathlib
import random
import re
import signal
import struct

from with_chess import RESULT_SCORES, chess, pack, read_games, split_records, unpack

from cases import DATA, IS_POSIX_PROGRAM, PROGRAM, check, interrupt, needs, run, run_tests

SELFPLAY = pathlib.Path(PROGRAM).with_name("tarn_selfplay" + pathlib.Path(PROGRAM).suffix)
TABLES = DATA / "syzygy"

# A middle game, a Chess960 start, an endgame with Black to move and a half-move clock, and lines to be skipped.
OPENINGS = """# a comment
r1bqk2r/pppp1ppp/2n2n2/2b1p3/2B1P3/2NP1N2/PPP2PPP/R1BQK2R b KQkq - 0 5 bm d6; id "Italian";
nrkbbqrn/pppppppp/8/8/8/8/PPPPPPPP/NRKBBQRN w KQkq - 0 1
8/5pk1/4p1p1/3r3p/7P/4PPP1/4R1K1/8 b - - 11 40\r
8/8/8/8/8/8/8/8 w - - 0 1
"""


def selfplay(words, status=0):
    """A whole run of the generator: what it printed and its errors; its exit status must be as expected."""
    done = run(*words.split(), program=SELFPLAY, timeout=300)
    check(done.status == status, f"{words} ended with {done}")
    return "\n".join(done.lines), done.errors


def read_records(path):
    return [unpack(record) for record in split_records(pathlib.Path(path).read_bytes())]


Ply = collections.namedtuple("Ply", "board move score")  # score in centipawns, None for a random move
Game = collections.namedtuple("Game", "headers plies final result ending")  # result for White


def comment_score(comment):
    if comment == "random":
        return None
    found = re.fullmatch(r"([-+])(M\d+|\d+\.\d\d)/\d+\s[\d.]+s", comment)
    check(found, f"comment {comment!r}")
    score = 10000 if found.group(2)[0] == "M" else round(float(found.group(2)) * 100)
    return score if found.group(1) == "+" else -score


def games_of(path):
    """The games of a file; their results must be those of the rules, and nobody played on after the end."""
    games = []
    for parsed in read_games(path):
        check(not parsed.errors, f"game {len(games) + 1}: {parsed.errors}")
        board, plies = parsed.board(), []
        for node in parsed.mainline():
            plies.append(Ply(board.copy(), node.move, comment_score(node.comment)))
            board.push(node.move)
        result = {"1-0": 1.0, "0-1": 0.0, "1/2-1/2": 0.5}[parsed.headers["Result"]]
        games.append(Game(parsed.headers, plies, board, result, parsed.headers["Ending"]))
        check_end(games[-1])
    return games


def check_end(game):
    board, ending = game.final, game.ending
    for ply in game.plies:
        check(not ply.board.is_seventyfive_moves() and not ply.board.is_fivefold_repetition() and
              not ply.board.is_insufficient_material(), f"played on in {ply.board.fen()}")
    reasons = {"checkmate": board.is_checkmate(), "stalemate": board.is_stalemate(),
               "repetition": board.is_repetition(3), "fifty moves": board.halfmove_clock >= 100,
               "too long": len(game.plies) == 400}
    check(reasons.get(ending, any(board.legal_moves)), f"{ending} after {len(game.plies)} plies: {board.fen()}")
    if board.is_checkmate():
        check(game.result == (0 if board.turn == chess.WHITE else 1), f"mate is {game.result}: {board.fen()}")
    elif ending != "tablebase":
        check((game.result != 0.5) == (ending == "adjudicated win"), f"{ending} is {game.result}")


def record_fault(record, ply, game):
    """Why the record is not the labelled position of this ply."""
    board, move = ply.board, ply.move
    if record.sc != ply.score or abs(record.sc) >= 3000:
        return f"score {record.sc}, searched {ply.score}"
    if board.is_check() or board.is_capture(move) or move.promotion:
        return f"not quiet: {move}"
    if record.result != RESULT_SCORES[game.result if board.turn == chess.WHITE else 1 - game.result]:
        return f"result {record.result}"
    return ""


def match_records(records, games):
    """Walks through records and games together; every record must be the position of a later ply. A position may come
    back: one that was not worth keeping the first time may be kept, with its new score, the next time."""
    rest = iter(records)
    record, fault = next(rest, None), "never on the board"
    for game in games:
        for ply in game.plies:
            if record and record.position == pack(ply.board):
                fault = record_fault(record, ply, game)
                if not fault:
                    record, fault = next(rest, None), "never on the board"
    check(record is None, f"{record} is no position of the games: {fault}")


def material(board):
    value = {chess.PAWN: 1, chess.KNIGHT: 3, chess.BISHOP: 3, chess.ROOK: 5, chess.QUEEN: 9, chess.KING: 0}
    return sum(value[p.piece_type] * (1 if p.color == board.turn else -1) for p in board.piece_map().values())


def test_games_are_chess_and_records_their_positions():
    pathlib.Path("openings.epd").write_bytes(OPENINGS.encode())
    output, errors = selfplay("--output g --games 40 --nodes 100 --seed 11 --format bin,epd,pgn --adjudicate none "
                              "--openings openings.epd --opening-share 50")
    check("1 lines are no position" in errors, errors)
    games, records = games_of("g.pgn"), read_records("g.bin")
    check(len(games) == 40, f"{len(games)} games")
    for game in games:
        check(not game.ending.startswith("adjudicated"), game.ending)
        randoms = [ply.score is None for ply in game.plies]
        check(not any(randoms[sum(randoms):]), "a random move after a search")
        low, high = 8, 10
        if "FEN" in game.headers:
            low, high = 0, 4 if game.headers["FEN"].count("r") > 1 else 2
        check(low <= sum(randoms) <= high, f"{sum(randoms)} random moves: {game.headers}")
    starts = collections.Counter(game.headers.get("FEN") for game in games)
    check(len(starts) == 4 and 10 <= starts[None] <= 30, f"starts: {starts}")

    match_records(records, games)
    check(len(records) > 1000 and f"40 games and {len(records)} positions" in output, f"{len(records)}: {output}")
    check(len({record.position for record in records}) == len(records), "a position twice")
    check({record.result for record in records} == set(RESULT_SCORES.values()), "not all results occur")

    # Labels point the right way: a queen ahead in quiet positions is good for the side to move.
    uneven = [record for record in records if abs(material(record.board)) >= 9]
    for label in ("sc", "ce"):
        right = sum((material(record.board) > 0) == (getattr(record, label) > 0) for record in uneven)
        check(len(uneven) > 30 and right >= 0.9 * len(uneven), f"{label}: {right} of {len(uneven)} with the material")

    gains = {score: gain for gain, score in RESULT_SCORES.items()}
    expected = [(*record.board.fen().split()[:2], f"{record.sc}; gr {gains[record.result]};") for record in records]
    lines = re.findall(r"^(\S+) ([wb]) \S+ \S+ ce (.*)$", pathlib.Path("g.epd").read_text(), re.M)
    check(lines == expected, "positions or labels of the EPD file")


def test_deviations_leave_the_game_and_settle():
    selfplay("--output d --games 6 --nodes 60 --seed 5 --format bin,pgn --deviations 2 --deviation-nodes 60 "
             "--labels score")
    games, records = games_of("d.pgn"), read_records("d.bin")
    played = {pack(ply.board) for game in games for ply in game.plies}
    off = [record for record in records if record.position not in played]
    check(300 < len(off) < len(records), f"{len(off)} of {len(records)} positions off the games")
    check(all(record.result == record.sc for record in records), "a label that is not the search score")
    for board in (record.board for record in off):
        check(board.status() == chess.STATUS_VALID and not board.is_check(), f"{board.fen()} is in check or impossible")
    # Random moves hang pieces; what settles is often far from level, unlike the games themselves.
    far = sum(abs(record.sc) >= 200 for record in off)
    check(far >= 0.3 * len(off), f"only {far} of {len(off)} far from level")


def test_clear_results_are_adjudicated():
    wins = []
    for options in ("--adjudicate-share 100", ""):
        selfplay(f"--output a{len(wins)} --games 24 --nodes 100 --seed 12 --format pgn {options}")
        wins.append([game for game in games_of(f"a{len(wins)}.pgn") if game.ending == "adjudicated win"])
    check(0 < len(wins[1]) < len(wins[0]) and len(wins[0]) > 5, f"{len(wins[1])} of {len(wins[0])} by default")
    for game in wins[0]:
        # Both sides saw it in their last searches; the sixth score is that of the final position, which has no move.
        for ply in game.plies[-5:]:
            winning = (game.result == 1) == (ply.board.turn == chess.WHITE)
            check((ply.score or 0) * (1 if winning else -1) >= 2000, f"adjudicated too early: {game.headers}")


def test_tables_settle_results():
    pathlib.Path("pawns.epd").write_text("8/1p3k2/1p6/8/8/1P6/1P3K2/8 w - - 0 1\n8/8/2p2k2/8/8/2P2KP1/8/8 w - - 0 1\n")
    selfplay("--output t --games 30 --nodes 100 --seed 4 --format pgn --openings pawns.epd --opening-share 100 "
             f"--syzygy {TABLES} --adjudicate none")
    settled = [game for game in games_of("t.pgn") if game.ending == "tablebase"]
    check(len(settled) >= 5, f"{len(settled)} games settled")
    with chess.syzygy.open_tablebase(str(TABLES)) as tables:
        for game in settled:
            gain = {2: 1, -2: 0}.get(tables.probe_wdl(game.final), 0.5)
            expected = gain if game.final.turn == chess.WHITE else 1 - gain
            check(game.result == expected, f"{game.result}, the tables say {expected}: {game.final.fen()}")


def moves_of(path):
    return [[ply.move for ply in game.plies] for game in games_of(path)]


def test_continued_run_appends_new_games():
    options = "--nodes 100 --seed 21 --format pgn,bin"
    for name, games in (("whole", 6), ("parts", 2), ("parts", 4)):
        selfplay(f"--output {name} --games {games} {options}")
    whole = moves_of("whole.pgn")
    check(moves_of("parts.pgn") == whole, "a continued run plays other games than an unbroken one")
    check(len(set(map(tuple, whole))) == 6, "a game twice")

    # A crash in the middle of a write leaves more than the state file vouches for: it is cut off.
    for name in ("parts.bin", "parts.pgn"):
        with open(name, "ab") as file:
            file.write(b"[Event \"half a game")
    selfplay("--output parts --games 1 " + options)
    check(moves_of("parts.pgn")[:6] == whole, "earlier games are lost")
    match_records(read_records("parts.bin"), games_of("parts.pgn"))


def test_interrupt_leaves_whole_games():
    for name in ("SIGINT", "SIGTERM", "SIGKILL"):  # comes after more records than two games can have
        lines, _, status = interrupt("--output", name, "--nodes", 100, "--format", "bin,pgn", program=SELFPLAY,
                                     file=f"{name}.bin", size=900 * 40, sent=getattr(signal, name))
        if name == "SIGKILL":  # nothing can be tidied up; the next run does
            selfplay(f"--output {name} --games 1 --nodes 100 --format bin,pgn")
        else:
            check(status == 0 and "games and" in "".join(lines), f"{name}: {status} {lines}")
        games = games_of(f"{name}.pgn")
        state = dict(line.split() for line in pathlib.Path(f"{name}.state").read_text().splitlines())
        check(3 <= len(games) == int(state["games"]), f"{name}: {len(games)} games, {state}")
        match_records(read_records(f"{name}.bin"), games)


def test_processes_share_the_games():
    needs(IS_POSIX_PROGRAM, "worker processes, which Windows does not have")
    output = selfplay("--output p --games 7 --processes 3 --nodes 100 --seed 8 --format bin,pgn")[0]
    games = [games_of(f"p.{i}.pgn") for i in range(3)]
    check([len(g) for g in games] == [3, 2, 2], f"{[len(g) for g in games]} games")
    lines = {tuple(ply.move for ply in game.plies) for part in games for game in part}
    check(len(lines) == 7, "two processes played the same game")
    records = [read_records(f"p.{i}.bin") for i in range(3)]
    for part in range(3):
        match_records(records[part], games[part])
    check(f"7 games and {sum(map(len, records))} positions" in output, output)


BAD_VALUES = {"--games": "many -1", "--nodes": "5 1e6", "--processes": "0", "--random-plies": "9-8 8-",
              "--opening-share": "101", "--format": "bin, txt", "--adjudicate": "some", "--network": "empty.nn",
              "--syzygy": "no_such_folder", "--hash": "99999999999999999999"}
BAD_ARGUMENTS = [
    # arguments, a word of the message
    ("", "--output"),
    ("--output", "--output"),
    ("--outptu x", "--outptu"),
    ("--output x --network no_such_file", "no_such_file"),
    ("--output x --openings no_such_file", "no_such_file"),
    ("--output x --openings empty.nn", "empty.nn"),
    ("--output x --hce --params no_such_file", "no_such_file"),
    ("--output x --hce --params empty.nn", "--params"),
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
    ("--endings x.bin KRvKB", "--syzygy"),
    *((f"--endings {arguments} --syzygy {TABLES}", word) for arguments, word in [
        ("x.bin", "--endings"),
        ("x KRvKB", ".bin"),
        ("no_such_folder/x.bin KRvKB", "no_such_folder"),
        ("x.bin KRvKB --count 0", "--count"),
        ("x.bin KRvKB --merge y.bin", "--merge"),
        *((f"x.bin KRvKB {material}", material) for material in  # none, or the tables do not answer for all of it
          ("KRKB", "RvKB", "KRKvB", "KRvv", "Kv", "krvkb", "KRvKBvK", "KQQQvKQQQ", "KQvKR", "KRvKN")),
        ("x.bin KRvK", "material alone"),
    ]),
]


def test_bad_arguments_are_refused():
    pathlib.Path("empty.nn").write_bytes(b"")
    cases = BAD_ARGUMENTS + [(f"--output x {option} {value}", option)
                             for option, values in BAD_VALUES.items() for value in values.split()]
    for arguments, word in cases:
        errors = selfplay(arguments, status=1)[1]
        check(word in errors, f"{arguments}: {errors!r}")
    check([path.name for path in pathlib.Path().iterdir()] == ["empty.nn"], "files appeared")
    check("--merge" in selfplay("--help")[0], "no help")


def test_files_that_are_no_part_of_the_run_are_left_alone():
    selfplay("--output short --games 2 --nodes 50")
    cases = [
        # file in the way, its content, arguments
        ("mine.bin", b"precious", "--output mine --games 1"),
        ("short.epd", b"precious", "--output short --games 1 --format epd"),
        ("short.bin", b"", "--output short --games 1"),  # records are lost
        ("short.state", b"games many", "--output short --games 1"),
    ]
    for name, content, arguments in cases:
        pathlib.Path(name).write_bytes(content)
        errors = selfplay(arguments, status=1)[1]
        check(name in errors and pathlib.Path(name).read_bytes() == content, f"{name}: {errors!r}")


def test_merging_keeps_every_position_once_and_holds_out_whole_stretches():
    records = []
    for king, pawns, black, turn in itertools.product(range(8), itertools.combinations(range(8, 48), 2),
                                                      (56, 58, 60, 62), (chess.WHITE, chess.BLACK)):
        board = chess.Board(None)
        board.set_piece_map({square: chess.Piece(chess.PAWN, chess.WHITE) for square in pawns} |
                            {king: chess.Piece(chess.KING, chess.WHITE), black: chess.Piece(chess.KING, chess.BLACK)})
        board.turn = turn
        records.append(pack(board, 7, 1, 2))
    random.Random(5).shuffle(records)
    no_kings, no_such_square, pawn_on_rank_1 = bytes(40), records[0][:33] + b"\x41" + bytes(6), b"\1" + records[0][1:]
    again = [record[:34] + struct.pack("<hhh", -7, 3, 4) for record in records[:50]]
    one = records[:400] + [no_kings, no_such_square, pawn_on_rank_1]
    pathlib.Path("one.bin").write_bytes(b"".join(one))
    pathlib.Path("two.bin").write_bytes(b"".join(again + records[400:]) + b"\1\2\3")

    def merge(seed):
        output, errors = selfplay(f"--merge all.bin one.bin two.bin --holdout 30 --seed {seed}")
        check(f"{len(records) + 53} read, 3 damaged, 50 duplicates, {len(records)} left" in output, output)
        check("two.bin: ends within a record" in errors, errors)
        return [split_records(pathlib.Path(name).read_bytes()) for name in ("all.bin", "all-holdout.bin")]

    training, holdout = merge(3)
    check(sorted(training + holdout) == sorted(records), "not every position once, with its first labels")
    check(merge(3) == [training, holdout] and merge(4) != [training, holdout], "the order does not follow the seed")
    numbers = {record: number for number, record in enumerate(records)}
    held_out = sorted(numbers[record] for record in holdout)
    check(0.05 < len(holdout) / len(records) < 0.6, f"{len(holdout)} of {len(records)} held out")
    check(held_out != [numbers[record] for record in holdout], "the hold-out is not shuffled")
    borders = sum(b != a + 1 for a, b in zip(held_out, held_out[1:]))
    check(borders <= 16, f"the hold-out has {borders} gaps")


def test_variations_stay_near_and_carry_the_static_score():
    start = chess.Board("8/5k2/1p6/8/8/1P6/1P3K2/8 w - - 0 1")
    # A good record, one without kings, a part of one.
    pathlib.Path("in.bin").write_bytes(pack(start, 0, 0, 0) + bytes(40) + b"end")
    output = selfplay("--vary out.bin in.bin --hce --copies 400 --seed 9")[0]
    records = read_records("out.bin")
    check(f"2 read, 1 damaged, {len(records)} written" in output, output)

    near, ring = set(), {start.epd(): start}
    for _ in range(4):
        boards = [(board, move) for board in ring.values() for move in board.legal_moves]
        ring = {}
        for board, move in boards:
            after = board.copy(stack=False)
            after.push(move)
            ring[after.epd()] = after
            near.add((after.board_fen(), after.turn))
    found = {(record.board.board_fen(), record.board.turn) for record in records}
    check(found <= near and len(found) > 200, f"{len(found)} different, {len(found - near)} too far")
    check({turn for _, turn in found} == {True, False}, "only one side to move")

    records = records[:40]
    text = "".join(f"fen {record.board.epd()}\nev\n" for record in records)
    evaluations = re.findall(r"hce= *(-?\d+)", "\n".join(run("-c", "-use_hce", text=text).lines))
    check(len(evaluations) == len(records), f"{len(evaluations)} answers of the console")
    for record, static in zip(records, evaluations):
        check(not record.board.is_check(), f"{record.board.fen()} is in check")
        check(record.result == record.ce == record.sc == int(static), f"{record}, static score {static}")


def test_endings_are_labelled_by_the_tables():
    materials, count = ("KPPvK", "KQvKQ", "KRvKB"), 300
    command = f"{' '.join(materials)} --count {count} --syzygy {TABLES} --seed"
    output = selfplay(f"--endings out.bin {command} 6")[0]
    selfplay(f"--endings again.bin {command} 6")
    selfplay(f"--endings other.bin {command} 7")
    data = pathlib.Path("out.bin").read_bytes()
    check(data == pathlib.Path("again.bin").read_bytes() != pathlib.Path("other.bin").read_bytes(), "not as seeded")
    records = read_records("out.bin")
    check(len(records) == count * len(materials), f"{len(records)} records")
    with chess.syzygy.open_tablebase(str(TABLES)) as tables:
        for i, material in enumerate(materials):
            seen = collections.Counter()
            for record in records[i * count:(i + 1) * count]:
                board, wdl = record.board, tables.probe_wdl(record.board)
                sides = [chess.syzygy.calc_key(board, mirror=mirror) for mirror in (False, True)]
                check(material in sides and board.status() == chess.STATUS_VALID and not board.is_check() and
                      record.position == pack(board), f"{material}: {board.fen()}")
                score = ending_score(board, tables, wdl) if abs(wdl) == 2 else 0
                check(record.result == record.ce == record.sc == score, f"{board.fen()}: {record}, not {score}")
                for capture in board.generate_legal_captures():
                    board.push(capture)
                    check(tables.probe_wdl(board) > -2, f"a capture wins: {record.board.fen()} {capture}")
                    board.pop()
                seen[(wdl > 1) - (wdl < -1)] += 1
                seen[sides[0] == material, board.turn] += 1
            check(f"{material}: {count} written, {seen[1]} won, {seen[0]} drawn, {seen[-1]} lost" in output, output)
            colours = itertools.product({side == material for side in sides}, (chess.WHITE, chess.BLACK))
            check(all(seen[colour] > count // 10 for colour in colours), f"{material}: {seen}")


def ending_score(board, tables, wdl):
    """What a won or lost position is worth: 700, 80 for each rank of the foremost pawn, -6 for each ply of distance."""
    winner = board.turn if wdl > 0 else not board.turn
    ranks = [chess.square_rank(square) for square in board.pieces(chess.PAWN, winner)]
    rank = max(rank - 1 if winner else 6 - rank for rank in ranks) if ranks else 0
    score = 700 + 80 * rank - 6 * min(abs(tables.probe_dtz(board)), 60 if ranks else 100)
    return score if wdl > 0 else -score


if __name__ == "__main__":
    run_tests(globals())
