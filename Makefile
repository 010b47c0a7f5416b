# Set-up, build and test of the gateway. Every target installs what is
# missing from Debian's packages first, so a fresh machine needs only make.

BUILD_DIR ?= build
CONFIG    ?= config/lumbrix.json
JOBS      ?= $(shell nproc 2>/dev/null || echo 2)
DEB_PACKAGES := cmake g++ make pkg-config libjsoncpp-dev libprotobuf-dev protobuf-compiler libgtest-dev

.PHONY: all deps build test run clean

all: build

deps:
	@missing=""; \
	for p in $(DEB_PACKAGES); do \
	  dpkg-query -W -f='$${Status}' $$p 2>/dev/null | grep -q "install ok installed" || missing="$$missing $$p"; \
	done; \
	if [ -n "$$missing" ]; then \
	  echo "installing:$$missing"; \
	  SUDO=""; [ "$$(id -u)" = 0 ] || SUDO=sudo; \
	  $$SUDO apt-get update -qq && DEBIAN_FRONTEND=noninteractive $$SUDO apt-get install -y -qq $$missing; \
	fi

build: deps
	cmake -S . -B $(BUILD_DIR) -DCMAKE_BUILD_TYPE=RelWithDebInfo
	cmake --build $(BUILD_DIR) -j $(JOBS)

test: build
	cd $(BUILD_DIR) && ctest --output-on-failure -j $(JOBS)

run: build
	mkdir -p log
	./$(BUILD_DIR)/lumbrix $(CONFIG)

clean:
	rm -rf $(BUILD_DIR)
