# SPDX-License-Identifier: Apache-2.0
# zephran_bus_libraries: the libraries of the message bus as one target; zephran_ubox: libubox alone. They are the
# system's libraries if all are found, else the stand-ins of the development kit. The system's libraries provide no CMake
# or pkg-config files.

find_path(UBUS_INCLUDE_DIR libubus.h)
find_path(UBOX_INCLUDE_DIR libubox/blobmsg_json.h)
find_library(UBUS_LIBRARY ubus)
find_library(UBOX_LIBRARY ubox)
find_library(BLOBMSG_JSON_LIBRARY blobmsg_json)
find_library(JSON_C_LIBRARY NAMES json-c json)
mark_as_advanced(
    UBUS_INCLUDE_DIR UBOX_INCLUDE_DIR UBUS_LIBRARY UBOX_LIBRARY BLOBMSG_JSON_LIBRARY JSON_C_LIBRARY)

set(zephran_missing_bus_parts "")
foreach(part UBUS_INCLUDE_DIR UBOX_INCLUDE_DIR UBUS_LIBRARY UBOX_LIBRARY BLOBMSG_JSON_LIBRARY JSON_C_LIBRARY)
    if(NOT ${part})
        list(APPEND zephran_missing_bus_parts ${part})
    endif()
endforeach()

# With what they need themselves: the linker has to see static libraries in this order, and finds for another system no
# library that is not named.
function(zephran_import_bus_library name location include_dir)
    add_library(${name} UNKNOWN IMPORTED)
    set_target_properties(${name} PROPERTIES
        IMPORTED_LOCATION ${location}
        INTERFACE_INCLUDE_DIRECTORIES ${include_dir}
        INTERFACE_LINK_LIBRARIES "${ARGN}")
endfunction()

add_library(zephran_bus_libraries INTERFACE)
if(NOT zephran_missing_bus_parts)
    set(ZEPHRAN_BUS "libubus of the system (${UBUS_LIBRARY})")
    zephran_import_bus_library(zephran_ubox ${UBOX_LIBRARY} ${UBOX_INCLUDE_DIR})
    zephran_import_bus_library(zephran_ubus_library ${UBUS_LIBRARY} ${UBUS_INCLUDE_DIR} zephran_ubox)
    zephran_import_bus_library(zephran_blobmsg_json ${BLOBMSG_JSON_LIBRARY} ${UBOX_INCLUDE_DIR}
        zephran_ubox ${JSON_C_LIBRARY})
    target_link_libraries(zephran_bus_libraries INTERFACE zephran_ubus_library zephran_blobmsg_json)
elseif(ZEPHRAN_BUILD_DEVKIT)
    set(ZEPHRAN_BUS "stand-ins of the development kit, not for a gateway")
    add_library(zephran_ubox INTERFACE)
    target_link_libraries(zephran_ubox INTERFACE ubox_standin)
    target_link_libraries(zephran_bus_libraries INTERFACE ubus_standin blobmsg_json_standin)
else()
    message(FATAL_ERROR
        "The libraries of the message bus (libubus, libubox, libblobmsg_json, libjson-c) are incomplete, "
        "missing: ${zephran_missing_bus_parts}. Add their prefix to CMAKE_PREFIX_PATH, or set "
        "ZEPHRAN_BUILD_DEVKIT to build with stand-ins, which must never be installed on a gateway.")
endif()
message(STATUS "Message bus: ${ZEPHRAN_BUS}")
file(WRITE ${PROJECT_BINARY_DIR}/message-bus.txt "${ZEPHRAN_BUS}\n")
