# SPDX-License-Identifier: Apache-2.0
# What all toolchains for another processor have in common: only programs come from this machine, and those that are
# built run in an emulator.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${CMAKE_SYSROOT})
set(ENV{PKG_CONFIG_LIBDIR} ${zephran_pkg_config_path})
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm)
