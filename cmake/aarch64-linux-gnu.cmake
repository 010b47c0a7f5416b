# Cross build for 64-bit ARM Linux (the remote controller's processor) with
# Debian's cross toolchain and the arm64 builds of the libraries installed
# side by side with the host's (multiarch: headers in /usr/include, arm64
# libraries in /usr/lib/aarch64-linux-gnu). protoc stays the host's binary;
# the arm64 libprotobuf is linked.
#
#   cmake -S . -B build-aarch64 -DCMAKE_TOOLCHAIN_FILE=cmake/aarch64-linux-gnu.cmake
#
# The test binaries run under qemu-user: ctest prefixes them with the
# emulator below, and the end-to-end tests start the gateway through the
# same emulator (LUMBRIX_EXEC_WRAPPER, see tests/CMakeLists.txt).

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)

set(LUMBRIX_CROSS_TRIPLET aarch64-linux-gnu)
set(CMAKE_C_COMPILER ${LUMBRIX_CROSS_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${LUMBRIX_CROSS_TRIPLET}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${LUMBRIX_CROSS_TRIPLET})

# Programs (protoc) from the host; libraries, headers and packages for the
# target only, from the multiarch directories of the root file system.
set(CMAKE_FIND_ROOT_PATH /)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_IGNORE_PATH /usr/lib/x86_64-linux-gnu /lib/x86_64-linux-gnu)

# pkg-config must read the arm64 .pc files, not the host's.
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/${LUMBRIX_CROSS_TRIPLET}/pkgconfig:/usr/share/pkgconfig)
set(ENV{PKG_CONFIG_PATH} "")

# qemu-user runs the aarch64 binaries on the build machine. The arm64 C
# library installed through multiarch provides /lib/ld-linux-aarch64.so.1,
# so no -L prefix is needed.
find_program(LUMBRIX_QEMU_AARCH64 qemu-aarch64)
if(LUMBRIX_QEMU_AARCH64)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${LUMBRIX_QEMU_AARCH64})
endif()
