# Quick start on a fresh Debian 12 machine: `make run` and `make test`.
SHELL := /bin/bash
CLI := build/default/app/cli/lorvan-cli
DEMO := data/demo/Lorvan Demo.cue

.PHONY: run test bootstrap build build-asan fuzz bench format clean

bootstrap:
	@scripts/bootstrap

build: bootstrap
	@cmake --preset default >/dev/null
	@cmake --build --preset default

build-asan: bootstrap
	@cmake --preset asan >/dev/null
	@cmake --build --preset asan

run: build
	@"$(CLI)" cue "$(DEMO)"

test: build build-asan
	ctest --preset default
	ctest --preset asan

fuzz: bootstrap
	@cmake --preset fuzz >/dev/null
	@cmake --build --preset fuzz --target cuesheet_fuzzer date_fuzzer
	@scripts/run-fuzzers 60

bench: build
	@scripts/run-benchmarks

format:
	@git ls-files '*.cpp' '*.hpp' | xargs clang-format -i

clean:
	rm -rf build
