# What people type. `make run` and `make test` install what is missing, build and go; see README.md.
#   make run [ARGS=-c]     make test     make check     make bench     make lint     make format
#   make signature   after a change that means to alter the search, the evaluation or the network
#   make samples     renews the program's output in README.md and docs/, and the lists of the man page
#   make install [PREFIX=/usr/local]     make uninstall     make clean
#   make dist    the packages, into dist/     make check-dist   the same, and whether their programs run
#   make EXE=name [CXX=compiler] [EVALFILE=network]   for test farms: a compiler is enough
#   make fuzz [TARGET=uci] [SECONDS=60]   random inputs for every reader
#   make test-windows   the Windows program, built with MinGW-w64 and tested under wine
# The laboratory: make selfplay (training games)   make tune (hand-crafted evaluation)   make train (network)
PREFIX ?= /usr/local
JOBS ?= $(shell getconf _NPROCESSORS_ONLN 2>/dev/null || echo 2)
ARGS ?=
BUILD := build/release
PROGRAM := $(BUILD)/tarn
VERSION := $(shell sed -n 's/^project.* VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
SETUP := sh scripts/setup.sh
# The interpreter that has the test clients' packages. The shell asks when a line runs, as setup.sh may just have made the
# environment: make itself expands all lines of a recipe before the first one runs.
PYTHON = $$(.venv/bin/python -c 'import chess, pytest' 2>/dev/null && echo $(CURDIR)/.venv/bin/python || command -v python3)
SOURCES = $(shell find Source Tests Benchmarks -name '*.cpp' -o -name '*.h')

# Ninja where it is installed; a build folder that exists keeps the generator that it was made with.
ifneq ($(shell command -v ninja),)
export CMAKE_GENERATOR ?= Ninja
endif

.DEFAULT_GOAL := tarn
.PHONY: tarn run test check test-windows fuzz bench install uninstall dist check-dist lint format clean \
        signature samples selfplay tune train train_

# With a compiler but no CMake, and where a choice of a test farm is given, make builds alone.
ifneq ($(EXE)$(EVALFILE)$(filter command%,$(origin CXX))$(shell command -v cmake >/dev/null || command -v $(CXX)),)
include scripts/plain.mk
else
tarn:
	@$(SETUP) build
	@[ -f $(BUILD)/CMakeCache.txt ] || cmake --preset release -DTARN_TESTS=OFF
	@cmake --build $(BUILD) --target tarn -j $(JOBS)
endif

run: tarn
	@exec $(PROGRAM) $(ARGS)

# The generator of training games and the tuner, programs of their own: build/release/tarn_selfplay --help.
selfplay tune:
	@$(SETUP) build
	@[ -f $(BUILD)/CMakeCache.txt ] || cmake --preset release -DTARN_TESTS=OFF
	@cmake --build $(BUILD) --target tarn_$@ -j $(JOBS)

test:
	@$(SETUP) build test
	@cmake --preset release -DTARN_TESTS=ON -DPython3_EXECUTABLE="$(PYTHON)"
	@cmake --build $(BUILD) -j $(JOBS)
	@ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS)

# What takes longer: lint, sanitizers, fuzz targets, the Windows program, packages. STEPS="lint asan" runs those alone.
check:
	@sh scripts/check.sh $(STEPS)

# Conversations with the Windows programs, which wine runs in a folder of its own. CLIENTS=protocol runs those alone.
CLIENTS ?= $(patsubst Tests/clients/test_%.py,%,$(wildcard Tests/clients/test_*.py))
test-windows: export TARN_RUNNER ?= wine
test-windows: export WINEPREFIX ?= $(CURDIR)/build/wine
test-windows: export WINEDEBUG ?= -all
test-windows: export LC_ALL ?= C.UTF-8
test-windows:
	@$(SETUP) build test windows
	@cmake --preset windows
	@cmake --build build/windows --target tarn tarn_selfplay tarn_tune -j $(JOBS)
	@[ -d "$(WINEPREFIX)" ] || wineboot -i >/dev/null 2>&1
	@$(PYTHON) -m pytest $(CLIENTS:%=Tests/clients/test_%.py) --program build/windows/tarn.exe

# Tests/fuzz has a target for each reader. An input that breaks one is kept in Tests/fuzz/regress.
TARGET ?=
SECONDS ?= 60
fuzz:
	@$(SETUP) build fuzz
	@cmake --preset fuzz
	@cmake --build build/fuzz -j $(JOBS)
	@python3 scripts/fuzz.py build/fuzz --target "$(TARGET)" --seconds $(SECONDS)

bench:
	@$(SETUP) build bench
	@cmake --preset bench
	@cmake --build build/bench -j $(JOBS)
	@build/bench/tarn_benchmarks $(ARGS)

signature: tarn
	@$(PYTHON) scripts/signature.py $(PROGRAM) --record

samples: tarn
	@python3 scripts/samples.py $(PROGRAM) --write

# The variant whose -train trains a network: build/train/tarn, for this machine alone. The program's message names train_.
train train_:
	@$(SETUP) build
	@cmake --preset train
	@cmake --build build/train --target tarn -j $(JOBS)

INSTALL_TO = $(DESTDIR)$(PREFIX)
MAN_PAGE = share/man/man6/tarn.6
COMPLETION = share/bash-completion/completions/tarn
DOCUMENTS = share/doc/tarn

install: tarn
	@install -D $(PROGRAM) "$(INSTALL_TO)/bin/tarn"
	@install -D -m 644 packaging/tarn.6 "$(INSTALL_TO)/$(MAN_PAGE)"
	@install -D -m 644 packaging/tarn.bash "$(INSTALL_TO)/$(COMPLETION)"
	@install -d "$(INSTALL_TO)/$(DOCUMENTS)"
	@install -m 644 docs/*.md docs/*.svg "$(INSTALL_TO)/$(DOCUMENTS)"

uninstall:
	@rm -f "$(INSTALL_TO)/bin/tarn" "$(INSTALL_TO)/$(MAN_PAGE)" "$(INSTALL_TO)/$(COMPLETION)"
	@rm -rf "$(INSTALL_TO)/$(DOCUMENTS)"

# Packages of one commit are the same files, whenever they are made.
dist: export SOURCE_DATE_EPOCH ?= $(shell git log -1 --format=%ct 2>/dev/null || date +%s)
dist:
	@$(SETUP) build dist
	@rm -rf dist
	@for preset in deb static windows; do \
	    cmake --preset $$preset && cmake --build build/$$preset --target tarn -j $(JOBS) && \
	    cpack --config build/$$preset/CPackConfig.cmake || exit 1; \
	done
	@rm -rf dist/_CPack_Packages

check-dist: dist
	@sh scripts/check_dist.sh $(VERSION)

lint:
	@$(SETUP) build lint
	@python3 scripts/check_includes.py
	@cmake -S . -B build/lint -DTARN_TESTS=OFF -DTARN_LTO=OFF -DCMAKE_EXPORT_COMPILE_COMMANDS=ON >/dev/null
	@find Source -name '*.cpp' ! -name '*_windows.cpp' | sort | \
	    xargs -P $(JOBS) -n 1 clang-tidy -p build/lint --quiet --warnings-as-errors='*'

format:
	@$(SETUP) format
	@clang-format -i $(SOURCES)

clean:
	@rm -rf build
