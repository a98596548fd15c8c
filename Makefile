# Everything a person types. Each target installs missing Debian packages first.
BUILD      ?= build
JOBS       ?= $(shell nproc)
CMAKE_ARGS ?=
DEMO_DIR   ?= $(BUILD)/demo-data
FUZZ_SECONDS ?= 60

.PHONY: all deps configure build demo tour test bench asan tsan fuzz install format clean

all: build

deps:
	@scripts/install-deps

configure: deps
	@cmake -S . -B $(BUILD) -G Ninja $(CMAKE_ARGS) >/dev/null

build: configure
	@cmake --build $(BUILD) -j $(JOBS)

# The main job: a fresh data directory, the tool doing what the app's start does.
demo: build
	@scripts/demo-client-day $(BUILD)/dmctl $(DEMO_DIR)

# A tour of every dmctl command group on its own (handbook, profile, units, nutrition, people,
# training), as the screens read them.
tour: build
	@scripts/demo $(BUILD)/dmctl $(DEMO_DIR)

test: build
	@cd $(BUILD) && ctest --output-on-failure -j $(JOBS) $(CTEST_ARGS)

bench: deps
	@cmake -S . -B build-release -G Ninja -DCMAKE_BUILD_TYPE=Release -DDM_BUILD_TESTS=OFF >/dev/null
	@cmake --build build-release -j $(JOBS)
	@scripts/run-benchmarks build-release

asan: deps
	@cmake -S . -B build-asan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DDM_SANITIZE=address \
	  -DDM_BUILD_BENCHMARKS=OFF $(CMAKE_ARGS) >/dev/null
	@cmake --build build-asan -j $(JOBS)
	@cd build-asan && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
	  ctest --output-on-failure -j $(JOBS) -E packaging $(CTEST_ARGS)

# Concurrency tests (suites named *ConcurrencyTest) under the thread sanitizer.
tsan: deps
	@cmake -S . -B build-tsan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DDM_SANITIZE=thread \
	  -DDM_BUILD_BENCHMARKS=OFF $(CMAKE_ARGS) >/dev/null
	@cmake --build build-tsan -j $(JOBS)
	@cd build-tsan && TSAN_OPTIONS=halt_on_error=1 \
	  ctest --output-on-failure -j $(JOBS) -R 'ConcurrencyTest' $(CTEST_ARGS)

fuzz: deps
	@CC=clang-14 CXX=clang++-14 cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=Release \
	  -DCMAKE_CXX_FLAGS_RELEASE="-O1 -gline-tables-only" -DCMAKE_C_FLAGS_RELEASE="-O1 -gline-tables-only" \
	  -DDM_BUILD_FUZZERS=ON -DDM_SANITIZE=address -DDM_BUILD_TESTS=OFF -DDM_BUILD_BENCHMARKS=OFF >/dev/null
	@cmake --build build-fuzz -j $(JOBS) --target fuzzers
	@scripts/run-fuzzers build-fuzz $(FUZZ_SECONDS)

install: build
	@cmake --install $(BUILD) $(if $(PREFIX),--prefix $(PREFIX),)

format:
	@find Sources Tools Tests Benchmarks Fuzz -name '*.h' -o -name '*.cpp' | xargs clang-format -i

clean:
	@rm -rf $(BUILD) build-release build-asan build-tsan build-fuzz
