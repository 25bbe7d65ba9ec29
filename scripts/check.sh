#!/bin/sh
# What `make test` does not: check.sh [lint|asan|tsan|fuzz|windows|dist ...], all of them if none is named. Each step's
# output is in build/check/STEP.log; a line tells its time, and the end of the log follows where it failed. Two lanes
# run side by side; nothing here watches a clock closely, and TARN_PATIENCE stretches what the clients wait for.
set -u
cd "$(dirname "$0")/.."
MAKE=${MAKE:-make}
JOBS=${JOBS:-$(getconf _NPROCESSORS_ONLN 2>/dev/null || echo 2)}
SLOW=10 # times as long as the plain program

sanitized() { # preset, what to build, then the ctest arguments that choose the tests
    preset=$1
    targets=$2
    shift 2
    cmake --preset "$preset" -DTARN_TESTS=ON -DPython3_EXECUTABLE="$PYTHON" &&
        cmake --build "build/$preset" --target $targets -j "$JOBS" &&
        TARN_PATIENCE=$SLOW ctest --test-dir "build/$preset" --output-on-failure -j "$JOBS" --timeout 1200 "$@"
}

step() {
    case $1 in
    lint) $MAKE -s lint ;;
    # Without the long runs and what counts milliseconds.
    asan) sanitized asan all -E '^(signature|samples|test_(latency|match|selfplay|fleet|generations|tune))$' ;;
    # Without the longest searches; others have several threads too.
    tsan)
        export GTEST_FILTER='-FirstIteration.*:Search.published*'
        sanitized tsan 'tarn search_tests frontend_tests' -R '^(search|frontend|test_protocol)$'
        ;;
    fuzz) $MAKE -s fuzz SECONDS=20 ;;
    windows) TARN_PATIENCE=$SLOW $MAKE -s test-windows ;;
    dist) $MAKE -s check-dist ;;
    *) echo "no step $1" && false ;;
    esac
}

run() { # the steps of one lane, in order
    for name in "$@"; do
        begin=$(date +%s)
        if (step "$name") >"build/check/$name.log" 2>&1 </dev/null; then result=passed; else result=FAILED; fi
        printf '%-8s %s in %4d s\n' "$name" "$result" $(($(date +%s) - begin))
        [ $result = passed ] || { tail -n 40 "build/check/$name.log"; : >"build/check/$name.failed"; }
    done
}

mkdir -p build/check
rm -f build/check/*.failed
sh scripts/setup.sh build test lint fuzz windows dist || exit 1
# The setup may just have made the environment.
PYTHON=$(.venv/bin/python -c 'import chess, pytest' 2>/dev/null && echo "$PWD/.venv/bin/python" || command -v python3)
if [ $# -gt 0 ]; then
    run "$@"
else
    # The Windows program is built once, by the tests; the packages take it from there.
    run asan tsan &
    run lint fuzz windows dist
    wait
fi
set -- build/check/*.failed
[ ! -e "$1" ]
