"""Packages that scripts need beside Python itself."""
import importlib.util
import os
import pathlib
import sys

VENV = pathlib.Path(__file__).resolve().parent.parent / ".venv"


def need(*names):
    """Returns if this Python has the packages. Otherwise starts the script again with that of .venv, which `make test`
    makes, or ends it with a line that tells how to get them."""
    missing = [name for name in names if not importlib.util.find_spec(name)]
    python = VENV / "bin" / "python"
    if missing and python.exists() and pathlib.Path(sys.prefix).resolve() != VENV:
        os.execv(python, [str(python), *sys.argv])
    if missing:
        sys.exit(f"needs the Python package {' and '.join(missing)}: `scripts/setup.sh test` puts it into .venv")
