# SPDX-License-Identifier: Apache-2.0
# JsonCpp::JsonCpp: from jsoncpp's own CMake package if there is one, else by a plain search. Where Meson has built it,
# as in OpenWrt, there is none. pkg-config is not asked, since in a cross build it also looks at the machine that builds.

include(FindPackageHandleStandardArgs)
find_package(jsoncpp CONFIG QUIET)
if(TARGET JsonCpp::JsonCpp)
    find_package_handle_standard_args(jsoncpp CONFIG_MODE)
    return()
endif()

find_path(JSONCPP_INCLUDE_DIR json/json.h PATH_SUFFIXES jsoncpp)
find_library(JSONCPP_LIBRARY jsoncpp)
mark_as_advanced(JSONCPP_INCLUDE_DIR JSONCPP_LIBRARY)
find_package_handle_standard_args(jsoncpp REQUIRED_VARS JSONCPP_LIBRARY JSONCPP_INCLUDE_DIR)
if(jsoncpp_FOUND)
    add_library(JsonCpp::JsonCpp UNKNOWN IMPORTED)
    set_target_properties(JsonCpp::JsonCpp PROPERTIES
        IMPORTED_LOCATION ${JSONCPP_LIBRARY}
        INTERFACE_INCLUDE_DIRECTORIES ${JSONCPP_INCLUDE_DIR})
endif()
