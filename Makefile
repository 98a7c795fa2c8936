# The front door. Everything is built by CMake (see CMakePresets.json); this file only names the usual steps.

SHELL := /bin/bash
.SHELLFLAGS := -euo pipefail -c
MAKEFLAGS += --no-print-directory
.DEFAULT_GOAL := help

# What the project's own steps write to; none of them touches anything outside the checkout but missing packages.
RELEASE := build/release
# Installs what is missing; "make BOOTSTRAP=true ..." leaves the system alone.
BOOTSTRAP ?= Scripts/bootstrap
PROCESSORS := $(shell nproc 2>/dev/null || echo 2)
BUILD_JOBS ?= $(PROCESSORS)
# Most tests wait for the page engine more than they compute, so two of them share a processor.
TEST_JOBS ?= $(shell echo $$(( $(PROCESSORS) * 2 > 16 ? 16 : $(PROCESSORS) * 2 )))
# Seconds that each fuzz target runs.
FUZZ_SECONDS ?= 300

# Looked up in each recipe, after the packages are there.
configure = if command -v ninja >/dev/null; then export CMAKE_GENERATOR=Ninja; fi; \
	if [ ! -f build/$(1)/.configured ] || [ CMakePresets.json -nt build/$(1)/.configured ]; then \
	cmake --preset $(1) && touch build/$(1)/.configured; fi
build = cmake --build --preset $(1) --parallel $(BUILD_JOBS)
test = ctest --preset $(1) --parallel $(TEST_JOBS)

.PHONY: help
help: ## Show this list
	@sed -n 's/^\([a-z-]*\):[^#]*## \(.*\)/  make \1\t\2/p' $(MAKEFILE_LIST) | expand -t 20

.PHONY: demo
demo: ## Build, capture a page and show the answer (another page: make demo URL=https://...)
	@$(BOOTSTRAP) build run
	@$(call configure,release)
	@$(call build,release) --target twwebtool
	@Scripts/demo $(RELEASE)/twwebtool

.PHONY: test
test: ## Build and run every test
	@$(BOOTSTRAP) build run test
	@$(call configure,release)
	@$(call build,release)
	@$(call test,release)

.PHONY: bench
bench: ## Measure captures against the bare engine, and single operations
	@$(BOOTSTRAP) build run test bench
	@$(call configure,bench)
	@$(call build,bench)
	@Scripts/bench build/bench

.PHONY: soak
soak: ## Capture CAPTURES (1000) pages with faults, four at a time, and look for leaks
	@$(BOOTSTRAP) build run test
	@$(call configure,release)
	@$(call build,release) --target twwebtool
	@Scripts/soak $(RELEASE)/twwebtool

.PHONY: format
format: ## Lay out all source files
	@$(BOOTSTRAP) lint
	@git ls-files --cached --others --exclude-standard '*.h' '*.cpp' | xargs -r clang-format -i

.PHONY: lint
lint: ## Check layout, include direction, headers on their own, and clang-tidy's checks
	@$(BOOTSTRAP) build lint
	@$(call configure,dev)
	@Scripts/lint build/dev $(BUILD_JOBS)

.PHONY: sanitize
sanitize: ## Run every test under the address and undefined-behaviour sanitizers
	@$(BOOTSTRAP) build run test
	@$(call configure,asan)
	@$(call build,asan)
	@$(call test,asan)

.PHONY: coverage
coverage: ## Run every test and show which lines they reach
	@$(BOOTSTRAP) build run test coverage
	@$(call configure,coverage)
	@$(call build,coverage)
	@$(call test,coverage)
	@gcovr --root . --filter Source/ --object-directory build/coverage --print-summary \
		--html-details build/coverage/report.html --txt build/coverage/report.txt
	@echo "Line by line: build/coverage/report.html"
	@Scripts/coverage build/coverage

.PHONY: fuzz
fuzz: ## Run each fuzz target for FUZZ_SECONDS (300)
	@$(BOOTSTRAP) build test fuzz
	@$(call configure,fuzz)
	@$(call build,fuzz)
	@Scripts/fuzz build/fuzz $(FUZZ_SECONDS)

.PHONY: clean
clean: ## Remove everything that was built
	@rm -rf build
