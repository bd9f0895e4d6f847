// SPDX-License-Identifier: Apache-2.0
#pragma once

extern "C" {
#include <libubus.h>
}

namespace zephran::ubus_standin {

/// Adds every object of the context to a new connection, under new ids. One that the broker
/// refuses has id 0 afterwards and is forgotten; nobody is told.
void add_objects_again(ubus_context& context);

}  // namespace zephran::ubus_standin
