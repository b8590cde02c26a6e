# make run | test | check | check-long | evidence | bench | bench-native | bench-page | coverage | docs | format | clean
# Parts of check: test check-native check-ub check-clang check-split lint fuzz docs check-debugger.
# Parts of check-long: check-heap check-ub-all check-patterns check-collation check-trees fuzz-long lint-files.
# Every target installs what the machine lacks, configures what is not configured and builds what changed.
SHELL := /bin/bash
BUILD := build
WINE  := cmake/wine-env.sh
JOBS  ?= $(shell nproc)
CTEST := ctest --output-on-failure --no-tests=error -j$(JOBS)

# Groups of tools: setup for everything, setup-clang and setup-fuzz on top of it.
SETUPS := setup setup-clang setup-fuzz setup-docs setup-debugger setup-coverage setup-bench
CHECKS := test check-split check-clang lint check-native check-ub fuzz docs check-debugger
LONG_CHECKS := check-heap check-ub-all check-patterns check-collation check-trees fuzz-long lint-files
.PHONY: $(SETUPS) $(CHECKS) $(LONG_CHECKS) check check-long run picture evidence image-list bench bench-native bench-page coverage format clean
.DELETE_ON_ERROR:

setup:
	@scripts/setup.sh
setup-clang:
	@scripts/setup.sh clang
setup-fuzz:
	@scripts/setup.sh fuzz
setup-coverage:
	@scripts/setup.sh coverage
setup-docs:
	@scripts/setup.sh docs
setup-bench:
	@scripts/setup.sh bench
setup-debugger:
	@scripts/setup.sh debugger

# $(call build,preset): configure once, build quietly, show the log when it fails.
build = scripts/build.sh $(1)

run: setup
	@[ -z "$$XC_INPUT" ] || [ -f "$$XC_INPUT" ] || { echo "run: XC_INPUT names no file: $$XC_INPUT" >&2; exit 1; }
	@$(call build,win --target record_host)
	@scripts/run_main_job.sh $(BUILD)/win

# The picture of the README, from a real run.
picture: setup
	@$(call build,win --target record_host)
	@set -o pipefail; scripts/run_main_job.sh $(BUILD)/win | python3 scripts/terminal_picture.py docs/record_host.svg "make run"

test: setup
	@scripts/check_format.sh
	@python3 scripts/check_rooms.py
	@python3 scripts/check_paths.py
	@python3 scripts/check_docs.py
	@$(call build,win)
	@$(CTEST) --test-dir $(BUILD)/win

# What every change must pass, below an hour on two cores from nothing; what takes longer is check-long.
check: export XC_FUZZ_SECONDS ?= 5
check: export XC_FUZZ_SEED ?= 1
check: setup
	@MAKE="$(MAKE)" scripts/check.sh $(CHECKS)

check-long: setup
	@MAKE="$(MAKE)" scripts/check.sh $(LONG_CHECKS)

# One zip with all test programs, to be run on a machine with Windows (docs/windows.md).
evidence: setup
	@$(call build,win --target evidence)
	@ls "$(CURDIR)/$(BUILD)"/win/evidence/*.zip

check-split: setup
	@$(call build,split --target xc_generated)
	@python3 scripts/check_split.py $(BUILD)/split

# The image is another one there, and installing it was tried.
check-ub check-ub-all: setup
	@$(call build,$(@:check-%=%))
	@$(CTEST) --test-dir $(BUILD)/$(@:check-%=%) -E '^(library_image|install_and_consume)$$'

check-patterns: setup
	@$(call build,win --target test_match)
	@$(WINE) up "$(CURDIR)/$(BUILD)/win/wineprefix"
	@XC_MATCH_PAIRS=1000000 $(WINE) run "$(CURDIR)/$(BUILD)/win/wineprefix" $(BUILD)/win/bin/test_match.exe --gtest_filter='*Agree*'

check-collation: setup
	@$(call build,win --target test_text)
	@$(WINE) up "$(CURDIR)/$(BUILD)/win/wineprefix"
	@XC_COLLATION_TRIPLES=10000000 $(WINE) run "$(CURDIR)/$(BUILD)/win/wineprefix" $(BUILD)/win/bin/test_text.exe --gtest_filter='*OrderLaws*'

check-trees: setup
	@$(call build,win --target test_trees)
	@$(WINE) up "$(CURDIR)/$(BUILD)/win/wineprefix"
	@XC_WHOLE_TREES=1 $(WINE) run "$(CURDIR)/$(BUILD)/win/wineprefix" $(BUILD)/win/bin/test_trees.exe --gtest_filter='Trees.*'

check-heap: setup
	@$(call build,win)
	@scripts/check_heap.sh $(BUILD)/win

check-native: setup
	@$(call build,asan)
	@ASAN_OPTIONS=detect_stack_use_after_return=1:strict_string_checks=1 $(CTEST) --test-dir $(BUILD)/asan
	@$(call build,tsan)
	@$(CTEST) --test-dir $(BUILD)/tsan

check-clang: setup-clang
	@$(call build,win --target XelbrinCore_messages)
	@scripts/check_clang.sh syntax

lint: setup-clang
	@$(call build,win --target XelbrinCore_messages)
	@scripts/check_clang.sh tidy

lint-files: setup-clang
	@$(call build,win --target XelbrinCore_messages)
	@scripts/check_clang.sh tidy alone

fuzz-long: export XC_FUZZ_SECONDS := 600
fuzz fuzz-long: setup-fuzz
	@$(call build,fuzz)
	@scripts/fuzz.sh $(BUILD)/fuzz

image-list: setup
	@$(call build,win --target XelbrinCore)
	@scripts/check_image.sh $(BUILD)/win/bin/XelbrinCore-x64.dll renew

bench: setup
	@scripts/fetch_source.sh $(BUILD)/benchmark benchmark
	@scripts/fetch_source.sh $(BUILD)/libuv libuv1
	@scripts/fetch_boost.sh $(BUILD)/boost $(BUILD)/boost-include
	@$(call build,bench)
	@scripts/bench.sh $(BUILD)/bench

# The same machine without the target's system: the matcher beside libraries that compile to machine code.
bench-native: setup-bench
	@$(call build,bench-native)
	@cd $(BUILD)/bench-native && bin/xc_native_bench --benchmark_filter="$${XC_BENCH_FILTER:-.}" \
	    --benchmark_min_time="$${XC_BENCH_TIME:-0.1}" --benchmark_repetitions="$${XC_BENCH_REPETITIONS:-1}" \
	    --benchmark_out=results.json --benchmark_out_format=json 2>/dev/null

coverage: setup-coverage
	@$(call build,coverage)
	@scripts/coverage.sh $(BUILD)/coverage

bench-page: export XC_BENCH_REPETITIONS ?= 5
bench-page: bench bench-native
	@python3 scripts/plot_benchmarks.py $(BUILD)/bench/results.json $(BUILD)/bench-native/results.json

check-debugger: setup-debugger
	@$(call build,native --target debugger_values)
	@python3 scripts/check_debugger.py $(BUILD)/native/bin/debugger_values

docs: setup-docs
	@mkdir -p $(BUILD)/reference
	@doxygen scripts/Doxyfile || { cat $(BUILD)/reference/warnings.txt >&2; exit 1; }

format: setup
	@scripts/check_format.sh apply
	@python3 scripts/check_docs.py apply

clean:
	@for p in $(BUILD)/*/wineprefix; do [ ! -d "$$p" ] || $(WINE) down "$(CURDIR)/$$p"; done
	rm -rf $(BUILD)
