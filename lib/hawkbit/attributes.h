#pragma once

#include <map>
#include <string>

namespace zephran::hawkbit {

/// What a target tells the server about itself: its properties and its configuration data.
using Attributes = std::map<std::string, std::string>;

/// Names the gateway that a device hangs off; only agents of such devices have it.
inline constexpr const char* parent_attribute = "parent";

/// True for the target that is the gateway itself, not a device behind it.
inline bool is_gateway(const Attributes& target) {
    return target.count(parent_attribute) == 0;
}

}  // namespace zephran::hawkbit
