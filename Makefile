# make run | test | bench | bench-page | coverage | docs | check-debugger | check-ub | check-heap | check-native | check-clang | check-split | fuzz | lint | format | clean
# Every target installs what the machine lacks, configures what is not configured and builds what changed.
SHELL := /bin/bash
BUILD := build
WINE  := cmake/wine-env.sh
JOBS  ?= $(shell nproc)
CTEST := ctest --output-on-failure --no-tests=error -j$(JOBS)

# Groups of tools: setup for everything, setup-clang and setup-fuzz on top of it.
.PHONY: setup-clang setup-fuzz setup-docs setup-debugger setup-coverage run test bench bench-page coverage docs check-debugger check-ub check-heap check-native check-clang check-split fuzz lint format setup clean
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
setup-debugger:
	@scripts/setup.sh debugger

# $(call build,preset): configure once, build quietly, show the log when it fails.
build = scripts/build.sh $(1)

run: setup
	@$(call build,win)
	@scripts/run_main_job.sh $(BUILD)/win

test: setup
	@scripts/check_format.sh
	@python3 scripts/check_rooms.py
	@python3 scripts/check_paths.py
	@python3 scripts/check_docs.py
	@$(call build,win)
	@$(CTEST) --test-dir $(BUILD)/win

check-split: setup
	@$(call build,split)

check-ub: setup
	@$(call build,ub)
	@$(CTEST) --test-dir $(BUILD)/ub

check-heap: setup
	@$(call build,win)
	@scripts/check_heap.sh $(BUILD)/win

check-native: setup
	@$(call build,asan)
	@ASAN_OPTIONS=detect_stack_use_after_return=1:strict_string_checks=1 $(CTEST) --test-dir $(BUILD)/asan
	@$(call build,tsan)
	@$(CTEST) --test-dir $(BUILD)/tsan

check-clang: setup-clang
	@$(call build,win)
	@scripts/check_clang.sh syntax

lint: setup-clang
	@$(call build,win)
	@scripts/check_clang.sh tidy

fuzz: setup-fuzz
	@$(call build,fuzz)
	@scripts/fuzz.sh $(BUILD)/fuzz

bench: setup
	@scripts/fetch_benchmark.sh $(BUILD)/benchmark
	@scripts/fetch_boost.sh $(BUILD)/boost $(BUILD)/boost-include
	@$(call build,bench)
	@scripts/bench.sh $(BUILD)/bench

coverage: setup-coverage
	@$(call build,coverage)
	@scripts/coverage.sh $(BUILD)/coverage

bench-page: bench
	@python3 scripts/plot_benchmarks.py $(BUILD)/bench/results.json

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
