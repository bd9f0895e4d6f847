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

add_library(zephran_ubox INTERFACE)
add_library(zephran_bus_libraries INTERFACE)
if(NOT zephran_missing_bus_parts)
    set(ZEPHRAN_BUS "libubus of the system (${UBUS_LIBRARY})")
    target_include_directories(zephran_ubox SYSTEM INTERFACE ${UBOX_INCLUDE_DIR})
    target_link_libraries(zephran_ubox INTERFACE ${UBOX_LIBRARY})
    target_include_directories(zephran_bus_libraries SYSTEM INTERFACE ${UBUS_INCLUDE_DIR})
    # A linker for another system does not find by itself what libblobmsg_json needs.
    target_link_libraries(zephran_bus_libraries INTERFACE
        ${UBUS_LIBRARY} ${BLOBMSG_JSON_LIBRARY} zephran_ubox ${JSON_C_LIBRARY})
elseif(ZEPHRAN_BUILD_DEVKIT)
    set(ZEPHRAN_BUS "stand-ins of the development kit, not for a gateway")
    target_link_libraries(zephran_ubox INTERFACE ubox_standin)
    target_link_libraries(zephran_bus_libraries INTERFACE ubus_standin blobmsg_json_standin zephran_ubox)
else()
    message(FATAL_ERROR
        "The libraries of the message bus (libubus, libubox, libblobmsg_json, libjson-c) are incomplete, "
        "missing: ${zephran_missing_bus_parts}. Add their prefix to CMAKE_PREFIX_PATH, or set "
        "ZEPHRAN_BUILD_DEVKIT to build with stand-ins, which must never be installed on a gateway.")
endif()
message(STATUS "Message bus: ${ZEPHRAN_BUS}")
file(WRITE ${PROJECT_BINARY_DIR}/message-bus.txt "${ZEPHRAN_BUS}\n")
