# A thin layer over the CMake presets (CMakePresets.json): every target
# installs the Debian packages it is missing first, so a fresh machine needs
# only make. `make run` and `make test` do everything; docs/testing.md and
# docs/controller.md tell the rest.

CONFIG         ?= config/lumbrix.json
JOBS           ?= $(shell nproc 2>/dev/null || echo 2)
FUZZ_SECONDS   ?= 60
FUZZ_TARGETS   ?=
SOAK_DATAGRAMS ?= 1000000
# Extra arguments of the benchmark, e.g. BENCH_ARGS="--rounds 5 --check".
BENCH_ARGS     ?=

# The Debian packages of each variant, in one place.
PACKAGES_release  := cmake g++ make pkg-config libjsoncpp-dev libprotobuf-dev protobuf-compiler libgtest-dev libpcap-dev \
                     libdtl-dev
# clang and its libFuzzer runtime for the sanitized builds; llvm for the
# symbolizer that puts names on stacks.
PACKAGES_sanitize := $(PACKAGES_release) clang libclang-rt-dev llvm
# jq writes the controller's configuration into its archive.
PACKAGES_aarch64  := cmake make pkg-config protobuf-compiler g++-aarch64-linux-gnu qemu-user jq libdtl-dev \
                     libjsoncpp-dev:arm64 libprotobuf-dev:arm64 libgtest-dev:arm64 libpcap-dev:arm64
PACKAGES_wireshark := tshark
PACKAGES_format   := clang-format
# valgrind for the bench's instruction count (callgrind).
PACKAGES_bench    := $(PACKAGES_release) valgrind

# Any sanitizer report ends the process that made it with an abort, so a
# test (or a gateway child of an end-to-end test) that hits one fails.
SANITIZER_ENV := ASAN_OPTIONS=abort_on_error=1:halt_on_error=1:detect_leaks=1 \
                 UBSAN_OPTIONS=abort_on_error=1:halt_on_error=1:print_stacktrace=1

.PHONY: all deps deps-sanitize deps-aarch64 deps-wireshark deps-format build test test-sanitize \
        test-thread-sanitize fuzz soak bench bench-instructions run clean build-aarch64 test-aarch64 \
        test-aarch64-quick dist-aarch64 test-dist demo test-dissector format format-check

all: build

# Package installs go through sudo unless make runs as root.
SUDO := $(if $(filter 0,$(shell id -u)),,sudo)

# $(call install_missing,PACKAGES[,APT_INSTALL_OPTIONS])
define install_missing
	@missing=""; \
	for p in $(1); do \
	  dpkg-query -W -f='$${Status}' $$p 2>/dev/null | grep -q "install ok installed" || missing="$$missing $$p"; \
	done; \
	if [ -n "$$missing" ]; then \
	  echo "installing:$$missing"; \
	  $(SUDO) apt-get update -qq && DEBIAN_FRONTEND=noninteractive $(SUDO) apt-get install -y -qq $(2) $$missing; \
	fi
endef

# $(call configure_clang,PRESET,DIR): a build directory that another
# compiler configured starts afresh.
define configure_clang
	@if [ -f $(2)/CMakeCache.txt ] && ! grep -q '^CMAKE_CXX_COMPILER:.*clang++' $(2)/CMakeCache.txt; then \
	  echo "$(2) was configured with another compiler: starting it afresh"; rm -rf $(2); fi
	cmake --preset $(1) > /dev/null
endef

deps:
	$(call install_missing,$(PACKAGES_release))
deps-sanitize:
	$(call install_missing,$(PACKAGES_sanitize))
deps-format:
	$(call install_missing,$(PACKAGES_format))
# arm64 is added to dpkg's architectures when missing; qemu-user comes
# without its binfmt registration (the tests call the emulator themselves).
deps-aarch64:
	@dpkg --print-foreign-architectures | grep -qx arm64 || { \
	  echo "adding the arm64 architecture"; \
	  $(SUDO) dpkg --add-architecture arm64; }
	$(call install_missing,$(PACKAGES_aarch64),--no-install-recommends)
# wireshark-common asks whether users other than root may capture; answer
# no beforehand so that the install asks nothing.
deps-wireshark:
	@if ! dpkg-query -W -f='$${Status}' tshark 2>/dev/null | grep -q "install ok installed"; then \
	  echo "wireshark-common wireshark-common/install-setuid boolean false" | $(SUDO) debconf-set-selections; \
	fi
	$(call install_missing,$(PACKAGES_wireshark),--no-install-recommends)

build: deps
	cmake --preset release > /dev/null
	cmake --build build -j $(JOBS)

test: build
	cd build && ctest --output-on-failure -j $(JOBS)

run: build
	mkdir -p log
	./build/lumbrix $(CONFIG)

# The whole suite in the sanitized build (its end-to-end tests start that
# build's sanitized gateway); the fuzz targets share the build.
test-sanitize: deps-sanitize
	$(call configure_clang,sanitize,build-sanitize)
	$(SANITIZER_ENV) cmake --build build-sanitize -j $(JOBS)
	cd build-sanitize && $(SANITIZER_ENV) ctest --output-on-failure -j $(JOBS)

# The signal cases (the gateway's end-to-end rows of the command line and
# signals, the signal table's and the threads' unit rows) and the counter
# rows (what the recorder thread reads while the event loop counts) under
# ThreadSanitizer, gateway and tests built with it. The handler allocates and
# writes the log, as it must (every signal leaves a line): the report of a
# signal-unsafe call is off; any other report (a data race, a handler that
# spoils errno) fails. The cases that count the gateway's threads are left
# out: the sanitizer runs a thread of its own. Not part of CI.
THREAD_SANITIZER_ENV := TSAN_OPTIONS=report_signal_unsafe=0:handle_segv=0:halt_on_error=1:exitcode=66

test-thread-sanitize: deps-sanitize
	$(call configure_clang,thread-sanitize,build-tsan)
	cmake --build build-tsan -j $(JOBS) --target lumbrix e2e_CaseDriver unit_KsSignalTest unit_ThreadTest
	cd build-tsan && $(THREAD_SANITIZER_ENV) ctest --output-on-failure -j $(JOBS) \
	  -R '^(e2e\.CommandLine\.|e2e\.Dispatch\.Counters|unit\.KsSignal\.|unit\.ThreadGenerator\.|unit\.KsThread\.)' \
	  -E 'EveryThreadButTheMainOne|\.Threads'

# Every libFuzzer target for FUZZ_SECONDS each (FUZZ_TARGETS=name... for a
# few), side by side; fails on any finding.
fuzz: deps-sanitize
	$(call configure_clang,sanitize,build-sanitize)
	cmake --build build-sanitize -j $(JOBS) --target fuzzers
	fuzz/run-fuzzers.sh build-sanitize $(FUZZ_SECONDS) $(FUZZ_TARGETS)

soak: deps
	cmake --preset release > /dev/null
	cmake --build build -j $(JOBS) --target lumbrix soak_gateway
	SOAK_DATAGRAMS=$(SOAK_DATAGRAMS) ./build/tests/soak_gateway

# make bench: the wall-clock rounds, then the user-space instructions per
# message counted under callgrind; make bench-instructions: the count only
# (the same whatever else the machine does). docs/performance.md.
define build_bench
	$(call install_missing,$(PACKAGES_bench))
	cmake --preset bench > /dev/null
	cmake --build build-bench -j $(JOBS) --target lumbrix lumbrix_bench lumbrix_bench_relay
endef
BENCH_RUN := ./build-bench/bench/lumbrix_bench --gateway ./build-bench/lumbrix \
  --relay ./build-bench/bench/lumbrix_bench_relay

bench:
	$(build_bench)
	$(BENCH_RUN) $(BENCH_ARGS)

bench-instructions:
	$(build_bench)
	$(BENCH_RUN) --subjects count $(BENCH_ARGS)

demo: deps
	cmake --preset release > /dev/null
	cmake --build build -j $(JOBS) --target lumbrix lumbrix-sim
	tools/demo.sh build

test-dissector: deps deps-wireshark
	cmake --preset release > /dev/null
	cmake --build build -j $(JOBS) --target lumbrix lumbrix-sim
	tools/wireshark/test-dissector.sh build

# jsoncpp is compiled in from Debian's source of it (Debian ships no static
# jsoncpp).
define configure_aarch64_static
	cmake/fetch-deb-source.sh libjsoncpp build-aarch64-static/jsoncpp-src
	cmake --preset aarch64-static > /dev/null
endef

build-aarch64: deps-aarch64
	cmake --preset aarch64 > /dev/null
	cmake --build build-aarch64 -j $(JOBS)
	$(configure_aarch64_static)
	cmake --build build-aarch64-static -j $(JOBS) --target lumbrix

# The whole suite under qemu-user, then the static gateway through the
# command-line and signal cases.
test-aarch64: build-aarch64
	cd build-aarch64 && ctest --output-on-failure -j $(JOBS)
	cd build-aarch64 && LUMBRIX_GATEWAY=$(CURDIR)/build-aarch64-static/lumbrix \
	  ctest --output-on-failure -j $(JOBS) -R '^e2e\.CommandLine\.'

# The static aarch64 gateway alone, under qemu-user, through the native
# end-to-end suite (the simulator's test stays native).
test-aarch64-quick: build deps-aarch64
	$(configure_aarch64_static)
	cmake --build build-aarch64-static -j $(JOBS) --target lumbrix
	cd build && LUMBRIX_EXEC_WRAPPER=qemu-aarch64 LUMBRIX_GATEWAY=$(CURDIR)/build-aarch64-static/lumbrix \
	  ctest --output-on-failure -j $(JOBS) -R '^e2e\.' -E '^e2e\.Simulator'

dist-aarch64: deps-aarch64
	$(configure_aarch64_static)
	cmake --build build-aarch64-static -j $(JOBS) --target dist

test-dist: dist-aarch64
	tools/dist/test-dist.sh build-aarch64-static

# The house style (.clang-format) over every C++ file git knows.
format: deps-format
	git ls-files '*.cpp' '*.h' | xargs clang-format -i
format-check: deps-format
	git ls-files '*.cpp' '*.h' | xargs clang-format --dry-run --Werror

clean:
	rm -rf build build-bench build-debug build-sanitize build-tsan build-aarch64 build-aarch64-static
