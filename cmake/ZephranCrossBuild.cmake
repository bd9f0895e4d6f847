# SPDX-License-Identifier: Apache-2.0
# A cross build takes no library from the machine that builds. Build systems such as OpenWrt's say so for libraries and
# headers, but not for CMake packages, and the machine's own would be found.
if(CMAKE_CROSSCOMPILING)
    if(NOT CMAKE_FIND_ROOT_PATH AND NOT CMAKE_SYSROOT)
        message(FATAL_ERROR
            "A cross build needs CMAKE_FIND_ROOT_PATH or CMAKE_SYSROOT, the place of the other system's libraries")
    endif()
    foreach(kind LIBRARY INCLUDE PACKAGE)
        if(NOT DEFINED CMAKE_FIND_ROOT_PATH_MODE_${kind})
            set(CMAKE_FIND_ROOT_PATH_MODE_${kind} ONLY)
        endif()
    endforeach()
endif()
