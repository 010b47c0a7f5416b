# Set-up, build and test of the gateway. Every target installs what is
# missing from Debian's packages first, so a fresh machine needs only make.

BUILD_DIR ?= build
CONFIG    ?= config/lumbrix.json
JOBS      ?= $(shell nproc 2>/dev/null || echo 2)
DEB_PACKAGES := cmake g++ make pkg-config libjsoncpp-dev libprotobuf-dev protobuf-compiler libgtest-dev libpcap-dev
# Only the fuzz targets need clang and its libFuzzer runtime (llvm for the
# symbolizer that puts names on stacks).
FUZZ_DEB_PACKAGES := clang libclang-rt-dev llvm

SANITIZE_BUILD_DIR ?= build-sanitize
FUZZ_SECONDS       ?= 60
FUZZ_TARGETS       ?=
SOAK_DATAGRAMS     ?= 1000000
BENCH_BUILD_DIR    ?= build-bench
# Extra arguments of the benchmark, e.g. BENCH_ARGS="--rounds 5 --check".
BENCH_ARGS         ?=
# The benchmark's instruction count runs the processes under callgrind.
BENCH_DEB_PACKAGES := valgrind

# The controller's processor: a cross build for aarch64 Linux with Debian's
# cross toolchain and the arm64 (multiarch) builds of the libraries, run on
# this machine under qemu-user. protoc stays the host's.
AARCH64_BUILD_DIR        ?= build-aarch64
AARCH64_STATIC_BUILD_DIR ?= build-aarch64-static
AARCH64_TOOLCHAIN        := cmake/aarch64-linux-gnu.cmake
AARCH64_DEB_PACKAGES     := cmake make pkg-config protobuf-compiler g++-aarch64-linux-gnu qemu-user \
                            libjsoncpp-dev:arm64 libprotobuf-dev:arm64 libgtest-dev:arm64 libpcap-dev:arm64

# Any sanitizer report ends the process that made it with an abort, so a
# test (or a gateway child of an end-to-end test) that hits one fails.
SANITIZER_ENV := ASAN_OPTIONS=abort_on_error=1:halt_on_error=1:detect_leaks=1 \
                 UBSAN_OPTIONS=abort_on_error=1:halt_on_error=1:print_stacktrace=1

.PHONY: all deps deps-fuzz build test test-sanitize fuzz soak bench bench-instructions run clean \
        deps-aarch64 build-aarch64 test-aarch64 test-aarch64-quick dist-aarch64 test-dist

all: build

# $(call install_missing,PACKAGES[,APT_INSTALL_OPTIONS])
define install_missing
	@missing=""; \
	for p in $(1); do \
	  dpkg-query -W -f='$${Status}' $$p 2>/dev/null | grep -q "install ok installed" || missing="$$missing $$p"; \
	done; \
	if [ -n "$$missing" ]; then \
	  echo "installing:$$missing"; \
	  SUDO=""; [ "$$(id -u)" = 0 ] || SUDO=sudo; \
	  $$SUDO apt-get update -qq && DEBIAN_FRONTEND=noninteractive $$SUDO apt-get install -y -qq $(2) $$missing; \
	fi
endef

deps:
	$(call install_missing,$(DEB_PACKAGES))

deps-fuzz:
	$(call install_missing,$(FUZZ_DEB_PACKAGES))

build: deps
	cmake -S . -B $(BUILD_DIR) -DCMAKE_BUILD_TYPE=RelWithDebInfo
	cmake --build $(BUILD_DIR) -j $(JOBS)

test: build
	cd $(BUILD_DIR) && ctest --output-on-failure -j $(JOBS)

# One sanitized build serves the sanitized suite and the fuzz targets:
# clang with AddressSanitizer, UndefinedBehaviorSanitizer and libFuzzer's
# coverage, debug information as line tables (what the reports need).
# A build directory configured earlier with another compiler starts afresh.
define configure_sanitize
	@if [ -f $(SANITIZE_BUILD_DIR)/CMakeCache.txt ] && \
	  ! grep -q '^CMAKE_CXX_COMPILER:.*clang++' $(SANITIZE_BUILD_DIR)/CMakeCache.txt; then \
	  echo "$(SANITIZE_BUILD_DIR) was configured with another compiler: starting it afresh"; \
	  rm -rf $(SANITIZE_BUILD_DIR); fi
	cmake -S . -B $(SANITIZE_BUILD_DIR) -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	  -DCMAKE_CXX_FLAGS_RELWITHDEBINFO="-O2 -g1 -DNDEBUG" -DLUMBRIX_FUZZ=ON
endef

# The whole suite, unit and end-to-end, in the sanitized build (the
# end-to-end tests start the sanitized gateway of the same build).
test-sanitize: deps deps-fuzz
	$(configure_sanitize)
	$(SANITIZER_ENV) cmake --build $(SANITIZE_BUILD_DIR) -j $(JOBS)
	cd $(SANITIZE_BUILD_DIR) && $(SANITIZER_ENV) ctest --output-on-failure -j $(JOBS)

# Every libFuzzer target for FUZZ_SECONDS each (FUZZ_TARGETS=name... for a
# few), side by side; fails on any finding. Built in the sanitized build.
fuzz: deps deps-fuzz
	$(configure_sanitize)
	cmake --build $(SANITIZE_BUILD_DIR) -j $(JOBS) --target fuzzers
	fuzz/run-fuzzers.sh $(SANITIZE_BUILD_DIR) $(FUZZ_SECONDS) $(FUZZ_TARGETS)

# SOAK_DATAGRAMS hostile and valid datagrams against the real gateway, then
# a request of every family; not part of make test.
soak: deps
	cmake -S . -B $(BUILD_DIR) -DCMAKE_BUILD_TYPE=RelWithDebInfo
	cmake --build $(BUILD_DIR) -j $(JOBS) --target lumbrix soak_gateway
	SOAK_DATAGRAMS=$(SOAK_DATAGRAMS) ./$(BUILD_DIR)/tests/soak_gateway

# The gateway against the reference relay on the two high-rate paths, with
# the process under test and the load generator pinned to different CPUs
# (bench/BenchMain.cpp), then the user-space instructions per message of
# both, counted under callgrind; bounded, two to three minutes. Not part of
# make test. make bench-instructions counts the instructions only (under a
# minute, and the same whatever else the machine does).
define build_bench
	$(call install_missing,$(BENCH_DEB_PACKAGES))
	cmake -S . -B $(BENCH_BUILD_DIR) -DCMAKE_BUILD_TYPE=RelWithDebInfo
	cmake --build $(BENCH_BUILD_DIR) -j $(JOBS) --target lumbrix lumbrix_bench lumbrix_bench_relay
endef
BENCH_RUN = ./$(BENCH_BUILD_DIR)/bench/lumbrix_bench --gateway ./$(BENCH_BUILD_DIR)/lumbrix \
  --relay ./$(BENCH_BUILD_DIR)/bench/lumbrix_bench_relay

bench: deps
	$(build_bench)
	$(BENCH_RUN) $(BENCH_ARGS)

bench-instructions: deps
	$(build_bench)
	$(BENCH_RUN) --subjects count $(BENCH_ARGS)

# arm64 is added to dpkg's architectures when missing; qemu-user comes
# without its binfmt registration (the tests call the emulator themselves).
deps-aarch64:
	@dpkg --print-foreign-architectures | grep -qx arm64 || { \
	  echo "adding the arm64 architecture"; \
	  SUDO=""; [ "$$(id -u)" = 0 ] || SUDO=sudo; \
	  $$SUDO dpkg --add-architecture arm64; }
	$(call install_missing,$(AARCH64_DEB_PACKAGES),--no-install-recommends)

# The fully static aarch64 build directory, configured; jsoncpp is compiled
# in from Debian's source of it (Debian ships no static jsoncpp).
define configure_aarch64_static
	cmake/fetch-deb-source.sh libjsoncpp $(AARCH64_STATIC_BUILD_DIR)/jsoncpp-src
	cmake -S . -B $(AARCH64_STATIC_BUILD_DIR) -DCMAKE_TOOLCHAIN_FILE=$(AARCH64_TOOLCHAIN) -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	  -DLUMBRIX_STATIC=ON -DLUMBRIX_TESTS=OFF -DLUMBRIX_JSONCPP_SOURCE_DIR=$(CURDIR)/$(AARCH64_STATIC_BUILD_DIR)/jsoncpp-src
endef

# lumbrix and the test binaries for aarch64 in $(AARCH64_BUILD_DIR), and a
# fully static lumbrix in $(AARCH64_STATIC_BUILD_DIR) with jsoncpp compiled
# from Debian's source of it (Debian ships no static jsoncpp).
build-aarch64: deps-aarch64
	cmake -S . -B $(AARCH64_BUILD_DIR) -DCMAKE_TOOLCHAIN_FILE=$(AARCH64_TOOLCHAIN) -DCMAKE_BUILD_TYPE=RelWithDebInfo
	cmake --build $(AARCH64_BUILD_DIR) -j $(JOBS)
	$(configure_aarch64_static)
	cmake --build $(AARCH64_STATIC_BUILD_DIR) -j $(JOBS) --target lumbrix

# The whole suite against the aarch64 binaries under qemu-user (ctest runs
# each test binary through the emulator, and the end-to-end tests start the
# aarch64 gateway through it), after a smoke test of the static gateway.
test-aarch64: build-aarch64
	tests/gateway-smoke.sh $(AARCH64_STATIC_BUILD_DIR)/lumbrix qemu-aarch64
	cd $(AARCH64_BUILD_DIR) && ctest --output-on-failure -j $(JOBS)

# For CI: the static aarch64 gateway alone, exercised under qemu-user by the
# native end-to-end suite (the simulator's test stays native).
test-aarch64-quick: build deps-aarch64
	$(configure_aarch64_static)
	cmake --build $(AARCH64_STATIC_BUILD_DIR) -j $(JOBS) --target lumbrix
	tests/gateway-smoke.sh $(AARCH64_STATIC_BUILD_DIR)/lumbrix qemu-aarch64
	cd $(BUILD_DIR) && LUMBRIX_EXEC_WRAPPER=qemu-aarch64 LUMBRIX_GATEWAY=$(CURDIR)/$(AARCH64_STATIC_BUILD_DIR)/lumbrix \
	  ctest --output-on-failure -j $(JOBS) -R '^e2e\.' -E '^e2e\.Simulator'

# The controller's archive, $(AARCH64_STATIC_BUILD_DIR)/lumbrix-VERSION-aarch64.tar.gz:
# the static gateway and simulator, stripped, with the controller's
# configuration, init service, install and start/stop scripts and INSTALL.
dist-aarch64: deps-aarch64
	$(configure_aarch64_static)
	cmake --build $(AARCH64_STATIC_BUILD_DIR) -j $(JOBS) --target dist

# The archive put to work here: unpacked in a temporary directory, its
# gateway and simulator run under qemu-user with its configuration, one
# request of every family, its scripts and contents checked. Not part of CI
# (see the README).
test-dist: dist-aarch64
	tools/dist/test-dist.sh $(AARCH64_STATIC_BUILD_DIR)

run: build
	mkdir -p log
	./$(BUILD_DIR)/lumbrix $(CONFIG)

clean:
	rm -rf $(BUILD_DIR) $(SANITIZE_BUILD_DIR) $(BENCH_BUILD_DIR) $(AARCH64_BUILD_DIR) $(AARCH64_STATIC_BUILD_DIR)

# Tools for integrators (tools/): a scripted session of the gateway with the
# simulated radio side and App, and the check of the Wireshark dissector.
# Neither is part of make test.
WIRESHARK_DEB_PACKAGES := tshark

.PHONY: demo deps-wireshark test-dissector

demo: deps
	cmake -S . -B $(BUILD_DIR) -DCMAKE_BUILD_TYPE=RelWithDebInfo
	cmake --build $(BUILD_DIR) -j $(JOBS) --target lumbrix lumbrix-sim
	tools/demo.sh $(BUILD_DIR)

# wireshark-common asks whether users other than root may capture; answer
# no beforehand so that the install asks nothing.
deps-wireshark:
	@if ! dpkg-query -W -f='$${Status}' tshark 2>/dev/null | grep -q "install ok installed"; then \
	  SUDO=""; [ "$$(id -u)" = 0 ] || SUDO=sudo; \
	  echo "wireshark-common wireshark-common/install-setuid boolean false" | $$SUDO debconf-set-selections; \
	fi
	$(call install_missing,$(WIRESHARK_DEB_PACKAGES),--no-install-recommends)

test-dissector: deps deps-wireshark
	cmake -S . -B $(BUILD_DIR) -DCMAKE_BUILD_TYPE=RelWithDebInfo
	cmake --build $(BUILD_DIR) -j $(JOBS) --target lumbrix lumbrix-sim
	tools/wireshark/test-dissector.sh $(BUILD_DIR)
