#!/usr/bin/env python3
"""What is installed beside the program says what the program says: version, man page, completion of switches."""
import pathlib
import re
import shutil
import subprocess

from cases import IS_POSIX_PROGRAM, PROGRAM, ROOT, TIMEOUT, check, needs, run, run_tests

COMPLETE = 'source "$1"; _tarn "$2" "$3" "$4"; printf "%s\\n" "${COMPREPLY[@]}"'


def switches():
    return re.findall(r"^  (\S+)", "\n".join(run("--help").lines), re.MULTILINE)


def completions(word, after):
    done = subprocess.run(["bash", "-c", COMPLETE, "bash", ROOT / "packaging" / "tarn.bash", PROGRAM, word, after],
                          capture_output=True, timeout=TIMEOUT, text=True)
    check(done.stderr == "", f"completion of {word!r} after {after!r}: {done.stderr}")
    return done.stdout.split()


def test_version_is_that_of_the_project():
    declared = re.search(r"^project\(\w+ VERSION ([\d.]+)", (ROOT / "CMakeLists.txt").read_text(), re.MULTILINE)[1]
    check(run("--version").lines == [f"Tarn {declared}", ""], declared)


def test_man_page_names_every_switch_and_option():
    page = (ROOT / "packaging" / "tarn.6").read_text().replace(r"\-", "-")
    entries = {title: re.findall(r"^\.TP\n\.BI? (.*?)(?: \".*\")?$", text, re.MULTILINE)
               for title, text in re.findall(r"^\.SH (.*)\n((?:(?!\.SH ).*\n)*)", page, re.MULTILINE)}
    check(entries["SWITCHES"] == switches(), f"{entries['SWITCHES']} and {switches()}")
    options = re.findall(r"^option name (.*) type ", "\n".join(run(text="uci\nquit\n").lines), re.MULTILINE)
    check(sorted(entries["OPTIONS"]) == sorted(options), f"differ in {set(entries['OPTIONS']) ^ set(options)}")


def test_completion_offers_every_switch_and_what_may_follow_it():
    needs(IS_POSIX_PROGRAM and shutil.which("bash"), "bash and a program that it runs")
    pathlib.Path("main.bin").touch()
    check(completions("", "tarn") == switches(), f"{completions('', 'tarn')} and {switches()}")
    for word, after, expected in [("-mkb", "-c", ["-mkbook", "-mkbook2"]), ("be", "-d", []), ("ma", "-book", ["main.bin"]),
                                  ("", "-hash", []), ("", "-prune_nn", ["main.bin"]), ("ma", "a/[.*", [])]:
        check(completions(word, after) == expected, f"{word!r} after {after!r}: {completions(word, after)}")


if __name__ == "__main__":
    run_tests(globals())
