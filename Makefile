# Entry points: make (build), make demo, make test, make doc, make bench, make fuzz.
# Each target first installs what is missing on a Debian 12 machine.

BUILD      ?= build
ASAN_BUILD ?= build-asan
BENCH_BUILD ?= build-bench
JOBS       ?= $(shell nproc)
LUA        ?= lua5.3
ITERATIONS ?= 1000000
# Every test sets its own time limit; this one only catches a test that
# does not.
CTEST      ?= ctest --output-on-failure -j $(JOBS) --timeout 600

# What building and the demo need (FFmpeg's libraries for the simulator's
# media), and what the tests and benchmarks add (FreeType and a font for
# tessel.osd, which a build without them leaves out; FFmpeg's and SoX's
# tools as the clients that judge recorded media).
DEMO_PACKAGES = cmake g++ make pkg-config lua5.3 liblua5.3-dev graphviz \
                libavcodec-dev libavformat-dev libswscale-dev libswresample-dev libavutil-dev
DEB_PACKAGES  = $(DEMO_PACKAGES) libfreetype-dev fonts-dejavu-core lua-socket lua-busted lua-check libgtest-dev \
                libbenchmark-dev g++-arm-linux-gnueabi qemu-user luarocks lua-ldoc lua-markdown ffmpeg sox

# The 32-bit ARM run: Debian's armel builds of what the tests load, unpacked
# into a build-local root (no multiarch install), run under qemu-arm.
ARM_BUILD    ?= build-arm32
ARM_ROOT     ?= $(ARM_BUILD)-root
ARM_PACKAGES  = libc6 libgcc-s1 libstdc++6 libreadline8 libtinfo6 lua5.3 liblua5.3-0 \
                liblua5.3-dev lua-filesystem lua-system lua-term lua-socket libgtest-dev
ARM_APT       = -o APT::Architecture=armel -o APT::Architectures::=armel \
                -o Dir::State::Lists=$(abspath $(ARM_ROOT)).apt/lists \
                -o Dir::Cache=$(abspath $(ARM_ROOT)).apt/cache \
                -o Dir::State::status=/dev/null -o APT::Sandbox::User=root

.PHONY: all build build-arm deps deps-demo demo test test-host test-asan test-arm doc bench fuzz clean

all: build

# Installs the Debian packages that are not there yet (as root, or with sudo).
deps: PACKAGES = $(DEB_PACKAGES)
deps-demo: PACKAGES = $(DEMO_PACKAGES)
deps deps-demo:
	@missing=$$(for p in $(PACKAGES); do dpkg -s $$p >/dev/null 2>&1 || echo $$p; done); \
	if [ -n "$$missing" ]; then \
	  echo "Installing:" $$missing; \
	  SUDO=$$( [ $$(id -u) -eq 0 ] || echo sudo ); \
	  $$SUDO apt-get update -qq && \
	  DEBIAN_FRONTEND=noninteractive $$SUDO apt-get install -y -qq $$missing >/dev/null; \
	fi

build: deps
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
	cmake --build $(BUILD) -j $(JOBS)

# The demo builds quietly (the build's output goes to $(BUILD)/build.log and
# is shown only when it fails), then runs.
demo: deps-demo
	@mkdir -p $(BUILD)
	@cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo >$(BUILD)/configure.log 2>&1 || { cat $(BUILD)/configure.log; exit 1; }
	@echo "Building tessel (output in $(BUILD)/build.log)"
	@cmake --build $(BUILD) -j $(JOBS) --target tessel tessel_sim >$(BUILD)/build.log 2>&1 || { cat $(BUILD)/build.log; exit 1; }
	@LUA_CPATH='$(BUILD)/lua/?.so;;' $(LUA) examples/demo.lua $(BUILD)/demo

# The reference: HTML pages and the annotation files for language servers
# (build/doc/meta/tessel*.lua). It needs only the modules (the completeness
# check loads them), not the tests and tools of a whole build.
doc: deps
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
	cmake --build $(BUILD) -j $(JOBS) --target tessel tessel_sim
	cmake --build $(BUILD) --target doc

# Every test of the host build, then the Lua tests again under ASan and UBSan,
# then the unit, Lua and robustness tests built for the board's CPU.
test: test-host test-asan test-arm

test-host: build
	cd $(BUILD) && $(CTEST)

# Leaks of the encoder libraries themselves are not reported (tests/lsan.supp).
LSAN = suppressions=$(abspath tests/lsan.supp):print_suppressions=0

test-asan: deps
	cmake -S . -B $(ASAN_BUILD) -DCMAKE_BUILD_TYPE=Debug -DTESSEL_SANITIZE=ON >/dev/null
	cmake --build $(ASAN_BUILD) -j $(JOBS)
	cd $(ASAN_BUILD) && LSAN_OPTIONS=$(LSAN) $(CTEST) -L 'unit|sanitized'

# The stamp names the package list, so that a changed list unpacks the root anew.
ARM_STAMP     = $(ARM_ROOT)/.unpacked-$(shell echo $(ARM_PACKAGES) | md5sum | cut -c1-8)

$(ARM_STAMP):
	@echo "Fetching armel packages into $(ARM_ROOT)"
	@rm -rf $(ARM_ROOT) $(ARM_ROOT).apt && mkdir -p $(ARM_ROOT).apt/lists/partial $(ARM_ROOT).apt/cache/archives/partial
	@apt-get -qq $(ARM_APT) update
	@cd $(ARM_ROOT).apt && apt-get -qq $(ARM_APT) download $(ARM_PACKAGES)
	@for deb in $(ARM_ROOT).apt/*.deb; do dpkg -x $$deb $(ARM_ROOT); done
	@touch $@

build-arm: deps $(ARM_STAMP)
	cmake -S . -B $(ARM_BUILD) -DCMAKE_TOOLCHAIN_FILE=cmake/arm-linux-gnueabi.cmake \
	      -DTESSEL_TARGET_ROOT=$(abspath $(ARM_ROOT)) -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
	cmake --build $(ARM_BUILD) -j $(JOBS)

test-arm: build-arm
	cd $(ARM_BUILD) && $(CTEST) -L 'unit|lua|robustness'

bench: deps build-arm
	cmake -S . -B $(BENCH_BUILD) -DCMAKE_BUILD_TYPE=Release -DTESSEL_BENCH=ON -DTESSEL_TESTS=OFF >/dev/null
	cmake --build $(BENCH_BUILD) -j $(JOBS)
	@status=0; for b in $(BENCH_BUILD)/bench/*_bench; do \
	  LUA_CPATH='$(BENCH_BUILD)/lua/?.so;;' $$b || status=1; echo; done; \
	LUA_CPATH='$(BENCH_BUILD)/lua/?.so;;' LUA_PATH='lua/?.lua;;' $(LUA) bench/rtsp_bench.lua || status=1; echo; \
	arm-linux-gnueabi-strip -o $(ARM_BUILD)/tessel-stripped.so $(ARM_BUILD)/lua/tessel.so; \
	echo "32-bit ARM tessel.so, stripped: $$(stat -c %s $(ARM_BUILD)/tessel-stripped.so) bytes"; \
	exit $$status

# The robustness harness under ASan and UBSan: ITERATIONS calls (SEED=n to
# repeat a run).
fuzz: deps
	cmake -S . -B $(ASAN_BUILD) -DCMAKE_BUILD_TYPE=Debug -DTESSEL_SANITIZE=ON >/dev/null
	cmake --build $(ASAN_BUILD) -j $(JOBS) --target tessel_robustness
	LSAN_OPTIONS=$(LSAN) $(ASAN_BUILD)/tests/robustness/tessel_robustness --iterations $(ITERATIONS) $(if $(SEED),--seed $(SEED))

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) $(BENCH_BUILD) $(ARM_BUILD) $(ARM_ROOT) $(ARM_ROOT).apt
