# SPDX-License-Identifier: Apache-2.0
# 32-bit ARM with glibc: Debian's cross compiler, and Debian's libraries in ZEPHRAN_SYSROOT, which script/build makes.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)

if(NOT ZEPHRAN_SYSROOT)
    message(FATAL_ERROR "ZEPHRAN_SYSROOT is not set: configure with script/build, which makes it")
endif()
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ZEPHRAN_SYSROOT)
set(CMAKE_SYSROOT ${ZEPHRAN_SYSROOT})

# Programs find their loader and libraries by themselves, with no setting in their environment and no change of the
# machine: the simulated gateway starts them with an environment of its own.
string(CONCAT zephran_loader
    "-Wl,--dynamic-linker=${ZEPHRAN_SYSROOT}/lib/ld-linux-armhf.so.3 -Wl,--disable-new-dtags "
    "-Wl,-rpath,${ZEPHRAN_SYSROOT}/lib/arm-linux-gnueabihf:${ZEPHRAN_SYSROOT}/usr/lib/arm-linux-gnueabihf")
set(CMAKE_EXE_LINKER_FLAGS_INIT ${zephran_loader})

set(zephran_pkg_config_path
    ${ZEPHRAN_SYSROOT}/usr/lib/arm-linux-gnueabihf/pkgconfig:${ZEPHRAN_SYSROOT}/usr/share/pkgconfig)
include(${CMAKE_CURRENT_LIST_DIR}/foreign_programs.cmake)
