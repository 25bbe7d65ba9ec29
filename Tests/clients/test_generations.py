"""Generations of networks: whatever interrupts the run, every generation has its games and its network once."""
import pathlib
import re
import signal
import subprocess
import sys
import time

import pytest

from conftest import PATIENCE, ROOT

GAMES = 12
OUT = pathlib.Path("out")
# In the trainer's place: the next network is the one before with its last number changed.
TRAINER = """#!{python}
import pathlib, sys
recipe = [line.split(" = ") for line in open(sys.argv[2]).read().splitlines()]
values = dict(recipe)
assert sys.argv[3:] == ["2", "1", "-threads", "2"]
assert all(list(pathlib.Path(value).glob("*.bin")) for name, value in recipe if name == "data")
network = bytearray(open(values["network"], "rb").read())
network[-2] = (network[-2] + 1) % 256
open(values["output"], "wb").write(network)
open(values["output"] + ".report", "w").write("yardstick: 0.25 against A\\nyardstick: 0.50 against B\\n")
"""


def start(program):
    words = [ROOT / "scripts" / "generations.py", "--folder", OUT, "--generations", "3", "--games", str(GAMES), "--processes", "2",
             "--selfplay", program.beside("tarn_selfplay").path, "--trainer", "trainer", "--", "--nodes", "1000"]
    return subprocess.Popen([sys.executable, *words], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)


def finish(run):
    output, errors = run.communicate(timeout=120 * PATIENCE)
    return run.returncode, output, errors


def content(pattern):
    return {str(path.relative_to(OUT)): path.read_bytes() for path in OUT.glob(pattern) if path.is_file()}


@pytest.mark.posix("signals, a script as a program")
@pytest.mark.parametrize("sent", [signal.SIGINT, signal.SIGTERM])
def test_interrupted_run_goes_on(program, sent):
    trainer = pathlib.Path("trainer")
    trainer.write_text("#!/bin/sh\nexit 3\n")
    trainer.chmod(0o755)
    status, output, errors = finish(start(program))
    assert status == 1 and output == "generation 1: 0 of 12 games played\n"
    assert errors == f"generations.py: {trainer.resolve()} ended with status 3, see out/2.log\n"
    assert [*content("*.nn")] == ["1.nn"]
    games = content("1/*.bin")

    trainer.write_text(TRAINER.format(python=sys.executable))
    run = start(program)
    while not any(path.stat().st_size for path in OUT.glob("2/*.bin")):
        assert run.poll() is None
        time.sleep(0.01)
    run.send_signal(sent)
    status, output, errors = finish(run)
    assert (status, errors) == (1, "generations.py: interrupted\n")
    assert sorted(content("*.nn")) == ["1.nn", "2.nn"] and content("1/*.bin") == games, "generation 1 was played again"

    status, output, errors = finish(start(program))
    assert (status, errors) == (0, "")
    assert 0 < int(re.match(r"generation 2: (\d+) of 12 games played\n", output)[1]) < GAMES, "the generator was not ended"
    assert output.endswith("network 4: yardstick 0.25 against scores, 0.50 against results\n") and output.count("yardstick") == 2
    networks = content("*.nn")
    assert [(networks[f"{n}.nn"][-2] - networks["1.nn"][-2]) % 256 for n in range(2, 5)] == [1, 2, 3]
    for n in range(1, 4):
        counts = re.findall(r"^games (\d+)$", "".join(path.read_text() for path in OUT.glob(f"{n}/*.state")), re.MULTILINE)
        assert sum(map(int, counts)) == GAMES
        assert f"loaded out/{n}.nn" in (OUT / f"{n}.log").read_text()
    recipe = (OUT / "4.txt").read_text()
    assert recipe.startswith("data = out/2\ndata = out/3\nnetwork = out/3.nn\n")

    everything = content("**/*")
    assert finish(start(program)) == (0, "", "") and content("**/*") == everything
