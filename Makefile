# Entry points: make (build), make demo, make test, make bench, make fuzz.
# Each target first installs what is missing on a Debian 12 machine.

BUILD      ?= build
ASAN_BUILD ?= build-asan
BENCH_BUILD ?= build-bench
JOBS       ?= $(shell nproc)
LUA        ?= lua5.3
ITERATIONS ?= 1000000

DEB_PACKAGES = cmake g++ make pkg-config lua5.3 liblua5.3-dev lua-busted lua-check \
               libgtest-dev libbenchmark-dev g++-arm-linux-gnueabi graphviz

.PHONY: all build deps demo test test-host test-asan bench fuzz clean

all: build

# Installs the Debian packages that are not there yet (as root, or with sudo).
deps:
	@missing=$$(for p in $(DEB_PACKAGES); do dpkg -s $$p >/dev/null 2>&1 || echo $$p; done); \
	if [ -n "$$missing" ]; then \
	  echo "Installing:" $$missing; \
	  SUDO=$$( [ $$(id -u) -eq 0 ] || echo sudo ); \
	  $$SUDO apt-get update -qq && \
	  DEBIAN_FRONTEND=noninteractive $$SUDO apt-get install -y -qq $$missing >/dev/null; \
	fi

build: deps
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
	cmake --build $(BUILD) -j $(JOBS)

demo: build
	LUA_CPATH='$(BUILD)/lua/?.so;;' $(LUA) examples/demo.lua

# Every test of the host build, then the Lua tests again under ASan and UBSan.
test: test-host test-asan

test-host: build
	cd $(BUILD) && ctest --output-on-failure -j $(JOBS)

test-asan: deps
	cmake -S . -B $(ASAN_BUILD) -DCMAKE_BUILD_TYPE=Debug -DTESSEL_SANITIZE=ON >/dev/null
	cmake --build $(ASAN_BUILD) -j $(JOBS)
	cd $(ASAN_BUILD) && ctest --output-on-failure -j $(JOBS) -L 'unit|sanitized'

bench: deps
	cmake -S . -B $(BENCH_BUILD) -DCMAKE_BUILD_TYPE=Release -DTESSEL_BENCH=ON -DTESSEL_TESTS=OFF >/dev/null
	cmake --build $(BENCH_BUILD) -j $(JOBS)
	@status=0; for b in $(BENCH_BUILD)/bench/*_bench; do \
	  LUA_CPATH='$(BENCH_BUILD)/lua/?.so;;' $$b || status=1; echo; done; exit $$status

# The robustness harness under ASan and UBSan: ITERATIONS calls (SEED=n to
# repeat a run).
fuzz: deps
	cmake -S . -B $(ASAN_BUILD) -DCMAKE_BUILD_TYPE=Debug -DTESSEL_SANITIZE=ON >/dev/null
	cmake --build $(ASAN_BUILD) -j $(JOBS) --target tessel_robustness
	$(ASAN_BUILD)/tests/robustness/tessel_robustness --iterations $(ITERATIONS) $(if $(SEED),--seed $(SEED))

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) $(BENCH_BUILD)
