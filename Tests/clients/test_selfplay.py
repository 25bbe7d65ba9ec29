"""The self-play generator, which is looked for beside the program: its games must be chess, its records positions of
these games with the right labels, and no interruption may leave anything but whole games."""
import collections
import itertools
import pathlib
import re
import signal
import struct

import pytest

from chess_records import RESULT_SCORES, TABLES, chess, child, pack, read_games, split_records, tables, unpack


def read_records(path):
    return [unpack(record) for record in split_records(pathlib.Path(path).read_bytes())]


Ply = collections.namedtuple("Ply", "board move score")  # score in centipawns, None for a random move
Game = collections.namedtuple("Game", "headers plies final result ending")  # result for White


def comment_score(comment):
    if comment == "random":
        return None
    sign, score = re.fullmatch(r"([-+])(M\d+|\d+\.\d\d)/\d+\s[\d.]+s", comment).groups()
    return int(sign + "1") * (10000 if score[0] == "M" else round(float(score) * 100))


# The games of a file; their results must be those of the rules, and nobody played on after the end.
def games_of(path):
    games = []
    for parsed in read_games(path):
        board, plies = parsed.board(), []
        for node in parsed.mainline():
            assert not (board.is_seventyfive_moves() or board.is_fivefold_repetition() or board.is_insufficient_material())
            plies.append(Ply(board.copy(), node.move, comment_score(node.comment)))
            board.push(node.move)
        result, ending = {"1-0": 1.0, "0-1": 0.0, "1/2-1/2": 0.5}[parsed.headers["Result"]], parsed.headers["Ending"]
        reasons = {"checkmate": board.is_checkmate(), "stalemate": board.is_stalemate(), "too long": len(plies) == 400,
                   "repetition": board.is_repetition(3), "fifty moves": board.halfmove_clock >= 100}
        assert reasons.get(ending, any(board.legal_moves)) and not parsed.errors, f"{ending}: {board.fen()}"
        assert ending in ("checkmate", "tablebase") or (result != 0.5) == (ending == "adjudicated win")
        assert not board.is_checkmate() or result == (board.turn == chess.BLACK)
        games.append(Game(parsed.headers, plies, board, result, ending))
    return games


# Whether the record is the labelled position of this ply.
def fits(record, ply, game):
    board, move = ply.board, ply.move
    result = RESULT_SCORES[game.result if board.turn == chess.WHITE else 1 - game.result]
    is_quiet = not (board.is_check() or board.is_capture(move) or move.promotion)
    return record.sc == ply.score and abs(record.sc) < 3000 and is_quiet and record.result == result


# Walks through records and games together; every record must be the position of a later ply. A position may come
# back: one that was not worth keeping the first time may be kept, with its new score, the next time.
def check_records(records, games):
    rest = collections.deque(records)
    for game, ply in ((game, ply) for game in games for ply in game.plies):
        if rest and rest[0].position == pack(ply.board) and fits(rest[0], ply, game):
            rest.popleft()
    assert not rest, f"{rest[0]} is no position of the games"


def material(board):
    return sum(value * (len(board.pieces(kind, board.turn)) - len(board.pieces(kind, not board.turn)))
               for kind, value in zip(chess.PIECE_TYPES, (1, 3, 3, 5, 9)))


def test_games_are_chess_and_records_their_positions(selfplay):
    # A middle game, a Chess960 start, an endgame with Black to move and a half-move clock, and lines to be skipped.
    pathlib.Path("openings.epd").write_bytes(b"# a comment\n8/8/8/8/8/8/8/8 w - - 0 1\n"
                                             b"r1bqk2r/pppp1ppp/2n2n2/2b1p3/2B1P3/2NP1N2/PPP2PPP/R1BQK2R b KQkq - 0 5 bm d6;\n"
                                             b"nrkbbqrn/pppppppp/8/8/8/8/PPPPPPPP/NRKBBQRN w KQkq - 0 1\n"
                                             b"8/5pk1/4p1p1/3r3p/7P/4PPP1/4R1K1/8 b - - 11 40\r\n")
    found = selfplay.run("--output g --games 40 --nodes 100 --seed 11 --format bin,epd,pgn --adjudicate none "
                         "--openings openings.epd --opening-share 50")
    assert "1 lines are no position" in found.errors
    games, records = games_of("g.pgn"), read_records("g.bin")
    for game in games:
        assert not game.ending.startswith("adjudicated")
        randoms = [ply.score is None for ply in game.plies]
        low, high = (8, 10) if "FEN" not in game.headers else (0, 4 if game.headers["FEN"].count("r") > 1 else 2)
        assert low <= sum(randoms) <= high and not any(randoms[sum(randoms):]), "random moves come first"
    starts = collections.Counter(game.headers.get("FEN") for game in games)
    assert len(games) == 40 and len(starts) == 4 and 10 <= starts[None] <= 30

    check_records(records, games)
    assert len(records) > 1000 and f"40 games and {len(records)} positions" in found.output
    assert len({record.position for record in records}) == len(records), "a position twice"
    assert {record.result for record in records} == set(RESULT_SCORES.values())
    # Labels point the right way: a queen ahead in quiet positions is good for the side to move.
    uneven = [record for record in records if abs(material(record.board)) >= 9]
    for label in ("sc", "ce"):
        right = sum((material(record.board) > 0) == (getattr(record, label) > 0) for record in uneven)
        assert len(uneven) > 30 and right >= 0.9 * len(uneven), label
    gains = {score: gain for gain, score in RESULT_SCORES.items()}
    expected = [(*record.board.fen().split()[:2], f"{record.sc}; gr {gains[record.result]};") for record in records]
    assert re.findall(r"^(\S+) ([wb]) \S+ \S+ ce (.*)$", pathlib.Path("g.epd").read_text(), re.M) == expected


@pytest.mark.parametrize("source", ["--deviations 2", "--samples 2"])
def test_deviations_and_samples_leave_the_game_and_settle(selfplay, source):
    selfplay.run("--output d --games 6 --nodes 60 --seed 5 --format bin,pgn --deviation-nodes 60 --labels score", source)
    records = read_records("d.bin")
    played = {pack(ply.board) for game in games_of("d.pgn") for ply in game.plies}
    off = [record for record in records if record.position not in played]
    assert 300 < len(off) < len(records) and all(record.result == record.sc for record in records)
    assert all(record.board.status() == chess.STATUS_VALID and not record.board.is_check() for record in off)
    # Random and refuted moves hang pieces; what settles is often far from level, unlike the games themselves.
    assert sum(abs(record.sc) >= 200 for record in off) >= 0.3 * len(off)


def test_clear_results_are_adjudicated(selfplay):
    wins = []
    for options in ("--adjudicate-share 100", ""):
        selfplay.run(f"--output a{len(wins)} --games 40 --nodes 100 --seed 12 --format pgn", options)
        wins.append([game for game in games_of(f"a{len(wins)}.pgn") if game.ending == "adjudicated win"])
    assert 0 < len(wins[1]) < len(wins[0]) > 5
    for game in wins[0]:
        # Both sides saw it in their last searches; the sixth score is that of the final position, which has no move.
        for ply in game.plies[-5:]:
            is_winner = (game.result == 1) == (ply.board.turn == chess.WHITE)
            assert (ply.score or 0) * (1 if is_winner else -1) >= 2000, f"too early: {game.headers}"


def test_tables_settle_results(selfplay):
    pathlib.Path("pawns.epd").write_text("8/1p3k2/1p6/8/8/1P6/1P3K2/8 w - - 0 1\n8/8/2p2k2/8/8/2P2KP1/8/8 w - - 0 1\n")
    selfplay.run("--output t --games 30 --nodes 100 --seed 4 --format pgn --openings pawns.epd --opening-share 100 "
                 "--adjudicate none --syzygy", TABLES)
    settled = [game for game in games_of("t.pgn") if game.ending == "tablebase"]
    assert len(settled) >= 5
    for game in settled:
        gain = {2: 1, -2: 0}.get(tables.probe_wdl(game.final), 0.5)
        assert game.result == (gain if game.final.turn == chess.WHITE else 1 - gain), game.final.fen()


def moves_of(games):
    return [tuple(ply.move for ply in game.plies) for game in games]


def test_continued_run_appends_new_games(selfplay):
    options = "--nodes 100 --seed 21 --format pgn,bin"
    for name, games in (("whole", 6), ("parts", 2), ("parts", 4)):
        selfplay.run(f"--output {name} --games {games} {options}")
    whole = moves_of(games_of("whole.pgn"))
    assert moves_of(games_of("parts.pgn")) == whole and len(set(whole)) == 6
    # A crash in the middle of a write leaves more than the state file vouches for: it is cut off.
    for name in ("parts.bin", "parts.pgn"):
        with open(name, "ab") as file:
            file.write(b"[Event \"half a game")
    selfplay.run("--output parts --games 1 " + options)
    games = games_of("parts.pgn")
    assert moves_of(games)[:6] == whole and len(games) == 7
    check_records(read_records("parts.bin"), games)


@pytest.mark.posix("signals")
@pytest.mark.parametrize("sent", [signal.SIGINT, signal.SIGTERM, signal.SIGKILL])
def test_interrupt_leaves_whole_games(selfplay, sent):
    # Comes after more records than two games can have.
    found = selfplay.interrupt("--output i --nodes 100 --format bin,pgn", file="i.bin", size=900 * 40, sent=sent)
    assert found.status == 0 and "games and" in found.output or sent == signal.SIGKILL
    if sent == signal.SIGKILL:  # nothing could be tidied up; the next run does
        selfplay.run("--output i --games 1 --nodes 100 --format bin,pgn")
    games = games_of("i.pgn")
    state = dict(line.split() for line in pathlib.Path("i.state").read_text().splitlines())
    assert 3 <= len(games) == int(state["games"])
    check_records(read_records("i.bin"), games)


@pytest.mark.posix("worker processes, which Windows does not have")
def test_processes_share_the_games(selfplay):
    output = selfplay.run("--output p --games 7 --processes 3 --nodes 100 --seed 8 --format bin,pgn").output
    games = [games_of(f"p.{i}.pgn") for i in range(3)]
    records = [read_records(f"p.{i}.bin") for i in range(3)]
    assert [len(part) for part in games] == [3, 2, 2] and len(set(moves_of(sum(games, [])))) == 7
    list(map(check_records, records, games))
    assert f"7 games and {sum(map(len, records))} positions" in output


# The message names the marked word. OUT is an output, END asks for endings, which the tables must answer for in full.
BAD_ARGUMENTS = """!--output; !--outptu x; OUT !stray; --output !no_such_folder/x; --merge !x.bin x.bin; !--merge x.bin
OUT --network !no_such_file; OUT --openings !no_such_file; OUT --openings !empty.nn; OUT --hce --params !no_such_file
!--vary x.bin; OUT --hce !--params empty.nn; --merge x in!.bin; --merge x.bin !no_such_file.bin
--merge x.bin in.bin !--holdout 60; --vary x in!.bin; --vary x.bin !no_such_file.bin; !--vary x.bin in.bin --merge y.bin
--endings x.bin KRvKB !--syzygy; !--endings x.bin TB; --endings x KRvKB!.bin TB; --endings !no_such_folder/x.bin KRvKB TB
END !--count 0; END !--merge y.bin; END !KRKB; END !RvKB; END !KRKvB; END !KRvv; END !Kv; END !krvkb; END !KRvKBvK
END !KQQQvKQQQ; END !KQvKR; END !KRvKN; OUT !--games many; OUT !--games -1; OUT !--nodes 5; OUT !--nodes 1e6; OUT !--processes 0
OUT !--random-plies 9-8; OUT !--random-plies 8-; OUT !--opening-share 101; OUT !--format bin,; OUT !--format txt
OUT !--adjudicate some; OUT !--network empty.nn; OUT !--syzygy no_such_folder; OUT !--hash 99999999999999999999"""


def test_bad_arguments_are_refused(selfplay):
    pathlib.Path("empty.nn").write_bytes(b"")
    text = BAD_ARGUMENTS.replace("OUT", "--output x").replace("END", "--endings x.bin TB KRvKB")
    text = text.replace("TB", f"--syzygy {TABLES}")
    cases = [(line.replace("!", ""), re.search(r"!(\S+)", line)[1]) for line in re.split("; |\n", text)]
    selfplay.refuses(1, ("", "--output"), ("--endings x.bin KRvK --syzygy " + str(TABLES), "material alone"), *cases)
    assert [path.name for path in pathlib.Path().iterdir()] == ["empty.nn"], "files appeared"
    assert "--merge" in selfplay.run("--help").output


@pytest.mark.parametrize("name, content, arguments", [
    ("mine.bin", b"precious", "--output mine"), ("short.epd", b"precious", "--output short --format epd"),
    ("short.bin", b"", "--output short"), ("short.state", b"games many", "--output short")])
def test_files_that_are_no_part_of_the_run_are_left_alone(selfplay, name, content, arguments):
    selfplay.run("--output short --games 2 --nodes 50")
    pathlib.Path(name).write_bytes(content)
    assert name in selfplay.run("--games 1", arguments, status=1).errors and pathlib.Path(name).read_bytes() == content


def test_merging_keeps_every_position_once_and_holds_out_whole_stretches(selfplay):
    board, records = chess.Board(None), []
    for pawns in itertools.islice(itertools.combinations(range(8, 48), 4), 50000):
        board.set_piece_map({0: chess.Piece(chess.KING, chess.WHITE), 63: chess.Piece(chess.KING, chess.BLACK),
                             **dict.fromkeys(pawns, chess.Piece(chess.PAWN, chess.WHITE))})
        records.append(pack(board, 7, 1, 2))
    good = records[0]
    no_kings, no_such_square, pawn_on_c1 = bytes(40), good[:33] + b"\x41" + bytes(6), good[:1] + b"\1" + good[2:]
    king_can_be_taken = pack(chess.Board("4k2R/8/8/8/8/8/8/4K3 w - - 0 1"), 7, 1, 2)
    again = [record[:34] + struct.pack("<hhh", -7, 3, 4) for record in records[:50]]
    pathlib.Path("one.bin").write_bytes(b"".join([*records[:400], no_kings, no_such_square, pawn_on_c1,
                                                     king_can_be_taken]))
    pathlib.Path("two.bin").write_bytes(b"".join(again + records[400:]) + b"\1\2\3")

    def merge(seed):
        found = selfplay.run(f"--merge all.bin one.bin two.bin --holdout 30 --seed {seed}")
        assert f"{len(records) + 54} read, 4 damaged, 50 duplicates, {len(records)} left" in found.output
        assert "two.bin: ends within a record" in found.errors
        return [split_records(pathlib.Path(name).read_bytes()) for name in ("all.bin", "all-holdout.bin")]

    training, holdout = merge(3)
    assert sorted(training + holdout) == sorted(records), "not every position once, with its first labels"
    assert merge(3) == [training, holdout] != merge(4)
    numbers = {record: number for number, record in enumerate(records)}
    held_out = [numbers[record] for record in holdout]
    assert 0.05 < len(holdout) / len(records) < 0.6 and sorted(held_out) != held_out, "the hold-out is not shuffled"
    assert sum(b != a + 1 for a, b in itertools.pairwise(sorted(held_out))) <= 16, "gaps"


# Placement and side to move of the positions at most so many plies away.
def near(board, plies):
    found = {(board.board_fen(), board.turn)}
    for move in board.legal_moves if plies else ():
        found |= near(child(board, move), plies - 1)
    return found


def test_variations_stay_near_and_carry_the_static_score(program, selfplay):
    start = chess.Board("8/5k2/1p6/8/8/1P6/1P3K2/8 w - - 0 1")
    # A good record, one without kings, a part of one.
    pathlib.Path("in.bin").write_bytes(pack(start, 0, 0, 0) + bytes(40) + b"end")
    output = selfplay.run("--vary out.bin in.bin --hce --copies 400 --seed 9").output
    records = read_records("out.bin")
    assert f"2 read, 1 damaged, {len(records)} written" in output

    found = {(record.board.board_fen(), record.board.turn) for record in records}
    assert found <= near(start, 4) and len(found) > 200 and {turn for _, turn in found} == {True, False}

    records = records[:40]
    text = "".join(f"fen {record.board.epd()}\nev\n" for record in records)
    scores = map(int, re.findall(r"hce= *(-?\d+)", program.run("-c -use_hce", text=text).output))
    for record, static in zip(records, scores, strict=True):
        assert not record.board.is_check() and record.result == record.ce == record.sc == static


# What a position is worth: won or lost 700, 80 for each rank of the foremost pawn, -6 for each ply of distance.
def ending_score(board):
    wdl = tables.probe_wdl(board)
    winner = board.turn if wdl > 0 else not board.turn
    ranks = [chess.square_rank(square if winner else square ^ 56) - 1 for square in board.pieces(chess.PAWN, winner)]
    score = 700 + 80 * max(ranks, default=0) - 6 * min(abs(tables.probe_dtz(board)), 60 if ranks else 100)
    return wdl // 2 * score if abs(wdl) == 2 else 0


def test_endings_are_labelled_by_the_tables(selfplay):
    materials, count = ("KPPvK", "KQvKQ", "KRvKB"), 300
    command = f"--endings out.bin {' '.join(materials)} --count {count} --syzygy {TABLES} --seed"
    runs = [(selfplay.run(command, seed).output, pathlib.Path("out.bin").read_bytes()) for seed in "766"]
    assert runs[0] != runs[1] == runs[2] and len(runs[2][1]) == len(materials) * count * 40
    records = iter(read_records("out.bin"))
    for material in materials:
        seen = collections.Counter()
        for record in itertools.islice(records, count):
            board = record.board
            sides = [chess.syzygy.calc_key(board, mirror=mirror) for mirror in (False, True)]
            assert material in sides and board.status() == chess.STATUS_VALID and not board.is_check()
            score = ending_score(board)
            assert record.result == record.ce == record.sc == score and record.position == pack(board)
            seen.update([(score > 0) - (score < 0), (sides[0] == material, board.turn)])
            assert all(tables.probe_wdl(child(board, capture)) > -2 for capture in board.generate_legal_captures())
        assert f"{material}: {count} written, {seen[1]} won, {seen[0]} drawn, {seen[-1]} lost" in runs[2][0]
        colours = itertools.product({side == material for side in sides}, (chess.WHITE, chess.BLACK))
        assert all(seen[colour] > count // 10 for colour in colours)
