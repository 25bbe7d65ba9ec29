"""What is installed beside the program says what the program says: version, man page, completion of switches."""
import pathlib
import re
import shutil
import subprocess

import pytest

from conftest import ROOT

COMPLETE = 'source "$1"; _tarn "$2" "$3" "$4"; printf "%s\\n" "${COMPREPLY[@]}"'


def switches(program):
    return re.findall(r"^  (\S+)", program.run("--help").output, re.MULTILINE)


def test_version_is_that_of_the_project(program):
    declared = re.search(r"^project\(\w+ VERSION ([\d.]+)", (ROOT / "CMakeLists.txt").read_text(), re.MULTILINE)[1]
    assert program.run("--version").output == f"Tarn {declared}\n"


def test_man_page_names_every_switch_and_option(program):
    page = (ROOT / "packaging" / "tarn.6").read_text().replace(r"\-", "-")
    entries = {title: re.findall(r"^\.TP\n\.BI? (.*?)(?: \".*\")?$", text, re.MULTILINE)
               for title, text in re.findall(r"^\.SH (.*)\n((?:(?!\.SH ).*\n)*)", page, re.MULTILINE)}
    options = re.findall(r"^option name (.*) type ", program.run(text="uci\nquit\n").output, re.MULTILINE)
    assert entries["SWITCHES"] == switches(program) and sorted(entries["OPTIONS"]) == sorted(options)


@pytest.mark.posix("bash and a program that it runs")
@pytest.mark.skipif(not shutil.which("bash"), reason="needs bash")
def test_completion_offers_every_switch_and_what_may_follow_it(program):
    pathlib.Path("main.bin").touch()
    for word, after, expected in [("", "tarn", switches(program)), ("-mkb", "-c", ["-mkbook", "-mkbook2"]), ("be", "-d", []),
                                  ("ma", "-book", ["main.bin"]), ("", "-hash", []), ("", "-prune_nn", ["main.bin"]),
                                  ("ma", "a/[.*", [])]:
        done = subprocess.run(["bash", "-c", COMPLETE, "bash", ROOT / "packaging" / "tarn.bash", program.path, word, after],
                              capture_output=True, text=True)
        assert (done.stdout.split(), done.stderr) == (expected, ""), f"{word!r} after {after!r}"
