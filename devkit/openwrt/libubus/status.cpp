// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <cstdio>

extern "C" {
#include <libubus.h>
}

namespace zephran::ubus_standin {

namespace {

constexpr std::array<const char*, UBUS_STATUS_LAST> texts{
    "Success",
    "Invalid command",
    "Invalid argument",
    "Method not found",
    "Not found",
    "No response",
    "Permission denied",
    "Request timed out",
    "Operation not supported",
    "Unknown error",
    "Connection failed",
    "Out of memory",
    "Parsing message data failed",
    "System error",
};

}  // namespace

extern "C" const char* ubus_strerror(int error) {
    static std::array<char, 32> unknown{};
    if (error >= 0 && error < UBUS_STATUS_LAST) {
        return texts[static_cast<std::size_t>(error)];
    }
    static_cast<void>(std::snprintf(unknown.data(), unknown.size(), "Unknown error: %d", error));
    return unknown.data();
}

}  // namespace zephran::ubus_standin
