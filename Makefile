# Entry points. Every target installs missing Debian packages first.
#   make run       build the library and the guidance tool, run the demonstration
#                  (ARGS='...' runs the tool with those arguments instead)
#   make check     every test: host, sanitizers, the device's architecture, fuzzing
#   make package   Debian packages for the host and the device in build/packages/
#   make docs      the API reference in build/host/docs/html/
#   make bench     optimised benchmarks with their comparison table
#   make coverage  the suite built with gcov: coverage figures and an HTML report
#   make format-check / make format   check / lay out the changed C++ lines (scripts/format-check)
# The settings (JOBS, TESTS, FUZZ_SECONDS, ARGS) are described in the README.
JOBS ?= $(shell nproc)
TESTS ?=
ARGS ?=
export JOBS

.PHONY: all deps build run check test-host test-asan test-tsan test-ppc coverage fuzz bench package docs format-check format clean

all: build

deps:
	@scripts/install-deps

build: deps
	@scripts/check build host

run: deps
	@scripts/check build host guidance
ifeq ($(strip $(ARGS)),)
	@scripts/run-demo
else
	@build/host/tools/guidance $(ARGS)
endif

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

package: deps
	@scripts/check package

docs: deps
	@scripts/check docs

clean:
	rm -rf build
