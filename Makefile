# Two commands do everything on a fresh Debian machine (as root):
#   make demo   installs what is missing, builds, and runs the main job on data it makes
#   make test   installs what is missing, builds, and runs every test: a plain build, a build
#               with the address and undefined-behaviour sanitizers, and a thread-sanitizer
#               build of the suites that run threads
SHELL := /bin/bash
JOBS  ?= $(shell nproc)
DEPS  := cmake make g++ clang libclang-rt-14-dev pkg-config libsqlite3-dev sqlite3 libgtest-dev libgmock-dev \
         libbenchmark-dev libpng-dev libcli11-dev nlohmann-json3-dev sox libsndfile1-dev \
         libsamplerate0-dev ffmpeg python3
# Test folders that run threads, built again under the thread sanitizer.
TSAN_SUITES := Sys;Threads;Chain;Stages;Overview;Convert;Alloc;Time;FF;BDM

.PHONY: demo test deps build build-tool build-asan build-tsan build-fuzz fuzz-smoke fuzz bench clean

deps:
	@missing=""; for p in $(DEPS); do dpkg -s $$p >/dev/null 2>&1 || missing="$$missing $$p"; done; \
	if [ -n "$$missing" ]; then \
	  echo "installing:$$missing"; \
	  apt-get update -qq && DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends $$missing; \
	fi

build: deps
	cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
	cmake --build build -j$(JOBS)

# Only what the demo runs: the library and the tool (no tests, benchmarks or fuzz targets).
build-tool: deps
	cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
	cmake --build build -j$(JOBS) --target mirafile

build-asan: deps
	cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug -DMIRAFILE_SANITIZE=address,undefined \
	      -DMIRAFILE_BENCH=OFF >/dev/null
	cmake --build build-asan -j$(JOBS)

build-tsan: deps
	cmake -S . -B build-tsan -DCMAKE_BUILD_TYPE=Debug -DMIRAFILE_SANITIZE=thread \
	      -DMIRAFILE_BENCH=OFF -DMIRAFILE_FUZZ=OFF "-DMIRAFILE_SUITES=$(TSAN_SUITES)" >/dev/null
	cmake --build build-tsan -j$(JOBS)

# libFuzzer builds of the fuzz targets (tools/fuzz.sh runs them): fuzz-smoke runs each for
# 20 seconds in every test run; fuzz runs each for FUZZ_SECONDS (default 600) and copies what
# it finds to fuzz/seeds/ as regression seeds.
FUZZ_SECONDS ?= 600
build-fuzz: deps
	CC=clang CXX=clang++ cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	      -DMIRAFILE_SANITIZE=address,undefined -DMIRAFILE_BENCH=OFF "-DMIRAFILE_SUITES=none" >/dev/null
	cmake --build build-fuzz -j$(JOBS)

fuzz-smoke: build-fuzz
	bash tools/fuzz.sh 20

fuzz: build-fuzz
	bash tools/fuzz.sh $(FUZZ_SECONDS) --keep

test: build build-asan build-tsan
	cd build && ctest --output-on-failure -j$(JOBS)
	cd build-asan && ctest --output-on-failure -j$(JOBS)
	cd build-tsan && TSAN_OPTIONS=halt_on_error=1 ctest --output-on-failure -j$(JOBS)
	$(MAKE) --no-print-directory fuzz-smoke

bench: deps
	bash bench/run.sh

demo: build-tool
	bash tools/demo.sh build/mirafile

clean:
	rm -rf build build-asan build-tsan build-fuzz demo-out
