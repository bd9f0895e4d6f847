# SPDX-License-Identifier: Apache-2.0
# Functions that declare the project's targets, all with the same warnings and sanitizers.

add_library(zephran_options INTERFACE)
target_compile_options(zephran_options INTERFACE
    -Wall -Wextra -Wpedantic
    # the gateway has 32-bit sizes and 64-bit times
    $<$<COMPILE_LANGUAGE:CXX>:-Wconversion>
    -Wshadow
    # g++ for ARM reports what GCC 7 changed; nothing here is linked with code of an older compiler
    -Wno-psabi)
target_compile_definitions(zephran_options INTERFACE
    # Boost.MSM includes headers that Boost has deprecated
    BOOST_BIND_GLOBAL_PLACEHOLDERS BOOST_ALLOW_DEPRECATED_HEADERS
    # 64-bit times and file sizes on 32-bit systems, with every C library
    _FILE_OFFSET_BITS=64 _TIME_BITS=64)
if(ZEPHRAN_SANITIZE)
    target_compile_options(zephran_options INTERFACE
        -fsanitize=${ZEPHRAN_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(zephran_options INTERFACE -fsanitize=${ZEPHRAN_SANITIZE})
endif()

# zephran_add_library(NAME INCLUDE_ROOT dir SOURCES ... [DEPENDS ...] [PRIVATE_DEPENDS ...] [OBJECT])
# Headers are included relative to INCLUDE_ROOT. No directory is on the include path of every target.
function(zephran_add_library name)
    cmake_parse_arguments(ARG "OBJECT" "INCLUDE_ROOT" "SOURCES;DEPENDS;PRIVATE_DEPENDS" ${ARGN})
    if(ARG_OBJECT)
        add_library(${name} OBJECT ${ARG_SOURCES})
    else()
        add_library(${name} STATIC ${ARG_SOURCES})
    endif()
    target_include_directories(${name} PUBLIC ${ARG_INCLUDE_ROOT})
    target_link_libraries(${name}
        PUBLIC ${ARG_DEPENDS}
        PRIVATE ${ARG_PRIVATE_DEPENDS} zephran_options)
endfunction()

# zephran_add_test(NAME SOURCES ... DEPENDS ...)
# Adds one GoogleTest executable and registers its cases with CTest, or the whole of it if it is for another processor.
function(zephran_add_test name)
    cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE ${ARG_DEPENDS} zephran_options GTest::gmock GTest::gtest_main)
    if(ZEPHRAN_SANITIZE OR CMAKE_CROSSCOMPILING)
        # Most of the compile time is spent on headers that the sources of a test share. The other builds compile
        # each source separately, which shows warnings and missing includes; files that are compiled as one also
        # cause some of their own.
        set_target_properties(${name} PROPERTIES UNITY_BUILD ON COMPILE_WARNING_AS_ERROR OFF)
    endif()
    if(CMAKE_CROSSCOMPILING)
        # In an emulator the start of a program takes longer than most cases do.
        add_test(NAME ${name} COMMAND ${name})
        set_tests_properties(${name} PROPERTIES TIMEOUT 600)
    else()
        gtest_discover_tests(${name} TEST_PREFIX ${name}. DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 120)
    endif()
endfunction()

# With full debug information, compiling a transition table takes gigabytes of memory. A build without any stays
# without: even the little information is 42 MB of names of the tables' types.
function(zephran_light_debug_info)
    set_source_files_properties(${ARGN} PROPERTIES COMPILE_OPTIONS "$<$<CONFIG:Debug,RelWithDebInfo>:-g1>")
endfunction()

# Excludes sources whose internal names clash from the common compilation of the sanitizer builds.
function(zephran_compile_apart)
    set_source_files_properties(${ARGN} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
endfunction()
