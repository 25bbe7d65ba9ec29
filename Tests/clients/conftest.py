"""Fixtures of the client tests. `program` runs the program that is tested and starts conversations with it, `tarn` is a
conversation over UCI, `selfplay` runs the generator. A test that has one of them works in an empty folder.

    python -m pytest Tests/clients/test_books.py --program build/dev/tarn -k depths

Environment: TARN_PROGRAM names the program instead of --program; TARN_PATIENCE is a factor for slow (instrumented) builds;
TARN_RUNNER is the command that runs a program of another system, "wine".
"""
import os
import pathlib

import pytest

from uci_client import Program

ROOT = pathlib.Path(__file__).resolve().parents[2]
DATA = ROOT / "Tests" / "data"
PATIENCE = float(os.environ.get("TARN_PATIENCE", "1"))
LATENCY = 0.5 * PATIENCE  # seconds in which a program answers that has nothing else to do


def count(lines, start):
    return sum(line.startswith(start) for line in lines)


def pytest_addoption(parser):
    parser.addoption("--program", default=os.environ.get("TARN_PROGRAM", ROOT / "build" / "release" / "tarn"),
                     help="the program that is tested (default: TARN_PROGRAM, or build/release/tarn)")


def pytest_collection_modifyitems(items):
    """With a runner, only the tests of the program run: the others test scripts, which no other system changes."""
    if os.environ.get("TARN_RUNNER"):
        items[:] = [item for item in items if "program_path" in item.fixturenames]


@pytest.fixture(scope="session")
def program_path(request):
    """The program's file. Where a runner is needed, one program stays for the whole session.

    Wine starts its services with the first program and ends them with the last. They inherit the first program's error
    stream: if that were a test's program, what they write there would look like its messages.
    """
    found = (request.config.invocation_params.dir / request.config.getoption("--program")).resolve()
    staying = Program(found, 600)
    if os.environ.get("TARN_RUNNER"):
        staying.start().ready()
    yield found
    staying.end()


@pytest.fixture
def program(program_path, request, tmp_path, monkeypatch):
    found = Program(program_path, 120 * PATIENCE)
    needs = request.node.get_closest_marker("posix")
    if needs and not found.is_posix:
        pytest.skip("needs " + needs.args[0])
    monkeypatch.chdir(tmp_path)
    yield found
    found.end()


@pytest.fixture
def tarn(program):
    return program.start()


@pytest.fixture
def selfplay(program):
    return program.beside("tarn_selfplay")
