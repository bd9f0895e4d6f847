// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <deque>
#include <map>

#include "frame.h"
#include "request.h"

extern "C" {
#include <libubus.h>
}

namespace zephran::ubus_standin {

/// What a context keeps besides its public members.
struct State {
    std::map<std::uint32_t, ubus_object*> objects;
    /// Being waited for, or nullptr.
    Request* request = nullptr;
    /// Calls that arrived meanwhile.
    std::deque<Frame> waiting_calls;
};

inline State& state_of(ubus_context& context) {
    return *static_cast<State*>(context.state);
}

}  // namespace zephran::ubus_standin
