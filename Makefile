# A thin front over the CMake presets. `make run` and `make test` do all the set-up on a fresh Debian 12 machine.

PRESET ?= release
BUILD := build/$(PRESET)

.PHONY: all run test pictures lint format-check format packages count count-check count-formulas records bench bits coverage fuzz abi deb platforms python test-python test-python-sanitized bench-python page test-page clean

# Pages need packages from npm. All else is built where npm is missing, or its registry is out of reach.
all: packages
	@page/build || echo "The build goes on. Where that program was never built, velreplay writes no pages (--page)."
	cmake --preset $(PRESET)
	cmake --build --preset $(PRESET)

DRIVE := $(BUILD)/examples/drive-result

run: all
	$(BUILD)/velreplay/velreplay examples/drive/plan.toml $(DRIVE)/recording.csv -o $(DRIVE)/result.csv --plot $(DRIVE)/drive.png
	@echo "The result is in $(DRIVE)/result.csv, the picture in $(DRIVE)/drive.png."

test: all
	ctest --preset $(PRESET) --parallel 2

# Draws the pictures of the pages anew.
pictures: packages
	cmake --preset $(PRESET)
	cmake --build --preset $(PRESET) --target velreplay drive_recording ecg_recording meter_recording
	scripts/draw-pictures $(BUILD)

# Instructions of one Execute, per operation.
count: all
	benchmarks/count-instructions $(BUILD)

# The same against the recorded figures, for g++ and for clang++; and what the engine adds, against its limits.
count-check: packages
	for preset in release clang; do \
	    cmake --preset $$preset && cmake --build --preset $$preset --target count_instructions && \
	    benchmarks/count-instructions --check build/$$preset || exit 1; \
	done
	cmake --build --preset release --target engine_costs velreplay
	benchmarks/engine-costs build/release
	benchmarks/count-formulas build/release

# Instructions of plans with 100 times as many formulas.
count-formulas: all
	benchmarks/count-formulas $(BUILD)

# Times of one Execute beside hand-written code and other libraries.
bench: all
	benchmarks/run-benchmarks $(BUILD)

# Writes all records anew, and shows what has changed: the bits of all results, the counts, the exports.
records: packages
	for preset in release clang; do \
	    cmake --preset $$preset && cmake --build --preset $$preset --target bits count_instructions && \
	    benchmarks/count-instructions --record build/$$preset || exit 1; \
	done
	build/release/checks/bits >checks/bits.txt
	checks/compare-abi --record
	git diff --stat -- checks benchmarks
	git diff --unified=0 -- benchmarks checks/VelOperation.abi
	git diff --unified=0 -- checks/bits.txt | awk '/^[-+][^-+]/ { print $$1, $$2 }'

# The hash of all results, by every compiler, level of optimization and standard library that is installed.
bits: packages
	checks/compare-bits

# The lines of the library that the tests reach: all of them, or this fails.
coverage: packages
	cmake --preset coverage
	find build/coverage -name '*.gcda' -delete
	cmake --build --preset coverage
	find build/coverage/tests -type f -name 'vel_*tests' | xargs -P2 -I TESTS sh -c 'TESTS --gtest_brief=1'
	gcovr --fail-under-line 100 --filter '(core|value|logic|signal|library|platform)/' build/coverage

# The library, its unit tests and the hash of all results on other platforms, under emulators. Prints a table.
platforms: packages
	scripts/install-packages platforms
	scripts/platforms

# The exports against their recorded description.
abi: packages
	checks/compare-abi

# The Python package: a wheel in build/python/wheels, installed into the virtual environment build/python/venv.
python: packages
	scripts/install-packages python
	python/make-wheel

test-python: python
	cmake --preset release
	cmake --build --preset release --target bits velreplay drive_recording
	python/run-tests

# The same tests with the extension under sanitizers.
test-python-sanitized: python
	cmake --preset release
	cmake --build --preset release --target bits velreplay drive_recording
	python/run-sanitized

# Times of operations in Python beside the C++ engine and other packages.
bench-python: python
	cmake --preset release
	cmake --build --preset release --target replay_columns
	build/python/venv/bin/python benchmarks/python_operations.py build/release/benchmarks/replay_columns \
	    benchmarks/README.md benchmarks/results/python_operations.png

# The program in each page that velreplay writes. Debian's npm is 376 packages, so a plain make does not install it.
page:
	scripts/install-packages page
	page/build

# Pages in a browser; and the format and the lint of their program.
test-page: page packages
	scripts/install-packages page-tests
	page/build --check
	cmake --preset release
	cmake --build --preset release --target velreplay drive_recording
	node --test build/page/viewer.test.mjs

# The Debian packages.
deb: all
	cd $(BUILD) && cpack
	@echo "The packages are in $(BUILD)/packages."

# Fuzz targets, each for some seconds from its kept inputs on.
SECONDS_EACH ?= 60

fuzz: packages
	fuzz/run $(SECONDS_EACH)

lint: packages
	scripts/lint

format-check: packages
	scripts/format --check

format: packages
	scripts/format

packages:
	@scripts/install-packages

clean:
	rm -rf build
