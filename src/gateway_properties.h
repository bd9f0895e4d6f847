// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "hawkbit/attributes.h"

namespace zephran {

/// Reads the properties of the gateway from a JSON file with one flat object. Every member is
/// logged and converted to a string.
///
/// @throws common::ParserException when the file cannot be read or is not JSON
/// @throws Json::Exception when a member is an array or an object
hawkbit::Attributes read_gateway_properties(const std::string& path);

}  // namespace zephran
