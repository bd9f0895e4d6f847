# shellcheck shell=bash
# Every Debian package the project uses on a development machine, by what it is for.
# mount(8) and unshare(8) belong to the simulated gateway.
# shellcheck disable=SC2034
build_packages=(
    g++ ccache cmake ninja-build
    libboost-dev libboost-program-options-dev libjsoncpp-dev libcurl4-openssl-dev libssl-dev
    libgtest-dev libgmock-dev libjson-c-dev
)
# shellcheck disable=SC2034
run_packages=(python3 openssl curl util-linux mount)
# The second line is for the tests of the OpenWrt package: the shell of a gateway, and what reads its files.
# shellcheck disable=SC2034
test_packages=(python3-pytest python3-pytest-xdist python3-pytest-timeout
    nginx-light busybox make shellcheck)
# The second line is for the module that script/lint adds to clang-tidy.
# shellcheck disable=SC2034
lint_packages=(clang-14 clang-tidy-14 clang-format-14 shellcheck python3
    libclang-14-dev llvm-14-dev)
# shellcheck disable=SC2034
clang_packages=(clang-14)
# A real hawkBit 0.9.0 runs on Java 17 or newer; Maven fetches it.
# shellcheck disable=SC2034
java_packages=(openjdk-17-jre-headless)
# shellcheck disable=SC2034
maven_packages=(maven)
