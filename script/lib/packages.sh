# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# The Debian packages that the project needs on a development machine, by purpose.
# shellcheck disable=SC2034
build_packages=(
    g++ ccache cmake ninja-build pkg-config
    libboost-dev libboost-program-options-dev libjsoncpp-dev libcurl4-openssl-dev libssl-dev
    libgtest-dev libgmock-dev libjson-c-dev
)
# The simulated gateway needs mount(8) and unshare(8).
# shellcheck disable=SC2034
run_packages=(python3 openssl curl util-linux mount)
# The second line is for the tests of the OpenWrt package: a gateway's shell, the programs that read its files, and the
# one that packs the tarball. script/prove lets system calls fail with strace. The last line is a browser, and what
# drives it, for the page of the web interface.
# shellcheck disable=SC2034
test_packages=(python3-pytest python3-pytest-xdist python3-pytest-timeout
    nginx-light busybox make shellcheck xz-utils strace
    chromium chromium-driver python3-selenium fonts-dejavu-core)
# The second line is for the clang-tidy module in tidy_own_code.cpp.
# shellcheck disable=SC2034
lint_packages=(clang-14 clang-tidy-14 clang-format-14 shellcheck python3 python3-venv
    libclang-14-dev llvm-14-dev)
# shellcheck disable=SC2034
clang_packages=(clang-14)
# Runtime of the sanitizers and of the fuzzer.
# shellcheck disable=SC2034
fuzz_packages=(clang-14 llvm-14 libclang-rt-14-dev)
# hawkBit 0.9.0 needs Java 17 or newer. Maven fetches it.
# shellcheck disable=SC2034
java_packages=(openjdk-17-jre-headless)
# shellcheck disable=SC2034
maven_packages=(maven)
# For ARM: the compiler and the emulator. The last line is for making musl's C and C++ libraries.
# shellcheck disable=SC2034
arm_packages=(g++-arm-linux-gnueabihf qemu-user util-linux mount
    make perl xz-utils)
