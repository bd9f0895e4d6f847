// SPDX-License-Identifier: Apache-2.0
// The values of a message from the bus, in memory of just their size. The first byte is the depth.
#include <algorithm>
#include <memory>

#include "fuzz/target.h"
#include "ubus/nesting.h"

namespace zephran::fuzz {

void try_input(Input input) {
    const unsigned depth = input.byte();
    const std::string values = input.rest();
    const auto bytes = std::make_unique<unsigned char[]>(values.size());
    std::copy(values.begin(), values.end(), bytes.get());

    const auto is_at_most = [&](unsigned limit) {
        return ubox::is_nested_at_most(limit, bytes.get(), values.size());
    };
    require(!is_at_most(depth) || is_at_most(depth + 1), "what is not deep is not deeper");
    require(is_at_most(static_cast<unsigned>(values.size() / 4)),
            "each level takes at least four bytes");
}

}  // namespace zephran::fuzz
