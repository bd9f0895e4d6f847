# SPDX-License-Identifier: Apache-2.0
# The gateway's combination: 32-bit ARM, musl, GCC and its C++ library. script/build makes the compiler's wrappers and
# the libraries in ZEPHRAN_SYSROOT.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
if(NOT ZEPHRAN_SYSROOT)
    message(FATAL_ERROR "ZEPHRAN_SYSROOT is not set: configure with script/build, which makes it")
endif()
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ZEPHRAN_SYSROOT)
set(CMAKE_C_COMPILER ${ZEPHRAN_SYSROOT}/bin/arm-linux-musleabihf-gcc)
set(CMAKE_CXX_COMPILER ${ZEPHRAN_SYSROOT}/bin/arm-linux-musleabihf-g++)
set(CMAKE_AR arm-linux-gnueabihf-ar)
set(CMAKE_RANLIB arm-linux-gnueabihf-ranlib)
set(CMAKE_STRIP arm-linux-gnueabihf-strip)
set(CMAKE_FIND_ROOT_PATH ${ZEPHRAN_SYSROOT})
set(zephran_pkg_config_path ${ZEPHRAN_SYSROOT}/lib/pkgconfig)

include(${CMAKE_CURRENT_LIST_DIR}/foreign_programs.cmake)
