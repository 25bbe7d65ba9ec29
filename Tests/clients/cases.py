"""What the client tests share: failures, checks, and the run over the tests of a file."""
import os
import pathlib
import subprocess
import tempfile


class Failure(Exception):
    """What a test found."""


class Skipped(Exception):
    """Why a test cannot be made here."""


def check(condition, message):
    if not condition:
        raise Failure(message)


def run_tests(tests, wanted=(), in_folders=False):
    """Runs the tests with one of the words `wanted` in their names, or all, and prints what failed and "N passed,
    N failed". With `in_folders` each test gets the path of an empty folder of its own. Returns the exit status."""
    home = os.getcwd()
    passed = failed = 0
    for test in tests:
        if wanted and not any(word in test.__name__ for word in wanted):
            continue
        try:
            if in_folders:
                with tempfile.TemporaryDirectory() as folder:
                    try:
                        test(pathlib.Path(folder))
                    finally:
                        os.chdir(home)
            else:
                test()
            passed += 1
        except Skipped as why:
            print(f"{test.__name__}: skipped, {why}", flush=True)
        except (Failure, OSError, subprocess.SubprocessError) as failure:
            failed += 1
            print(f"{test.__name__}: {failure}", flush=True)
    print(f"{passed} passed, {failed} failed")
    return 1 if failed else 0
