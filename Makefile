# Entry points. Each target installs missing Debian packages first.
#   make demo   follow the bundled example performance against the bundled score
#   make test   build with AddressSanitizer and UndefinedBehaviorSanitizer, run every test
#   make bench  build optimised, run the benchmarks (follow benchmark included)
#   make fuzz   build the libFuzzer targets with clang (FUZZ_SECONDS=600 to run them)
#   make soak   follow a two-hour performance of real pieces and watch the memory
#   make tsan   build with ThreadSanitizer, run OSC, MIDI, timers and commands together

JOBS        ?= $(shell nproc)
DEBUG_DIR   := build/debug
RELEASE_DIR := build/release
FUZZ_DIR    := build/fuzz
DATA_DIR    ?= $(abspath ../shared/data)
FUZZ_SECONDS ?= 60
TSAN_DIR    := build/tsan
TSAN_MINUTES ?= 10

.PHONY: all deps build release demo test bench fuzz soak tsan clean format

all: build

deps:
	@bash scripts/deps.sh

$(DEBUG_DIR)/build.ninja:
	@cmake -S . -B $(DEBUG_DIR) -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCAD_SANITIZE=ON >/dev/null

$(RELEASE_DIR)/build.ninja:
	@cmake -S . -B $(RELEASE_DIR) -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null

build: deps $(DEBUG_DIR)/build.ninja
	@cmake --build $(DEBUG_DIR) -j $(JOBS)

release: deps $(RELEASE_DIR)/build.ninja
	@cmake --build $(RELEASE_DIR) -j $(JOBS)

demo: release
	@bash examples/demo.sh $(RELEASE_DIR)/Src/Targets/Standalone/cadenzium

test: build
	@cd $(DEBUG_DIR) && CAD_DATA_DIR=$(DATA_DIR) ctest --output-on-failure -j $(JOBS)

bench: release
	@bash bench/run.sh $(RELEASE_DIR) $(DATA_DIR)

soak: release
	@$(RELEASE_DIR)/bench/follow_soak --data $(DATA_DIR)/follow --minutes 120

tsan: deps
	@cmake -S . -B $(TSAN_DIR) -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCAD_TSAN=ON -DCAD_TESTS=OFF -DCAD_PD=OFF >/dev/null
	@cmake --build $(TSAN_DIR) -j $(JOBS) --target thread_soak
	@TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1" $(TSAN_DIR)/bench/thread_soak --minutes $(TSAN_MINUTES)

fuzz: deps
	@cmake -S . -B $(FUZZ_DIR) -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCAD_FUZZ=ON \
	  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ >/dev/null
	@cmake --build $(FUZZ_DIR) -j $(JOBS)
	@bash fuzz/run.sh $(FUZZ_DIR) $(FUZZ_SECONDS)

format:
	@find Src tests bench fuzz -name '*.cpp' -o -name '*.hpp' | xargs clang-format -i

clean:
	rm -rf build
