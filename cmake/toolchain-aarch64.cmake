# Cross build for 64-bit ARM Linux with Debian's g++-aarch64-linux-gnu and the arm64 libraries of
# a multiarch install (dpkg --add-architecture arm64; libcjson-dev:arm64, and for the tests and the
# host libgtest-dev:arm64 and libprotobuf-dev:arm64). The arm64 libraries sit in
# /usr/lib/aarch64-linux-gnu beside the build machine's, the headers in /usr/include are shared,
# and the programs the build runs (protoc) are the build machine's.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
# pkg-config (libnl-route-3 and cpp-httplib of the host) must describe the arm64 libraries, not the
# build machine's.
set(ENV{PKG_CONFIG_LIBDIR} "/usr/lib/aarch64-linux-gnu/pkgconfig:/usr/share/pkgconfig")

# Test programs and the host run under qemu-user; CTest, the GoogleTest discovery (at test time,
# not at build time) and the host tests go through it. They run with the multiarch C library
# (libc6:arm64, /lib/ld-linux-aarch64.so.1, which the arm64 libraries pull in), not with the cross
# toolchain's copy under /usr/aarch64-linux-gnu: with that one (qemu-aarch64 -L ...), Debian 12's
# qemu 7.2 never returns from the first pthread_create.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64)
set(CMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE PRE_TEST)

# Debian architecture of the packages cpack makes from this tree.
set(ZOR_DEBIAN_ARCH arm64)
