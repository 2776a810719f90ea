# A thin front over the CMake presets. `make run` and `make test` do all the set-up on a fresh Debian 12 machine.

PRESET ?= release
BUILD := build/$(PRESET)

.PHONY: all run test lint format-check format packages count fuzz clean

all: packages
	cmake --preset $(PRESET)
	cmake --build --preset $(PRESET)

DRIVE := $(BUILD)/examples/drive-result

run: all
	$(BUILD)/host/velreplay examples/drive/plan.toml $(DRIVE)/recording.csv -o $(DRIVE)/result.csv --plot $(DRIVE)/drive.png
	@echo "The result is in $(DRIVE)/result.csv, the picture in $(DRIVE)/drive.png."

test: all
	ctest --preset $(PRESET)

# Instructions of one Execute, per operation.
count: all
	benchmarks/count-instructions $(BUILD)

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
