#pragma once

#include <map>
#include <string>

namespace zephran {

/// What a target tells the server about itself: its properties and its configuration data.
using Attributes = std::map<std::string, std::string>;

/// Names the gateway that a device hangs off; only agents of such devices have it.
inline constexpr const char* parent_attribute = "parent";

}  // namespace zephran
