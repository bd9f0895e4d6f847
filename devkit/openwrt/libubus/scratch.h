// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>

extern "C" {
#include <libubus.h>
}

namespace zephran::ubus_standin {

// Both are shared by all contexts and guarded by nothing, as in the library of the device: programs
// that use it from two threads shall fail here, too.

/// The buffer for everything sent, emptied.
blob_buf& fresh_message();
void free_message_buffer();

/// The attributes of a message by id, nullptr for those absent or malformed; until the next call.
const std::array<blob_attr*, UBUS_ATTR_MAX>& attributes_of(blob_attr& message);

}  // namespace zephran::ubus_standin
