// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "hawkbit/attributes.h"

namespace zephran::hawkbit {

/// What happened to one attribute.
struct AttributeChange {
    std::string key;   ///< as it was before cleaning
    std::string what;  ///< "key changed", "value changed" or "dropped: " and the reason
};

/// Attributes that the server takes, and how they differ from those that were given.
struct CleanedAttributes {
    Attributes attributes;
    std::vector<AttributeChange> changes;
};

/// Makes a target's attributes acceptable to the server, which refuses all of them for a single
/// bad one:
/// - every character outside ASCII letters, digits, white space and
///   _-!@#$%^&*()+=[]{}|;:'",.<>/\? becomes `?` (one for a character outside ASCII, one for every
///   byte that is not part of valid UTF-8), then keys and values are cut to 128 characters;
/// - of keys that have become equal the first stays, in key order;
/// - of more than 100 attributes stay the daemon's own and the first others, in key order.
[[nodiscard]] CleanedAttributes clean_attributes(const Attributes& attributes);

}  // namespace zephran::hawkbit
