#!/usr/bin/env python3
"""Files and folders with names in many scripts, named by switches, options, the configuration file and the console.
What the program makes of them must be what it makes of the same files under plain names."""
import os
import pathlib
import shutil

from cases import DATA, IS_POSIX_PROGRAM, ROOT, Session, check, count, run, run_tests, to_text

FOLDER = pathlib.Path("Größe", "日本Ω♞𝄞")  # the last letter is outside the 16 bits of most
BOOK = DATA / "polyglot" / "performance-part.bin"
BOOK_MOVE = "info string book move is "
WDL_TABLES = len(list((DATA / "syzygy").glob("*.rtbw")))
TABLES_FOUND = f"info string Found {WDL_TABLES} WDL, "
FIRST_GAMES = "kasparov-deep-blue-1997.pgn"


def write_files(folder):
    folder.mkdir(parents=True, exist_ok=True)
    shutil.copy(BOOK, folder / "büch.bin")
    shutil.copytree(DATA / "syzygy", folder / "таблицы")
    shutil.copy(ROOT / "Source" / "eval" / "embedded.nn", folder / "नेट.nn")
    shutil.copy(DATA / "pgn" / FIRST_GAMES, folder / "パーティー.pgn")
    settings = f"MultiPV = 3\nSyzygyPath = {folder}/таблицы\n"
    (folder / "ρυθμίσεις.cfg").write_text(settings, encoding="utf-8-sig")


def test_switches_and_configuration_name_them():
    write_files(FOLDER)
    lines = run("-cfg", FOLDER / "ρυθμίσεις.cfg", "-book", FOLDER / "büch.bin",
                text="setoption name OwnBook value true\ngo depth 1\n").lines
    check(f"info string loading parameters from {FOLDER}/ρυθμίσεις.cfg" in lines, f"{lines}")
    check("info string MultiPV set to 3" in lines, f"the line after a byte order mark: {lines}")
    check(count(lines, TABLES_FOUND) >= 1 and count(lines, BOOK_MOVE) == 1, f"{lines}")
    lines = run("-tbpath", FOLDER / "таблицы").lines
    check(count(lines, TABLES_FOUND) == 1, f"-tbpath: {lines}")


def test_options_name_them():
    write_files(FOLDER)
    with Session() as tarn:
        tarn.send("setoption name OwnBook value true", f"setoption name OwnBook_File value {FOLDER}/büch.bin",
                  "go depth 1")
        check(count(tarn.wait_for("bestmove"), BOOK_MOVE) == 1, "no book move")
        tarn.send(f"setoption name SyzygyPath value {FOLDER}/таблицы", "setoption name OwnBook value false",
                  "position fen 7k/8/8/8/8/8/8/KQ6 w - - 0 1", "go depth 6")
        lines = tarn.wait_for("bestmove")
        check(count(lines, TABLES_FOUND) == 1, f"{lines}")
        check(any(" tbhits " in line and " tbhits 0 " not in line for line in lines), f"no table was read: {lines}")
        tarn.send(f"setoption name NN_File value {FOLDER}/नेट.nn", "uci")
        lines = tarn.wait_for("uciok")
        check(f"option name NN_File type string default {FOLDER}/नेट.nn" in lines, f"{lines}")
        check(not any("no complete network" in line for line in lines), f"{lines}")
        check(count(lines, "info string loaded ") == 1, f"{lines}")


def test_tools_read_and_write_them():
    write_files(FOLDER)
    shutil.copy(FOLDER / "パーティー.pgn", "plain.pgn")
    for games, positions in (("plain.pgn", "plain.epd"), (FOLDER / "パーティー.pgn", FOLDER / "位置.epd")):
        found = run("-scan_pgn", games, "-o", positions)
        check(found.status == 0 and found.errors == "", f"{found}")
        found = run("-epd2bin", positions)
        check(found.status == 0 and found.errors == "", f"{found}")
    for extension in (".epd", ".bin"):
        plain = pathlib.Path("plain" + extension).read_bytes()
        check(plain and plain == (FOLDER / ("位置" + extension)).read_bytes(), f"another {extension}")
    suite = "\n".join((DATA / "epd" / "bratko-kopec.epd").read_text().splitlines()[:3])
    (FOLDER / "тест.epd").write_text(suite)
    found = run("-anepd", FOLDER / "тест.epd", "-d", 2, "-o", FOLDER / "отвѣты.epd")
    check(found.status == 0 and found.errors == "", f"{found}")
    check((FOLDER / "отвѣты.epd").read_bytes().count(b" bm ") == 3, "answers are missing")


def test_console_loads_from_them_and_the_log_is_written_in_them():
    write_files(FOLDER)
    os.chdir(FOLDER)
    lines = run("-c", "-log", text="load パーティー.pgn Kasparov\n").lines
    check(count(lines, "read 1 games") == 1, f"{lines}")
    log = pathlib.Path("tarn.log").read_bytes()
    check("CMD: load パーティー.pgn Kasparov\n".encode() in log and b"\r" not in log, f"{log}")


def test_names_that_are_not_utf8_work_as_older_interfaces_send_them():
    """On Windows they are in the code page of the system, elsewhere names are bytes."""
    sent = b"b\xfccher.bin"
    pathlib.Path(to_text(sent) if IS_POSIX_PROGRAM else sent.decode("cp1252")).write_bytes(BOOK.read_bytes())
    with Session() as tarn:
        tarn.send("setoption name OwnBook value true", "setoption name OwnBook_File value " + to_text(sent), "go depth 1")
        check(count(tarn.wait_for("bestmove"), BOOK_MOVE) == 1, "no book move")


if __name__ == "__main__":
    run_tests(globals())
