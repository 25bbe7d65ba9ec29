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
    assert program.run("--version").lines == [f"Tarn {declared}", ""]


# The page's entries come from the program's help and from the guide.
def test_man_page_names_every_switch_and_option(program):
    page = (ROOT / "packaging" / "tarn.6").read_text().replace(r"\-", "-").split("\n.SH FILES")[0]
    options = re.findall(r"^option name (.*) type ", program.run(text="uci\nquit\n").output, re.MULTILINE)
    entries = re.findall(r"^\.TP\n\.BI? (.*?)(?: \".*\")?$", page, re.MULTILINE)
    assert sorted(entries) == sorted(switches(program) + options)


@pytest.mark.posix("bash")
@pytest.mark.skipif(not shutil.which("bash"), reason="needs bash")
def test_completion_offers_every_switch_and_what_may_follow_it(program):
    def completions(word, after):
        done = subprocess.run(["bash", "-c", COMPLETE, "bash", ROOT / "packaging" / "tarn.bash", program.path, word, after],
                              capture_output=True, text=True)
        assert done.stderr == ""
        return done.stdout.split()

    pathlib.Path("main.bin").touch()
    assert completions("", "tarn") == switches(program)
    for word, after, expected in [("-mkb", "-c", ["-mkbook", "-mkbook2"]), ("be", "-d", []), ("ma", "-book", ["main.bin"]),
                                  ("", "-hash", []), ("", "-prune_nn", ["main.bin"]), ("ma", "a/[.*", [])]:
        assert completions(word, after) == expected, (word, after)
