"""EPD analysis and benchmark as a user runs them: whole runs, interruptions, full disks."""
import pathlib
import re

import pytest

from chess_records import chess
from conftest import DATA

BRATKO_KOPEC = DATA / "epd" / "bratko-kopec.epd"


# The number of written lines: all whole, with a legal move, and counted by the totals that were printed.
def whole_lines(path, output):
    text = pathlib.Path(path).read_text("ascii")
    assert text.endswith("\n"), f"a cut line is left: {text[-40:]!r}"
    written = text.splitlines()
    for line in written:
        fen, move = re.fullmatch(r"(\S+ \S+ \S+ \S+) bm ([a-h][1-8][a-h][1-8]); ce -?\d+;", line).groups()
        assert move in {move.uci()[:4] for move in chess.Board(fen + " 0 1").legal_moves}, line
    assert f" / {len(written)} correct best moves\n" in output and re.search(r"^score= -?\d+ / -?\d+$", output, re.M)
    return len(written)


def test_table_is_off_below_depth_4(program):
    for depth, has_table in ((3, False), (4, True)):
        runs = [program.run("-anepd", BRATKO_KOPEC, f"-d {depth} -hash {size}").output for size in (64, 0)]
        nodes = {re.search("total nodes= .*", output)[0] for output in runs}
        assert len(nodes) == 1 + has_table


def test_stop_goes_on_and_quit_ends(program):
    # The first is a mate, whose search ends by itself.
    pathlib.Path("suite.epd").write_text(BRATKO_KOPEC.read_text("ascii").partition("\n")[2], "ascii")
    tarn = program.start("-anepd suite.epd -t 600 -noise 0")
    for number in (1, 2, 3):
        tarn.wait_for(f"pos= {number}")
        tarn.wait_for("info depth 3 ")
        tarn.ready()
        tarn.send("stop" if number < 3 else "quit")
        tarn.wait_for("move= ")
    rest, status = tarn.finish()
    assert status == 0 and whole_lines("tmp0.epd", "\n".join(rest)) == 3


@pytest.mark.posix("signals and limits")
def test_interrupt_and_full_disk_leave_whole_lines_and_totals(program):
    found = program.interrupt("-anepd", BRATKO_KOPEC, "-d 6 -t 0.2", file="tmp0.epd")
    assert whole_lines("tmp0.epd", found.output) == 24 or found.status == 1
    found = program.run("-anepd", BRATKO_KOPEC, "-d 4 -o out.epd", status=255, FSIZE=500)
    assert "out.epd" in found.errors and found.errors.count("\n") == 1
    assert 0 < whole_lines("out.epd", found.output) < 24


def test_benchmark_prints_its_report_in_both_forms(program):
    report = r"Tarn 7\.00 running benchmark using 1 threads\n"
    report += "".join(rf"pos {number:2d}: +\d+\.\d\d seconds\n" for number in range(20))
    report += r"total time= \d+\.\d\d seconds, nodes= (\d+), nps= \d+\n\Z"
    runs = [program.run(f"{switch} -d 4 -use_hce") for switch in ("-bench", "-pbench")]
    nodes = {int(re.search(report, found.output)[1]) for found in runs}
    assert len(nodes) == 1 and min(nodes) > 0 and not any(found.errors for found in runs)
