# Quick start on a fresh Debian 12 machine: `make run` and `make test`.
SHELL := /bin/bash
CLI := build/default/app/cli/lorvan-cli
DEMO := data/demo/Lorvan Demo.cue

.PHONY: run test bootstrap build build-asan package fuzz bench format clean

bootstrap:
	@scripts/bootstrap

build: bootstrap
	@cmake --preset default >/dev/null
	@cmake --build --preset default

build-asan: bootstrap
	@cmake --preset asan >/dev/null
	@cmake --build --preset asan

# A .deb of the default build in build/default/package; its dependencies come from dpkg-shlibdeps.
package: build
	@cmake --build --preset default --target package

# The demo disc is generated on first run into the cache folder, then played to its end through
# the sound device (the null output, with a warning, when there is none). Standard input is not
# the terminal, so the player prints its log instead of the status display and returns at the
# end of the disc.
DEMO_DIR := $(or $(XDG_CACHE_HOME),$(HOME)/.cache)/lorvan/demo

WINDOW := build/default/app/window/lorvan

# With a display the window opens on the demo disc and plays it; without one the terminal
# player plays it to its end.
run: build
	@test -f "$(DEMO_DIR)/Lorvan Demo.cue" || "$(CLI)" demo --dir "$(DEMO_DIR)" >/dev/null
	@if [ -n "$$DISPLAY$$WAYLAND_DISPLAY" ]; then \
		"$(WINDOW)" "$(DEMO_DIR)/Lorvan Demo.cue"; \
	else \
		echo "No display (neither DISPLAY nor WAYLAND_DISPLAY is set): playing the demo disc in the terminal."; \
		"$(CLI)" play "$(DEMO_DIR)/Lorvan Demo.cue" </dev/null; \
	fi

# The playback tests also run under ThreadSanitizer: they are the ones with threads to race. The
# tsan build holds only them, so every test it did not build is left out by name.
PLAYBACK_TESTS := lorvan_playback_engine_tests lorvan_playback_integration_tests lorvan_player_tests

test: build build-asan
	ctest --preset default
	ctest --preset asan
	@cmake --preset tsan >/dev/null
	@cmake --build --preset tsan --target $(PLAYBACK_TESTS)
	ctest --preset tsan -E '_NOT_BUILT$$'

# Each libFuzzer target runs for FUZZ_SECONDS: `make fuzz FUZZ_SECONDS=3600` for an hour apiece.
FUZZ_SECONDS ?= 60
FUZZ_TARGETS := cuesheet_fuzzer date_fuzzer audiofile_fuzzer disc_fuzzer

fuzz: bootstrap
	@cmake --preset fuzz >/dev/null
	@cmake --build --preset fuzz --target $(FUZZ_TARGETS) make_fuzz_seeds
	@scripts/run-fuzzers $(FUZZ_SECONDS) $(FUZZ_TARGETS)

bench: build
	@scripts/run-benchmarks

format:
	@git ls-files '*.cpp' '*.hpp' | xargs clang-format -i

clean:
	rm -rf build
