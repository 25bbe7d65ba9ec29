"""Files and folders with names in many scripts, named by switches, options, the configuration file and the console.
What the program makes of them must be what it makes of the same files under plain names."""
import pathlib
import shutil

import pytest

from conftest import DATA, ROOT, count
from uci_client import to_text

FOLDER = pathlib.Path("Größe", "日本Ω♞𝄞")  # the last letter is outside the 16 bits of most
BOOK = DATA / "polyglot" / "performance-part.bin"
BOOK_MOVE = "info string book move is "
TABLES_FOUND = f"info string Found {len(list((DATA / 'syzygy').glob('*.rtbw')))} WDL, "


@pytest.fixture(autouse=True)
def folder(program):
    FOLDER.mkdir(parents=True)
    shutil.copy(BOOK, FOLDER / "büch.bin")
    shutil.copytree(DATA / "syzygy", FOLDER / "таблицы")
    shutil.copy(ROOT / "Source" / "eval" / "embedded.nn", FOLDER / "नेट.nn")
    shutil.copy(DATA / "pgn" / "kasparov-deep-blue-1997.pgn", FOLDER / "パーティー.pgn")
    (FOLDER / "ρυθμίσεις.cfg").write_text(f"MultiPV = 3\nSyzygyPath = {FOLDER}/таблицы\n", "utf-8-sig")


def test_switches_and_configuration_name_them(program):
    lines = program.run("-cfg", FOLDER / "ρυθμίσεις.cfg", "-book", FOLDER / "büch.bin",
                        text="setoption name OwnBook value true\ngo depth 1\n").lines
    # The second line follows a byte order mark.
    assert f"info string loading parameters from {FOLDER}/ρυθμίσεις.cfg" in lines and "info string MultiPV set to 3" in lines
    assert count(lines, TABLES_FOUND) >= 1 and count(lines, BOOK_MOVE) == 1
    assert count(program.run("-tbpath", FOLDER / "таблицы").lines, TABLES_FOUND) == 1


def test_options_name_them(tarn):
    tarn.set(OwnBook="true", OwnBook_File=f"{FOLDER}/büch.bin")
    assert count(tarn.search("go depth 1"), BOOK_MOVE) == 1
    tarn.set(SyzygyPath=f"{FOLDER}/таблицы", NN_File=f"{FOLDER}/नेट.nn")
    lines = tarn.ready()
    assert count(lines, TABLES_FOUND) == 1 and f"info string loaded {FOLDER}/नेट.nn" in lines


def test_tools_read_and_write_them(program):
    shutil.copy(FOLDER / "パーティー.pgn", "plain.pgn")
    for games, positions in (("plain.pgn", pathlib.Path("plain.epd")), (FOLDER / "パーティー.pgn", FOLDER / "位置.epd")):
        assert program.run("-scan_pgn", games, "-o", positions).errors == program.run("-epd2bin", positions).errors == ""
    for extension in (".epd", ".bin"):
        plain = pathlib.Path("plain" + extension).read_bytes()
        assert plain and plain == (FOLDER / ("位置" + extension)).read_bytes()
    shutil.copy(DATA / "epd" / "bratko-kopec.epd", FOLDER / "тест.epd")
    assert program.run("-anepd", FOLDER / "тест.epd", "-d 2 -o", FOLDER / "отвѣты.epd").errors == ""
    assert (FOLDER / "отвѣты.epd").read_bytes().count(b" bm ") == 24


def test_console_loads_from_them_and_the_log_is_written_in_them(program, monkeypatch):
    monkeypatch.chdir(FOLDER)
    assert count(program.run("-c -log", text="load パーティー.pgn Kasparov\n").lines, "read 1 games") == 1
    log = pathlib.Path("tarn.log").read_bytes()
    assert "CMD: load パーティー.pgn Kasparov\n".encode() in log and b"\r" not in log


def test_names_that_are_not_utf8_work_as_older_interfaces_send_them(program, tarn):
    sent = b"b\xfccher.bin"  # on Windows in the code page of the system; elsewhere names are bytes
    pathlib.Path(to_text(sent) if program.is_posix else sent.decode("cp1252")).write_bytes(BOOK.read_bytes())
    tarn.set(OwnBook="true", OwnBook_File=to_text(sent))
    assert count(tarn.search("go depth 1"), BOOK_MOVE) == 1
