#!/bin/sh
# Installs what the named purposes need and this machine lacks: setup.sh build|test|fuzz|windows|dist|bench|lint|format ...
# On a Debian-like system packages come from apt-get, as root or through sudo; anywhere else, or without the
# right to install, it says what to install and stops.
set -eu
cd "$(dirname "$0")/.."

PACKAGES="chess==1.11.2 pytest==8.3.5 distributed==2026.8.0" # what the Python test clients use
missing=""

need_command() { # command, package
    command -v "$1" >/dev/null 2>&1 || missing="$missing $2"
}

need_header() { # header, package
    echo "#include <$1>" | c++ -E -x c++ -std=c++20 - >/dev/null 2>&1 || missing="$missing $2"
}

# libFuzzer and the sanitizers are in a package that carries the version of clang.
need_fuzzer() {
    echo 'extern "C" int LLVMFuzzerTestOneInput(const unsigned char*, unsigned long) { return 0; }' |
        clang++ -fsanitize=fuzzer,address,undefined -x c++ - -o /dev/null >/dev/null 2>&1 ||
        missing="$missing libclang-rt-$(clang++ -dumpversion | cut -d . -f 1)-dev"
}

has_packages() { # interpreter
    "$1" -c 'import chess, pytest, distributed' >/dev/null 2>&1
}

install_missing() {
    [ -n "$missing" ] || return 0
    command="apt-get install -y --no-install-recommends$missing"
    echo "Missing here:$missing"
    if ! command -v apt-get >/dev/null 2>&1; then
        echo "Install these (Debian's package names) with this system's package manager, then try again." >&2
        exit 1
    elif [ "$(id -u)" = 0 ]; then
        as_root=""
    elif sudo -n true 2>/dev/null || { [ -t 0 ] && command -v sudo >/dev/null 2>&1; }; then
        as_root="sudo"
    else
        echo "Run this as root, then try again:" >&2
        echo "    apt-get update && $command" >&2
        exit 1
    fi
    export DEBIAN_FRONTEND=noninteractive
    $as_root apt-get update -q </dev/null
    $as_root $command </dev/null
    missing=""
}

# The Python packages go into the project's own environment, unless an interpreter has them already.
install_packages() {
    if has_packages .venv/bin/python || has_packages python3; then return 0; fi
    # Debian's own interpreter where there is one: python3-venv belongs to it.
    python=python3
    if ! python3 -c 'import ensurepip, venv' >/dev/null 2>&1; then
        missing="$missing python3-venv"
        install_missing
        if [ -x /usr/bin/python3 ]; then python=/usr/bin/python3; fi
    fi
    echo "Installing the Python packages $PACKAGES into .venv"
    "$python" -m venv .venv
    .venv/bin/python -m pip install --quiet --disable-pip-version-check $PACKAGES
}

for purpose in "$@"; do
    case "$purpose" in
    build)
        need_command c++ g++
        need_command cmake cmake
        # The headers are asked of the compiler, so it comes first.
        install_missing
        ;;
    test)
        need_header gtest/gtest.h libgtest-dev
        need_command python3 python3
        install_missing
        install_packages
        ;;
    fuzz)
        need_command clang++ clang
        need_command llvm-symbolizer llvm
        need_command python3 python3
        install_missing
        need_fuzzer
        ;;
    windows)
        need_command x86_64-w64-mingw32-g++-posix g++-mingw-w64-x86-64-posix
        need_command wine wine
        ;;
    dist)
        need_command dpkg-shlibdeps dpkg-dev
        need_command file file
        need_command x86_64-w64-mingw32-g++-posix g++-mingw-w64-x86-64-posix
        ;;
    bench)
        need_header benchmark/benchmark.h libbenchmark-dev
        ;;
    lint)
        need_command clang-tidy clang-tidy
        need_command python3 python3
        ;;
    format)
        need_command clang-format clang-format
        ;;
    *)
        echo "usage: setup.sh build|test|fuzz|windows|dist|bench|lint|format ..." >&2
        exit 2
        ;;
    esac
done
install_missing
