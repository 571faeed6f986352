# Entry points. Every target installs missing Debian packages first.
#   make run     build the library and the guidance tool, run the demonstration
#   make check   every test: host, sanitizers, the device's architecture, fuzzing
#   make bench   optimised benchmarks with their comparison table
#   make format-check / make format   check / lay out the changed C++ lines (scripts/format-check)
#   make coverage  the suite built with gcov: coverage figures and an HTML report
JOBS ?= $(shell nproc)
TESTS ?=

.PHONY: all deps build run check test-host test-asan test-tsan test-ppc coverage fuzz bench format-check format clean

all: build

deps:
	@scripts/install-deps

build: deps
	@scripts/check build host

run: deps
	@scripts/check build host guidance
	@scripts/run-demo

check: deps
	@scripts/check all

test-host test-asan test-tsan test-ppc: deps
	@TESTS="$(TESTS)" scripts/check $(patsubst test-%,%,$@)

coverage: deps
	@scripts/check coverage

fuzz: deps
	@scripts/check fuzz

bench: deps
	@bench/run

format-check: deps
	@scripts/check format

format: deps
	@scripts/format-check --fix

clean:
	rm -rf build
